#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

// What one run of the command-line program gave.
struct CliResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs the built command-line program with `args` to completion (one minute at most).
inline CliResult runCli(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(SONVALE_CLI), args);
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}
