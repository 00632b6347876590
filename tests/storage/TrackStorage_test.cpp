#include "DB.h"

#include "StorageTestSupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::Chapter;
using sonvale::DB;
using sonvale::SQLValue;
using sonvale::Track;
using sonvale::TrackRef;
using sonvale::TrackStatus;
using namespace Qt::StringLiterals;

namespace {

const QString kComposed = u"/m/Caf\u00e9/Beyonc\u00e9.flac"_s;
const QString kDecomposed = u"/m/Cafe\u0301/Beyonce\u0301.flac"_s;

class TrackStorageTest : public testing::Test {
protected:
    QTemporaryDir dir;
    DB db{dir.path()};
    LogCapture log;
};

// A record with every stored field set, texts written decomposed.
Track fullTrack(const TrackRef& inserted, qint64 folder) {
    Track track = *inserted;
    track.status = TrackStatus::scanned;
    track.folder = folder;
    track.title = u"Cafe\u0301 Song"_s;
    track.artist = u"A / B"_s;
    track.album = u"Album"_s;
    track.track = u"7"_s;
    track.duration = 183.25;
    track.bitRate = 320000;
    track.channels = 2;
    track.sampleRate = 44100;
    track.size = 7340032;
    track.timestamp = 1700000000;
    track.metaVersion = 3;
    track.lyrics = u"la la e\u0301"_s;
    track.chapters = {Chapter{0, 12.5, u"Intro\u0301"_s}, Chapter{12.5, 183.25, QString()}};
    return track;
}

}  // namespace

TEST_F(TrackStorageTest, ComposedAndDecomposedPathsNameTheSameRecord) {
    const TrackRef inserted = db.insertTrack(kDecomposed);
    ASSERT_TRUE(inserted);
    EXPECT_EQ(inserted->path, kDecomposed);
    EXPECT_EQ(inserted->status, TrackStatus::none);
    EXPECT_EQ(columnOf(db, u"SELECT path AS v FROM tracks"_s), QStringList{kComposed});

    for (const QString& spelling : {kComposed, kDecomposed}) {
        const TrackRef found = db.track(spelling);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->pk, inserted->pk);
        EXPECT_EQ(found->path, kComposed);
    }
    EXPECT_FALSE(db.track(u"/m/other.flac"_s));
}

TEST_F(TrackStorageTest, UpdateStoresEveryFieldAndRewritesLyricsAndChapters) {
    ASSERT_TRUE(exec(db, u"INSERT INTO folders (path) VALUES ('/m');"_s));
    const TrackRef inserted = db.insertTrack(kComposed);
    ASSERT_TRUE(inserted);
    const Track written = fullTrack(inserted, 1);
    db.updateTrack(written);

    const TrackRef read = db.track(kComposed);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->pk, written.pk);
    EXPECT_EQ(read->status, TrackStatus::scanned);
    EXPECT_EQ(read->path, kComposed);
    EXPECT_EQ(read->folder, 1);
    EXPECT_EQ(read->title, u"Caf\u00e9 Song"_s);
    EXPECT_EQ(QStringList({read->artist, read->album, read->track}),
              QStringList({written.artist, written.album, written.track}));
    EXPECT_DOUBLE_EQ(read->duration, written.duration);
    EXPECT_EQ(std::tie(read->bitRate, read->channels, read->sampleRate, read->size, read->timestamp, read->metaVersion),
              std::tie(written.bitRate, written.channels, written.sampleRate, written.size, written.timestamp,
                       written.metaVersion));
    // The row carries no lyrics or chapters; they live in their own tables.
    EXPECT_FALSE(read->lyrics);
    EXPECT_TRUE(read->chapters.isEmpty());
    EXPECT_EQ(columnOf(db, u"SELECT text AS v FROM lyrics WHERE track_id = ?"_s, {SQLValue::integer(written.pk)}),
              QStringList{u"la la \u00e9"_s});
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT `index` || ' ' || `start` || ' ' || `end` || ' ' || "
                                          "ifnull(title, 'NULL') AS v FROM chapters ORDER BY `index`")),
              QStringList({u"0 0.0 12.5 Intr\u00f3"_s, u"1 12.5 183.25 NULL"_s}));

    // Absent texts become NULL; lyrics and chapters are replaced, not added.
    Track cleared = written;
    cleared.folder = 0;
    cleared.title = cleared.artist = cleared.album = cleared.track = QString();
    cleared.lyrics.reset();
    cleared.chapters = {Chapter{1, 2, u"Only"_s}};
    db.updateTrack(cleared);
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT ifnull(folder, 'NULL') || ifnull(title, 'NULL') || "
                                          "ifnull(artist, 'NULL') || ifnull(album, 'NULL') || ifnull(track, 'NULL') "
                                          "AS v FROM tracks")),
              QStringList{u"NULLNULLNULLNULLNULL"_s});
    EXPECT_TRUE(columnOf(db, u"SELECT text AS v FROM lyrics"_s).isEmpty());
    EXPECT_EQ(columnOf(db, u"SELECT title AS v FROM chapters"_s), QStringList{u"Only"_s});
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}

