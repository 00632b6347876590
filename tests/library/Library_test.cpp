#include "Library.h"

#include "AudioFiles.h"
#include "DBTestAccess.h"
#include "EventLoop.h"
#include "MediaFactory.h"
#include "TrackMetadata.h"
#include "Tokenizer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

// Writes down every call as text, and whether all came on the main thread.
class Recorder : public LibraryListener {
public:
    void foldersAdded(const QList<FolderRef>& folders, qsizetype index) override {
        record(u"added %1@%2"_s.arg(folders.size()).arg(index));
    }
    void folderRemoved(const FolderRef&, qsizetype index) override { record(u"removed@%1"_s.arg(index)); }
    void folderChanged(const FolderRef& folder) override {
        QString text = u"changed %1"_s.arg(int(folder->state));
        if (folder->progress) text += u" %1/%2"_s.arg(folder->progress->completed).arg(folder->progress->total);
        record(text);
    }
    void folderScanQueued(const FolderRef&) override { record(u"queued"_s); }
    void folderScanFinished(const FolderRef& folder) override {
        record(u"finished %1"_s.arg(int(folder->state)));
        ++finished;
    }

    QStringList calls;
    int finished = 0;
    bool offMainThread = false;

private:
    void record(const QString& call) {
        if (QThread::currentThread() != QCoreApplication::instance()->thread()) offMainThread = true;
        calls.append(call);
    }
};

class LibraryTest : public testing::Test {
protected:
    void SetUp() override { library.addListener(&recorder); }

    // A short FLAC file, in folders made as needed; `title` tags it.
    QString flac(const QString& name, const QString& title = {}) {
        return media.ffmpeg(name, title.isEmpty() ? QStringList() : QStringList({u"-metadata"_s, u"title="_s + title}), 0.2);
    }
    FolderRef addFolder(const QString& root) {
        auto folder = std::make_shared<Folder>();
        folder->root = root;
        library.addFolders({folder}, library.folders().size());
        return folder;
    }
    bool waitForScans(int count) {
        return spinUntil([&] { return recorder.finished >= count; });
    }
    void rescan(const FolderRef& folder) {
        const int before = recorder.finished;
        library.scanFolder(folder, supportedExtensions());
        ASSERT_TRUE(waitForScans(before + 1));
    }
    // Column v of every row of `sql`, as text.
    QStringList column(const QString& sql) {
        QStringList values;
        sonvale::DBTestAccess::queue(*db)->inDatabase([&](SQLiteDatabase& connection) {
            auto rows = connection.executeQuery(sql);
            while (rows && rows->next()) values.append(rows->stringForColumn(u"v"_s).value_or(u"NULL"_s));
        });
        return values;
    }

    // Runs statements on the scan's own connection (temporary tables and triggers stay on it).
    void exec(const QString& sql) {
        DBTestAccess::queue(*db)->inDatabase([&](SQLiteDatabase& connection) { ASSERT_TRUE(connection.executeStatements(sql)); });
    }
    // One "table operation" line per row written from now on.
    void recordWrites() {
        QString sql = u"CREATE TEMP TABLE writes (what TEXT);"_s;
        for (const QString& table : {u"tracks"_s, u"occurences"_s, u"tokens"_s, u"lyrics"_s, u"chapters"_s,
                                    u"folders"_s, u"indexed_texts"_s}) {
            for (const QString& operation : {u"INSERT"_s, u"UPDATE"_s, u"DELETE"_s}) {
                sql += u"CREATE TEMP TRIGGER w_%1_%2 AFTER %2 ON main.%1 BEGIN INSERT INTO writes VALUES "
                       "('%1 %2'); END;"_s.arg(table, operation);
            }
        }
        exec(sql);
    }
    // For each track, "path: token token ..." with a token listed once per occurrence row.
    QStringList occurrences() {
        return column(u"SELECT path || ':' || ifnull((SELECT group_concat(token, ' ') FROM (SELECT token FROM "
                      "occurences JOIN tokens ON tokens.id = token_id WHERE track_id = tracks.id ORDER BY token)), '') "
                      "AS v FROM tracks ORDER BY path"_s);
    }
    // What occurrences() gives when every track holds each token of its texts once.
    QStringList tokensOfTexts() {
        QStringList lines;
        DBTestAccess::queue(*db)->inDatabase([&](SQLiteDatabase& connection) {
            auto rows = connection.executeQuery(u"SELECT path, title, artist, album FROM tracks ORDER BY path"_s);
            while (rows && rows->next()) {
                QSet<QString> found;
                for (const QString& name : {u"path"_s, u"title"_s, u"artist"_s, u"album"_s}) {
                    insertTokens(rows->stringForColumn(name).value_or(QString()), found);
                }
                QStringList sorted(found.cbegin(), found.cend());
                sorted.sort();
                lines.append(*rows->stringForColumn(u"path"_s) + u':' + sorted.join(u' '));
            }
        });
        return lines;
    }
    // The search's copy in memory answers as the statement does.
    void expectSearchAsStatement(const QStringList& queries) {
        for (const QString& query : queries) EXPECT_EQ(db->search(query), db->searchByStatement(query)) << query.toStdString();
    }

