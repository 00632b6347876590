#include "DB.h"

#include "MediaFactory.h"
#include "StorageTestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using namespace Qt::StringLiterals;

namespace {

// The schema a new file gets, which every climb must reach.
QStringList finalSchema() {
    QTemporaryDir dir;
    { DB db(dir.path()); }
    return schemaOf(dir.filePath(DB::fileName()));
}

QString dbPath(const QTemporaryDir& dir) { return dbPathIn(dir.path()); }

}  // namespace

TEST(Migrations, NewFileClimbsToTheFinalSchemaInOneTransaction) {
    QTemporaryDir dir;
    LogCapture log;
    { DB db(dir.path()); }

    // The constraints the storage code relies on.
    const QStringList schema = schemaOf(dbPath(dir));
    for (const char* line :
         {"  index ix_track_path 1 (path)", "  index ix_tokens_token 1 (token)", "  index ix_playlist_order 1 (order)",
          "  foreign key track_id tracks id CASCADE", "  foreign key token_id tokens id CASCADE",
          "  foreign key track_id tracks id NO ACTION"}) {
        EXPECT_TRUE(schema.contains(QLatin1String(line))) << line;
    }
    EXPECT_EQ(userVersionOf(dbPath(dir)), 36);
    QStringList expected = {u"DB schema: 0 / 36"_s};
    for (int version = 1; version <= 36; ++version) expected.append(u"DB migrated to %1"_s.arg(version));
    EXPECT_EQ(log.lines(QtInfoMsg), expected);
    EXPECT_TRUE(log.lines(QtCriticalMsg).isEmpty());
    // The rename that step 9 already made fails inside SQLite without failing the climb.
    EXPECT_TRUE(log.contains(u"DB Query: ALTER TABLE tracks RENAME COLUMN 'rate' to 'bitRate';"_s));
    EXPECT_EQ(filesIn(dir.path()), QStringList({DB::fileName()}));
}

TEST(Migrations, EveryOlderVersionClimbsToTheFinalSchemaAfterABackup) {
    const QStringList target = finalSchema();
    for (int version = 1; version < DB::kSchemaVersion; ++version) {
        SCOPED_TRACE(version);
        QTemporaryDir dir;
        { DB db(dir.path(), version); }
        ASSERT_EQ(userVersionOf(dbPath(dir)), version);
        const auto before = MediaFactory::readAll(dbPath(dir));
        ASSERT_TRUE(before);
        { DB db(dir.path()); }
        EXPECT_EQ(userVersionOf(dbPath(dir)), 36);
        EXPECT_EQ(schemaOf(dbPath(dir)), target);
        EXPECT_EQ(MediaFactory::readAll(dbPath(dir) + u".bak.%1"_s.arg(version)), before);
    }
}

TEST(Migrations, RowsKeepTheirValuesAndPlaylistIdsAndOrder) {
    QTemporaryDir dir;
    { DB db(dir.path(), 12); }
    {
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db);
        ASSERT_TRUE(db->executeStatements(QStringLiteral(
            "INSERT INTO metadata (id, path, size, timestamp, track, title, artist, album, duration, bitRate, "
            "sampleRate, channels, status) VALUES "
            "(1, '/m/a.flac', 100, 5, 1, 'A', 'X', 'L', 60, 900, 44100, 2, 1), "
            "(2, '/m/b.mp3', 200, 6, NULL, NULL, NULL, NULL, 70, 320, 48000, 1, 0), "
            "(5, '/m/c.m4a', 300, 7, 3, 'C', 'Z', 'L', 80, 256, 0, 0, 1);"
            "INSERT INTO playlist (id, metadata_id, \"order\") VALUES (7, 2, 5), (3, 1, 0), (12, 5, 9), (20, 2, 1);")));
    }
    { DB db(dir.path()); }

    auto db = SQLiteDatabase::open(dbPath(dir));
    ASSERT_TRUE(db);
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT group_concat(id || ':' || track_id || ':' || \"order\", ' ') AS v "
                                         "FROM (SELECT * FROM playlist ORDER BY id)")),
              u"3:1:0 7:2:5 12:5:9 20:2:1"_s);
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT group_concat(id || ':' || path || ':' || bitRate || ':' || sampleRate "
                                         "|| ':' || channels || ':' || status || ':' || ifnull(folder, '-') || ':' "
                                         "|| metaVersion || ':' || ifnull(title, '-'), ' ') AS v "
                                         "FROM (SELECT * FROM tracks ORDER BY id)")),
              QStringLiteral("1:/m/a.flac:900:44100:2:1:-:0:A 2:/m/b.mp3:320:48000:1:0:-:0:- "
                             "5:/m/c.m4a:256:0:0:1:-:0:C"));
}

