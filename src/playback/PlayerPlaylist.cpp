#include "PathExpander.h"
#include "Player.h"
#include "PlayerLog.h"
#include "PlaylistStorage.h"
#include "Preferences.h"
#include "Queues.h"
#include "TrackMetadata.h"
#include "TrackStorage.h"

#include <QElapsedTimer>
#include <QSet>

#include <algorithm>

namespace sonvale {

namespace {

// How many refreshed records, or how long, the background refresh gathers before it hands them
// to the main thread.
constexpr qsizetype kMetadataBatch = 64;
constexpr qint64 kMetadataBatchMs = 20;

// Copies what a metadata refresh fills, leaving the record's identity and display state.
void assignMetadata(Track& to, const Track& from) {
    to.status = from.status;
    to.folder = from.folder;
    to.title = from.title;
    to.artist = from.artist;
    to.album = from.album;
    to.track = from.track;
    to.duration = from.duration;
    to.bitRate = from.bitRate;
    to.channels = from.channels;
    to.sampleRate = from.sampleRate;
    to.size = from.size;
    to.timestamp = from.timestamp;
    to.metaVersion = from.metaVersion;
    to.lyrics = from.lyrics;
    to.chapters = from.chapters;
}

}  // namespace

QList<PlaylistItemRef> Player::open(const QStringList& paths, bool enqueue) {
    QList<PlaylistItemRef> added;
    const QStringList expanded = PathExpander::expand(paths);
    const QList<TrackRef> tracks = trackStorage_->findOrInsertTracks(expanded);
    added.reserve(tracks.size());
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        TrackRef track = tracks[i];
        const QString& path = expanded[i];
        if (!track) {
            qCWarning(lcPlayer, "Cannot add %s to the playlist", qUtf8Printable(path));
            continue;
        }
        // The database keeps the composed spelling; the file is opened by the name found on disk.
        track->path = path;
        added.append(std::make_shared<PlaylistItem>(std::move(track)));
    }
    {
        const std::lock_guard lock(playlistLock);
        if (!enqueue) {
            playlist_.items.clear();
            order_.clearHistory();
        }
        playlist_.items.append(added);
    }
    playlistChanged();
    refreshInBackground(added, false);
    return added;
}

void Player::removeItems(const QList<PlaylistItemRef>& items) {
    {
        const std::lock_guard lock(playlistLock);
        for (const PlaylistItemRef& item : items) {
            if (const std::optional<qsizetype> index = playlist_.indexOf(*item)) playlist_.items.removeAt(*index);
            order_.forget(*item);
        }
    }
    playlistChanged();
}

void Player::moveItems(const QList<PlaylistItemRef>& items, qsizetype row) {
    QSet<QUuid> moving;
    moving.reserve(items.size());
    for (const PlaylistItemRef& item : items) moving.insert(item->uuid());
    {
        const std::lock_guard lock(playlistLock);
        QList<PlaylistItemRef>& list = playlist_.items;
        const qsizetype anchor = std::clamp<qsizetype>(row, 0, list.size());
        // The block lands after the staying items that stood before the anchor, so a moved
        // anchor yields its place to its first staying successor.
        QList<PlaylistItemRef> moved;
        QList<PlaylistItemRef> staying;
        staying.reserve(list.size());
        qsizetype insertAt = 0;
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (moving.contains(list[i]->uuid())) {
                moved.append(list[i]);
            } else {
                staying.append(list[i]);
                if (i < anchor) ++insertAt;
            }
        }
        if (moved.isEmpty()) return;
        list.clear();
        list.reserve(staying.size() + moved.size());
        list.append(staying.first(insertAt));
        list.append(moved);
        list.append(staying.sliced(insertAt));
    }
    playlistChanged();
}

void Player::clearPlaylist() {
    {
        const std::lock_guard lock(playlistLock);
        playlist_.items.clear();
        order_.clearHistory();
    }
    playlistChanged();
}

void Player::playlistChanged() {
    ++playlistRevision_;
    post([this] { emit playlistUpdated(); });
    prepareAhead();
}

QList<TrackRef> Player::playlistTracks() const {
    QList<TrackRef> tracks;
    tracks.reserve(playlist_.items.size());
    for (const PlaylistItemRef& item : playlist_.items) tracks.append(item->track());
    return tracks;
}

bool Player::saveCurrentPosition() {
    const std::optional<qsizetype> index = playlist_.currentIndex();
    preferences_.currentPlaylistItem = index ? std::optional<qint64>(*index) : std::nullopt;
    return preferences_.save();
}

bool Player::savePlaylist() {
    const bool saved = playlistStorage_->savePlaylist(playlistTracks());
    return saveCurrentPosition() && saved;
}

void Player::savePlaylistInBackground(OperationQueue& queue, std::function<void(bool)> done) {
    const bool position = saveCurrentPosition();
    // Only the records' row ids are read there, which the main thread never changes.
    queue.addOperation([this, playlists = playlistStorage_, tracks = playlistTracks(), position,
                        done = std::move(done)](const Operation&) {
        const bool saved = playlists->savePlaylist(tracks);
        post([done, saved, position] { done(saved && position); });
    });
}

void Player::restore() {
    for (TrackRef& track : playlistStorage_->loadPlaylist()) {
        playlist_.items.append(std::make_shared<PlaylistItem>(std::move(track)));
    }
    if (playlist_.items.isEmpty()) return;
    post([this] { emit playlistUpdated(); });
    const std::optional<qint64> index = preferences_.currentPlaylistItem;
    if (index && *index >= 0 && *index < playlist_.items.size() && makeCurrent(playlist_.items[*index])) prepareAhead();
}

void Player::refreshInBackground(const QList<PlaylistItemRef>& items, bool withArtwork) {
    if (items.isEmpty()) return;
    // The records are shared with the main thread, so the refresh works on copies and the
    // main thread takes the result over.
    QList<Track> copies;
    copies.reserve(items.size());
    for (const PlaylistItemRef& item : items) copies.append(*item->track());
    std::shared_ptr<TrackStorage> tracks = trackStorage_;
    std::shared_ptr<std::atomic<bool>> alive = alive_;
    queues_.artwork.addOperation([this, items, copies, withArtwork, tracks, alive](const Operation& operation) mutable {
        // Results go to the main thread in small batches: one event per file would flood its
        // queue and hold off its timers and painting while a large folder is read.
        QList<std::pair<PlaylistItemRef, Track>> ready;
        QElapsedTimer sinceFlush;
        sinceFlush.start();
        const auto flush = [this, &ready, &sinceFlush] {
            if (!ready.isEmpty()) {
                post([this, ready] {
                    for (const auto& [item, copy] : ready) {
                        assignMetadata(*item->track(), copy);
                        emit metaLoaded(item);
                    }
                });
            }
            ready.clear();
            sinceFlush.restart();
        };
        for (qsizetype i = 0; i < copies.size(); ++i) {
            if (operation.isCancelled() || !alive->load()) return;
            Track& copy = copies[i];
            if (refreshMetadata(copy, true) == RefreshResult::updated) {
                tracks->updateTrack(copy);
                ready.append({items[i], copy});
            }
            if (ready.size() >= kMetadataBatch || sinceFlush.elapsed() >= kMetadataBatchMs) flush();
            if (withArtwork) {
                flush();
                const PlaylistItemRef item = items[i];
                const QByteArray artwork = loadArtworkData(copy.path).value_or(QByteArray());
                post([this, item, artwork] { emit artworkLoaded(item, artwork); });
            }
        }
        flush();
    });
}

}  // namespace sonvale
