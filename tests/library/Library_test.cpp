#include "Library.h"

#include "AudioFiles.h"
#include "DBTestAccess.h"
#include "EventLoop.h"
#include "MediaFactory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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
        QDir().mkpath(QFileInfo(media.path(name)).path());
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

// An unchanged file is neither read nor written again but keeps its tokens; a changed one is
// read again; a deleted one loses its record. A name stored composed but decomposed on disk
// counts as the same, unchanged file.
TEST_F(LibraryTest, RescanTouchesOnlyChangedAndMissingFiles) {
    const QString same = flac(u"M/same.flac"_s, u"Same"_s);
    const QString changed = flac(u"M/changed.flac"_s, u"Before"_s);
    const QString gone = flac(u"M/gone.flac"_s, u"Gone"_s);
    const QString decomposed = flac(u"M/Cafe\u0301.flac"_s, u"Coffee"_s);
    ASSERT_FALSE(same.isEmpty() || changed.isEmpty() || gone.isEmpty() || decomposed.isEmpty());
    const FolderRef folder = addFolder(media.path(u"M"_s));
    ASSERT_TRUE(waitForScans(1));

    sonvale::DBTestAccess::queue(*db)->inDatabase([](SQLiteDatabase& connection) {
        ASSERT_TRUE(connection.executeStatements(
            u"UPDATE tracks SET title = 'Sentinel' WHERE title = 'Same'; CREATE TEMP TABLE writes (path TEXT);"
            "CREATE TEMP TRIGGER written AFTER UPDATE ON main.tracks BEGIN INSERT INTO writes VALUES (new.path); END;"_s));
    });
    ASSERT_FALSE(flac(u"M/changed.flac"_s, u"After the change"_s).isEmpty());
    ASSERT_TRUE(QFile::remove(gone));
    rescan(folder);

    EXPECT_EQ(column(u"SELECT path AS v FROM writes"_s), QStringList({changed}));
    EXPECT_EQ(column(u"SELECT title AS v FROM tracks ORDER BY path"_s),
              QStringList({u"Coffee"_s, u"After the change"_s, u"Sentinel"_s}));
    EXPECT_EQ(db->search(u"sentinel"_s), QStringList({same}));
    EXPECT_EQ(db->search(u"coffee"_s), QStringList({media.path(u"M/Caf\u00e9.flac"_s)}));
    EXPECT_TRUE(db->search(u"gone"_s).isEmpty());
}

// A file moved inside its folder keeps one record under its new path; a folder whose path is a
// prefix of another's ("A" and "AB") leaves the other's tracks and tokens alone, in a rescan
// and when it is removed.
TEST_F(LibraryTest, MovedFilesAndFoldersSharingAPrefixKeepTheirOwnTracks) {
    const QString moved = flac(u"A/x.flac"_s, u"Moved"_s);
    const QString neighbour = flac(u"AB/y.flac"_s, u"Neighbour"_s);
    ASSERT_FALSE(moved.isEmpty() || neighbour.isEmpty());
    const FolderRef a = addFolder(media.path(u"A"_s));
    ASSERT_TRUE(waitForScans(1));
    addFolder(media.path(u"AB"_s));
    ASSERT_TRUE(waitForScans(2));

    ASSERT_TRUE(QDir().mkpath(media.path(u"A/sub"_s)));
    const QString movedTo = media.path(u"A/sub/x.flac"_s);
    ASSERT_TRUE(QFile::rename(moved, movedTo));
    rescan(a);
    EXPECT_EQ(db->search(u"moved"_s), QStringList({movedTo}));
    EXPECT_EQ(db->search(u"neighbour"_s), QStringList({neighbour}));
    EXPECT_EQ(column(u"SELECT count(*) AS v FROM tracks"_s), QStringList({u"2"_s}));

    library.removeFolder(a);
    EXPECT_TRUE(db->search(u"moved"_s).isEmpty());
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