TEST(Migrations, FailedClimbRollsEverythingBackAndKeepsTheFirstBackup) {
    QTemporaryDir dir;
    const QStringList target = finalSchema();
    { DB db(dir.path(), 12); }
    {
        // A column that a later step adds makes that step fail.
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db && db->executeStatements(u"ALTER TABLE metadata ADD COLUMN metaVersion integer;"_s));
    }
    const auto original = MediaFactory::readAll(dbPath(dir));
    const QStringList originalSchema = schemaOf(dbPath(dir));
    ASSERT_TRUE(original);
    const QString backup = dbPath(dir) + u".bak.12"_s;
    {
        LogCapture log;
        { DB db(dir.path()); }
        EXPECT_EQ(log.lines(QtCriticalMsg), QStringList({u"DB error: duplicate column name: metaVersion"_s,
                                                         u"DB migration to 33 failed, rolling back"_s}));
        EXPECT_EQ(MediaFactory::readAll(dbPath(dir)), original);
        EXPECT_EQ(MediaFactory::readAll(backup), original);
    }
    {
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db && db->executeStatements(QStringLiteral("INSERT INTO metadata (path, size, timestamp, duration, "
                                                               "bitRate) VALUES ('/m/new.flac', 1, 2, 3, 4);")));
    }
    { DB db(dir.path()); }
    EXPECT_EQ(userVersionOf(dbPath(dir)), 12);
    EXPECT_EQ(schemaOf(dbPath(dir)), originalSchema);
    EXPECT_EQ(MediaFactory::readAll(backup), original);

    {
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db && db->executeStatements(u"ALTER TABLE metadata DROP COLUMN metaVersion;"_s));
    }
    { DB db(dir.path()); }
    EXPECT_EQ(userVersionOf(dbPath(dir)), 36);
    EXPECT_EQ(schemaOf(dbPath(dir)), target);
    auto db = SQLiteDatabase::open(dbPath(dir));
    ASSERT_TRUE(db);
    EXPECT_EQ(scalar(*db, u"SELECT path AS v FROM tracks"_s), u"/m/new.flac"_s);
    EXPECT_EQ(MediaFactory::readAll(backup), original);
}

TEST(Migrations, CurrentAndNewerFilesAreLeftAlone) {
    for (const int version : {36, 37, -1}) {
        SCOPED_TRACE(version);
        QTemporaryDir dir;
        { DB db(dir.path()); }
        {
            auto db = SQLiteDatabase::open(dbPath(dir));
            ASSERT_TRUE(db && db->executeStatements(u"PRAGMA user_version = %1;"_s.arg(version)));
        }
        const auto before = MediaFactory::readAll(dbPath(dir));
        LogCapture log;
        { DB db(dir.path()); }
        EXPECT_EQ(log.lines(), QStringList({u"DB schema: %1 / 36"_s.arg(quint32(version))}));
        EXPECT_EQ(MediaFactory::readAll(dbPath(dir)), before);
        EXPECT_EQ(filesIn(dir.path()), QStringList({DB::fileName()}));
    }
}

TEST(Migrations, OldLogFileIsRemovedOnTheWayUp) {
    QTemporaryDir dir;
    const auto write = [&](const QString& name) {
        QFile file(dir.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write("line\n") == 5;
    };
    ASSERT_TRUE(write(u"Log.txt"_s) && write(u"Other.txt"_s));
    { DB db(dir.path(), 31); }
    EXPECT_TRUE(QFile::exists(dir.filePath(u"Log.txt"_s)));
    { DB db(dir.path()); }
    EXPECT_FALSE(QFile::exists(dir.filePath(u"Log.txt"_s)));
    EXPECT_TRUE(QFile::exists(dir.filePath(u"Other.txt"_s)));
}
