#pragma once

#include "PlaylistItem.h"

#include <QDBusObjectPath>
#include <QString>
#include <QVariantMap>

namespace sonvale {

// The MPRIS view of a playlist item: its track id and its Metadata map. Main thread (the
// item's track record is filled there).
class MprisMetadata {
public:
    // "/org/sonvale/Sonvale/Track/<the item's uuid as 32 hex digits>": one id per playlist
    // entry, so two entries of one file are told apart.
    static QDBusObjectPath trackId(const PlaylistItem& item);

    // mpris:trackid and xesam:url always; mpris:length (µs) when the duration is known;
    // xesam:title, xesam:artist (the artists as a list), xesam:album and xesam:trackNumber when
    // the record has them; mpris:artUrl when `artUrl` is not empty.
    static QVariantMap of(const PlaylistItem& item, const QString& artUrl);

    // The percent-encoded file:// URL of an absolute path.
    static QString fileUrl(const QString& path);
};

}  // namespace sonvale
