#pragma once

#include "AudioEngine.h"
#include "PlaybackMode.h"
#include "PlaybackOrder.h"
#include "Playlist.h"

#include <QByteArray>
#include <QObject>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace sonvale {

class DB;
class OperationQueue;
class PlaylistStorage;
class TrackStorage;
class Preferences;
class Queues;

// The one playlist, its current item and the audio engine that plays it, with the navigation
// of the playback modes (PlaybackOrder decides, the player carries out).
//
// Gapless: whenever the current item, the playlist, the mode or the history changes, the item
// that the end of the current track leads to is decided at once (a Shuffle draw is made then
// and kept) and its file is prepared in the engine, which plays it on without a gap. When it
// is heard the player does what the end of a track does (same item, same signals, same
// order) without opening the file again.
//
// Threads: make the player and call every member on the main thread (the QCoreApplication's),
// whose event loop must run. Every signal is emitted on the main thread after the call that
// caused it has returned (queued), so a receiver never re-enters the player mid-operation.
// Metadata and artwork are read on `queues.artwork`; `preferences` and `queues` must outlive the
// player, whose destruction waits for its work on that queue; it shares the storage roles.
//
// Failure: a file that cannot be opened when its item becomes current logs
// "Cannot play <path>: <reason>", emits cannotPlay, leaves no current item and stops; the next
// item is not tried.
class Player : public QObject {
    Q_OBJECT
public:
    // Restores the playback mode and volume from `preferences`, the saved playlist from
    // `playlists` and the current item from the preference "current" (opened, not playing). The
    // player reaches storage only through these two roles: `tracks` for the records of opened
    // files and their refreshed metadata, `playlists` for the saved playlist.
    Player(std::shared_ptr<TrackStorage> tracks, std::shared_ptr<PlaylistStorage> playlists, Preferences& preferences,
           Queues& queues);
    // The two roles of one database.
    Player(const std::shared_ptr<DB>& db, Preferences& preferences, Queues& queues);
    ~Player() override;
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    const Playlist& playlist() const { return playlist_; }
    const PlaylistItemRef& current() const { return playlist_.current(); }
    // The items reached by navigation, oldest first.
    const QList<PlaylistItemRef>& recent() const { return order_.recent(); }
    // The item most recently started with playItem(); none after stop().
    const PlaylistItemRef& previous() const { return previous_; }
    bool isPlaying() const { return playing_; }
    double elapsed() { return engine_.elapsed(); }

    PlaybackMode playbackMode() const { return playbackMode_; }
    // Keeps the mode in the preferences (saved) and emits playbackModeChanged.
    void setPlaybackMode(PlaybackMode mode);
    float volume() const { return engine_.volume(); }
    // Applies the volume and keeps it in the preferences (not saved); emits volumeChanged when
    // the applied value differs.
    void setVolume(float volume);
    // Reads the ReplayGain preferences again (they are read when a file is opened or prepared):
    // the current file takes its new gain from the playing position, the next from its start.
    void applyReplayGain();

    // Expands `paths` (files, folders, M3U playlists), finds or stores a record for every file
    // and appends the new items (`enqueue`) or replaces the playlist with them. Playback is
    // left as it is: a replaced current item stays current until the next move. The records'
    // metadata is refreshed in the background (metaLoaded per item). Returns the new items.
    QList<PlaylistItemRef> open(const QStringList& paths, bool enqueue);
    // Takes the items out of the playlist and the history; a removed current item stays current.
    void removeItems(const QList<PlaylistItemRef>& items);
    // Moves those of `items` that are in the playlist, in their playlist order, together
    // before the item that stood at `row` (clamped to 0..size; size puts them at the end).
    // The current item and the history stay as they are. Nothing happens, and nothing is
    // emitted, when none of `items` is in the playlist.
    void moveItems(const QList<PlaylistItemRef>& items, qsizetype row);
    // Empties the playlist and the history.
    void clearPlaylist();
    // Saves the playlist in the database and the current item's position in the preference
    // "current" (removed without one). False when either could not be written.
    bool savePlaylist();
    // The same with the database written on `queue`, so that a large playlist does not hold the
    // main thread; the current item's position is kept at once. `done` runs on the main thread
    // afterwards with the result. `queue` must be drained before the player is destroyed.
    void savePlaylistInBackground(OperationQueue& queue, std::function<void(bool saved)> done);
    // Counts the changes of the playlist's items (opening, enqueueing, removing, moving,
    // clearing); restoring the saved playlist is none.
    quint64 playlistRevision() const { return playlistRevision_; }

