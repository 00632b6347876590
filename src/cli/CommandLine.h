#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>
#include <memory>

namespace sonvale {

class DB;

// What every command of sonvale-cli receives: the options common to all commands, the
// command's own arguments and the streams to write to.
struct CommandContext {
    QString dataDir;  // from --data-dir; empty means the default data directory
    QStringList args;
    FILE* out = stdout;
    FILE* err = stderr;
    // The database openDatabase gave, kept until the command has finished.
    mutable std::shared_ptr<DB> database;

    // The database of the data directory, made and brought to the current schema when needed;
    // nullptr, with "sonvale-cli COMMAND: cannot open the database PATH" on `err`, when the
    // file cannot be opened. A database found damaged is replaced by a new one holding what
    // could be read of it: that is said on `err`, and the saved current playlist item follows
    // its entry.
    std::shared_ptr<DB> openDatabase(const char* command) const;
    // The exit status of a command that returned `status`: 3 instead of 0 when the database was
    // found damaged, on opening or while the command ran (said on `err`).
    int finish(const QString& command, int status) const;
    // Writes `text` as UTF-8.
    static void print(FILE* stream, const QString& text);
    // `path` made absolute (against the working directory) and clean: no ".", "..", doubled
    // or trailing "/".
    static QString absolutePath(const QString& path);
};

// Parses the global options, picks the command and runs it. Returns the process exit status:
// 0 on success, 1 when the command failed, 2 for a usage error, 3 when the library database was
// found damaged.
class CommandLine {
public:
    static int run(const QStringList& arguments, FILE* out = stdout, FILE* err = stderr);
    static QString helpText();
};

}  // namespace sonvale
