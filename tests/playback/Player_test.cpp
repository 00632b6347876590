#include "Player.h"

#include "DB.h"
#include "EventLoop.h"
#include "PlaylistStorage.h"
#include "LogCapture.h"
#include "MediaFactory.h"
#include "MonitorRecorder.h"
#include "SoundServer.h"
#include "Preferences.h"
#include "Queues.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace sonvale;

namespace {

constexpr double kToneSeconds = 0.4;

class PlayerTest : public testing::Test {
protected:
    void SetUp() override {
        if (!soundServerRuns()) GTEST_SKIP() << "no sound server (run through scripts/with-pulseaudio.sh)";
        Preferences reset;
        reset.playbackMode = PlaybackMode::Normal;
        reset.currentPlaylistItem = 0;
        ASSERT_TRUE(reset.save());
        for (const char* name : {"a", "b", "c"}) {
            paths_.append(media_.ffmpeg(QString::fromLatin1(name) + QStringLiteral(".flac"), {}, kToneSeconds));
            ASSERT_FALSE(paths_.last().isEmpty());
        }
        makePlayer();
    }

    void makePlayer() {
        player_.reset();
        preferences_ = std::make_unique<Preferences>();
        player_ = std::make_unique<Player>(std::make_shared<DB>(dataDir_.path()), *preferences_, queues_);
        setups_.clear();
        stops_ = 0;
        QObject::connect(player_.get(), &Player::trackSetup, [this](const PlaylistItemRef& item) { setups_.append(item); });
        QObject::connect(player_.get(), &Player::playbackStopped, [this] { ++stops_; });
    }

    // Opens the three tones and plays the first in `mode`.
    void start(PlaybackMode mode) {
        player_->setPlaybackMode(mode);
        items_ = player_->open(paths_, false);
        ASSERT_EQ(items_.size(), 3);
        player_->playItem(items_[0], false);
    }

    QStringList setupPaths() const {
        QStringList out;
        for (const PlaylistItemRef& item : setups_) out.append(QFileInfo(item->track()->path).baseName());
        return out;
    }
    // Until the background refresh has read every item's duration.
    bool metadataLoaded() {
        return spinUntil([this] {
            return std::all_of(items_.cbegin(), items_.cend(), [](const PlaylistItemRef& item) { return item->track()->duration > 0; });
        }, 10);
    }
    bool stopped(double seconds = 5) { return spinUntil([this] { return stops_ > 0; }, seconds); }

