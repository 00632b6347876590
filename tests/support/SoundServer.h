#pragma once

#include <QProcess>
#include <QStringList>

// Whether the private sound server of scripts/with-pulseaudio.sh answers: tests that play
// through it skip without it.
inline bool soundServerRuns() {
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER")) return false;
    QProcess p;
    p.start(QStringLiteral("pactl"), {QStringLiteral("info")});
    return p.waitForFinished(10000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}
