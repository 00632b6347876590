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

namespace {

const QString kComposed = QStringLiteral("/m/Caf\u00e9/Beyonc\u00e9.flac");
const QString kDecomposed = QStringLiteral("/m/Cafe\u0301/Beyonce\u0301.flac");

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
    track.title = QStringLiteral("Cafe\u0301 Song");
    track.artist = QStringLiteral("A / B");
    track.album = QStringLiteral("Album");
    track.track = QStringLiteral("7");
    track.duration = 183.25;
    track.bitRate = 320000;
    track.channels = 2;
    track.sampleRate = 44100;
    track.size = 7340032;
    track.timestamp = 1700000000;
    track.metaVersion = 3;
    track.lyrics = QStringLiteral("la la e\u0301");
    track.chapters = {Chapter{0, 12.5, QStringLiteral("Intro\u0301")}, Chapter{12.5, 183.25, QString()}};
    return track;
}

}  // namespace

TEST_F(TrackStorageTest, ComposedAndDecomposedPathsNameTheSameRecord) {
    const TrackRef inserted = db.insertTrack(kDecomposed);
    ASSERT_TRUE(inserted);
    EXPECT_EQ(inserted->path, kDecomposed);
    EXPECT_EQ(inserted->status, TrackStatus::none);
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT path AS v FROM tracks")), QStringList{kComposed});

    for (const QString& spelling : {kComposed, kDecomposed}) {
        const TrackRef found = db.track(spelling);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->pk, inserted->pk);
        EXPECT_EQ(found->path, kComposed);
    }
    EXPECT_FALSE(db.track(QStringLiteral("/m/other.flac")));
}

TEST_F(TrackStorageTest, UpdateStoresEveryFieldAndRewritesLyricsAndChapters) {
    ASSERT_TRUE(exec(db, QStringLiteral("INSERT INTO folders (path) VALUES ('/m');")));
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
    EXPECT_EQ(read->title, QStringLiteral("Caf\u00e9 Song"));
    EXPECT_EQ(read->artist, written.artist);
    EXPECT_EQ(read->album, written.album);
    EXPECT_EQ(read->track, written.track);
    EXPECT_DOUBLE_EQ(read->duration, written.duration);
    EXPECT_EQ(read->bitRate, written.bitRate);
    EXPECT_EQ(read->channels, written.channels);
    EXPECT_EQ(read->sampleRate, written.sampleRate);
    EXPECT_EQ(read->size, written.size);
    EXPECT_EQ(read->timestamp, written.timestamp);
    EXPECT_EQ(read->metaVersion, written.metaVersion);
    // The row carries no lyrics or chapters; they live in their own tables.
    EXPECT_FALSE(read->lyrics);
    EXPECT_TRUE(read->chapters.isEmpty());
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT text AS v FROM lyrics WHERE track_id = ?"), {SQLValue::integer(written.pk)}),
              QStringList{QStringLiteral("la la \u00e9")});
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT `index` || ' ' || `start` || ' ' || `end` || ' ' || "
                                          "ifnull(title, 'NULL') AS v FROM chapters ORDER BY `index`")),
              QStringList({QStringLiteral("0 0.0 12.5 Intr\u00f3"), QStringLiteral("1 12.5 183.25 NULL")}));

    // Absent texts become NULL and read back empty; lyrics and chapters are replaced, not added.
    Track cleared = written;
    cleared.folder = 0;
    cleared.title = cleared.artist = cleared.album = cleared.track = QString();
    cleared.lyrics.reset();
    cleared.chapters = {Chapter{1, 2, QStringLiteral("Only")}};
    db.updateTrack(cleared);
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT ifnull(folder, 'NULL') || ifnull(title, 'NULL') || "
                                          "ifnull(artist, 'NULL') || ifnull(album, 'NULL') || ifnull(track, 'NULL') "
                                          "AS v FROM tracks")),
              QStringList{QStringLiteral("NULLNULLNULLNULLNULL")});
    const TrackRef reread = db.track(kComposed);
    ASSERT_TRUE(reread);
    EXPECT_EQ(reread->folder, 0);
    EXPECT_TRUE(reread->title.isEmpty() && reread->artist.isEmpty() && reread->album.isEmpty() && reread->track.isEmpty());
    EXPECT_TRUE(columnOf(db, QStringLiteral("SELECT text AS v FROM lyrics")).isEmpty());
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT title AS v FROM chapters")), QStringList{QStringLiteral("Only")});
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}

