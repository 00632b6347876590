#include "Player.h"

#include "DB.h"
#include "DiskPath.h"
#include "PlayerLog.h"
#include "Preferences.h"
#include "Queues.h"
#include "ReplayGainSettings.h"

#include <limits>

namespace sonvale {

Player::Player(const std::shared_ptr<DB>& db, Preferences& preferences, Queues& queues)
    : Player(db, db, preferences, queues) {}

Player::Player(std::shared_ptr<TrackStorage> tracks, std::shared_ptr<PlaylistStorage> playlists,
               Preferences& preferences, Queues& queues)
    : trackStorage_(std::move(tracks)),
      playlistStorage_(std::move(playlists)),
      preferences_(preferences),
      queues_(queues),
      playbackMode_(preferences.playbackMode),
      alive_(std::make_shared<std::atomic<bool>>(true)) {
    // The engine is a member: its callback cannot outlive the player.
    engine_.onFinished = [this] { trackFinished(); };
    engine_.onAdvanced = [this] { trackAdvanced(); };
    engine_.setVolume(preferences_.volume);
    restore();
}

Player::~Player() {
    alive_->store(false);
    queues_.artwork.waitUntilAllOperationsAreFinished();
}

void Player::setPlaybackMode(PlaybackMode mode) {
    playbackMode_ = mode;
    preferences_.playbackMode = mode;
    preferences_.save();
    post([this] { emit playbackModeChanged(); });
    prepareAhead();
}

void Player::setVolume(float volume) {
    const float former = engine_.volume();
    engine_.setVolume(volume);
    preferences_.volume = engine_.volume();
    if (engine_.volume() != former) post([this] { emit volumeChanged(); });
}

bool Player::makeCurrent(const PlaylistItemRef& item) {
    QString& path = item->track()->path;
    QString error;
    bool opened = engine_.open(path, &error, gainFor(*item->track()));
    // A restored playlist holds the database's composed spelling of each path.
    if (!opened) {
        if (const QString onDisk = findOnDisk(path); onDisk != path) {
            path = onDisk;
            opened = engine_.open(path, &error, gainFor(*item->track()));
        }
    }
    if (!opened) {
        qCWarning(lcPlayer, "Cannot play %s: %s", qUtf8Printable(path), qUtf8Printable(error));
        post([this, path, error] { emit cannotPlay(path, error); });
        playlist_.setCurrent(nullptr);
        return false;
    }
    adoptCurrent(item);
    return true;
}

void Player::adoptCurrent(const PlaylistItemRef& item) {
    playlist_.setCurrent(item);
    post([this, item] { emit trackSetup(item); });
    refreshInBackground({item}, true);
}

float Player::gainFor(const Track& track) const { return replayGainFactorFor(track.path, preferences_); }

void Player::applyReplayGain() {
    if (const PlaylistItemRef& item = playlist_.current(); item && engine_.hasFile()) {
        engine_.setGain(gainFor(*item->track()));
    }
    prepareAhead();
}

void Player::playItem(const PlaylistItemRef& item, bool restart) {
    const PlaylistItemRef former = playlist_.current();
    if (former && *former == *item) {
        if (restart) seek(false, 0.0);
    } else if (makeCurrent(item)) {
        post([this, former] { emit trackChanged(former); });
    }
    const PlaylistItemRef current = playlist_.current();
    if (!current) {
        stop();
        return;
    }
    engine_.play();
    if (!playing_) {
        playing_ = true;
        post([this] { emit playbackStarted(); });
    }
    if (previous_ != current) previous_ = current;
    prepareAhead();
}

bool Player::play() {
    const PlaylistItemRef current = playlist_.current();
    if (!current) return false;
    playItem(current, false);
    return true;
}

void Player::pause() {
    if (!playing_) return;
    engine_.pause();
    playing_ = false;
    post([this] { emit playbackPaused(); });
}

void Player::togglePlayPause() {
    if (playing_) {
        pause();
    } else {
        play();
    }
}

void Player::stop() {
    engine_.stop();
    ahead_.reset();
    playing_ = false;
    previous_.reset();
    playlist_.setCurrent(nullptr);
    post([this] { emit playbackStopped(); });
}

void Player::playNext() { carryOut(order_.next(playlist_, playbackMode_)); }

void Player::playPrevious() {
    Move move;
    {
        // The shuffle rule drops the history's last entry.
        const std::lock_guard lock(playlistLock);
        move = order_.previous(playlist_, playbackMode_);
    }
    carryOut(move);
}

void Player::trackFinished() { carryOut(takeAhead()); }

Move Player::takeAhead() {
    std::optional<Move> move;
    move.swap(ahead_);
    return move ? *move : order_.finished(playlist_, playbackMode_);
}

void Player::prepareAhead() {
    const PlaylistItemRef current = playlist_.current();
    if (!current || !engine_.hasFile()) {
        ahead_.reset();
        engine_.clearNext();
        return;
    }
    ahead_ = order_.finished(playlist_, playbackMode_);
    PlaylistItemRef next;
    if (ahead_->kind == Move::Kind::GoTo) next = ahead_->item;
    if (ahead_->kind == Move::Kind::Restart) next = current;
    // A file that cannot follow without a gap is opened when the track has finished.
    if (next) engine_.prepareNext(next->track()->path, gainFor(*next->track()));
    else engine_.clearNext();
}

void Player::trackAdvanced() {
    const Move move = takeAhead();
    const PlaylistItemRef current = playlist_.current();
    PlaylistItemRef target;
    if (move.kind == Move::Kind::GoTo) target = move.item;
    if (move.kind == Move::Kind::Restart) target = current;
    if (!target || target->track()->path != engine_.path()) {
        // The engine went on into a file that no longer follows (the change came too late to
        // take it back): the end of the track is carried out as when nothing had followed.
        if (move.kind != Move::Kind::Restart) {
            carryOut(move);
            return;
        }
        if (!current || !makeCurrent(current)) {
            stop();
            return;
        }
        if (playing_) engine_.play();
        post([this, current] { emit seek(current); });
        prepareAhead();
        return;
    }
    if (move.kind == Move::Kind::Restart) {
        post([this, current] { emit seek(current); });
    } else {
        adoptCurrent(target);
        if (move.addToHistory) {
            const std::lock_guard lock(playlistLock);
            order_.remember(target);
        }
        post([this, current] { emit trackChanged(current); });
    }
    prepareAhead();
}

void Player::advanceNormal() { carryOut(order_.advanceNormal(playlist_)); }

void Player::advanceRepeatAll() { carryOut(order_.advanceRepeatAll(playlist_)); }

void Player::advanceShuffle() { carryOut(order_.advanceShuffle(playlist_)); }

void Player::carryOut(const Move& move) {
    switch (move.kind) {
    case Move::Kind::Nothing: return;
    case Move::Kind::Stop: stop(); return;
    case Move::Kind::GoTo: goTo(move.item, move.addToHistory); return;
    case Move::Kind::Restart:
        seek(false, 0.0);
        engine_.play();
        prepareAhead();
        return;
    }
}

void Player::goTo(const PlaylistItemRef& item, bool addToHistory) {
    const PlaylistItemRef former = playlist_.current();
    if (!makeCurrent(item)) {
        stop();
        return;
    }
    if (addToHistory) {
        const std::lock_guard lock(playlistLock);
        order_.remember(item);
    }
    if (playing_) engine_.play();
    post([this, former] { emit trackChanged(former); });
    prepareAhead();
}

void Player::seek(bool relative, double seconds) {
    const PlaylistItemRef current = playlist_.current();
    if (!current) return;
    // Until its metadata is read a track has no known end, and no relative seek runs past it.
    const double duration = current->track()->duration > 0 ? current->track()->duration
                                                          : std::numeric_limits<double>::infinity();
    const SeekStep step = PlaybackOrder::seek(relative, seconds, engine_.elapsed(), duration);
    switch (step.kind) {
    case SeekStep::Kind::Previous: playPrevious(); return;
    case SeekStep::Kind::Finished: trackFinished(); return;
    case SeekStep::Kind::SeekTo:
        engine_.seek(step.target);
        post([this, current] { emit seek(current); });
        return;
    }
}

void Player::post(std::function<void()> call) {
    QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
}

}  // namespace sonvale
