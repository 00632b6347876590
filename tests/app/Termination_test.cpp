#include "EventLoop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QSettings>

#include <gtest/gtest.h>

#include <csignal>

namespace {

// The real program, ended from outside as a session or a terminal ends it.
TEST(Termination, SignalsEndTheProgramThroughItsTerminationSequence) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) GTEST_SKIP() << "no session bus (run through scripts/with-dbus.sh)";
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        QSettings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale")).remove(QStringLiteral("MainWindow"));
        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        app.setProcessEnvironment(environment);
        app.setProcessChannelMode(QProcess::ForwardedChannels);
        app.start(QStringLiteral(SONVALE_APP), {});
        // The name is taken before the window is made; its interface is served once the launch
        // is done.
        ASSERT_TRUE(spinUntil([&] {
            const QDBusMessage reply = bus.call(QDBusMessage::createMethodCall(
                QStringLiteral("org.sonvale.Sonvale"), QStringLiteral("/org/sonvale/Sonvale"),
                QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect")), QDBus::Block, 1000);
            return reply.type() == QDBusMessage::ReplyMessage
                   && reply.arguments().value(0).toString().contains(QLatin1String("org.freedesktop.Application"));
        }, 20));
        ::kill(pid_t(app.processId()), signal);
        ASSERT_TRUE(app.waitForFinished(20000)) << signal;
        EXPECT_EQ(app.exitStatus(), QProcess::NormalExit) << signal;
        EXPECT_EQ(app.exitCode(), 0) << signal;
        const QSettings settings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale"));
        EXPECT_TRUE(settings.contains(QStringLiteral("MainWindow/geometry"))) << signal;
        EXPECT_TRUE(settings.contains(QStringLiteral("volume"))) << signal;
    }
}

}  // namespace