TEST_F(TrackStorageTest, FailedInsertIsLoggedAndHandsBackTheConnectionsLastRowId) {
    DB other(dir.path());
    ASSERT_TRUE(db.insertTrack(QStringLiteral("/m/a.flac")));
    // Nothing inserted yet on this connection: the id is 0.
    EXPECT_FALSE(other.insertTrack(QStringLiteral("/m/a.flac")));
    EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("Failed to insert track to DB: /m/a.flac - UNIQUE constraint "
                                                           "failed: tracks.path")));
    EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("Zero track ID after insert: /m/a.flac")));

    // After an insert of its own, a failure hands back that row's id: the record of another path.
    const TrackRef b = db.insertTrack(QStringLiteral("/m/b.flac"));
    ASSERT_TRUE(b);
    const TrackRef again = db.insertTrack(QStringLiteral("/m/a.flac"));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->pk, b->pk);
}

TEST_F(TrackStorageTest, RemoveMissingTracksDeletesOnlyTheFolderTracksNotFound) {
    ASSERT_TRUE(exec(db, QStringLiteral("INSERT INTO folders (path) VALUES ('/m'), ('/n');"
                                        "INSERT INTO tokens (token) VALUES ('x');")));
    QList<qint64> ids;
    for (const QString& path : {kComposed, QStringLiteral("/m/gone.flac"), QStringLiteral("/m/queued.flac"),
                                QStringLiteral("/n/other.flac")}) {
        const TrackRef track = db.insertTrack(path);
        ASSERT_TRUE(track);
        Track full = fullTrack(track, path.startsWith(QLatin1String("/n")) ? 2 : 1);
        db.updateTrack(full);
        ASSERT_TRUE(exec(db, QStringLiteral("INSERT INTO occurences VALUES (1, %1);").arg(track->pk)));
        ids.append(track->pk);
    }
    ASSERT_TRUE(db.savePlaylist({db.track(QStringLiteral("/m/queued.flac"))}));

    // The walk reports the first path decomposed; the others under /m are gone.
    db.removeMissingTracks(1, {kDecomposed});

    // The queued track cannot go while the saved playlist refers to it.
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT path AS v FROM tracks ORDER BY id")),
              QStringList({kComposed, QStringLiteral("/m/queued.flac"), QStringLiteral("/n/other.flac")}));
    EXPECT_TRUE(log.contains(QStringLiteral("DB Error: 19 \"FOREIGN KEY constraint failed\"")));
    const QString gone = QString::number(ids[1]);
    for (const QString& table : {QStringLiteral("lyrics"), QStringLiteral("chapters"), QStringLiteral("occurences")}) {
        EXPECT_EQ(columnOf(db, QStringLiteral("SELECT count(*) AS v FROM %1 WHERE track_id = %2").arg(table, gone)),
                  QStringList{QStringLiteral("0")})
            << table.toStdString();
        EXPECT_NE(columnOf(db, QStringLiteral("SELECT count(*) AS v FROM %1 WHERE track_id = %2").arg(table).arg(ids[0])),
                  QStringList{QStringLiteral("0")})
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
    EXPECT_FALSE(db.insertTrack(QStringLiteral("/m/a.flac")));
    EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("Empty track ID after insert: /m/a.flac")));
    EXPECT_FALSE(db.track(QStringLiteral("/m/a.flac")));
    db.updateTrack(Track(QStringLiteral("/m/a.flac")));
    db.removeMissingTracks(1, {});
    sonvale::Folder folder{std::nullopt, QStringLiteral("/m"), std::nullopt};
    EXPECT_FALSE(db.addFolder(folder));
    EXPECT_FALSE(folder.pk);
    db.updateFolder(folder);
    db.removeFolder(1);
    EXPECT_TRUE(db.loadFolders().isEmpty());
    EXPECT_FALSE(db.savePlaylist({}));
    EXPECT_TRUE(db.loadPlaylist().isEmpty());
}
