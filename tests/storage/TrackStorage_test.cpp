#include "Index.h"
#include "StorageTestSupport.h"

#include <QDir>

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

class TrackStorageTest : public StorageTest {
protected:
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
    track.bitRate = 320000, track.channels = 2, track.sampleRate = 44100;
    track.size = 7340032, track.timestamp = 1700000000, track.metaVersion = 3;
    track.lyrics = u"la la e\u0301"_s;
    track.chapters = {Chapter{0, 12.5, u"Intro\u0301"_s}, Chapter{12.5, 183.25, QString()}};
    return track;
}

// The fields a track row holds.
QString rowFields(const Track& t) {
    return QStringList({QString::number(t.pk), QString::number(int(t.status)), t.path, QString::number(t.folder),
                        t.title, t.artist, t.album, t.track, QString::number(t.duration), QString::number(t.bitRate),
                        QString::number(t.channels), QString::number(t.sampleRate), QString::number(t.size),
                        QString::number(t.timestamp), QString::number(t.metaVersion)})
        .join(u'|');
}

}  // namespace

// The path is stored composed, and either spelling finds the record.
TEST_F(TrackStorageTest, UpdateStoresEveryFieldAndRewritesLyricsAndChapters) {
    const TrackRef inserted = db.insertTrack(kDecomposed);
    ASSERT_TRUE(inserted);
    EXPECT_EQ(inserted->path, kDecomposed);
    EXPECT_EQ(column(db, u"SELECT path AS v FROM tracks"_s), QStringList{kComposed});
    const Track written = fullTrack(inserted, addFolder(u"/m"_s));
    db.updateTrack(written);
    EXPECT_FALSE(db.track(u"/m/other.flac"_s));

    Track expected = written;
    expected.path = kComposed;
    expected.title = u"Caf\u00e9 Song"_s;
    for (const QString& spelling : {kComposed, kDecomposed}) {
        const TrackRef read = db.track(spelling);
        ASSERT_TRUE(read);
        EXPECT_EQ(rowFields(*read), rowFields(expected));
        // The row carries no lyrics or chapters; they live in their own tables.
        EXPECT_TRUE(!read->lyrics && read->chapters.isEmpty());
    }
    EXPECT_EQ(column(db, u"SELECT text AS v FROM lyrics WHERE track_id = ?"_s, {SQLValue::integer(written.pk)}),
              QStringList{u"la la \u00e9"_s});
    EXPECT_EQ(column(db, QStringLiteral("SELECT `index` || ' ' || `start` || ' ' || `end` || ' ' || "
                                        "ifnull(title, 'NULL') AS v FROM chapters ORDER BY `index`")),
              QStringList({u"0 0.0 12.5 Intr\u00f3"_s, u"1 12.5 183.25 NULL"_s}));

    // Absent texts become NULL; lyrics and chapters are replaced, not added.
    Track cleared = written;
    cleared.folder = 0;
    cleared.title = cleared.artist = cleared.album = cleared.track = QString();
    cleared.lyrics.reset();
    cleared.chapters = {Chapter{1, 2, u"Only"_s}};
    db.updateTrack(cleared);
    EXPECT_EQ(column(db, u"SELECT coalesce(folder, title, artist, album, track, 'NULL') AS v FROM tracks"_s),
              QStringList{u"NULL"_s});
    EXPECT_TRUE(column(db, u"SELECT text AS v FROM lyrics"_s).isEmpty());
    EXPECT_EQ(column(db, u"SELECT title AS v FROM chapters"_s), QStringList{u"Only"_s});
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}

// With no row inserted on the connection yet, a failed insert gives no record.
TEST_F(TrackStorageTest, FailedInsertIsLogged) {
    DB other(dir.path());
    ASSERT_TRUE(db.insertTrack(u"/m/a.flac"_s));
    EXPECT_FALSE(other.insertTrack(u"/m/a.flac"_s));
    EXPECT_TRUE(log.contains(QtCriticalMsg,
                             u"Failed to insert track to DB: /m/a.flac - UNIQUE constraint failed: tracks.path"_s));
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"Zero track ID after insert: /m/a.flac"_s));
}

TEST_F(TrackStorageTest, RemoveMissingTracksDeletesOnlyTheFolderTracksNotFound) {
    const qint64 m = addFolder(u"/m"_s);
    const qint64 n = addFolder(u"/n"_s);
    ASSERT_TRUE(exec(db, u"INSERT INTO tokens (token) VALUES ('x');"_s));
    QList<qint64> ids;
    for (const QString& path : {kComposed, u"/m/gone.flac"_s, u"/m/queued.flac"_s, u"/n/other.flac"_s}) {
        const TrackRef track = addTrack(path);
        db.updateTrack(fullTrack(track, path.startsWith(QLatin1String("/n")) ? n : m));
        ASSERT_TRUE(exec(db, u"INSERT INTO occurences VALUES (1, %1);"_s.arg(track->pk)));
        ids.append(track->pk);
    }
    ASSERT_TRUE(db.savePlaylist({db.track(u"/m/queued.flac"_s)}));

    // The walk reports the first path decomposed; the others under /m are gone.
    db.removeMissingTracks(m, {{kDecomposed, 0}});

    // The queued track cannot go while the saved playlist refers to it; it stays without tokens.
    EXPECT_EQ(column(db, u"SELECT path AS v FROM tracks ORDER BY id"_s),
              QStringList({kComposed, u"/m/queued.flac"_s, u"/n/other.flac"_s}));
    EXPECT_TRUE(log.contains(u"DB Error: 19 \"FOREIGN KEY constraint failed\""_s));
    for (const QString& table : {u"lyrics"_s, u"chapters"_s, u"occurences"_s}) {
        SCOPED_TRACE(table.toStdString());
        const QString count = u"SELECT count(*) AS v FROM %1 WHERE track_id = ?"_s.arg(table);
        EXPECT_EQ(column(db, count, {SQLValue::integer(ids[1])}), QStringList{u"0"_s});
        EXPECT_NE(column(db, count, {SQLValue::integer(ids[0])}), QStringList{u"0"_s});
    }
    EXPECT_EQ(column(db, u"SELECT track_id AS v FROM occurences ORDER BY 1"_s),
              QStringList({QString::number(ids[0]), QString::number(ids[3])}));
}

