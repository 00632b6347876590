#include "PlaylistModel.h"

#include "DB.h"
#include "EventLoop.h"
#include "MediaFactory.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"
#include "SoundServer.h"

#include <QAbstractItemModelTester>
#include <QDropEvent>
#include <QFileInfo>
#include <QFont>
#include <QIcon>
#include <QMimeData>
#include <QSet>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

// The playlist table as the main window sets it up. QApplication passes drag events on only
// during a real drag, so the test hands them to the viewport handler, as the scroll area does.
class PlaylistView : public QTableView {
public:
    explicit PlaylistView(QAbstractItemModel* model) {
        setModel(model);
        setSelectionBehavior(QAbstractItemView::SelectRows);
        setSelectionMode(QAbstractItemView::ExtendedSelection);
        setDragDropMode(QAbstractItemView::DragDrop);
        setDragDropOverwriteMode(false);
        resize(600, 400);
        show();
    }

    // Enters, moves over and drops at `at`, proposing a move; whether the view took the drop.
    bool dragAndDrop(const QMimeData* data, QPoint at) {
        const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
        QDragEnterEvent enter(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        QDragMoveEvent move(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        QDropEvent drop(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        for (QDropEvent* event : {static_cast<QDropEvent*>(&enter), static_cast<QDropEvent*>(&move), &drop}) {
            event->setDropAction(Qt::MoveAction);
            viewportEvent(event);
            if (!event->isAccepted()) return false;
        }
        return true;
    }
};

class PlaylistModelTest : public testing::Test {
protected:
    void SetUp() override {
        if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
        Preferences reset;
        reset.currentPlaylistItem.reset();
        ASSERT_TRUE(reset.save());
        paths_ = {
            media_.ffmpeg(u"a.flac"_s, {u"-metadata"_s, u"title=Alpha"_s, u"-metadata"_s, u"artist=Ann"_s,
                                        u"-metadata"_s, u"album=First"_s, u"-metadata"_s, u"track=03"_s},
                          kToneSeconds),
            media_.ffmpeg(u"b.flac"_s, {}, kToneSeconds),
            media_.write(u"07 Intro.live.flac"_s, QByteArray("not audio")),
        };
        ASSERT_FALSE(paths_.contains(QString()));
        player_ = std::make_unique<Player>(std::make_shared<DB>(dataDir_.path()), preferences_, queues_);
        model_ = std::make_unique<PlaylistModel>(*player_, nullptr);
    }

    // Waits for the player's background reads and delivers what they posted.
    void settle() {
        queues_.artwork.waitUntilAllOperationsAreFinished();
        bool delivered = false;
        QMetaObject::invokeMethod(player_.get(), [&] { delivered = true; }, Qt::QueuedConnection);
        ASSERT_TRUE(spinUntil([&] { return delivered; }, 5));
    }
    // Opens `paths`, lets their metadata arrive and makes a new model, so that nothing the
    // opening caused is still to come.
    QList<PlaylistItemRef> openSettled(const QStringList& paths) {
        const QList<PlaylistItemRef> items = player_->open(paths, false);
        settle();
        model_ = std::make_unique<PlaylistModel>(*player_, nullptr);
        return items;
    }
    // Opens `paths` and waits until the model has taken the new list.
    QList<PlaylistItemRef> open(const QStringList& paths, bool enqueue) {
        QSignalSpy resets(model_.get(), &QAbstractItemModel::modelReset);
        const QList<PlaylistItemRef> items = player_->open(paths, enqueue);
        EXPECT_TRUE(resets.wait(5000));
        return items;
    }
    QString text(int row, int column, int role = Qt::DisplayRole) const {
        return model_->data(model_->index(row, column), role).toString();
    }
    QList<PlaylistItemRef> shownItems() const {
        QList<PlaylistItemRef> out;
        for (int row = 0; row < model_->rowCount(); ++row) out.append(model_->itemAt(row));
        return out;
    }
    QList<int> boldRows() const {
        QList<int> out;
        for (int row = 0; row < model_->rowCount(); ++row) {
            const QVariant font = model_->data(model_->index(row, PlaylistModel::Title), Qt::FontRole);
            if (font.isValid() && font.value<QFont>().bold()) out.append(row);
        }
        return out;
    }
    qint64 markKey(int row) const {
        return model_->data(model_->index(row, PlaylistModel::Track), Qt::DecorationRole).value<QIcon>().cacheKey();
    }

    static constexpr double kToneSeconds = 2.5;
    MediaFactory media_;
    QTemporaryDir dataDir_;
    Queues queues_;
    Preferences preferences_;
    std::unique_ptr<Player> player_;
    std::unique_ptr<PlaylistModel> model_;
    QStringList paths_;
};

TEST_F(PlaylistModelTest, ModelStaysConsistentAndResetsWhenThePlaylistChanges) {
    // Checks the model after every change; a broken rule ends the test with the tester's message.
    QAbstractItemModelTester tester(model_.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy resets(model_.get(), &QAbstractItemModel::modelReset);
    const QList<PlaylistItemRef> items = open(paths_, false);
    EXPECT_EQ(shownItems(), items);
    EXPECT_EQ(model_->rowOf(items[2]), 2);
    const QList<PlaylistItemRef> more = open(paths_.mid(0, 2), true);
    EXPECT_EQ(shownItems(), items + more);
    EXPECT_EQ(model_->rowOf(more[1]), 4);
    EXPECT_EQ(model_->itemsAt(QList<int>{4, -1, 0, 4, 9}), QList<PlaylistItemRef>({items[0], more[1]}));
    // Repaints of the current row go by the tester too.
    player_->playItem(items[0], false);
    player_->playNext();
    player_->clearPlaylist();
    ASSERT_TRUE(resets.wait(5000));
    EXPECT_EQ(model_->rowCount(), 0);
    EXPECT_EQ(model_->rowOf(items[0]), std::nullopt);
    EXPECT_EQ(model_->itemAt(0), nullptr);
    EXPECT_EQ(resets.size(), 3);
}

TEST_F(PlaylistModelTest, CellsShowTagsOrFallBackToTheFileName) {
    const QList<PlaylistItemRef> items = open(paths_, false);
    settle();
    // Until its file is read a record has no title; the reader fills in the folder as album.
    items[2]->track()->title.clear();
    const QString folder = QFileInfo(media_.dir()).fileName();
    const QStringList expected[] = {
        {u"3"_s, u"Alpha"_s, u"Ann"_s, u"First"_s, u"0:02"_s},
        {QString(), u"b"_s, QString(), folder, u"0:02"_s},
        {u"7"_s, u"07 Intro.live"_s, QString(), folder, QString()},
    };
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < PlaylistModel::kColumnCount; ++column) {
            EXPECT_EQ(text(row, column), expected[row][column]) << row << ", " << column;
            EXPECT_EQ(text(row, column, Qt::AccessibleTextRole), expected[row][column]);
        }
        EXPECT_EQ(text(row, PlaylistModel::Album, Qt::ToolTipRole), paths_[row]);
    }
}

TEST_F(PlaylistModelTest, CurrentRowIsBoldAndMarkedAndOnlyItsRowsRepaint) {
    const QList<PlaylistItemRef> items = openSettled(paths_.mid(0, 2));
    EXPECT_TRUE(boldRows().isEmpty());
    QSignalSpy changes(model_.get(), &QAbstractItemModel::dataChanged);
    // Runs `action`, lets the player's signals arrive and gives the rows repainted meanwhile.
    const auto repaintedBy = [&](const std::function<void()>& action) {
        changes.clear();
        action();
        settle();
        QSet<int> rows;
        for (const QList<QVariant>& change : changes) {
            const QModelIndex first = change[0].toModelIndex();
            const QModelIndex last = change[1].toModelIndex();
            EXPECT_EQ(first.row(), last.row());
            EXPECT_EQ(first.column(), 0);
            EXPECT_EQ(last.column(), PlaylistModel::kColumnCount - 1);
            rows.insert(first.row());
        }
        return rows;
    };

    EXPECT_EQ(repaintedBy([&] { player_->playItem(items[0], false); }), QSet<int>{0});
    EXPECT_EQ(boldRows(), QList<int>{0});
    const qint64 playing = markKey(0);
    EXPECT_NE(playing, 0);
    EXPECT_FALSE(model_->data(model_->index(0, PlaylistModel::Title), Qt::DecorationRole).isValid());
    EXPECT_EQ(markKey(1), 0);

    EXPECT_EQ(repaintedBy([&] { player_->pause(); }), QSet<int>{0});
    EXPECT_NE(markKey(0), playing);
    EXPECT_NE(markKey(0), 0);
    EXPECT_EQ(repaintedBy([&] { player_->playNext(); }), QSet<int>({0, 1}));
    EXPECT_EQ(boldRows(), QList<int>{1});
    EXPECT_EQ(markKey(0), 0);
    EXPECT_EQ(repaintedBy([&] { player_->stop(); }), QSet<int>{1});
    EXPECT_TRUE(boldRows().isEmpty());
}

TEST_F(PlaylistModelTest, MetadataRefreshesRepaintTogetherAfterTheInterval) {
    const QList<PlaylistItemRef> items = openSettled(paths_);
    model_->setPendingReloadInterval(20);
    QSignalSpy changes(model_.get(), &QAbstractItemModel::dataChanged);
    const PlaylistItemRef outside = std::make_shared<PlaylistItem>(std::make_shared<sonvale::Track>(paths_[0]));
    for (int i = 0; i < 1000; ++i) {
        emit player_->metaLoaded(items[1 + i % 2]);
        emit player_->metaLoaded(outside);
    }
    ASSERT_TRUE(changes.wait(5000));
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0][0].toModelIndex(), model_->index(1, 0));
    EXPECT_EQ(changes[0][1].toModelIndex(), model_->index(2, PlaylistModel::kColumnCount - 1));

