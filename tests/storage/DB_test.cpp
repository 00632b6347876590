#include "DB.h"

#include "MediaFactory.h"
#include "StorageTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using namespace Qt::StringLiterals;

namespace {

// A file at version 12 with one track row.
void makeOldFile(const QString& dir) {
    { DB db(dir, 12); }
    auto db = SQLiteDatabase::open(dbPathIn(dir));
    ASSERT_TRUE(db && db->executeStatements(QStringLiteral(
                          "INSERT INTO metadata (path, size, timestamp, duration, bitRate) VALUES ('/m/a.flac', 1, 2, 3, 4);")));
}

}  // namespace

TEST(DB, DataDirectoryFollowsXdgDataHomeAndIsMadeWithItsParents) {
    QTemporaryDir dir;
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    const QString home = dir.filePath(u"a/b"_s);
    setenv("XDG_DATA_HOME", QFile::encodeName(home).constData(), 1);
    {
        DB db;
        EXPECT_TRUE(db.queue());
        EXPECT_EQ(db.path(), dbPathIn(home + u"/Sonvale"_s));
    }
    setenv("XDG_DATA_HOME", saved.constData(), 1);
    EXPECT_TRUE(QFile::exists(dbPathIn(home + u"/Sonvale"_s)));

    const QString given = dir.filePath(u"x/y"_s);
    { DB db(given); }
    EXPECT_TRUE(QFile::exists(dbPathIn(given)));
}

TEST(DB, FileThatIsNotADatabaseIsLeftAsItIs) {
    QTemporaryDir dir;
    const QByteArray garbage = QByteArray("not a database, just some text ").repeated(512);
    {
        QFile file(dbPathIn(dir.path()));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(garbage) == garbage.size());
    }
    LogCapture log;
    { DB db(dir.path()); }
    EXPECT_EQ(MediaFactory::readAll(dbPathIn(dir.path())), garbage);
    EXPECT_EQ(filesIn(dir.path()), QStringList({DB::fileName()}));
    EXPECT_TRUE(log.contains(u"DB Error: 26 \"file is not a database\""_s));
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"DB migration to 1 failed, rolling back"_s));
}

TEST(DB, ReadOnlyDataDirectoryLosesNothing) {
    QTemporaryDir root;
    // Reachable by the unprivileged user that the checks below run as.
    ASSERT_TRUE(QFile::setPermissions(root.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                       QFile::ReadOther | QFile::WriteOther | QFile::ExeOther));
    WithoutFilePrivileges unprivileged;
    if (!unprivileged.active()) GTEST_SKIP() << "file-system privileges cannot be dropped";
    const QFileDevice::Permissions readOnly = QFile::ReadOwner | QFile::ExeOwner;

    const QString empty = root.filePath(u"empty"_s);
    ASSERT_TRUE(QDir().mkdir(empty) && QFile::setPermissions(empty, readOnly));
    {
        LogCapture log;
        DB db(empty);
        EXPECT_FALSE(db.queue());
        EXPECT_EQ(log.lines(),
                  QStringList({u"error opening!: 14"_s, u"Could not create database queue for path "_s + db.path()}));
        EXPECT_TRUE(filesIn(empty).isEmpty());
    }

    const QString old = root.filePath(u"old"_s);
    makeOldFile(old);
    const auto before = MediaFactory::readAll(dbPathIn(old));
    ASSERT_TRUE(QFile::setPermissions(old, readOnly));
    {
        LogCapture log;
        DB db(old);
        EXPECT_TRUE(db.queue());
        EXPECT_TRUE(log.contains(QtCriticalMsg, u"DB migration to 13 failed, rolling back"_s));
    }
    EXPECT_EQ(MediaFactory::readAll(dbPathIn(old)), before);
    EXPECT_EQ(filesIn(old), QStringList({DB::fileName()}));
    QFile::setPermissions(old, readOnly | QFile::WriteOwner);
    QFile::setPermissions(empty, readOnly | QFile::WriteOwner);
}

TEST(DB, DatabaseLockedByAnotherConnectionIsLeftAsItIs) {
    QTemporaryDir dir;
    makeOldFile(dir.path());
    const auto before = MediaFactory::readAll(dbPathIn(dir.path()));
    auto holder = SQLiteDatabase::open(dbPathIn(dir.path()));
    ASSERT_TRUE(holder && holder->executeStatements(u"BEGIN EXCLUSIVE;"_s));
    {
        LogCapture log;
        DB db(dir.path());
        EXPECT_TRUE(db.queue());
        EXPECT_TRUE(log.contains(QtCriticalMsg, u"DB error: database is locked"_s));
    }
    ASSERT_TRUE(holder->executeStatements(u"ROLLBACK;"_s));
    holder->close();
    EXPECT_EQ(MediaFactory::readAll(dbPathIn(dir.path())), before);

    { DB db(dir.path()); }
    auto migrated = SQLiteDatabase::open(dbPathIn(dir.path()));
    ASSERT_TRUE(migrated);
    EXPECT_EQ(column(*migrated, u"SELECT path AS v FROM tracks"_s), QStringList{u"/m/a.flac"_s});
}
