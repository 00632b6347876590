#include "DB.h"
#include "PathExpander.h"
#include "Player.h"
#include "PlayerLog.h"
#include "Preferences.h"
#include "Queues.h"
#include "TrackMetadata.h"

#include <QSet>

#include <algorithm>

namespace sonvale {

namespace {

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
    for (const QString& path : PathExpander::expand(paths)) {
        TrackRef track = db_->track(path);
        if (!track) track = db_->insertTrack(path);
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
    post([this] { emit playlistUpdated(); });
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
    post([this] { emit playlistUpdated(); });
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
    post([this] { emit playlistUpdated(); });
}

void Player::clearPlaylist() {
    {
        const std::lock_guard lock(playlistLock);
        playlist_.items.clear();
        order_.clearHistory();
    }
    post([this] { emit playlistUpdated(); });
}

bool Player::savePlaylist() {
    QList<TrackRef> tracks;
    tracks.reserve(playlist_.items.size());
    for (const PlaylistItemRef& item : playlist_.items) tracks.append(item->track());
    const bool saved = db_->savePlaylist(tracks);
    const std::optional<qsizetype> index = playlist_.currentIndex();
    preferences_.currentPlaylistItem = index ? std::optional<qint64>(*index) : std::nullopt;
    return preferences_.save() && saved;
}

void Player::restore() {
    for (TrackRef& track : db_->loadPlaylist()) playlist_.items.append(std::make_shared<PlaylistItem>(std::move(track)));
    if (playlist_.items.isEmpty()) return;
    post([this] { emit playlistUpdated(); });
    const std::optional<qint64> index = preferences_.currentPlaylistItem;
    if (index && *index >= 0 && *index < playlist_.items.size()) makeCurrent(playlist_.items[*index]);
}

void Player::refreshInBackground(const QList<PlaylistItemRef>& items, bool withArtwork) {
    if (items.isEmpty()) return;
    // The records are shared with the main thread, so the refresh works on copies and the
    // main thread takes the result over.
    QList<Track> copies;
    copies.reserve(items.size());
    for (const PlaylistItemRef& item : items) copies.append(*item->track());
    std::shared_ptr<DB> db = db_;
    std::shared_ptr<std::atomic<bool>> alive = alive_;
    queues_.artwork.addOperation([this, items, copies, withArtwork, db, alive](const Operation& operation) mutable {
        for (qsizetype i = 0; i < copies.size(); ++i) {
            if (operation.isCancelled() || !alive->load()) return;
            Track& copy = copies[i];
            if (refreshMetadata(copy, true) == RefreshResult::updated) {
                db->updateTrack(copy);
                const PlaylistItemRef item = items[i];
                post([this, item, copy] {
                    assignMetadata(*item->track(), copy);
                    emit metaLoaded(item);
                });
            }
            if (withArtwork) {
                const PlaylistItemRef item = items[i];
                const QByteArray artwork = loadArtworkData(copy.path).value_or(QByteArray());
                post([this, item, artwork] { emit artworkLoaded(item, artwork); });
            }
        }
    });
}

}  // namespace sonvale
