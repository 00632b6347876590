#include "SearchController.h"

#include "AudioFiles.h"
#include "DB.h"
#include "EventLoop.h"
#include "Library.h"
#include "MediaFactory.h"
#include "Queues.h"
#include "SearchResultsModel.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

// An engine that records the queries it is asked and holds the first one until released, so a
// test can queue searches behind it; it answers a query with one path named after it.
class GatedEngine : public SearchEngine {
public:
    QStringList search(const QString& query) override {
        std::unique_lock lock(mutex_);
        queries_.append(query);
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
        return {u"/music/"_s + query + u".flac"_s};
    }
    void release() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    QStringList queries() {
        const std::lock_guard lock(mutex_);
        return queries_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    QStringList queries_;
    bool open_ = false;
};

class SearchControllerTest : public testing::Test {
protected:
    QTemporaryDir data;
    std::shared_ptr<DB> db = std::make_shared<DB>(data.path());
    Queues queues;
    Library library{db, queues};
};

TEST_F(SearchControllerTest, ABurstOfTypingStartsOneSearchAndEachPauseStartsOneThatCancelsTheOneBefore) {
    auto engine = std::make_shared<GatedEngine>();
    engine->release();
    SearchController controller(library, engine, queues.search);
    QSignalSpy started(&controller, &SearchController::searchStarted);
    QSignalSpy shown(&controller, &SearchController::resultsShown);

    // Five keystrokes before the event loop runs again: well within the typing pause.
    for (const QString& text : {u"a"_s, u"ab"_s, u"abc"_s, u"abcd"_s, u"abcde"_s}) controller.setQuery(text);
    ASSERT_TRUE(spinUntil([&] { return shown.size() == 1; }, 5));
    EXPECT_EQ(started.size(), 1);
    EXPECT_EQ(engine->queries(), QStringList({u"abcde"_s}));
    EXPECT_EQ(controller.model()->paths(), QStringList({u"/music/abcde.flac"_s}));
    EXPECT_EQ(controller.status(), u"1 results"_s);
}

TEST_F(SearchControllerTest, PausedTypingStartsASearchEachAndOnlyTheLastOneIsShown) {
    auto engine = std::make_shared<GatedEngine>();
    SearchController controller(library, engine, queues.search);
    QSignalSpy started(&controller, &SearchController::searchStarted);
    QSignalSpy shown(&controller, &SearchController::resultsShown);

    const QStringList texts = {u"r"_s, u"ro"_s, u"roc"_s, u"rock"_s, u"rocks"_s};
    for (qsizetype i = 0; i < texts.size(); ++i) {
        controller.setQuery(texts[i]);
        ASSERT_TRUE(spinUntil([&] { return started.size() == i + 1; }, 5));
        // The first search holds the queue, so the later ones wait behind it.
        if (i == 0) {
            ASSERT_TRUE(spinUntil([&] { return engine->queries().size() == 1; }, 5));
        }
        EXPECT_TRUE(controller.isSearching());
    }
    engine->release();
    ASSERT_TRUE(spinUntil([&] { return !controller.isSearching(); }, 5));
    // The first ran before it was cancelled but delivers nothing; the three between never ran.
    EXPECT_EQ(engine->queries(), QStringList({u"r"_s, u"rocks"_s}));
    EXPECT_EQ(shown.size(), 1);
    EXPECT_EQ(controller.model()->paths(), QStringList({u"/music/rocks.flac"_s}));
}

TEST_F(SearchControllerTest, ResultsGoingAfterTheControllerAreDroppedQuietly) {
    auto engine = std::make_shared<GatedEngine>();
    {
        SearchController controller(library, engine, queues.search);
        controller.search();
        ASSERT_TRUE(spinUntil([&] { return engine->queries().size() == 1; }, 5));
    }
    engine->release();
    queues.search.waitUntilAllOperationsAreFinished();
    QCoreApplication::processEvents();
}

TEST(SearchResultsModel, CommonPrefixEndsAtTheLastSharedFolder) {
    EXPECT_EQ(SearchResultsModel::commonPrefix({u"/x/Music/A"_s, u"/x/Music/B"_s}), u"/x/Music/"_s);
    EXPECT_EQ(SearchResultsModel::commonPrefix({u"/x/Music/Alpha"_s, u"/x/Music/Alps"_s}), u"/x/Music/"_s);
    EXPECT_EQ(SearchResultsModel::commonPrefix({u"/x/Music/A"_s, u"/x/Music/B"_s, u"/y/C"_s}), u"/"_s);
    EXPECT_EQ(SearchResultsModel::commonPrefix({u"/x/Music/A"_s}), u"/x/Music/"_s);
    EXPECT_EQ(SearchResultsModel::commonPrefix({}), QString());

    SearchResultsModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setResults({u"/x/Music/A/x.mp3"_s, u"/elsewhere/y.mp3"_s}, u"/x/Music/"_s);
    EXPECT_EQ(model.index(0).data().toString(), u"A/x.mp3"_s);
    EXPECT_EQ(model.index(0).data(Qt::ToolTipRole).toString(), u"A/x.mp3"_s);
    EXPECT_EQ(model.index(0).data(SearchResultsModel::NameStartRole).toInt(), 2);
    // A result outside the prefix (its folder removed since) shows whole.
    EXPECT_EQ(model.index(1).data().toString(), u"/elsewhere/y.mp3"_s);
}

TEST(SearchResultsModel, AFolderIsItsOwnFilesNotThoseOfItsSubfoldersAndRowsLeaveAsFileCopies) {
    SearchResultsModel model;
    model.setResults({u"/m/A/1.flac"_s, u"/m/A/sub/2.flac"_s, u"/m/A/3.flac"_s, u"/m/AB/4.flac"_s, u"/m/5.flac"_s},
                     u"/m/"_s);
    EXPECT_EQ(model.rowsInFolderOf(2), QList<int>({0, 2}));
    EXPECT_EQ(model.rowsInFolderOf(1), QList<int>({1}));
    EXPECT_EQ(model.rowsInFolderOf(4), QList<int>({4}));
    EXPECT_TRUE(model.rowsInFolderOf(5).isEmpty());

    std::unique_ptr<QMimeData> mime(model.mimeData({model.index(2), model.index(0), model.index(2)}));
    ASSERT_TRUE(mime);
    EXPECT_EQ(mime->urls(), QList<QUrl>({QUrl::fromLocalFile(u"/m/A/1.flac"_s), QUrl::fromLocalFile(u"/m/A/3.flac"_s)}));
}

// The real library: rows read below the folders' shared parent, and a finished scan searches again.
class SearchControllerLibraryTest : public SearchControllerTest {
protected:
    QString flac(const QString& name) { return media.ffmpeg(name, {}, 0.2); }
    void addAndScan(const QStringList& roots) {
        QList<FolderRef> folders;
        for (const QString& root : roots) {
            folders.append(std::make_shared<Folder>());
            folders.last()->root = media.path(root);
        }
        library.addFolders(folders, library.folders().size());
        ASSERT_TRUE(spinUntil([&] {
            return std::all_of(folders.cbegin(), folders.cend(), [](const FolderRef& f) { return f->state == Folder::State::ready; });
        }, 30));
    }
    QStringList rowTexts(const SearchController& controller) {
        QStringList texts;
        const SearchResultsModel& model = *controller.model();
        for (int row = 0; row < model.rowCount(); ++row) texts.append(model.index(row).data().toString());
        return texts;
    }
    void searchFor(SearchController& controller, const QString& query) {
        controller.setQuery(query);
        ASSERT_TRUE(spinUntil([&] { return !controller.typingTimer().isActive() && !controller.isSearching(); }, 5));
    }

