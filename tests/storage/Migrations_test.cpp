#include "DB.h"

#include "StorageTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::SQLiteDatabase;

namespace {

// The tables of the current schema as SQLite reports them: columns (name, type, not null,
// default, primary key), foreign keys (column, table, column, on delete) and indexes (name,
// unique, keys).
const QStringList kFinalSchema = {
    QStringLiteral("table chapters"),
    QStringLiteral("  column id INTEGER 1 - 1"),
    QStringLiteral("  column track_id INTEGER 1 - 0"),
    QStringLiteral("  column index INTEGER 1 - 0"),
    QStringLiteral("  column start REAL 1 - 0"),
    QStringLiteral("  column end REAL 1 - 0"),
    QStringLiteral("  column title varchar(255) 0 - 0"),
    QStringLiteral("  foreign key track_id tracks id NO ACTION"),
    QStringLiteral("  index ix_chapters_track 0 (track_id, index)"),
    QStringLiteral("table folders"),
    QStringLiteral("  column id INTEGER 1 - 1"),
    QStringLiteral("  column path varchar(1024) 1 - 0"),
    QStringLiteral("  column lastCompletedScan INTEGER 0 - 0"),
    QStringLiteral("table lyrics"),
    QStringLiteral("  column track_id INTEGER 1 - 1"),
    QStringLiteral("  column text TEXT 1 - 0"),
    QStringLiteral("  foreign key track_id tracks id NO ACTION"),
    QStringLiteral("table occurences"),
    QStringLiteral("  column token_id INTEGER 1 - 0"),
    QStringLiteral("  column track_id INTEGER 1 - 0"),
    QStringLiteral("  foreign key track_id tracks id CASCADE"),
    QStringLiteral("  foreign key token_id tokens id CASCADE"),
    QStringLiteral("  index ix_occurences_token 0 (token_id)"),
    QStringLiteral("  index ix_occurences_track 0 (track_id)"),
    QStringLiteral("table playlist"),
    QStringLiteral("  column id INTEGER 1 - 1"),
    QStringLiteral("  column track_id INTEGER 1 - 0"),
    QStringLiteral("  column order INTEGER 1 - 0"),
    QStringLiteral("  foreign key track_id tracks id NO ACTION"),
    QStringLiteral("  index ix_playlist_order 1 (order)"),
    QStringLiteral("  index ix_playlist_track 0 (track_id)"),
    QStringLiteral("table sqlite_sequence"),
    QStringLiteral("  column name  0 - 0"),
    QStringLiteral("  column seq  0 - 0"),
    QStringLiteral("table tokens"),
    QStringLiteral("  column id INTEGER 1 - 1"),
    QStringLiteral("  column token varchar(1024) 1 - 0"),
    QStringLiteral("  index ix_tokens_token 1 (token)"),
    QStringLiteral("table tracks"),
    QStringLiteral("  column id INTEGER 1 - 1"),
    QStringLiteral("  column path varchar(1500) 1 - 0"),
    QStringLiteral("  column size INTEGER 1 - 0"),
    QStringLiteral("  column timestamp INTEGER 1 - 0"),
    QStringLiteral("  column track INTEGER 0 - 0"),
    QStringLiteral("  column title varchar(255) 0 - 0"),
    QStringLiteral("  column artist varchar(255) 0 - 0"),
    QStringLiteral("  column album varchar(255) 0 - 0"),
    QStringLiteral("  column duration INTEGER 1 - 0"),
    QStringLiteral("  column bitRate INTEGER 1 - 0"),
    QStringLiteral("  column sampleRate INTEGER 1 0 0"),
    QStringLiteral("  column channels INTEGER 1 0 0"),
    QStringLiteral("  column status INTEGER 1 0 0"),
    QStringLiteral("  column folder INTEGER 0 - 0"),
    QStringLiteral("  column metaVersion INTEGER 1 0 0"),
    QStringLiteral("  index ix_track_path 1 (path)"),
};

QString dbPath(const QTemporaryDir& dir) {
    return dir.filePath(DB::fileName());
}

qint64 userVersionOf(const QString& path) {
    auto db = SQLiteDatabase::open(path);
    return db ? db->userVersion() : -1;
}

QStringList entriesOf(const QTemporaryDir& dir) {
    return QDir(dir.path()).entryList(QDir::Files, QDir::Name);
}

}  // namespace

TEST(Migrations, NewFileClimbsToTheFinalSchemaInOneTransaction) {
    QTemporaryDir dir;
    LogCapture log;
    { DB db(dir.path()); }

    EXPECT_EQ(schemaOf(dbPath(dir)), kFinalSchema);
    EXPECT_EQ(userVersionOf(dbPath(dir)), 36);
    QStringList expected = {QStringLiteral("DB schema: 0 / 36")};
    for (int version = 1; version <= 36; ++version) expected.append(QStringLiteral("DB migrated to %1").arg(version));
    EXPECT_EQ(log.lines(QtInfoMsg), expected);
    EXPECT_TRUE(log.lines(QtCriticalMsg).isEmpty());
    // The rename that step 9 already made fails inside SQLite without failing the climb.
    EXPECT_TRUE(log.contains(QStringLiteral("DB Query: ALTER TABLE tracks RENAME COLUMN 'rate' to 'bitRate';")));
    EXPECT_EQ(entriesOf(dir), QStringList({DB::fileName()}));
}

