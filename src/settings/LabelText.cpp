#include "LabelText.h"

#include "Format.h"
#include "Track.h"

#include <QFileInfo>
#include <QStringList>

#include <algorithm>

namespace sonvale {

namespace {

// Far beyond any real duration, and small enough to convert to an integer safely (an infinite
// total would otherwise be undefined behaviour).
constexpr double kLongestDuration = 1e12;

QString twoDigits(qint64 value) { return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0')); }

void appendTrackPieces(QStringList& pieces, const Tags& tags, const Track& track) {
    if (tags.track && !track.title.isEmpty()) pieces.append(track.title);
    if (tags.artist && !track.artist.isEmpty()) pieces.append(track.artist);
    if (tags.album && !track.album.isEmpty()) pieces.append(track.album);
    if (tags.trackNumber && !track.track.isEmpty()) {
        if (const std::optional<QString> number = Format::normalizeTrackNumber(track.track)) pieces.append(*number);
    }
    if (tags.trackDuration) pieces.append(formatDuration(false, track.duration));
    if (tags.format) {
        const QString extension = QFileInfo(track.path).suffix();
        if (!extension.isEmpty()) pieces.append(extension.toUpper());
    }
    if (tags.bitrate && track.bitRate >= 1) {
        pieces.append(QString::number(track.bitRate / 1000) + QStringLiteral(" kbps"));
    }
    if (tags.sampleRate && track.sampleRate >= 1) {
        pieces.append(QString::number(track.sampleRate) + QStringLiteral("Hz"));
    }
    if (tags.channels && track.channels >= 1) pieces.append(Format::channelsDescription(track.channels));
}

}  // namespace

QString formatDuration(bool sign, double seconds) {
    // The negated test also sends NaN to zero.
    const qint64 total = !(seconds > 0) ? 0 : qint64(std::min(seconds, kLongestDuration));
    const QString prefix = sign ? QStringLiteral("-") : QString();
    if (total >= 3600) {
        return QStringLiteral("%1%2:%3:%4")
            .arg(prefix, QString::number(total / 3600), twoDigits(total / 60 % 60), twoDigits(total % 60));
    }
    return prefix + QString::number(total / 60) + QLatin1Char(':') + twoDigits(total % 60);
}

QString composeLabel(const Tags& tags, const Track* track, qsizetype playlistCount, double playlistDuration) {
    QStringList pieces;
    if (track) appendTrackPieces(pieces, tags, *track);
    if (tags.playlistCount) pieces.append(QString::number(playlistCount) + QStringLiteral(" tracks"));
    if (tags.playlistDuration) pieces.append(formatDuration(false, playlistDuration));
    return pieces.join(separatorText(tags.separator));
}

QString describeTrack(const Track& track) {
    if (track.title.isEmpty()) return QFileInfo(track.path).fileName();
    if (track.artist.isEmpty()) return track.title;
    return track.artist + QStringLiteral(" - ") + track.title;
}

}  // namespace sonvale