    MediaFactory media;
    QTemporaryDir data;
    std::shared_ptr<DB> db = std::make_shared<DB>(data.path());
    Queues queues;
    Recorder recorder;
    Library library{db, queues};
};

}  // namespace

// 51 files: progress at 0 and 50, every call on the main thread and in order, and the state
// each call sees is the one it announces.
TEST_F(LibraryTest, FirstScanStoresAndIndexesEveryFileAndReportsInOrder) {
    const QString first = flac(u"Music/song 00.flac"_s, u"Alpha"_s);
    ASSERT_FALSE(first.isEmpty());
    for (int i = 1; i < 51; ++i) {
        ASSERT_TRUE(QFile::copy(first, media.path(u"Music/song %1.flac"_s.arg(i, 2, 10, QChar(u'0')))));
    }

    const FolderRef folder = addFolder(media.path(u"Music"_s));
    ASSERT_TRUE(folder->pk);
    EXPECT_EQ(recorder.calls, QStringList({u"queued"_s, u"added 1@0"_s}));
    EXPECT_EQ(folder->state, Folder::State::scanning);
    ASSERT_TRUE(waitForScans(1));

    EXPECT_EQ(recorder.calls, QStringList({u"queued"_s, u"added 1@0"_s, u"changed 1"_s, u"changed 2 0/51"_s,
                                           u"changed 2 50/51"_s, u"finished 3"_s}));
    EXPECT_FALSE(recorder.offMainThread);
    EXPECT_EQ(folder->state, Folder::State::ready);
    EXPECT_FALSE(folder->progress);
    ASSERT_TRUE(folder->lastCompletedScan);

    EXPECT_EQ(column(u"SELECT COUNT(*) || ' ' || SUM(folder = %1 AND status = 1 AND title = 'Alpha') AS v FROM tracks"_s
                         .arg(*folder->pk)),
              QStringList({u"51 51"_s}));
    EXPECT_EQ(db->search(u"alph song"_s).size(), 51);
    EXPECT_EQ(column(u"SELECT lastCompletedScan AS v FROM folders"_s),
              QStringList({QString::number(folder->lastCompletedScan->toSecsSinceEpoch())}));
}

// A folder whose path is a prefix of another's ("A" and "AB") leaves the other's tracks and
// tokens alone, in a rescan and when it is removed.
TEST_F(LibraryTest, FoldersSharingAPrefixKeepTheirOwnTracks) {
    const QString own = flac(u"A/x.flac"_s, u"Own"_s);
    const QString neighbour = flac(u"AB/y.flac"_s, u"Neighbour"_s);
    ASSERT_FALSE(own.isEmpty() || neighbour.isEmpty());
    const FolderRef a = addFolder(media.path(u"A"_s));
    ASSERT_TRUE(waitForScans(1));
    addFolder(media.path(u"AB"_s));
    ASSERT_TRUE(waitForScans(2));

    rescan(a);
    EXPECT_EQ(db->search(u"own"_s), QStringList({own}));
    EXPECT_EQ(db->search(u"neighbour"_s), QStringList({neighbour}));
    EXPECT_EQ(column(u"SELECT count(*) AS v FROM tracks"_s), QStringList({u"2"_s}));

    library.removeFolder(a);
    EXPECT_TRUE(db->search(u"own"_s).isEmpty());
    EXPECT_EQ(db->search(u"neighbour"_s), QStringList({neighbour}));
}

// The scan goes on (it cannot be stopped) and ends in ready; the folder stays out of storage.
TEST_F(LibraryTest, FolderRemovedWhileItsScanWaitsStillFinishes) {
    ASSERT_FALSE(flac(u"R/a.flac"_s).isEmpty());
    std::atomic<bool> release{false};
    queues.scan.addOperation([&](const Operation&) {
        while (!release) QThread::usleep(1000);
    });
    const FolderRef folder = addFolder(media.path(u"R"_s));
    library.removeFolder(folder);
    EXPECT_TRUE(library.folders().isEmpty());
    EXPECT_EQ(recorder.calls.last(), u"removed@0"_s);
    release = true;
    ASSERT_TRUE(waitForScans(1));
    EXPECT_EQ(folder->state, Folder::State::ready);
    EXPECT_TRUE(db->loadFolders().isEmpty());
}