    emit player_->metaLoaded(items[0]);
    ASSERT_TRUE(changes.wait(5000));
    ASSERT_EQ(changes.size(), 2);
    EXPECT_EQ(changes[1][0].toModelIndex(), model_->index(0, 0));
    EXPECT_EQ(changes[1][1].toModelIndex(), model_->index(0, PlaylistModel::kColumnCount - 1));
}

TEST_F(PlaylistModelTest, RowsDroppedBetweenRowsMoveThroughThePlayerOnce) {
    const QList<PlaylistItemRef> items = openSettled(paths_);
    PlaylistView view(model_.get());
    struct Case {
        QList<int> rows;
        int overRow;  // the drop lands in the upper half of this row; -1: below the last row
        QList<int> expected;
    };
    const Case cases[] = {
        {{0, 2}, 1, {0, 2, 1}},
        {{0}, -1, {1, 2, 0}},
    };
    const auto addRow = QItemSelectionModel::Rows | QItemSelectionModel::Select;
    for (const Case& c : cases) {
        const QList<PlaylistItemRef> before = shownItems();
        view.clearSelection();
        for (int row : c.rows) view.selectionModel()->select(model_->index(row, 0), addRow);
        const std::unique_ptr<QMimeData> data(model_->mimeData(view.selectionModel()->selectedIndexes()));
        ASSERT_TRUE(data);
        QList<QUrl> urls;
        for (int row : c.rows) urls.append(QUrl::fromLocalFile(before[row]->track()->path));
        EXPECT_EQ(data->urls(), urls);

        const QRect over = c.overRow < 0 ? QRect(0, view.viewport()->height() - 8, 8, 8)
                                         : view.visualRect(model_->index(c.overRow, PlaylistModel::Title));
        QSignalSpy resets(model_.get(), &QAbstractItemModel::modelReset);
        EXPECT_TRUE(view.dragAndDrop(data.get(), QPoint(over.center().x(), over.top() + over.height() / 4)));
        ASSERT_TRUE(resets.wait(5000));
        // What a view does to its model once a drag that ended in a move is over.
        EXPECT_FALSE(model_->removeRows(0, 1));
        EXPECT_FALSE(model_->setData(model_->index(0, 0), QVariant()));

        QList<PlaylistItemRef> expected;
        for (int row : c.expected) expected.append(before[row]);
        EXPECT_EQ(shownItems(), expected);
        EXPECT_EQ(player_->playlist().items, expected);
    }
    EXPECT_EQ(QSet<PlaylistItemRef>(player_->playlist().items.cbegin(), player_->playlist().items.cend()),
              QSet<PlaylistItemRef>(items.cbegin(), items.cend()));
}

