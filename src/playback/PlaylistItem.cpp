#include "PlaylistItem.h"

#include <QHash>

namespace sonvale {

PlaylistItem::PlaylistItem(TrackRef track) : uuid_(QUuid::createUuid()), track_(std::move(track)) {
    Q_ASSERT(track_);
}

size_t qHash(const PlaylistItem& item, size_t seed) {
    return qHash(item.track()->path, seed);
}

}  // namespace sonvale
