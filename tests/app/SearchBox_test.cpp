#include "SearchBox.h"

#include "DB.h"
#include "EventLoop.h"
#include "Library.h"
#include "MediaFactory.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"
#include "SearchController.h"
#include "SearchResultsModel.h"
#include "SoundServer.h"

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

// The search window over a real library of generated files, handing its results to the real
// player (through the private sound server).
class SearchBoxTest : public testing::Test {
protected:
    void SetUp() override {
        if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
        for (const QString& name : {u"Music/Album/01 tune.flac"_s, u"Music/Album/02 tune.flac"_s,
                                    u"Music/Album/Extras/03 tune.flac"_s, u"Music/Other/04 tune.flac"_s}) {
            ASSERT_FALSE(media.ffmpeg(name, {}, 1.0).isEmpty());
        }
        player = std::make_unique<Player>(db, preferences, queues);
        box = std::make_unique<SearchBox>(*player, db, library, queues);
        box->present();
        ASSERT_TRUE(QTest::qWaitForWindowActive(box.get()));
    }

    void addLibraryFolder() {
        auto folder = std::make_shared<Folder>();
        folder->root = media.path(u"Music"_s);
        library.addFolders({folder}, 0);
        ASSERT_TRUE(spinUntil([&] { return folder->state == Folder::State::ready; }, 30));
    }
    // Types into the field and waits until the table shows the answer.
    void type(const QString& text) {
        QTest::keyClicks(box->searchField(), text);
        SearchController& controller = *box->controller();
        ASSERT_TRUE(spinUntil([&] { return !controller.typingTimer().isActive() && !controller.isSearching(); }, 5));
    }
    QStringList selectedNames() {
        QStringList names;
        for (const QString& path : box->selectedPaths()) names.append(QFileInfo(path).fileName());
        return names;
    }
    QStringList playlistNames() {
        QStringList names;
        for (const PlaylistItemRef& item : player->playlist().items) names.append(QFileInfo(item->track()->path).fileName());
        return names;
    }
    // What the window system sends for a double-click: press, release, double-click, release.
    void doubleClick(QPoint at) {
        QWidget* viewport = box->table()->viewport();
        QTest::mouseClick(viewport, Qt::LeftButton, {}, at);
        QTest::mouseDClick(viewport, Qt::LeftButton, {}, at);
        QTest::mouseRelease(viewport, Qt::LeftButton, {}, at);
    }
    void selectRow(int row) {
        QTableView& table = *box->table();
        table.selectionModel()->select(table.model()->index(row, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
    QPoint rowCenter(int row) { return box->table()->visualRect(box->table()->model()->index(row, 0)).center(); }

    MediaFactory media;
    QTemporaryDir data;
    std::shared_ptr<DB> db = std::make_shared<DB>(data.path());
    Queues queues;
    Library library{db, queues};
    Preferences preferences;
    std::unique_ptr<Player> player;
    std::unique_ptr<SearchBox> box;
};

TEST_F(SearchBoxTest, WithoutFoldersItInvitesToTheLibraryPreferences) {
    EXPECT_TRUE(box->emptyOverlay()->isVisible());
    QSignalSpy requested(box.get(), &SearchBox::libraryPreferencesRequested);
    auto* button = box->emptyOverlay()->findChild<QPushButton*>();
    ASSERT_TRUE(button);
    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_EQ(requested.size(), 1);

    addLibraryFolder();
    EXPECT_FALSE(box->emptyOverlay()->isVisible());
    EXPECT_TRUE(box->table()->isVisible());
}

TEST_F(SearchBoxTest, ButtonsNeedASelectionAndADoubleClickSelectsTheRowsFolder) {
    addLibraryFolder();
    type(u"tune"_s);
    EXPECT_EQ(box->statusLabel()->text(), u"4 results"_s);
    EXPECT_FALSE(box->progress()->isVisible());
    EXPECT_FALSE(box->playButton()->isEnabled());
    EXPECT_FALSE(box->enqueueButton()->isEnabled());
    selectRow(3);
    EXPECT_TRUE(box->playButton()->isEnabled());
    EXPECT_TRUE(box->enqueueButton()->isEnabled());

    doubleClick(rowCenter(0));
    EXPECT_EQ(selectedNames(), QStringList({u"01 tune.flac"_s, u"02 tune.flac"_s}));
    EXPECT_TRUE(player->playlist().items.isEmpty());

    // Below the last row: no folder is chosen (the first click empties the selection, as any
    // click there does) and nothing plays.
    doubleClick(box->table()->viewport()->rect().bottomLeft() + QPoint(8, -4));
    EXPECT_TRUE(box->selectedPaths().isEmpty());
    EXPECT_TRUE(player->playlist().items.isEmpty());

    // A new search empties the selection, and the buttons follow.
    selectRow(0);
    type(u" 02"_s);
    EXPECT_EQ(box->statusLabel()->text(), u"1 results"_s);
    EXPECT_FALSE(box->playButton()->isEnabled());
}

TEST_F(SearchBoxTest, PlayReplacesThePlaylistAndEnqueueAppendsWithoutInterrupting) {
    addLibraryFolder();
    type(u"tune"_s);
    doubleClick(rowCenter(1));
    QTest::mouseClick(box->playButton(), Qt::LeftButton);
    ASSERT_TRUE(spinUntil([&] { return player->isPlaying(); }, 10));
    EXPECT_EQ(playlistNames(), QStringList({u"01 tune.flac"_s, u"02 tune.flac"_s}));
    const PlaylistItemRef playing = player->current();
    EXPECT_EQ(QFileInfo(playing->track()->path).fileName(), u"01 tune.flac"_s);

    selectRow(3);
    box->table()->setFocus();
    QTest::keyClick(box->table(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(playlistNames(), QStringList({u"01 tune.flac"_s, u"02 tune.flac"_s, u"04 tune.flac"_s}));
    EXPECT_EQ(player->current(), playing);
    EXPECT_TRUE(player->isPlaying());

    selectRow(2);
    QTest::keyClick(box->table(), Qt::Key_Return);
    EXPECT_EQ(playlistNames(), QStringList({u"03 tune.flac"_s}));
    ASSERT_TRUE(spinUntil([&] { return player->isPlaying() && player->current() == player->playlist().items.front(); }, 10));
}

TEST_F(SearchBoxTest, DownEntersTheResultsAndEscapeClosesTheWindow) {
    addLibraryFolder();
    type(u"tune"_s);
    ASSERT_TRUE(box->searchField()->hasFocus());
    QTest::keyClick(box->searchField(), Qt::Key_Down);
    EXPECT_TRUE(box->table()->hasFocus());
    EXPECT_EQ(selectedNames(), QStringList({u"01 tune.flac"_s}));
    QTest::keyClick(box->table(), Qt::Key_Down);
    EXPECT_EQ(selectedNames(), QStringList({u"02 tune.flac"_s}));

    QTest::keyClick(box->table(), Qt::Key_Escape);
    EXPECT_FALSE(box->isVisible());
}

}  // namespace
