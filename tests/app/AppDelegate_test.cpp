#include "AppFixture.h"

#include "AppActions.h"
#include "DB.h"
#include "MainWindow.h"
#include "OpenBatch.h"
#include "PlaylistModel.h"
#include "PlaylistView.h"
#include "Preferences.h"
#include "SQLiteDatabase.h"
#include "TrayIcon.h"

#include <QAction>
#include <QDir>
#include <QHeaderView>
#include <QMenu>
#include <QMessageBox>

using namespace sonvale;
using namespace Qt::StringLiterals;

int AppFixture::tableRows() { return app_->window().model()->rowCount({}); }

TEST_F(AppFixture, HandedOverPathsBecomeOneSortedBatchThatReplacesOrEnqueues) {
    fill();
    player().pause();
    // Three requests in a burst, as a file manager sends three selected files.
    for (const QString& path : paths_) app_->openFiles({path});
    ASSERT_TRUE(spinUntil([this] { return player().isPlaying() && playlistNames().size() == 3; }, 5));
    EXPECT_EQ(playlistNames(), QStringList({"a1", "b2", "B10"}));
    EXPECT_EQ(player().current(), player().playlist().items.front());

    app_->preferences().alwaysEnqueue = true;
    const PlaylistItemRef playing = player().current();
    app_->openFiles({paths_[0], paths_[2]});
    ASSERT_TRUE(spinUntil([this] { return playlistNames().size() == 5; }, 5));
    EXPECT_EQ(playlistNames(), QStringList({"a1", "b2", "B10", "b2", "B10"}));
    EXPECT_EQ(player().current(), playing);
    EXPECT_TRUE(player().isPlaying());
}

