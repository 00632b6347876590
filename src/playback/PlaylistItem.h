#pragma once

#include "Track.h"

#include <QUuid>

#include <memory>

namespace sonvale {

// One entry of the playlist: a fresh identity and the track it plays. The same file may stand
// in the playlist several times, each time as its own item. Items are equal when their
// identities are; the hash feeds only the track's path, so items of one file share a bucket.
// Immutable after construction; shared (PlaylistItemRef) by the playlist and the history.
class PlaylistItem {
public:
    // `track` must not be null.
    explicit PlaylistItem(TrackRef track);

    const QUuid& uuid() const { return uuid_; }
    const TrackRef& track() const { return track_; }

    bool operator==(const PlaylistItem& other) const { return uuid_ == other.uuid_; }

private:
    QUuid uuid_;
    TrackRef track_;
};

using PlaylistItemRef = std::shared_ptr<PlaylistItem>;

size_t qHash(const PlaylistItem& item, size_t seed = 0);

}  // namespace sonvale
