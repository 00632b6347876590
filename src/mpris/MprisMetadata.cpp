#include "MprisMetadata.h"

#include <QUrl>

#include <cmath>

namespace sonvale {

QDBusObjectPath MprisMetadata::trackId(const PlaylistItem& item) {
    return QDBusObjectPath(QStringLiteral("/org/sonvale/Sonvale/Track/") + item.uuid().toString(QUuid::Id128));
}

QVariantMap MprisMetadata::of(const PlaylistItem& item, const QString& artUrl) {
    const Track& track = *item.track();
    QVariantMap map;
    map.insert(QStringLiteral("mpris:trackid"), QVariant::fromValue(trackId(item)));
    map.insert(QStringLiteral("xesam:url"), fileUrl(track.path));
    if (track.duration > 0) map.insert(QStringLiteral("mpris:length"), qlonglong(std::llround(track.duration * 1e6)));
    if (!track.title.isEmpty()) map.insert(QStringLiteral("xesam:title"), track.title);
    // The record joins the artists with " / "; clients want them as a list.
    if (!track.artist.isEmpty()) map.insert(QStringLiteral("xesam:artist"), track.artist.split(QStringLiteral(" / ")));
    if (!track.album.isEmpty()) map.insert(QStringLiteral("xesam:album"), track.album);
    bool numeric = false;
    const int number = track.track.toInt(&numeric);
    if (numeric) map.insert(QStringLiteral("xesam:trackNumber"), number);
    if (!artUrl.isEmpty()) map.insert(QStringLiteral("mpris:artUrl"), artUrl);
    return map;
}

QString MprisMetadata::fileUrl(const QString& path) {
    return QString::fromLatin1(QUrl::fromLocalFile(path).toEncoded());
}

}  // namespace sonvale
