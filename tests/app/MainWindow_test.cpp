#include "AppFixture.h"

#include "ElidedLabel.h"
#include "MainWindow.h"
#include "Notifications.h"
#include "PlaylistModel.h"
#include "PlaylistSaver.h"
#include "PlaylistView.h"
#include "Preferences.h"
#include "TrackPanel.h"

#include <QDropEvent>
#include <QElapsedTimer>
#include <QMimeData>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>

using namespace sonvale;

namespace {

class MainWindowTest : public AppFixture {
protected:
    void SetUp() override {
        AppFixture::SetUp();
        if (IsSkipped()) return;
        fill();
        MainWindow& window = app_->window();
        window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
        window.table()->setFocus();
    }

    void type(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(app_->window().table(), Qt::Key(key), modifiers);
    }

    void selectRows(std::initializer_list<int> rows) {
        PlaylistView& table = *app_->window().table();
        table.clearSelection();
        for (const int row : rows) {
            table.selectionModel()->select(table.model()->index(row, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
    }

    void drop(const QList<QUrl>& urls) {
        QMimeData mime;
        mime.setUrls(urls);
        QWidget* target = app_->window().panel();
        const QPoint at = target->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&app_->window(), &enter);
        QDropEvent dropped(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&app_->window(), &dropped);
    }
};

TEST_F(MainWindowTest, WinampKeysActOnlyWhenSwitchedOnAndWithoutCommandModifiers) {
    const PlaylistItemRef first = player().playlist().items[0];
    player().playItem(player().playlist().items[1], false);
    ASSERT_TRUE(spinUntil([this] { return player().isPlaying(); }, 5));

    for (const int key : {Qt::Key_Z, Qt::Key_C, Qt::Key_V, Qt::Key_B}) type(key);
    EXPECT_TRUE(player().isPlaying());
    EXPECT_EQ(player().current(), player().playlist().items[1]);

    app_->preferences().winampKeys = true;
    type(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(player().current(), player().playlist().items[1]);
    type(Qt::Key_Z);
    EXPECT_EQ(player().current(), first);
    type(Qt::Key_C);
    EXPECT_FALSE(player().isPlaying());
    type(Qt::Key_X);
    EXPECT_TRUE(player().isPlaying());
    type(Qt::Key_B);
    EXPECT_EQ(player().current(), player().playlist().items[1]);
    type(Qt::Key_V);
    EXPECT_EQ(player().current(), nullptr);
    EXPECT_FALSE(player().isPlaying());
}

TEST_F(MainWindowTest, ReturnPlaysOnlyASingleSelectedRowAndDeleteRemovesTheSelection) {
    selectRows({0, 2});
    type(Qt::Key_Return);
    EXPECT_EQ(player().current(), nullptr);
    selectRows({2});
    type(Qt::Key_Return);
    EXPECT_EQ(player().current(), player().playlist().items[2]);

    selectRows({0, 1});
    type(Qt::Key_Delete);
    ASSERT_TRUE(spinUntil([this] { return tableRows() == 1; }, 5));
    EXPECT_EQ(playlistNames(), QStringList({"b2"}));
}

TEST_F(MainWindowTest, DroppedFilesAreOpenedOrEnqueuedByThePreference) {
    drop({QUrl::fromLocalFile(paths_[1]), QUrl(QStringLiteral("https://example.org/x.mp3"))});
    ASSERT_TRUE(spinUntil([this] { return tableRows() == 1; }, 5));
    EXPECT_EQ(playlistNames(), QStringList({"a1"}));
    EXPECT_TRUE(player().isPlaying());

    app_->preferences().alwaysEnqueue = true;
    const PlaylistItemRef playing = player().current();
    drop({QUrl::fromLocalFile(paths_[0])});
    ASSERT_TRUE(spinUntil([this] { return tableRows() == 2; }, 5));
    EXPECT_EQ(playlistNames(), QStringList({"a1", "B10"}));
    EXPECT_EQ(player().current(), playing);
}

TEST_F(MainWindowTest, ABurstOfPlaylistChangesIsSavedOnceAfterTheLast) {
    PlaylistSaver& saver = *app_->window().saver();
    const int interval = 600;
    saver.setInterval(interval);
    QSignalSpy saves(&saver, &PlaylistSaver::saved);
    ASSERT_TRUE(spinUntil([&] { return !saver.pending(); }, 2));
    saves.clear();

    // Timed from before each change, so the wait for the table does not count; a coarse timer
    // may fire up to 5% early.
    QElapsedTimer sinceLast;
    for (int i = 0; i < 10; ++i) {
        sinceLast.start();
        player().open({paths_[i % 3]}, true);
        ASSERT_TRUE(spinUntil([&] { return tableRows() == 4 + i; }, 2));
    }
    ASSERT_TRUE(saves.wait(5000));
    EXPECT_GE(sinceLast.elapsed(), interval * 9 / 10);
    EXPECT_EQ(saves.takeFirst().front().toBool(), true);
    ASSERT_FALSE(saves.wait(interval * 2));

    app_.reset();
    start();
    EXPECT_EQ(tableRows(), 13);
}

TEST_F(MainWindowTest, LabelsFollowTheirTemplatesAndAFileThatCannotBePlayedIsNamed) {
    TrackPanel& panel = *app_->window().panel();
    player().playItem(player().playlist().items[0], false);
    ASSERT_TRUE(spinUntil([&] { return panel.rightLabel()->fullText() == QLatin1String("3 tracks, 0:09"); }, 5));
    EXPECT_TRUE(panel.leftLabel()->fullText().contains(QLatin1String("FLAC")));

    app_->preferences().labels.right = Tags{.playlistCount = true, .separator = TagSeparator::Space};
    app_->notifications().post(&Notifications::labelsChanged);
    ASSERT_TRUE(spinUntil([&] { return panel.rightLabel()->fullText() == QLatin1String("3 tracks"); }, 2));

    const QString broken = media_.write(QStringLiteral("broken.flac"), QByteArray(4096, 'x'));
    player().open({broken}, true);
    ASSERT_TRUE(spinUntil([this] { return tableRows() == 4; }, 5));
    player().playItem(player().playlist().items[3], false);
    ASSERT_TRUE(spinUntil([&] { return app_->window().statusBar()->currentMessage().contains(broken); }, 5));
    EXPECT_TRUE(app_->window().statusBar()->currentMessage().startsWith(QLatin1String("Cannot play")));
    EXPECT_EQ(player().current(), nullptr);
}

}  // namespace
