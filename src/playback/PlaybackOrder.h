#pragma once

#include "PlaybackMode.h"
#include "Playlist.h"

#include <QList>

#include <functional>

namespace sonvale {

// A step the player is to take after a navigation request.
struct Move {
    enum class Kind {
        Nothing,  // leave everything as it is
        Stop,     // stop playback and clear the current item
        GoTo,     // make `item` current; on success append it to the history when `addToHistory`
        Restart,  // seek the current track to 0.0 and play it
    };
    Kind kind = Kind::Nothing;
    PlaylistItemRef item;
    bool addToHistory = false;

    static Move nothing() { return {}; }
    static Move stop() { return {Kind::Stop, nullptr, false}; }
    static Move restart() { return {Kind::Restart, nullptr, false}; }
    static Move goTo(PlaylistItemRef item, bool addToHistory) { return {Kind::GoTo, std::move(item), addToHistory}; }
};

// Where a seek request leads.
struct SeekStep {
    enum class Kind {
        Previous,  // a relative seek before the start: the previous track
        Finished,  // a relative seek to or past the end: as if the track had ended
        SeekTo,    // seek the engine to `target` seconds
    };
    Kind kind = Kind::SeekTo;
    double target = 0;
};

// The navigation rules of the playback modes and the history of items reached by navigation
// (the shuffle memory). It decides; the player carries the decision out and reports back
// through remember(). Not thread-safe: the player calls it under its playlist lock.
class PlaybackOrder {
public:
    // A uniform source of 32-bit values.
    using RandomSource = std::function<quint32()>;

    // Draws from the system's random source.
    PlaybackOrder();
    explicit PlaybackOrder(RandomSource random);

    // The user's "next": Normal and RepeatOne advance normally, RepeatAll wraps, Shuffle draws,
    // Single stops.
    Move next(const Playlist& playlist, PlaybackMode mode) const;
    // The end of a track (also a relative seek past it): as next(), except that RepeatOne
    // restarts the track.
    Move finished(const Playlist& playlist, PlaybackMode mode) const;
    // The user's "previous". Under Shuffle it walks back through the history and drops the
    // history's last entry; under the other modes it goes to the item before the current one,
    // never wrapping. Nothing without a current item.
    Move previous(const Playlist& playlist, PlaybackMode mode);

    // The item after the current one; Stop after the last, without a current item or when the
    // current item is no longer in the playlist.
    Move advanceNormal(const Playlist& playlist) const;
    // As advanceNormal(), but the last item is followed by the first.
    Move advanceRepeatAll(const Playlist& playlist) const;
    // A random item that is none of the last (at most 5, at most count - 1) history entries;
    // Stop for an empty playlist.
    Move advanceShuffle(const Playlist& playlist) const;

    // Whether "next" and "previous" are offered, whatever the mode: false on the last
    // (respectively first) item and without a current item; true when the current item is no
    // longer in the playlist or the playlist is empty.
    static bool hasNext(const Playlist& playlist);
    static bool hasPrevious(const Playlist& playlist);

    // A seek request of `seconds`, relative to `elapsed` when `relative`, in a track of
    // `duration` seconds. Absolute seeks are always carried out as given.
    static SeekStep seek(bool relative, double seconds, double elapsed, double duration);

    // The items reached by navigation, oldest first. Unbounded; not saved.
    const QList<PlaylistItemRef>& recent() const { return recent_; }
    // Appends an item that navigation made current.
    void remember(PlaylistItemRef item);
    // Drops every history entry of an item removed from the playlist.
    void forget(const PlaylistItem& item);
    // Empties the history, for a cleared playlist.
    void clearHistory();

private:
    RandomSource random_;
    QList<PlaylistItemRef> recent_;
};

}  // namespace sonvale
