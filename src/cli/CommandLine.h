#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>

namespace sonvale {

// What every command of sonvale-cli receives: the options common to all commands, the
// command's own arguments and the streams to write to.
struct CommandContext {
    QString dataDir;  // from --data-dir; empty means the default data directory
    QStringList args;
    FILE* out = stdout;
    FILE* err = stderr;
};

// Parses the global options, picks the command and runs it. Returns the process exit status:
// 0 on success, 1 when the command failed, 2 for a usage error.
class CommandLine {
public:
    static int run(const QStringList& arguments, FILE* out = stdout, FILE* err = stderr);
    static QString helpText();
};

}  // namespace sonvale
