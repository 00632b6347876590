#pragma once

#include <QDBusConnection>

// Whether the private session bus of scripts/with-dbus.sh is there: tests that publish on the
// bus skip without it, so they never appear on the user's own session. Tests that include this
// link Qt DBus.
inline bool privateSessionBusRuns() {
    return qEnvironmentVariableIsSet("SONVALE_PRIVATE_BUS") && QDBusConnection::sessionBus().isConnected();
}