// A rescan waiting on the index queue holds up neither the search queue nor the other
// folders' tokens.
TEST_F(LibraryTest, SearchesAreAnsweredWhileAScanIsUnderWay) {
    const QString song = flac(u"S/tune.flac"_s, u"Melody"_s);
    ASSERT_FALSE(song.isEmpty() || flac(u"T/other.flac"_s, u"Other"_s).isEmpty());
    addFolder(media.path(u"S"_s));
    const FolderRef other = addFolder(media.path(u"T"_s));
    ASSERT_TRUE(waitForScans(2));

    std::atomic<bool> release{false};
    queues.index.addOperation([&](const Operation&) {
        while (!release) QThread::usleep(1000);
    });
    library.scanFolder(other, supportedExtensions());
    ASSERT_TRUE(spinUntil([&] { return other->state == Folder::State::indexing; }));
    QStringList found;
    std::atomic<bool> searched{false};
    queues.search.addOperation([&](const Operation&) {
        found = db->search(u"melo"_s);
        searched = true;
    });
    ASSERT_TRUE(spinUntil([&] { return searched.load(); }, 30));
    EXPECT_EQ(other->state, Folder::State::indexing);
    EXPECT_EQ(found, QStringList({song}));
    release = true;
    ASSERT_TRUE(waitForScans(3));
    EXPECT_EQ(db->search(u"other"_s).size(), 1);
}

TEST_F(LibraryTest, ARemovedListenerHearsNothingMore) {
    Recorder removed;
    library.addListener(&removed);
    library.removeListener(&removed);
    addFolder(media.path(u"Empty"_s));
    ASSERT_TRUE(waitForScans(1));
    EXPECT_TRUE(removed.calls.isEmpty());
}

// Nothing but the folder's row (its scan date cleared, then set) is written when no file
// changed; a name stored composed but decomposed on disk counts as the same, unchanged file.
// Searches find what they found before.
TEST_F(LibraryTest, RescanOfAnUnchangedFolderWritesOnlyItsScanDate) {
    for (const QString& name : {u"U/a.flac"_s, u"U/sub/b.flac"_s, u"U/Cafe\u0301.flac"_s}) {
        ASSERT_FALSE(flac(name, u"Tune"_s).isEmpty());
    }
    const FolderRef folder = addFolder(media.path(u"U"_s));
    ASSERT_TRUE(waitForScans(1));
    const QStringList before = occurrences();
    ASSERT_EQ(before, tokensOfTexts());
    const QStringList found = db->search(u"tune"_s);
    ASSERT_EQ(found.size(), 3);
    EXPECT_TRUE(found.contains(media.path(u"U/Caf\u00e9.flac"_s)));

    recordWrites();
    rescan(folder);
    EXPECT_EQ(column(u"SELECT what AS v FROM writes"_s), QStringList({u"folders UPDATE"_s, u"folders UPDATE"_s}));
    EXPECT_EQ(occurrences(), before);
    EXPECT_EQ(db->search(u"tune"_s), found);
    EXPECT_TRUE(folder->lastCompletedScan);
}