    MediaFactory media_;
    QTemporaryDir dataDir_;
    Queues queues_;
    std::unique_ptr<Preferences> preferences_;
    std::unique_ptr<Player> player_;
    QStringList paths_;
    QList<PlaylistItemRef> items_;
    QList<PlaylistItemRef> setups_;
    int stops_ = 0;
};

TEST_F(PlayerTest, NormalPlaysToTheLastTrackAndSingleStopsAfterOne) {
    start(PlaybackMode::Normal);
    ASSERT_TRUE(stopped());
    EXPECT_EQ(setupPaths(), QStringList({"a", "b", "c"}));
    EXPECT_EQ(player_->current(), nullptr);
    EXPECT_FALSE(player_->isPlaying());
    EXPECT_EQ(player_->recent(), QList<PlaylistItemRef>({items_[1], items_[2]}));

    makePlayer();
    start(PlaybackMode::Single);
    ASSERT_TRUE(stopped());
    // What the stop set in motion on this thread has run: no other item was set up.
    QCoreApplication::processEvents();
    EXPECT_EQ(setupPaths(), QStringList({"a"}));
    EXPECT_EQ(player_->current(), nullptr);
}

TEST_F(PlayerTest, NextAndPreviousStepThroughThePlaylistAndSeekFallsBackOnThem) {
    start(PlaybackMode::Normal);
    player_->pause();
    player_->playPrevious();  // on the first item: nothing
    EXPECT_EQ(player_->current(), items_[0]);
    player_->playNext();
    player_->playNext();
    EXPECT_EQ(player_->current(), items_[2]);
    EXPECT_FALSE(player_->isPlaying());
    player_->playPrevious();
    EXPECT_EQ(player_->current(), items_[1]);
    EXPECT_EQ(player_->recent(), QList<PlaylistItemRef>({items_[1], items_[2], items_[1]}));
    EXPECT_EQ(player_->previous(), items_[0]);  // only playItem sets it

    ASSERT_TRUE(metadataLoaded());
    player_->seek(true, -15);
    EXPECT_EQ(player_->current(), items_[0]);
    player_->seek(true, 15);
    EXPECT_EQ(player_->current(), items_[1]);
    player_->seek(false, 0.2);
    EXPECT_NEAR(player_->elapsed(), 0.2, 0.01);

    player_->setPlaybackMode(PlaybackMode::Single);
    player_->playNext();
    EXPECT_EQ(player_->current(), nullptr);
    EXPECT_EQ(player_->previous(), nullptr);
}

TEST_F(PlayerTest, TwoItemsOfOneFileAreDistinctEntries) {
    const QList<PlaylistItemRef> items = player_->open({paths_[0], paths_[0]}, false);
    ASSERT_EQ(items.size(), 2);
    EXPECT_NE(items[0]->uuid(), items[1]->uuid());
    player_->playItem(items[0], false);
    ASSERT_TRUE(spinUntil([&] { return player_->current() == items[1]; }, 5));
    player_->removeItems({items[0]});
    EXPECT_EQ(player_->playlist().items, QList<PlaylistItemRef>({items[1]}));
    EXPECT_EQ(player_->current(), items[1]);
    EXPECT_EQ(player_->recent(), QList<PlaylistItemRef>({items[1]}));
}

TEST_F(PlayerTest, RemovedCurrentItemStaysUntilTheNextMove) {
    start(PlaybackMode::Normal);
    player_->pause();
    player_->playNext();
    player_->removeItems({items_[1]});
    EXPECT_EQ(player_->current(), items_[1]);
    EXPECT_TRUE(player_->hasNext());
    EXPECT_TRUE(player_->recent().isEmpty());
    player_->playPrevious();  // not in the playlist any more: nothing
    EXPECT_EQ(player_->current(), items_[1]);
    player_->playNext();
    EXPECT_EQ(player_->current(), nullptr);
}

TEST_F(PlayerTest, UnplayableFileIsLoggedReportedAndStopsPlayback) {
    const QString broken = media_.write(QStringLiteral("broken.flac"), QByteArray("fLaC but not really", 19));
    QList<std::pair<QString, QString>> refused;
    QObject::connect(player_.get(), &Player::cannotPlay,
                     [&](const QString& path, const QString& reason) { refused.append({path, reason}); });
    LogCapture log;
    const QList<PlaylistItemRef> items = player_->open({paths_[0], broken, paths_[1]}, false);
    ASSERT_EQ(items.size(), 3);
    player_->playItem(items[0], false);
    ASSERT_TRUE(stopped());
    // What the stop set in motion on this thread has run: no other item was set up.
    QCoreApplication::processEvents();
    EXPECT_EQ(LogCapture::count(QStringLiteral("Cannot play ") + broken + QStringLiteral(": ")), 1);
    EXPECT_EQ(setupPaths(), QStringList({"a"}));
    EXPECT_EQ(player_->current(), nullptr);
    EXPECT_FALSE(player_->isPlaying());

    ASSERT_EQ(refused.size(), 1);
    EXPECT_EQ(refused[0].first, broken);
    EXPECT_FALSE(refused[0].second.isEmpty());

    player_->playItem(items[1], false);
    EXPECT_EQ(player_->current(), nullptr);
    EXPECT_FALSE(player_->isPlaying());
    EXPECT_TRUE(spinUntil([&] { return refused.size() == 2; }, 5));
}

TEST_F(PlayerTest, MovedItemsStandTogetherInPlaylistOrderBeforeTheRow) {
    struct Case {
        const char* name;
        QList<int> moved;  // indexes into the five items; 5 is an item outside the playlist
        qsizetype row;
        QList<int> expected;  // empty: nothing moves and nothing is emitted
    };
    const Case cases[] = {
        {"to the front", {3}, 0, {3, 0, 1, 2, 4}},
        {"selection with a gap, given out of order", {4, 0}, 2, {1, 0, 4, 2, 3}},
        {"to the end", {0, 1}, 5, {2, 3, 4, 0, 1}},
        {"beyond the end", {1}, 99, {0, 2, 3, 4, 1}},
        {"before the start", {4}, -3, {4, 0, 1, 2, 3}},
        {"the row's own item moves", {0, 2}, 2, {1, 0, 2, 3, 4}},
        {"onto itself", {2, 3}, 3, {0, 1, 2, 3, 4}},
        {"with an item not in the playlist", {5, 3}, 0, {3, 0, 1, 2, 4}},
        {"only items not in the playlist", {5}, 0, {}},
    };
    int updates = 0;
    QObject::connect(player_.get(), &Player::playlistUpdated, [&] { ++updates; });
    const PlaylistItemRef outside = std::make_shared<PlaylistItem>(std::make_shared<Track>(paths_[0]));
    for (const Case& c : cases) {
        QList<PlaylistItemRef> items = player_->open({paths_[0], paths_[1], paths_[2], paths_[0], paths_[1]}, false);
        items.append(outside);
        ASSERT_TRUE(spinUntil([&] { return updates == 1; }, 5)) << c.name;
        updates = 0;
        QList<PlaylistItemRef> moved;
        for (int index : c.moved) moved.append(items[index]);
        player_->moveItems(moved, c.row);
        QList<int> order;
        for (const PlaylistItemRef& item : player_->playlist().items) order.append(items.indexOf(item));
        // Queued after anything the move posted, so every signal of the move has arrived first.
        bool delivered = false;
        QMetaObject::invokeMethod(player_.get(), [&] { delivered = true; }, Qt::QueuedConnection);
        ASSERT_TRUE(spinUntil([&] { return delivered; }, 5));
        EXPECT_EQ(order, c.expected.isEmpty() ? QList<int>({0, 1, 2, 3, 4}) : c.expected) << c.name;
        EXPECT_EQ(updates, c.expected.isEmpty() ? 0 : 1) << c.name;
        updates = 0;
    }
}

TEST_F(PlayerTest, MovedCurrentItemStaysCurrentAndPlaysOnInItsNewPlace) {
    start(PlaybackMode::Normal);
    player_->moveItems({items_[0]}, 3);
    EXPECT_EQ(player_->playlist().items, QList<PlaylistItemRef>({items_[1], items_[2], items_[0]}));
    EXPECT_EQ(player_->current(), items_[0]);
    EXPECT_TRUE(player_->isPlaying());
    // Now last, the track ends the playlist.
    ASSERT_TRUE(stopped());
    EXPECT_EQ(setupPaths(), QStringList({"a"}));
}

TEST_F(PlayerTest, PlaylistMetadataAndCurrentItemSurviveARestart) {
    // The database keeps this name composed; the file is found again under its own spelling.
    paths_[2] = media_.ffmpeg(QStringLiteral("c-Noe\u0308l.flac"), {}, kToneSeconds);
    ASSERT_FALSE(paths_[2].isEmpty());
    int loaded = 0;
    QObject::connect(player_.get(), &Player::metaLoaded, [&](const PlaylistItemRef&) { ++loaded; });
    start(PlaybackMode::RepeatAll);
    player_->pause();
    player_->playNext();
    ASSERT_TRUE(spinUntil([&] { return loaded >= 3; }, 10));
    EXPECT_NEAR(items_[2]->track()->duration, kToneSeconds, 0.05);
    ASSERT_TRUE(player_->savePlaylist());

    makePlayer();
    QStringList restored;
    QStringList composed;
    for (const PlaylistItemRef& item : player_->playlist().items) restored.append(item->track()->path);
    for (const QString& path : paths_) composed.append(path.normalized(QString::NormalizationForm_C));
    EXPECT_EQ(restored, composed);
    ASSERT_NE(player_->current(), nullptr);
    EXPECT_EQ(player_->current()->track()->path, paths_[1]);
    EXPECT_NEAR(player_->current()->track()->duration, kToneSeconds, 0.05);
    EXPECT_EQ(player_->playbackMode(), PlaybackMode::RepeatAll);
    EXPECT_FALSE(player_->isPlaying());
    ASSERT_TRUE(spinUntil([this] { return setups_.size() == 1; }, 5));
    EXPECT_TRUE(player_->play());
    ASSERT_TRUE(spinUntil([this] { return setups_.size() == 2; }, 5));
    EXPECT_EQ(player_->current()->track()->path, paths_[2]);
    EXPECT_TRUE(player_->isPlaying());
}

// A saved playlist that cannot be written (a full disk, a damaged file) and holds nothing.
class UnwritablePlaylist final : public PlaylistStorage {
public:
    bool savePlaylist(const QList<TrackRef>&) override { return false; }
    QList<TrackRef> loadPlaylist() override { return {}; }
};

TEST_F(PlayerTest, PlaylistThatCannotBeStoredIsReportedAndTheCurrentItemKeptAllTheSame) {
    player_.reset();
    player_ = std::make_unique<Player>(std::make_shared<DB>(dataDir_.path()), std::make_shared<UnwritablePlaylist>(),
                                       *preferences_, queues_);
    items_ = player_->open(paths_, false);
    ASSERT_EQ(items_.size(), 3);
    player_->playItem(items_[2], false);
    player_->pause();
    EXPECT_FALSE(player_->savePlaylist());
    EXPECT_EQ(Preferences().currentPlaylistItem, 2);
}

// Two files of one second each, cut from a 441 Hz sine: each holds whole periods, so any
// order of them, and either one repeated, is one continuous sine when played without a gap.
class GaplessPlayerTest : public PlayerTest {
protected:
    void SetUp() override {
        PlayerTest::SetUp();
        if (IsSkipped()) return;
        halves_ = media_.splitSine(QStringLiteral("loop"), QStringLiteral("flac"), {}, 2.0, MonitorRecorder::kRate,
                                   MonitorRecorder::kRate, 441);
        ASSERT_EQ(halves_.size(), 2);
        QObject::connect(player_.get(), &Player::trackSetup, [this](const PlaylistItemRef& item) {
            events_.append(QStringLiteral("setup ") + QFileInfo(item->track()->path).baseName());
        });
        QObject::connect(player_.get(), &Player::trackChanged, [this](const PlaylistItemRef&) {
            events_.append(QStringLiteral("changed"));
        });
        QObject::connect(player_.get(), qOverload<PlaylistItemRef>(&Player::seek),
                         [this](const PlaylistItemRef&) { events_.append(QStringLiteral("seek")); });
    }
    bool eventsReach(qsizetype count) { return spinUntil([&] { return events_.size() >= count; }, 10); }

