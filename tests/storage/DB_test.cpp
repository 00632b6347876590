#include "MediaFactory.h"
#include "StorageTestSupport.h"

#include <QDir>
#include <QFile>

#include <cstdlib>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using namespace Qt::StringLiterals;

namespace {

// Every column, foreign key and index of every table, one sorted line each, read back from
// SQLite rather than from the stored SQL texts.
const QString kSchema = QStringLiteral(
    "SELECT t.name || ' column ' || c.name || ' ' || c.type || ' ' || c.\"notnull\" || ' ' || "
    "ifnull(c.dflt_value, '-') || ' ' || c.pk AS v FROM sqlite_master t, pragma_table_info(t.name) c "
    "WHERE t.type = 'table' "
    "UNION ALL SELECT t.name || ' foreign key ' || f.\"from\" || ' ' || f.\"table\" || ' ' || f.\"to\" || ' ' || "
    "f.on_delete FROM sqlite_master t, pragma_foreign_key_list(t.name) f WHERE t.type = 'table' "
    "UNION ALL SELECT t.name || ' index ' || i.name || ' ' || i.\"unique\" || ' (' || "
    "(SELECT group_concat(name, ', ') FROM pragma_index_info(i.name)) || ')' "
    "FROM sqlite_master t, pragma_index_list(t.name) i WHERE t.type = 'table' AND i.origin = 'c' ORDER BY 1");

QStringList filesIn(const QString& dir) { return QDir(dir).entryList(QDir::Files, QDir::Name); }

bool execute(const QString& path, const QString& sql) {
    auto db = SQLiteDatabase::open(path);
    return db && db->executeStatements(sql);
}
QString versionOf(const QString& path) { return query(path, u"SELECT user_version AS v FROM pragma_user_version"_s).value(0); }

// The schema a new file gets, which every climb must reach.
QStringList finalSchema() {
    QTemporaryDir dir;
    { DB db(dir.path()); }
    return query(dbPathIn(dir.path()), kSchema);
}

// A file at version 12 with one track row.
QString makeOldFile(const QString& dir) {
    { DB db(dir, 12); }
    EXPECT_TRUE(execute(dbPathIn(dir), u"INSERT INTO metadata (path, size, timestamp, duration, bitRate) VALUES "
                                       "('/m/a.flac', 1, 2, 3, 4);"_s));
    return dbPathIn(dir);
}

}  // namespace

TEST(DB, DataDirectoryFollowsXdgDataHomeAndIsMadeWithItsParents) {
    QTemporaryDir dir;
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    const QString home = dir.filePath(u"a/b"_s);
    setenv("XDG_DATA_HOME", QFile::encodeName(home).constData(), 1);
    {
        DB db;
        EXPECT_TRUE(db.isOpen());
        EXPECT_EQ(db.path(), dbPathIn(home + u"/Sonvale"_s));
    }
    setenv("XDG_DATA_HOME", saved.constData(), 1);
    EXPECT_TRUE(QFile::exists(dbPathIn(home + u"/Sonvale"_s)));

    const QString given = dir.filePath(u"x/y"_s);
    { DB db(given); }
    EXPECT_TRUE(QFile::exists(dbPathIn(given)));
}

TEST(DB, DatabaseLockedByAnotherConnectionIsLeftAsItIs) {
    QTemporaryDir dir;
    const QString path = makeOldFile(dir.path());
    const auto before = MediaFactory::readAll(path);
    auto holder = SQLiteDatabase::open(path);
    ASSERT_TRUE(holder && holder->executeStatements(u"BEGIN EXCLUSIVE;"_s));
    {
        LogCapture log;
        DB db(dir.path());
        EXPECT_TRUE(db.isOpen());
        EXPECT_TRUE(log.contains(u"DB Error: 5 \"database is locked\""_s));
        EXPECT_TRUE(log.contains(QtCriticalMsg, u"DB migration could not start a transaction"_s));
    }
    ASSERT_TRUE(holder->executeStatements(u"ROLLBACK;"_s));
    holder->close();
    EXPECT_EQ(MediaFactory::readAll(path), before);

    { DB db(dir.path()); }
    EXPECT_EQ(query(path, u"SELECT path AS v FROM tracks"_s), QStringList{u"/m/a.flac"_s});
}

