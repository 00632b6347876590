#include "PlaybackOrder.h"

#include <QSet>

#include <gtest/gtest.h>

using sonvale::Move;
using sonvale::PlaybackMode;
using sonvale::PlaybackOrder;
using sonvale::Playlist;
using sonvale::PlaylistItem;
using sonvale::PlaylistItemRef;
using sonvale::SeekStep;
using sonvale::Track;
using Kind = Move::Kind;
using namespace Qt::StringLiterals;

namespace {

Playlist playlistOf(int count) {
    Playlist playlist;
    for (int i = 0; i < count; ++i) {
        playlist.items.append(std::make_shared<PlaylistItem>(std::make_shared<Track>(u"/m/%1.flac"_s.arg(i))));
    }
    return playlist;
}

// Carries out a move the way the player does, without the audio engine.
void apply(Playlist& playlist, PlaybackOrder& order, const Move& move) {
    if (move.kind == Kind::Stop) playlist.setCurrent(nullptr);
    if (move.kind != Kind::GoTo) return;
    playlist.setCurrent(move.item);
    if (move.addToHistory) order.remember(move.item);
}

bool isGoTo(const Move& move, const PlaylistItemRef& item, bool addToHistory = true) {
    return move.kind == Kind::GoTo && *move.item == *item && move.addToHistory == addToHistory;
}

}  // namespace

TEST(PlaybackOrder, NextAndEndOfTrackFollowTheModeOnTheLastItem) {
    Playlist playlist = playlistOf(3);
    PlaybackOrder order;
    playlist.setCurrent(playlist.items[2]);
    EXPECT_EQ(order.next(playlist, PlaybackMode::Normal).kind, Kind::Stop);
    EXPECT_EQ(order.finished(playlist, PlaybackMode::Normal).kind, Kind::Stop);
    EXPECT_TRUE(isGoTo(order.next(playlist, PlaybackMode::RepeatAll), playlist.items[0]));
    EXPECT_TRUE(isGoTo(order.finished(playlist, PlaybackMode::RepeatAll), playlist.items[0]));
    EXPECT_EQ(order.next(playlist, PlaybackMode::RepeatOne).kind, Kind::Stop);
    EXPECT_EQ(order.finished(playlist, PlaybackMode::RepeatOne).kind, Kind::Restart);

    playlist.setCurrent(playlist.items[1]);
    EXPECT_TRUE(isGoTo(order.next(playlist, PlaybackMode::Normal), playlist.items[2]));
    EXPECT_TRUE(isGoTo(order.next(playlist, PlaybackMode::RepeatOne), playlist.items[2]));
    EXPECT_EQ(order.finished(playlist, PlaybackMode::RepeatOne).kind, Kind::Restart);
    EXPECT_EQ(order.next(playlist, PlaybackMode::Single).kind, Kind::Stop);
    EXPECT_EQ(order.finished(playlist, PlaybackMode::Single).kind, Kind::Stop);
    EXPECT_TRUE(order.recent().isEmpty());

    Playlist single = playlistOf(1);
    single.setCurrent(single.items[0]);
    EXPECT_TRUE(isGoTo(order.next(single, PlaybackMode::RepeatAll), single.items[0]));
    single.setCurrent(playlist.items[0]);
    EXPECT_EQ(order.next(single, PlaybackMode::RepeatAll).kind, Kind::Stop);
}

TEST(PlaybackOrder, ShuffleDrawsEveryItemOnceBeforeRepeatingWhenTheMemoryCoversThePlaylist) {
    for (int count : {2, 4, 6}) {
        Playlist playlist = playlistOf(count);
        PlaybackOrder order;
        QList<PlaylistItemRef> drawn;
        for (int i = 0; i < 30 * count; ++i) {
            const Move move = order.next(playlist, PlaybackMode::Shuffle);
            ASSERT_EQ(move.kind, Kind::GoTo);
            apply(playlist, order, move);
            drawn.append(move.item);
        }
        for (qsizetype start = 0; start + count <= drawn.size(); ++start) {
            QSet<QUuid> window;
            for (qsizetype i = start; i < start + count; ++i) window.insert(drawn[i]->uuid());
            ASSERT_EQ(window.size(), count) << "items " << count << ", from draw " << start;
        }
    }
}

TEST(PlaybackOrder, ShuffleAvoidsOnlyTheLastFiveReachedItems) {
    Playlist playlist = playlistOf(10);
    PlaybackOrder order;
    QSet<QUuid> seen;
    for (int i = 0; i < 400; ++i) {
        const Move move = order.next(playlist, PlaybackMode::Shuffle);
        for (qsizetype back = 1; back <= std::min<qsizetype>(5, order.recent().size()); ++back) {
            ASSERT_NE(*move.item, *order.recent()[order.recent().size() - back]);
        }
        apply(playlist, order, move);
        seen.insert(move.item->uuid());
    }
    EXPECT_EQ(seen.size(), 10);
    EXPECT_EQ(order.recent().size(), 400);
}