    QStringList halves_;
    QStringList events_;
};

TEST_F(GaplessPlayerTest, RepeatAllRepeatOneAndShuffleGoOnWithoutAGapAndAnnounceAsBefore) {
    MonitorRecorder recorder(QStringLiteral("one"));
    player_->setPlaybackMode(PlaybackMode::RepeatAll);
    const QList<PlaylistItemRef> items = player_->open(halves_, false);
    ASSERT_EQ(items.size(), 2);
    player_->playItem(items[0], false);
    ASSERT_TRUE(eventsReach(6));
    EXPECT_EQ(events_, QStringList({"setup loop-1", "changed", "setup loop-2", "changed", "setup loop-1", "changed"}));
    EXPECT_EQ(player_->current(), items[0]);
    EXPECT_LT(player_->elapsed(), 0.5);  // counted from the start of the item heard now
    EXPECT_EQ(player_->recent(), QList<PlaylistItemRef>({items[1], items[0]}));

    // Changed while the next file is already on its way: the new rule's item follows instead.
    // A restart in place is no new item: no setup, nothing added to the history.
    player_->setPlaybackMode(PlaybackMode::RepeatOne);
    ASSERT_TRUE(eventsReach(7));
    EXPECT_EQ(events_.last(), "seek");
    EXPECT_EQ(player_->current(), items[0]);
    EXPECT_EQ(player_->recent().size(), 2);

    // The shuffle memory excludes the item just played: the other one is drawn.
    player_->setPlaybackMode(PlaybackMode::Shuffle);
    ASSERT_TRUE(eventsReach(9));
    EXPECT_EQ(events_.mid(7), QStringList({"setup loop-2", "changed"}));
    EXPECT_EQ(player_->current(), items[1]);
    EXPECT_EQ(player_->recent().last(), items[1]);
    player_->pause();
    ASSERT_TRUE(spinUntil([&] { return recorder.silentFor(0.2); }, 5));
    EXPECT_EQ(stops_, 0);

    const MonitorRecorder::Continuity heard = recorder.continuity(441);
    EXPECT_GT(heard.frames, 3.5 * MonitorRecorder::kRate);
    EXPECT_LT(heard.longestGapMs, 1.0);
    EXPECT_LT(heard.largestPhaseShift, 1.0);
}

TEST_F(GaplessPlayerTest, ANextNearTheEndAndAChangeOfSampleRatePlayTheRightItems) {
    MonitorRecorder recorder(QStringLiteral("one"));
    const QString other = media_.ffmpeg(QStringLiteral("rate48k.flac"), {}, 0.5, 48000, 2);
    const QList<PlaylistItemRef> items = player_->open({halves_[0], halves_[1], other, halves_[0]}, false);
    ASSERT_EQ(items.size(), 4);
    player_->playItem(items[0], false);
    // The second half is prepared and on its way by now; "next" skips it.
    ASSERT_TRUE(spinUntil([this] { return player_->elapsed() >= 0.8; }, 5));
    player_->playNext();
    EXPECT_EQ(player_->current(), items[1]);
    ASSERT_TRUE(stopped(10));
    EXPECT_EQ(setupPaths(), QStringList({"loop-1", "loop-2", "rate48k", "loop-1"}));
    EXPECT_EQ(player_->recent(), QList<PlaylistItemRef>({items[1], items[2], items[3]}));
    ASSERT_TRUE(spinUntil([&] { return recorder.silentFor(0.2); }, 5));
    EXPECT_NEAR(recorder.heard(), 0.8 + 1.0 + 0.5 + 1.0, 0.2);
}

// Three tones at the same level: one tagged -6.02 dB (album -12.04 dB), one untagged, one tagged
// +6.02 dB with a peak of 0.8. Each is heard at its own gain, the peak holding the loud one to
// 1 / 0.8; album mode takes the album gain, and a change of mode is heard at once.
TEST_F(PlayerTest, ReplayGainScalesEachFileByItsTagsAndTheChosenMode) {
    const auto tone = [this](const char* name, const QStringList& tags) {
        QStringList extra;
        for (const QString& tag : tags) extra << QStringLiteral("-metadata") << tag;
        return media_.ffmpeg(QString::fromLatin1(name) + QStringLiteral(".flac"), extra, 1.0);
    };
    const QStringList files{
        tone("quiet", {QStringLiteral("REPLAYGAIN_TRACK_GAIN=-6.02 dB"), QStringLiteral("REPLAYGAIN_ALBUM_GAIN=-12.04 dB")}),
        tone("plain", {}),
        tone("loud", {QStringLiteral("REPLAYGAIN_TRACK_GAIN=+6.02 dB"), QStringLiteral("REPLAYGAIN_TRACK_PEAK=0.8")})};
    for (const QString& file : files) ASSERT_FALSE(file.isEmpty());
    preferences_->replayGain.mode = ReplayGainMode::Track;
    constexpr int kRate = MonitorRecorder::kRate;
    // The loudest sample of the middle of the n-th second heard.
    const auto secondPeak = [](MonitorRecorder& recorder, int n) {
        return double(recorder.peak(n * kRate + kRate / 10, (n + 1) * kRate - kRate / 10));
    };

    double plain = 0;
    {
        MonitorRecorder recorder(QStringLiteral("one"));
        items_ = player_->open(files, false);
        player_->playItem(items_[0], false);
        ASSERT_TRUE(stopped(10));
        ASSERT_TRUE(spinUntil([&] { return recorder.silentFor(0.2); }, 5));
        plain = secondPeak(recorder, 1);
        ASSERT_GT(plain, 1000);
        EXPECT_NEAR(secondPeak(recorder, 0) / plain, 0.5, 0.02);
        EXPECT_NEAR(secondPeak(recorder, 2) / plain, 1.25, 0.03);
    }

    preferences_->replayGain.mode = ReplayGainMode::Album;
    player_->applyReplayGain();
    player_->setPlaybackMode(PlaybackMode::Single);
    stops_ = 0;
    MonitorRecorder recorder(QStringLiteral("one"));
    player_->playItem(items_[0], false);
    // Back to the track gain halfway through: heard from there on.
    ASSERT_TRUE(spinUntil([this] { return player_->elapsed() >= 0.5; }, 5));
    preferences_->replayGain.mode = ReplayGainMode::Track;
    player_->applyReplayGain();
    ASSERT_TRUE(stopped(10));
    ASSERT_TRUE(spinUntil([&] { return recorder.silentFor(0.2); }, 5));
    EXPECT_NEAR(recorder.peak(kRate / 10, kRate * 4 / 10) / plain, 0.25, 0.02);
    EXPECT_NEAR(recorder.peak(kRate * 3 / 4, kRate * 85 / 100) / plain, 0.5, 0.02);
}

}  // namespace
