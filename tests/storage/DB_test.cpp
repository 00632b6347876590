#include "DB.h"

#include "StorageTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

using sonvale::DB;
using sonvale::SQLiteDatabase;

namespace {

QString dbPath(const QString& dir) {
    return QDir(dir).filePath(DB::fileName());
}

QStringList entriesOf(const QString& dir) {
    return QDir(dir).entryList(QDir::Files, QDir::Name);
}

// A file at version 12 with one track row.
void makeOldFile(const QString& dir) {
    { DB db(dir, 12); }
    auto db = SQLiteDatabase::open(dbPath(dir));
    ASSERT_TRUE(db && db->executeStatements(QStringLiteral(
                          "INSERT INTO metadata (path, size, timestamp, duration, bitRate) VALUES ('/m/a.flac', 1, 2, 3, 4);")));
}

std::optional<QString> trackPath(const QString& dir) {
    auto db = SQLiteDatabase::open(dbPath(dir));
    return db ? scalar(*db, QStringLiteral("SELECT path AS v FROM tracks")) : std::nullopt;
}

}  // namespace

TEST(DB, ConnectionHasTheCacheAndForeignKeysOnAndSynchronousWritesOff) {
    QTemporaryDir dir;
    DB db(dir.path());
    ASSERT_TRUE(db.queue());
    EXPECT_EQ(db.path(), dbPath(dir.path()));
    bool caching = false;
    std::optional<QString> foreignKeys, synchronous;
    bool orphanInserted = true;
    db.queue()->inDatabase([&](SQLiteDatabase& connection) {
        caching = connection.shouldCacheStatements();
        foreignKeys = scalar(connection, QStringLiteral("SELECT foreign_keys AS v FROM pragma_foreign_keys"));
        synchronous = scalar(connection, QStringLiteral("SELECT synchronous AS v FROM pragma_synchronous"));
        orphanInserted = run(connection, QStringLiteral("INSERT INTO lyrics (track_id, text) VALUES (99, 'la')"));
    });
    EXPECT_TRUE(caching);
    EXPECT_EQ(foreignKeys, QStringLiteral("1"));
    EXPECT_EQ(synchronous, QStringLiteral("0"));
    EXPECT_FALSE(orphanInserted);
}

TEST(DB, DataDirectoryFollowsXdgDataHomeAndIsMadeWithItsParents) {
    QTemporaryDir dir;
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    const QString home = dir.filePath(QStringLiteral("a/b"));
    setenv("XDG_DATA_HOME", QFile::encodeName(home).constData(), 1);
    const QString data = DB::defaultDataDirectory();
    {
        DB db;
        EXPECT_TRUE(db.queue());
        EXPECT_EQ(db.path(), dbPath(home + QStringLiteral("/Sonvale")));
    }
    setenv("XDG_DATA_HOME", saved.constData(), 1);
    EXPECT_EQ(data, home + QStringLiteral("/Sonvale"));
    EXPECT_TRUE(QFile::exists(dbPath(data)));

    const QString given = dir.filePath(QStringLiteral("x/y"));
    { DB db(given); }
    EXPECT_TRUE(QFile::exists(dbPath(given)));
}

TEST(DB, FileThatIsNotADatabaseIsLeftAsItIs) {
    QTemporaryDir dir;
    QByteArray garbage;
    for (int i = 0; i < 512; ++i) garbage += "not a database, just some text ";
    {
        QFile file(dbPath(dir.path()));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(garbage) == garbage.size());
    }
    LogCapture log;
    { DB db(dir.path()); }
    EXPECT_EQ(fileBytes(dbPath(dir.path())), garbage);
    EXPECT_EQ(entriesOf(dir.path()), QStringList({DB::fileName()}));
    EXPECT_TRUE(log.contains(QStringLiteral("DB Error: 26 \"file is not a database\"")));
    EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("DB migration to 1 failed, rolling back")));
}

TEST(DB, ReadOnlyDataDirectoryLosesNothing) {
    QTemporaryDir root;
    // Reachable by the unprivileged user that the checks below run as.
    ASSERT_TRUE(QFile::setPermissions(root.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                       QFile::ReadOther | QFile::WriteOther | QFile::ExeOther));
    WithoutFilePrivileges unprivileged;
    if (!unprivileged.active()) GTEST_SKIP() << "file-system privileges cannot be dropped";
    const QFileDevice::Permissions readOnly = QFile::ReadOwner | QFile::ExeOwner;

    const QString empty = root.filePath(QStringLiteral("empty"));
    ASSERT_TRUE(QDir().mkdir(empty) && QFile::setPermissions(empty, readOnly));
    {
        LogCapture log;
        DB db(empty);
        EXPECT_FALSE(db.queue());
        EXPECT_EQ(log.lines(), QStringList({QStringLiteral("error opening!: 14"),
                                            QStringLiteral("Could not create database queue for path ") + db.path()}));
        EXPECT_TRUE(entriesOf(empty).isEmpty());
    }

    const QString old = root.filePath(QStringLiteral("old"));
    makeOldFile(old);
    const auto before = fileBytes(dbPath(old));
    ASSERT_TRUE(QFile::setPermissions(old, readOnly));
    {
        LogCapture log;
        DB db(old);
        EXPECT_TRUE(db.queue());
        EXPECT_TRUE(log.contains(QtInfoMsg, QStringLiteral("DB backup created at ") + dbPath(old) + QStringLiteral(".bak.12")));
        EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("DB migration to 13 failed, rolling back")));
    }
    EXPECT_EQ(fileBytes(dbPath(old)), before);
    EXPECT_EQ(entriesOf(old), QStringList({DB::fileName()}));
    QFile::setPermissions(old, readOnly | QFile::WriteOwner);
    QFile::setPermissions(empty, readOnly | QFile::WriteOwner);
}

TEST(DB, DatabaseLockedByAnotherConnectionIsLeftAsItIs) {
    QTemporaryDir dir;
    makeOldFile(dir.path());
    const auto before = fileBytes(dbPath(dir.path()));
    auto holder = SQLiteDatabase::open(dbPath(dir.path()));
    ASSERT_TRUE(holder && holder->executeStatements(QStringLiteral("BEGIN EXCLUSIVE;")));
    {
        LogCapture log;
        DB db(dir.path());
        EXPECT_TRUE(db.queue());
        EXPECT_TRUE(log.contains(QStringLiteral("DB Error: 5 \"database is locked\"")));
        EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("DB error: database is locked")));
    }
    ASSERT_TRUE(holder->executeStatements(QStringLiteral("ROLLBACK;")));
    holder->close();
    EXPECT_EQ(fileBytes(dbPath(dir.path())), before);

    { DB db(dir.path()); }
    EXPECT_EQ(trackPath(dir.path()), QStringLiteral("/m/a.flac"));
}