    // Plays `item` (the current one again from the start when `restart`). Never adds to the
    // history.
    void playItem(const PlaylistItemRef& item, bool restart);
    // Resumes or starts the current item; false without one.
    bool play();
    void pause();
    // Pauses when playing, otherwise as play().
    void togglePlayPause();
    // Stops the engine and clears the current item.
    void stop();

    void playNext();
    void playPrevious();
    // The engine played the current file to its end (nothing followed it without a gap).
    void trackFinished();
    // To `seconds`, or by `seconds` when `relative`: before the start goes to the previous
    // track, at or past the end acts as the end of the track.
    void seek(bool relative, double seconds);
    // Makes `item` current, playing it when playback runs; `addToHistory` appends it to recent.
    void goTo(const PlaylistItemRef& item, bool addToHistory);
    void advanceNormal();
    void advanceRepeatAll();
    void advanceShuffle();

    bool hasNext() const { return PlaybackOrder::hasNext(playlist_); }
    bool hasPrevious() const { return PlaybackOrder::hasPrevious(playlist_); }

signals:
    // An item's file was opened and made current.
    void trackSetup(sonvale::PlaylistItemRef item);
    // The current item changed by navigation or playItem(); `former` is the item before (may
    // be null).
    void trackChanged(sonvale::PlaylistItemRef former);
    void playbackStarted();
    void playbackPaused();
    void playbackStopped();
    void seek(sonvale::PlaylistItemRef item);
    void playlistUpdated();
    // The item's track record holds freshly read metadata.
    void metaLoaded(sonvale::PlaylistItemRef item);
    // The current item's picture (empty when it has none).
    void artworkLoaded(sonvale::PlaylistItemRef item, QByteArray artwork);
    void playbackModeChanged();
    // The file of an item could not be opened when it was to become current; `reason` is the
    // decoder's message.
    void cannotPlay(QString path, QString reason);
    void volumeChanged();

private:
    // The set-current step: opens the item's file and makes it current, or logs and leaves no
    // current item.
    bool makeCurrent(const PlaylistItemRef& item);
    // Makes `item`, whose file the engine already plays, current and announces it.
    void adoptCurrent(const PlaylistItemRef& item);
    // The engine went on into the prepared file without a gap: the end of the former track.
    void trackAdvanced();
    // Decides what the end of the current track leads to and prepares its file in the engine.
    void prepareAhead();
    // The end-of-track move decided ahead, or decided now when there is none.
    Move takeAhead();
    // The linear amplitude factor the engine applies to `track`'s samples: its ReplayGain by
    // the preferences (read from the file each time; 1 while ReplayGain is off).
    float gainFor(const Track& track) const;
    void carryOut(const Move& move);
    void restore();
    // Reads the tracks' metadata (and the artwork of `current`) in the background.
    void refreshInBackground(const QList<PlaylistItemRef>& items, bool withArtwork);
    // Counts a change of the items and announces it.
    void playlistChanged();
    QList<TrackRef> playlistTracks() const;
    // The current item's position in the preference "current"; false when it was not written.
    bool saveCurrentPosition();
    // Emits on the main thread once the current call has returned; any thread.
    void post(std::function<void()> call);

    std::shared_ptr<TrackStorage> trackStorage_;
    std::shared_ptr<PlaylistStorage> playlistStorage_;
    Preferences& preferences_;
    Queues& queues_;
    AudioEngine engine_;
    Playlist playlist_;
    PlaybackOrder order_;  // holds `recent`
    // What the end of the current track leads to, decided by prepareAhead().
    std::optional<Move> ahead_;
    // Guards playlist_.items and the history while they change.
    std::mutex playlistLock;
    PlaylistItemRef previous_;
    bool playing_ = false;
    PlaybackMode playbackMode_ = PlaybackMode::Normal;
    quint64 playlistRevision_ = 0;
    // Cleared on destruction, so that queued background work ends early.
    std::shared_ptr<std::atomic<bool>> alive_;
};

}  // namespace sonvale