// The records that stay come back as the scan compares them with their files: what a whole
// record holds of the file, and the digest of its texts as a whole record gives it, whatever
// the texts (decomposed when written, empty, NULL, a leading byte-order mark, no ASCII at all).
TEST_F(TrackStorageTest, RemoveMissingTracksHandsOnWhatTheScanComparesOfEachRecord) {
    const qint64 m = addFolder(u"/m"_s);
    QStringList paths;
    for (const QString& path : {kComposed, u"/m/empty.flac"_s, u"/m/bom.flac"_s, u"/m/東京.flac"_s}) {
        Track track = fullTrack(addTrack(path), m);
        if (path.endsWith(u"empty.flac"_s)) track.title = QString(), track.artist = u""_s, track.album = QString();
        if (path.endsWith(u"bom.flac"_s)) track.title = u"﻿Title"_s;
        if (path.contains(u'東')) track.title = u"東京の夜"_s, track.metaVersion = 1;
        db.updateTrack(track);
        paths.append(path);
    }
    const TrackRef unknown = addTrack(u"/m/unknown.flac"_s);
    ASSERT_TRUE(exec(db, u"UPDATE tracks SET status = 99, folder = %1 WHERE id = %2;"_s.arg(m).arg(unknown->pk)));

    // At the positions the scan gives them, the first spelled decomposed.
    const sonvale::FolderRecords records = db.removeMissingTracks(
        m, {{kDecomposed, 3}, {paths[1], 2}, {paths[2], 1}, {paths[3], 0}, {unknown->path, 4}});

    ASSERT_EQ(records.files.size(), 5);
    for (qsizetype i = 0; i < paths.size(); ++i) {
        SCOPED_TRACE(paths[i].toStdString());
        const TrackRef whole = db.track(paths[i]);
        ASSERT_TRUE(whole);
        const sonvale::StoredFile file = records.files[3 - i];
        EXPECT_EQ(QList<qint64>({file.pk, qint64(file.status), file.metaVersion, file.size, file.timestamp}),
                  QList<qint64>({whole->pk, qint64(whole->status), whole->metaVersion, whole->size, whole->timestamp}));
        EXPECT_EQ(file.textsDigest, sonvale::indexTextsDigest(*whole));
        EXPECT_FALSE(file.indexed);
    }
    EXPECT_EQ(records.files[4].pk, 0);
}

TEST(TrackStorage, WithoutADatabaseEveryOperationIsEmpty) {
    QTemporaryDir dir;
    // A directory where the file should be: SQLite cannot open it.
    ASSERT_TRUE(QDir(dir.path()).mkdir(DB::fileName()));
    LogCapture log;
    DB db(dir.path());
    ASSERT_FALSE(db.isOpen());
    sonvale::Folder folder{std::nullopt, u"/m"_s, std::nullopt};
    EXPECT_FALSE(db.insertTrack(u"/m/a.flac"_s) || db.track(u"/m/a.flac"_s) || db.addFolder(folder) || folder.pk ||
                 db.savePlaylist({}) || db.tokenId(u"a"_s));
    EXPECT_TRUE(db.loadFolders().isEmpty() && db.loadPlaylist().isEmpty() && db.search(u"a"_s).isEmpty());
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"Empty track ID after insert: /m/a.flac"_s));
    db.updateTrack(Track(u"/m/a.flac"_s));
    db.removeMissingTracks(1, {});
    db.updateFolder(folder);
    db.removeFolder(1);
    db.saveIndex(sonvale::Index());
    db.clearIndex(1);
}

TEST_F(TrackStorageTest, TracksLooksUpManyPathsInOrderInEitherSpelling) {
    const TrackRef a = addTrack(kComposed);
    const TrackRef b = addTrack(u"/m/b.flac"_s);
    const QList<TrackRef> found = db.tracks({u"/m/b.flac"_s, u"/m/none.flac"_s, kDecomposed});
    ASSERT_EQ(found.size(), 3);
    ASSERT_TRUE(found[0] && found[2]);
    EXPECT_EQ(found[0]->pk, b->pk);
    EXPECT_FALSE(found[1]);
    EXPECT_EQ(found[2]->pk, a->pk);
    EXPECT_TRUE(db.tracks({}).isEmpty());
}