TEST_F(TrackStorageTest, FailedInsertIsLoggedAndHandsBackTheConnectionsLastRowId) {
    DB other(dir.path());
    ASSERT_TRUE(db.insertTrack(u"/m/a.flac"_s));
    // Nothing inserted yet on this connection: the id is 0.
    EXPECT_FALSE(other.insertTrack(u"/m/a.flac"_s));
    EXPECT_TRUE(
        log.contains(QtCriticalMsg, QStringLiteral("Failed to insert track to DB: /m/a.flac - UNIQUE constraint "
                                                   "failed: tracks.path")));
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"Zero track ID after insert: /m/a.flac"_s));

    // After an insert of its own, a failure hands back that row's id: the record of another path.
    const TrackRef b = db.insertTrack(u"/m/b.flac"_s);
    ASSERT_TRUE(b);
    const TrackRef again = db.insertTrack(u"/m/a.flac"_s);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->pk, b->pk);
}

TEST_F(TrackStorageTest, RemoveMissingTracksDeletesOnlyTheFolderTracksNotFound) {
    ASSERT_TRUE(exec(db, QStringLiteral("INSERT INTO folders (path) VALUES ('/m'), ('/n');"
                                        "INSERT INTO tokens (token) VALUES ('x');")));
    QList<qint64> ids;
    for (const QString& path : {kComposed, u"/m/gone.flac"_s, u"/m/queued.flac"_s, u"/n/other.flac"_s}) {
        const TrackRef track = db.insertTrack(path);
        ASSERT_TRUE(track);
        Track full = fullTrack(track, path.startsWith(QLatin1String("/n")) ? 2 : 1);
        db.updateTrack(full);
        ASSERT_TRUE(exec(db, u"INSERT INTO occurences VALUES (1, %1);"_s.arg(track->pk)));
        ids.append(track->pk);
    }
    ASSERT_TRUE(db.savePlaylist({db.track(u"/m/queued.flac"_s)}));

    // The walk reports the first path decomposed; the others under /m are gone.
    db.removeMissingTracks(1, {kDecomposed});

    // The queued track cannot go while the saved playlist refers to it.
    EXPECT_EQ(columnOf(db, u"SELECT path AS v FROM tracks ORDER BY id"_s),
              QStringList({kComposed, u"/m/queued.flac"_s, u"/n/other.flac"_s}));
    EXPECT_TRUE(log.contains(u"DB Error: 19 \"FOREIGN KEY constraint failed\""_s));
    const QString gone = QString::number(ids[1]);
    for (const QString& table : {u"lyrics"_s, u"chapters"_s, u"occurences"_s}) {
        EXPECT_EQ(columnOf(db, u"SELECT count(*) AS v FROM %1 WHERE track_id = %2"_s.arg(table, gone)),
                  QStringList{u"0"_s})
            << table.toStdString();
        EXPECT_NE(columnOf(db, u"SELECT count(*) AS v FROM %1 WHERE track_id = %2"_s.arg(table).arg(ids[0])),
                  QStringList{u"0"_s})
            << table.toStdString();
    }
}

TEST(TrackStorage, WithoutADatabaseEveryOperationIsEmpty) {
    QTemporaryDir dir;
    // A directory where the file should be: SQLite cannot open it.
    ASSERT_TRUE(QDir(dir.path()).mkdir(DB::fileName()));
    LogCapture log;
    DB db(dir.path());
    ASSERT_FALSE(db.queue());
    EXPECT_FALSE(db.insertTrack(u"/m/a.flac"_s));
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"Empty track ID after insert: /m/a.flac"_s));
    EXPECT_FALSE(db.track(u"/m/a.flac"_s));
    db.updateTrack(Track(u"/m/a.flac"_s));
    db.removeMissingTracks(1, {});
    sonvale::Folder folder{std::nullopt, u"/m"_s, std::nullopt};
    EXPECT_FALSE(db.addFolder(folder));
    EXPECT_FALSE(folder.pk);
    db.updateFolder(folder);
    db.removeFolder(1);
    EXPECT_TRUE(db.loadFolders().isEmpty());
    EXPECT_FALSE(db.savePlaylist({}));
    EXPECT_TRUE(db.loadPlaylist().isEmpty());
}