TEST(Migrations, EveryOlderVersionClimbsToTheFinalSchemaAfterABackup) {
    for (int version = 1; version < DB::kSchemaVersion; ++version) {
        SCOPED_TRACE(version);
        QTemporaryDir dir;
        { DB db(dir.path(), version); }
        ASSERT_EQ(userVersionOf(dbPath(dir)), version);
        const auto before = fileBytes(dbPath(dir));
        ASSERT_TRUE(before);
        { DB db(dir.path()); }
        EXPECT_EQ(userVersionOf(dbPath(dir)), 36);
        EXPECT_EQ(schemaOf(dbPath(dir)), kFinalSchema);
        EXPECT_EQ(fileBytes(dbPath(dir) + QStringLiteral(".bak.%1").arg(version)), before);
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
              QStringLiteral("3:1:0 7:2:5 12:5:9 20:2:1"));
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT group_concat(id || ':' || path || ':' || bitRate || ':' || sampleRate "
                                         "|| ':' || channels || ':' || status || ':' || ifnull(folder, '-') || ':' "
                                         "|| metaVersion || ':' || ifnull(title, '-'), ' ') AS v "
                                         "FROM (SELECT * FROM tracks ORDER BY id)")),
              QStringLiteral("1:/m/a.flac:900:44100:2:1:-:0:A 2:/m/b.mp3:320:48000:1:0:-:0:- "
                             "5:/m/c.m4a:256:0:0:1:-:0:C"));
}

TEST(Migrations, FailedClimbRollsEverythingBackAndKeepsTheFirstBackup) {
    QTemporaryDir dir;
    { DB db(dir.path(), 12); }
    {
        // A column that a later step adds makes that step fail.
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db && db->executeStatements(QStringLiteral("ALTER TABLE metadata ADD COLUMN metaVersion integer;")));
    }
    const auto original = fileBytes(dbPath(dir));
    const QStringList originalSchema = schemaOf(dbPath(dir));
    ASSERT_TRUE(original);
    const QString backup = dbPath(dir) + QStringLiteral(".bak.12");
    {
        LogCapture log;
        { DB db(dir.path()); }
        EXPECT_EQ(log.lines(QtCriticalMsg), QStringList({QStringLiteral("DB error: duplicate column name: metaVersion"),
                                                         QStringLiteral("DB migration to 33 failed, rolling back")}));
        EXPECT_EQ(fileBytes(dbPath(dir)), original);
        EXPECT_EQ(fileBytes(backup), original);
    }
    {
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db && db->executeStatements(QStringLiteral("INSERT INTO metadata (path, size, timestamp, duration, "
                                                               "bitRate) VALUES ('/m/new.flac', 1, 2, 3, 4);")));
    }
    { DB db(dir.path()); }
    EXPECT_EQ(userVersionOf(dbPath(dir)), 12);
    EXPECT_EQ(schemaOf(dbPath(dir)), originalSchema);
    EXPECT_EQ(fileBytes(backup), original);

    {
        auto db = SQLiteDatabase::open(dbPath(dir));
        ASSERT_TRUE(db && db->executeStatements(QStringLiteral("ALTER TABLE metadata DROP COLUMN metaVersion;")));
    }
    { DB db(dir.path()); }
    EXPECT_EQ(userVersionOf(dbPath(dir)), 36);
    EXPECT_EQ(schemaOf(dbPath(dir)), kFinalSchema);
    auto db = SQLiteDatabase::open(dbPath(dir));
    ASSERT_TRUE(db);
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT path AS v FROM tracks")), QStringLiteral("/m/new.flac"));
    EXPECT_EQ(fileBytes(backup), original);
}

TEST(Migrations, CurrentAndNewerFilesAreLeftAlone) {
    for (const int version : {36, 37, -1}) {
        SCOPED_TRACE(version);
        QTemporaryDir dir;
        { DB db(dir.path()); }
        {
            auto db = SQLiteDatabase::open(dbPath(dir));
            ASSERT_TRUE(db && db->executeStatements(QStringLiteral("PRAGMA user_version = %1;").arg(version)));
        }
        const auto before = fileBytes(dbPath(dir));
        LogCapture log;
        { DB db(dir.path()); }
        EXPECT_EQ(log.lines(), QStringList({QStringLiteral("DB schema: %1 / 36").arg(quint32(version))}));
        EXPECT_EQ(fileBytes(dbPath(dir)), before);
        EXPECT_EQ(entriesOf(dir), QStringList({DB::fileName()}));
    }
}

TEST(Migrations, OldLogFileIsRemovedOnTheWayUp) {
    QTemporaryDir dir;
    const auto write = [&](const QString& name) {
        QFile file(dir.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write("line\n") == 5;
    };
    ASSERT_TRUE(write(QStringLiteral("Log.txt")) && write(QStringLiteral("Other.txt")));
    { DB db(dir.path(), 31); }
    EXPECT_TRUE(QFile::exists(dir.filePath(QStringLiteral("Log.txt"))));
    { DB db(dir.path()); }
    EXPECT_FALSE(QFile::exists(dir.filePath(QStringLiteral("Log.txt"))));
    EXPECT_TRUE(QFile::exists(dir.filePath(QStringLiteral("Other.txt"))));
}