// Changed, refreshed, moved and deleted files: each record ends with the tokens of its texts
// now, once each, and only the records that changed lose their rows. An unchanged file is not
// read again: a title changed in its record stays, and its tokens follow the record.
TEST_F(LibraryTest, RescanReplacesTheTokensOfRecordsWhoseTextsChanged) {
    const QString same = flac(u"C/same.flac"_s, u"Same"_s);
    const QString kept = flac(u"C/kept.flac"_s, u"Steady"_s);
    const QString changed = flac(u"C/changed.flac"_s, u"Before"_s);
    const QString played = flac(u"C/played.flac"_s, u"Old"_s);
    const QString moved = flac(u"C/moved.flac"_s, u"Moving"_s);
    const QString gone = flac(u"C/gone.flac"_s, u"Vanishing"_s);
    for (const QString& path : {same, kept, changed, played, moved, gone}) ASSERT_FALSE(path.isEmpty());
    const FolderRef folder = addFolder(media.path(u"C"_s));
    ASSERT_TRUE(waitForScans(1));
    ASSERT_FALSE(db->search(u"old"_s).isEmpty());

    // Titles of other lengths: the files' sizes change, whatever their modification times.
    ASSERT_FALSE(flac(u"C/changed.flac"_s, u"After the change"_s).isEmpty());
    // The player reads a file that changed and writes the record back; its tokens stay.
    ASSERT_FALSE(flac(u"C/played.flac"_s, u"Renamed by the player"_s).isEmpty());
    const TrackRef record = db->track(played);
    ASSERT_TRUE(record && refreshMetadata(*record, true) == RefreshResult::updated);
    db->updateTrack(*record);
    ASSERT_TRUE(QDir().mkpath(media.path(u"C/sub"_s)));
    const QString movedTo = media.path(u"C/sub/moved.flac"_s);
    ASSERT_TRUE(QFile::rename(moved, movedTo));
    ASSERT_TRUE(QFile::remove(gone));

    const qint64 keptId = db->track(kept)->pk;
    exec(u"UPDATE tracks SET title = 'Sentinel' WHERE title = 'Same';"_s);
    recordWrites();
    exec(u"CREATE TEMP TABLE cleared (id INTEGER); CREATE TEMP TRIGGER c AFTER DELETE ON main.occurences BEGIN "
         "INSERT INTO cleared VALUES (old.track_id); END;"_s);
    rescan(folder);

    EXPECT_EQ(occurrences(), tokensOfTexts());
    EXPECT_EQ(column(u"SELECT count(*) AS v FROM cleared WHERE id = %1"_s.arg(keptId)), QStringList({u"0"_s}));
    EXPECT_EQ(db->search(u"after chan"_s), QStringList({changed}));
    EXPECT_TRUE(db->search(u"before"_s).isEmpty());
    EXPECT_EQ(db->search(u"renamed play"_s), QStringList({played}));
    EXPECT_TRUE(db->search(u"old"_s).isEmpty());
    EXPECT_EQ(db->search(u"moving"_s), QStringList({movedTo}));
    EXPECT_TRUE(db->search(u"vanish"_s).isEmpty());
    EXPECT_EQ(db->search(u"steady"_s), QStringList({kept}));
    EXPECT_EQ(db->search(u"sentinel"_s), QStringList({same}));
    expectSearchAsStatement({u"c"_s, u"flac"_s, u"sub mov"_s, u"st"_s});

    // A rescan right after writes nothing but the folder's row.
    const QStringList after = occurrences();
    exec(u"DELETE FROM writes;"_s);
    rescan(folder);
    EXPECT_EQ(occurrences(), after);
    EXPECT_EQ(column(u"SELECT what AS v FROM writes"_s), QStringList({u"folders UPDATE"_s, u"folders UPDATE"_s}));
}

// A folder inside another: the inner folder owns its tracks (it claimed them when added), and a
// scan of the outer one adds their tokens once more each time, as a scan always has; the inner
// folder's own scan brings them back to once each.
TEST_F(LibraryTest, ScanOfAnOuterFolderAddsTheTokensOfTheInnerFoldersTracksAgain) {
    const QString outerSong = flac(u"N/top.flac"_s, u"Outer"_s);
    const QString innerSong = flac(u"N/In/deep.flac"_s, u"Inner"_s);
    ASSERT_FALSE(outerSong.isEmpty() || innerSong.isEmpty());
    const FolderRef outer = addFolder(media.path(u"N"_s));
    ASSERT_TRUE(waitForScans(1));
    const FolderRef inner = addFolder(media.path(u"N/In"_s));
    ASSERT_TRUE(waitForScans(2));
    const QStringList once = tokensOfTexts();
    ASSERT_EQ(once.size(), 2);
    // The inner folder's scan found its track's tokens doubled by the outer folder's first scan.
    EXPECT_EQ(occurrences(), once);

    const auto innerCopies = [&] {
        return column(u"SELECT count(*) AS v FROM occurences JOIN tokens ON tokens.id = token_id "
                      "WHERE token = 'inner'"_s).value(0).toInt();
    };
    rescan(outer);
    EXPECT_EQ(innerCopies(), 2);
    EXPECT_EQ(occurrences().filter(u"top.flac:"_s), once.filter(u"top.flac:"_s));
    rescan(outer);
    EXPECT_EQ(innerCopies(), 3);
    rescan(inner);
    EXPECT_EQ(occurrences(), once);
    rescan(outer);
    EXPECT_EQ(innerCopies(), 2);
    expectSearchAsStatement({u"inner"_s, u"outer"_s, u"in deep"_s, u"n"_s});
    EXPECT_EQ(db->search(u"inner"_s), QStringList({innerSong}));
}