TEST_F(AppFixture, SelectionCommandsFollowTheNumberOfSelectedRows) {
    fill();
    AppActions& actions = app_->actions();
    PlaylistView& table = *app_->window().table();
    const auto expectEnabled = [&](int rows, bool copy, bool exportSelection) {
        table.clearSelection();
        for (int row = 0; row < rows; ++row) {
            table.selectionModel()->select(table.model()->index(row, 0),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        ASSERT_TRUE(spinUntil([&] { return actions.copyTrackInfo->isEnabled() == copy
                                           && actions.exportSelection->isEnabled() == exportSelection; }, 2))
            << rows << " rows";
    };
    expectEnabled(1, true, false);
    expectEnabled(2, true, true);
    expectEnabled(0, false, false);
}

TEST_F(AppFixture, SpaceBelongsToPauseWhilePlayingAndToPlayOtherwise) {
    fill();
    AppActions& actions = app_->actions();
    const QKeySequence space(Qt::Key_Space);
    EXPECT_EQ(actions.play->shortcut(), space);
    EXPECT_TRUE(actions.pause->shortcut().isEmpty());
    EXPECT_FALSE(actions.next->isEnabled());  // nothing current yet

    player().playItem(player().playlist().items.front(), false);
    ASSERT_TRUE(spinUntil([&] { return actions.pause->shortcut() == space; }, 5));
    EXPECT_TRUE(actions.play->shortcut().isEmpty());
    EXPECT_FALSE(actions.play->isEnabled());
    EXPECT_TRUE(actions.seekForward->isEnabled());
    EXPECT_TRUE(actions.next->isEnabled());
    EXPECT_FALSE(actions.previous->isEnabled());

    actions.pause->trigger();
    ASSERT_TRUE(spinUntil([&] { return actions.play->shortcut() == space; }, 5));
    EXPECT_TRUE(actions.pause->shortcut().isEmpty());
    EXPECT_FALSE(player().isPlaying());
}

TEST_F(AppFixture, TrayMenuStartsWithTheStatusLineOnlyWhileSomethingIsCurrent) {
    fill();
    QMenu& menu = *app_->tray().menu();
    const QString first = menu.actions().front()->text();
    player().playItem(player().playlist().items[1], false);
    ASSERT_TRUE(spinUntil([&] { return menu.actions().front()->text().startsWith(QLatin1String("a1")); }, 5));
    EXPECT_TRUE(menu.actions()[1]->isSeparator());
    const qsizetype withStatus = menu.actions().size();

    player().stop();
    ASSERT_TRUE(spinUntil([&] { return menu.actions().front()->text() == first; }, 5));
    EXPECT_EQ(menu.actions().size(), withStatus - 2);
}

TEST_F(AppFixture, ModeMarksFollowThePlayerAndCycling) {
    AppActions& actions = app_->actions();
    EXPECT_TRUE(actions.modes[0]->isChecked());
    actions.modes[3]->trigger();
    ASSERT_TRUE(spinUntil([&] { return actions.modes[3]->isChecked(); }, 2));
    EXPECT_EQ(player().playbackMode(), PlaybackMode::Shuffle);
    actions.cycleMode->trigger();
    ASSERT_TRUE(spinUntil([&] { return actions.modes[4]->isChecked(); }, 2));
    EXPECT_FALSE(actions.modes[3]->isChecked());
    EXPECT_EQ(Preferences().playbackMode, PlaybackMode::Single);
}

TEST_F(AppFixture, ARestartRestoresPlaylistCurrentItemGeometryAndColumnWidths) {
    fill();
    player().playItem(player().playlist().items[2], false);
    ASSERT_TRUE(spinUntil([this] { return player().isPlaying(); }, 5));
    player().setVolume(0.4f);
    app_->window().setGeometry(40, 50, 700, 480);
    app_->window().table()->horizontalHeader()->resizeSection(PlaylistModel::Artist, 211);
    const QRect geometry = app_->window().geometry();
    app_->terminate();

    start();
    EXPECT_EQ(playlistNames(), QStringList({"B10", "a1", "b2"}));
    ASSERT_NE(player().current(), nullptr);
    EXPECT_EQ(QFileInfo(player().current()->track()->path).baseName(), QLatin1String("b2"));
    EXPECT_FALSE(player().isPlaying());
    EXPECT_FLOAT_EQ(player().volume(), 0.4f);
    EXPECT_EQ(app_->window().geometry().size(), geometry.size());
    EXPECT_EQ(app_->window().table()->horizontalHeader()->sectionSize(PlaylistModel::Artist), 211);
}

TEST_F(AppFixture, DamagedDatabaseIsReplacedWithTheCurrentItemFollowingItsEntryAndTheUserTold) {
    // Enough entries for several pages of the playlist table; the last one current.
    QStringList many;
    for (int i = 0; i < 300; ++i) many += paths_;
    player().open(many, false);
    const PlaylistItemRef last = player().playlist().items.back();
    player().playItem(last, false);
    player().pause();
    app_->terminate();
    app_.reset();

    const QString file = DB::defaultDataDirectory() + u"/"_s + DB::fileName();
    {
        // Noise over the playlist's first page: the entries on it are lost, the rest move up.
        auto db = SQLiteDatabase::open(file);
        ASSERT_TRUE(db);
        auto page = db->executeQuery(u"SELECT pageno FROM dbstat WHERE name = 'playlist' AND pagetype = 'leaf' "
                                     "ORDER BY pageno LIMIT 1"_s);
        ASSERT_TRUE(page && page->next());
        const qint64 number = page->int64ForIndex(0);
        page.reset();
        db.reset();
        QFile bytes(file);
        ASSERT_TRUE(bytes.open(QIODevice::ReadWrite) && bytes.seek((number - 1) * 4096));
        ASSERT_EQ(bytes.write(QByteArray(4096, '\x7f')), 4096);
    }

    start();
    const qsizetype kept = player().playlist().items.size();
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, many.size());
    ASSERT_NE(player().current(), nullptr);
    EXPECT_EQ(player().current(), player().playlist().items.back());
    EXPECT_EQ(player().current()->track()->path, last->track()->path);
    EXPECT_EQ(Preferences().currentPlaylistItem, kept - 1);
    const auto boxes = app_->window().findChildren<QMessageBox*>();
    ASSERT_EQ(boxes.size(), 1);
    EXPECT_TRUE(boxes[0]->text().contains(u".damaged-"_s)) << boxes[0]->text().toStdString();
    EXPECT_EQ(QDir(DB::defaultDataDirectory()).entryList({DB::fileName() + u".damaged-*"_s}, QDir::Files).size(), 1);
}