TEST_F(PlaylistModelTest, DroppedLocalFilesAreHandedOnAndForeignRowsAreNotMoved) {
    const QList<PlaylistItemRef> items = openSettled(paths_);
    QSignalSpy dropped(model_.get(), &PlaylistModel::pathsDropped);
    QSignalSpy updates(player_.get(), &Player::playlistUpdated);
    const auto drop = [&](const QMimeData* data) { return model_->dropMimeData(data, Qt::CopyAction, 0, 0, {}); };

    const QUrl web(u"http://example.com/c.flac"_s);
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(paths_[1]), web, QUrl::fromLocalFile(paths_[0])});
    EXPECT_TRUE(drop(&files));
    QMimeData remote;
    remote.setUrls({web});
    EXPECT_FALSE(drop(&remote));

    // Rows of another model, and rows dragged before the last reset, arrive as their files.
    PlaylistModel other(*player_, nullptr);
    const std::unique_ptr<QMimeData> otherRows(other.mimeData({other.index(2, 0)}));
    EXPECT_TRUE(drop(otherRows.get()));
    const std::unique_ptr<QMimeData> staleRows(model_->mimeData({model_->index(1, 0)}));
    const QList<PlaylistItemRef> more = open(paths_.mid(0, 1), true);
    EXPECT_TRUE(drop(staleRows.get()));

    settle();
    EXPECT_EQ(updates.size(), 1);
    EXPECT_EQ(player_->playlist().items, items + more);
    ASSERT_EQ(dropped.size(), 3);
    EXPECT_EQ(dropped[0][0].toStringList(), QStringList({paths_[1], paths_[0]}));
    EXPECT_EQ(dropped[1][0].toStringList(), QStringList({paths_[2]}));
    EXPECT_EQ(dropped[2][0].toStringList(), QStringList({paths_[1]}));
}

}  // namespace
