#pragma once

#include "SQLiteDatabase.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>
#include <ostream>

namespace sonvale {
class DB;
}

// Collects the lines logged in "sonvale.db" while it lives (one at a time per process).
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Every line, or those of one type.
    QStringList lines(std::optional<QtMsgType> type = std::nullopt) const;
    bool contains(const QString& line) const { return lines().contains(line); }
    bool contains(QtMsgType type, const QString& line) const { return lines(type).contains(line); }
    void clear();

private:
    QtMessageHandler previous_ = nullptr;
};

// Runs `sql` and returns its column named v in the first row as text; std::nullopt when no
// row came back or v is NULL.
std::optional<QString> scalar(sonvale::SQLiteDatabase& db, const QString& sql,
                              const std::vector<sonvale::SQLValue>& values = {});
// Runs a change statement to completion.
bool run(sonvale::SQLiteDatabase& db, const QString& sql, const std::vector<sonvale::SQLValue>& values = {});

// Runs `sql` on the database's queue and returns the column named v of every row as text
// ("NULL" for NULL), in row order.
QStringList columnOf(sonvale::DB& db, const QString& sql, const std::vector<sonvale::SQLValue>& values = {});
// Runs statements on the database's queue; true when all succeeded.
bool exec(sonvale::DB& db, const QString& sql);

// Every table of the file with its columns, foreign keys and indexes, one line each, read back
// from SQLite rather than from the stored SQL texts.
QStringList schemaOf(const QString& path);
// The database file in `dir`, its user version (-1 when it cannot be opened), the files in `dir`.
QString dbPathIn(const QString& dir);
qint64 userVersionOf(const QString& path);
QStringList filesIn(const QString& dir);

// While it lives, file access of the calling thread is checked as for an unprivileged user, so
// that permission tests mean something when the tests run as root. active() is false when the
// privileges could not be dropped.
class WithoutFilePrivileges {
public:
    WithoutFilePrivileges();
    ~WithoutFilePrivileges();
    WithoutFilePrivileges(const WithoutFilePrivileges&) = delete;
    WithoutFilePrivileges& operator=(const WithoutFilePrivileges&) = delete;

    bool active() const { return active_; }

private:
    bool wasRoot_ = false;
    bool active_ = false;
};

// Readable failure messages for texts and lists of texts.
void PrintTo(const QString& text, std::ostream* out);