TEST(PlaybackOrder, ShuffleTakesTheDrawModuloTheCandidatesInPlaylistOrder) {
    Playlist playlist = playlistOf(4);
    quint32 next = 0;
    PlaybackOrder order([&] { return next; });
    order.remember(playlist.items[1]);
    next = 4;  // candidates 0, 2, 3
    EXPECT_TRUE(isGoTo(order.advanceShuffle(playlist), playlist.items[2]));

    Playlist three = playlistOf(3);
    for (int i : {0, 1, 2, 0, 1, 0, 2}) order.remember(three.items[i]);
    for (quint32 draw : {0u, 1u, 0xFFFFFFFFu}) {
        next = draw;
        EXPECT_TRUE(isGoTo(order.advanceShuffle(three), three.items[1]));
    }
    order.forget(*three.items[0]);
    next = 0;
    EXPECT_TRUE(isGoTo(order.advanceShuffle(three), three.items[0]));

    Playlist one = playlistOf(1);
    order.remember(one.items[0]);
    EXPECT_TRUE(isGoTo(order.advanceShuffle(one), one.items[0]));
}

TEST(PlaybackOrder, ShufflePreviousWalksBackThroughTheHistory) {
    Playlist playlist = playlistOf(4);
    PlaybackOrder order;
    EXPECT_EQ(order.previous(playlist, PlaybackMode::Shuffle).kind, Kind::Nothing);
    for (int i : {2, 0, 3}) apply(playlist, order, Move::goTo(playlist.items[i], true));

    Move move = order.previous(playlist, PlaybackMode::Shuffle);
    EXPECT_TRUE(isGoTo(move, playlist.items[0], false));
    apply(playlist, order, move);
    move = order.previous(playlist, PlaybackMode::Shuffle);
    EXPECT_TRUE(isGoTo(move, playlist.items[2], false));
    apply(playlist, order, move);
    EXPECT_EQ(order.recent().size(), 1);
    EXPECT_EQ(order.previous(playlist, PlaybackMode::Shuffle).kind, Kind::Nothing);
    EXPECT_EQ(order.recent().size(), 1);
}

TEST(PlaybackOrder, PreviousStepsBackWithoutWrapping) {
    Playlist playlist = playlistOf(3);
    PlaybackOrder order;
    for (PlaybackMode mode : {PlaybackMode::Normal, PlaybackMode::RepeatAll, PlaybackMode::RepeatOne,
                              PlaybackMode::Single}) {
        playlist.setCurrent(nullptr);
        EXPECT_EQ(order.previous(playlist, mode).kind, Kind::Nothing);
        playlist.setCurrent(playlist.items[0]);
        EXPECT_EQ(order.previous(playlist, mode).kind, Kind::Nothing);
        playlist.setCurrent(playlistOf(1).items[0]);
        EXPECT_EQ(order.previous(playlist, mode).kind, Kind::Nothing);
        playlist.setCurrent(playlist.items[2]);
        EXPECT_TRUE(isGoTo(order.previous(playlist, mode), playlist.items[1]));
    }
}

TEST(PlaybackOrder, NextAndPreviousAreOfferedByPositionWhateverTheMode) {
    Playlist playlist = playlistOf(3);
    EXPECT_FALSE(PlaybackOrder::hasNext(playlist) || PlaybackOrder::hasPrevious(playlist));
    playlist.setCurrent(playlist.items[0]);
    EXPECT_TRUE(PlaybackOrder::hasNext(playlist));
    EXPECT_FALSE(PlaybackOrder::hasPrevious(playlist));
    playlist.setCurrent(playlist.items[2]);
    EXPECT_FALSE(PlaybackOrder::hasNext(playlist));
    EXPECT_TRUE(PlaybackOrder::hasPrevious(playlist));
    playlist.items.removeLast();
    EXPECT_TRUE(PlaybackOrder::hasNext(playlist) && PlaybackOrder::hasPrevious(playlist));
    playlist.items.clear();
    EXPECT_TRUE(PlaybackOrder::hasNext(playlist) && PlaybackOrder::hasPrevious(playlist));
}

TEST(PlaybackOrder, RelativeSeeksBeyondTheTrackBecomePreviousOrEnd) {
    EXPECT_EQ(PlaybackOrder::seek(true, -15, 10, 200).kind, SeekStep::Kind::Previous);
    EXPECT_EQ(PlaybackOrder::seek(true, 15, 190, 200).kind, SeekStep::Kind::Finished);
    EXPECT_EQ(PlaybackOrder::seek(true, 15, 185, 200).kind, SeekStep::Kind::Finished);
    const SeekStep inside = PlaybackOrder::seek(true, -15, 15, 200);
    EXPECT_EQ(inside.kind, SeekStep::Kind::SeekTo);
    EXPECT_EQ(inside.target, 0.0);
    const SeekStep absolute = PlaybackOrder::seek(false, 500, 10, 200);
    EXPECT_EQ(absolute.kind, SeekStep::Kind::SeekTo);
    EXPECT_EQ(absolute.target, 500.0);
}