// Also: the log file of old versions goes, other files in the directory stay.
TEST(Migrations, NewFileClimbsToTheFinalSchemaInOneTransaction) {
    QTemporaryDir dir;
    for (const QString& name : {u"Log.txt"_s, u"Other.txt"_s}) {
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    LogCapture log;
    { DB db(dir.path()); }

    // The constraints the storage code relies on.
    const QStringList schema = query(dbPathIn(dir.path()), kSchema);
    for (const char* line : {"tracks index ix_track_path 1 (path)", "tokens index ix_tokens_token 1 (token)",
                             "playlist index ix_playlist_order 1 (order)", "occurences foreign key track_id tracks id CASCADE",
                             "occurences foreign key token_id tokens id CASCADE",
                             "playlist foreign key track_id tracks id NO ACTION"}) {
        EXPECT_TRUE(schema.contains(QLatin1String(line))) << line;
    }
    EXPECT_EQ(versionOf(dbPathIn(dir.path())), u"36"_s);
    QStringList expected = {u"DB schema: 0 / 36"_s};
    for (int version = 1; version <= 36; ++version) expected.append(u"DB migrated to %1"_s.arg(version));
    EXPECT_EQ(log.lines(QtInfoMsg), expected);
    EXPECT_TRUE(log.lines(QtCriticalMsg).isEmpty());
    EXPECT_EQ(filesIn(dir.path()), QStringList({u"Other.txt"_s, DB::fileName()}));
}

TEST(Migrations, EveryOlderVersionClimbsToTheFinalSchemaAfterABackup) {
    const QStringList target = finalSchema();
    for (int version = 1; version < DB::kSchemaVersion; ++version) {
        SCOPED_TRACE(version);
        QTemporaryDir dir;
        const QString path = dbPathIn(dir.path());
        { DB db(dir.path(), version); }
        ASSERT_EQ(versionOf(path), QString::number(version));
        const auto before = MediaFactory::readAll(path);
        ASSERT_TRUE(before);
        { DB db(dir.path()); }
        EXPECT_EQ(versionOf(path), u"36"_s);
        EXPECT_EQ(query(path, kSchema), target);
        EXPECT_EQ(MediaFactory::readAll(path + u".bak.%1"_s.arg(version)), before);
    }
}

TEST(Migrations, RowsKeepTheirValuesAndPlaylistIdsAndOrder) {
    QTemporaryDir dir;
    const QString path = dbPathIn(dir.path());
    { DB db(dir.path(), 12); }
    ASSERT_TRUE(execute(path, QStringLiteral(
        "INSERT INTO metadata (id, path, size, timestamp, track, title, artist, album, duration, bitRate, sampleRate, "
        "channels, status) VALUES (1, '/m/a.flac', 100, 5, 1, 'A', 'X', 'L', 60, 900, 44100, 2, 1), "
        "(2, '/m/b.mp3', 200, 6, NULL, NULL, NULL, NULL, 70, 320, 48000, 1, 0), "
        "(5, '/m/c.m4a', 300, 7, 3, 'C', 'Z', 'L', 80, 256, 0, 0, 1);"
        "INSERT INTO playlist (id, metadata_id, \"order\") VALUES (7, 2, 5), (3, 1, 0), (12, 5, 9), (20, 2, 1);")));
    { DB db(dir.path()); }

    EXPECT_EQ(query(path, u"SELECT id || ':' || track_id || ':' || \"order\" AS v FROM playlist ORDER BY id"_s),
              QStringList({u"3:1:0"_s, u"7:2:5"_s, u"12:5:9"_s, u"20:2:1"_s}));
    EXPECT_EQ(query(path, QStringLiteral("SELECT id || ':' || path || ':' || bitRate || ':' || sampleRate || ':' || "
                                         "channels || ':' || status || ':' || ifnull(folder, '-') || ':' || "
                                         "metaVersion || ':' || ifnull(title, '-') AS v FROM tracks ORDER BY id")),
              QStringList({u"1:/m/a.flac:900:44100:2:1:-:0:A"_s, u"2:/m/b.mp3:320:48000:1:0:-:0:-"_s,
                           u"5:/m/c.m4a:256:0:0:1:-:0:C"_s}));
}

// The backup is never replaced: after a failed climb and a later successful one it still holds
// the file as it was before the first attempt.
TEST(Migrations, FailedClimbRollsEverythingBackAndKeepsTheFirstBackup) {
    QTemporaryDir dir;
    const QString path = dbPathIn(dir.path());
    { DB db(dir.path(), 12); }
    // A column that a later step adds makes that step fail.
    ASSERT_TRUE(execute(path, u"ALTER TABLE metadata ADD COLUMN metaVersion integer;"_s));
    const auto original = MediaFactory::readAll(path);
    ASSERT_TRUE(original);
    {
        LogCapture log;
        { DB db(dir.path()); }
        EXPECT_EQ(log.lines(QtCriticalMsg), QStringList({u"DB error: duplicate column name: metaVersion"_s,
                                                         u"DB migration to 33 failed, rolling back"_s}));
        EXPECT_EQ(MediaFactory::readAll(path), original);
        EXPECT_EQ(MediaFactory::readAll(path + u".bak.12"_s), original);
    }

    ASSERT_TRUE(execute(path, u"INSERT INTO metadata (path, size, timestamp, duration, bitRate) VALUES "
                              "('/m/new.flac', 1, 2, 3, 4); ALTER TABLE metadata DROP COLUMN metaVersion;"_s));
    { DB db(dir.path()); }
    EXPECT_EQ(versionOf(path), u"36"_s);
    EXPECT_EQ(query(path, kSchema), finalSchema());
    EXPECT_EQ(query(path, u"SELECT path AS v FROM tracks"_s), QStringList{u"/m/new.flac"_s});
    EXPECT_EQ(MediaFactory::readAll(path + u".bak.12"_s), original);
}

TEST(Migrations, CurrentAndNewerFilesAreLeftAlone) {
    for (const int version : {36, 37, -1}) {
        SCOPED_TRACE(version);
        QTemporaryDir dir;
        { DB db(dir.path()); }
        ASSERT_TRUE(execute(dbPathIn(dir.path()), u"PRAGMA user_version = %1;"_s.arg(version)));
        const auto before = MediaFactory::readAll(dbPathIn(dir.path()));
        LogCapture log;
        { DB db(dir.path()); }
        EXPECT_EQ(log.lines(), QStringList({u"DB schema: %1 / 36"_s.arg(quint32(version))}));
        EXPECT_EQ(MediaFactory::readAll(dbPathIn(dir.path())), before);
        EXPECT_EQ(filesIn(dir.path()), QStringList({DB::fileName()}));
    }
}