    MediaFactory media;
};

TEST_F(SearchControllerLibraryTest, RowsReadBelowTheSharedFolderOfTheLibrary) {
    ASSERT_FALSE(flac(u"Music/A/x.flac"_s).isEmpty());
    ASSERT_FALSE(flac(u"Music/B/x y.flac"_s).isEmpty());
    SearchController controller(library, db, queues.search);
    EXPECT_FALSE(controller.hasFolders());
    QSignalSpy foldersChanged(&controller, &SearchController::foldersChanged);
    addAndScan({u"Music/A"_s});
    EXPECT_EQ(foldersChanged.size(), 1);
    EXPECT_TRUE(controller.hasFolders());

    searchFor(controller, u"x"_s);
    EXPECT_EQ(controller.model()->commonPrefix(), media.path(u"Music/"_s));
    EXPECT_EQ(rowTexts(controller), QStringList({u"A/x.flac"_s}));

    addAndScan({u"Music/B"_s});
    searchFor(controller, u"x"_s);
    EXPECT_EQ(rowTexts(controller), QStringList({u"A/x.flac"_s, u"B/x y.flac"_s}));
    EXPECT_EQ(controller.status(), u"2 results"_s);
}

TEST_F(SearchControllerLibraryTest, AFinishedScanRunsTheQueryAgain) {
    ASSERT_FALSE(flac(u"Music/A/song one.flac"_s).isEmpty());
    SearchController controller(library, db, queues.search);
    addAndScan({u"Music/A"_s});
    searchFor(controller, u"song"_s);
    EXPECT_EQ(controller.status(), u"1 results"_s);

    ASSERT_FALSE(flac(u"Music/A/song two.flac"_s).isEmpty());
    QSignalSpy started(&controller, &SearchController::searchStarted);
    QSignalSpy shown(&controller, &SearchController::resultsShown);
    library.scanFolder(library.folders().front(), supportedExtensions());
    ASSERT_TRUE(shown.wait(30000));
    EXPECT_EQ(started.size(), 1);
    EXPECT_EQ(started.front().front().toString(), u"song"_s);
    EXPECT_EQ(rowTexts(controller), QStringList({u"A/song one.flac"_s, u"A/song two.flac"_s}));
}

}  // namespace
