#pragma once

#include "DB.h"
#include "DBTestAccess.h"
#include "SQLiteDatabase.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <optional>
#include <ostream>

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

// The column named v of every row `sql` gives, as text ("NULL" for NULL); the second form
// runs on the database's queue. A change statement is run to its end.
QStringList column(sonvale::SQLiteDatabase& db, const QString& sql, const std::vector<sonvale::SQLValue>& values = {});
QStringList column(sonvale::DB& db, const QString& sql, const std::vector<sonvale::SQLValue>& values = {});
// Runs statements on the database's queue; true when all succeeded.
bool exec(sonvale::DB& db, const QString& sql);

// The database file in data directory `dir`.
QString dbPathIn(const QString& dir);
// Column v of `sql` on a plain connection of its own to the file, which runs no check of its own.
QStringList query(const QString& path, const QString& sql);

// A library database in a temporary directory, with shortcuts for filling it.
class StorageTest : public testing::Test {
protected:
    // Adds a library folder; its row id.
    qint64 addFolder(const QString& root);
    // Inserts a track, then stores its title and folder.
    sonvale::TrackRef addTrack(const QString& path, const QString& title = {}, qint64 folder = 0);

    QTemporaryDir dir;
    sonvale::DB db{dir.path()};
};

// Readable failure messages for texts and lists of texts.
void PrintTo(const QString& text, std::ostream* out);
