#include "PlaylistItem.h"

#include <QHash>
#include <QRandomGenerator>

namespace sonvale {

namespace {

// A random (version 4) identity from the process's seeded generator: a restored playlist of
// 100,000 items would otherwise ask the kernel for randomness 100,000 times.
QUuid newIdentity() {
    quint32 words[4];
    QRandomGenerator::global()->fillRange(words);
    QUuid uuid(words[0], quint16(words[1]), quint16((words[1] >> 16 & 0x0fff) | 0x4000),
               uchar((words[2] & 0x3f) | 0x80), uchar(words[2] >> 8), uchar(words[2] >> 16), uchar(words[2] >> 24),
               uchar(words[3]), uchar(words[3] >> 8), uchar(words[3] >> 16), uchar(words[3] >> 24));
    return uuid;
}

}  // namespace

PlaylistItem::PlaylistItem(TrackRef track) : uuid_(newIdentity()), track_(std::move(track)) {
    Q_ASSERT(track_);
}

size_t qHash(const PlaylistItem& item, size_t seed) {
    return qHash(item.track()->path, seed);
}

}  // namespace sonvale
