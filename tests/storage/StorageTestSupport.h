#pragma once

#include "SQLiteDatabase.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <mutex>
#include <ostream>
#include <optional>

// Collects the lines logged in "sonvale.db" while it lives (one at a time per process).
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const;
    QStringList lines(QtMsgType type) const;
    bool contains(const QString& line) const { return lines().contains(line); }
    bool contains(QtMsgType type, const QString& line) const { return lines(type).contains(line); }
    void clear();

private:
    static void handler(QtMsgType type, const QMessageLogContext& context, const QString& message);

    QtMessageHandler previous_ = nullptr;
};

// Runs `sql` and returns its column named v in the first row as text; std::nullopt when no
// row came back or v is NULL.
std::optional<QString> scalar(sonvale::SQLiteDatabase& db, const QString& sql,
                              const std::vector<sonvale::SQLValue>& values = {});
// Runs a change statement to completion.
bool run(sonvale::SQLiteDatabase& db, const QString& sql, const std::vector<sonvale::SQLValue>& values = {});

// Every table of the file with its columns, foreign keys and indexes, one line each, read back
// from SQLite rather than from the stored SQL texts.
QStringList schemaOf(sonvale::SQLiteDatabase& db);
QStringList schemaOf(const QString& path);

std::optional<QByteArray> fileBytes(const QString& path);

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

namespace sonvale {
class DB;
}

// Runs `sql` on the database's queue and returns the column named v of every row as text
// ("NULL" for NULL), in row order.
QStringList columnOf(sonvale::DB& db, const QString& sql, const std::vector<sonvale::SQLValue>& values = {});
// Runs statements on the database's queue; true when all succeeded.
bool exec(sonvale::DB& db, const QString& sql);
