#include "TrackRow.h"

namespace sonvale {

TrackRef TrackRow::fromRow(SQLiteCursor& cursor) {
    const std::optional<QString> path = cursor.stringForColumn(QStringLiteral("path"));
    if (!path) return nullptr;
    const std::optional<TrackStatus> status = trackStatusFromRaw(cursor.int64ForColumn(QStringLiteral("status")));
    if (!status) return nullptr;

    auto track = std::make_shared<Track>(*path);
    track->pk = cursor.int64ForColumn(QStringLiteral("id"));
    track->status = *status;
    track->folder = cursor.int64ForColumn(QStringLiteral("folder"));
    track->size = cursor.intForColumn(QStringLiteral("size"));
    track->timestamp = cursor.int64ForColumn(QStringLiteral("timestamp"));
    track->track = cursor.stringForColumn(QStringLiteral("track")).value_or(QString());
    track->title = cursor.stringForColumn(QStringLiteral("title")).value_or(QString());
    track->artist = cursor.stringForColumn(QStringLiteral("artist")).value_or(QString());
    track->album = cursor.stringForColumn(QStringLiteral("album")).value_or(QString());
    track->duration = cursor.doubleForColumn(QStringLiteral("duration"));
    track->bitRate = cursor.intForColumn(QStringLiteral("bitRate"));
    track->sampleRate = cursor.intForColumn(QStringLiteral("sampleRate"));
    track->channels = cursor.intForColumn(QStringLiteral("channels"));
    track->metaVersion = cursor.intForColumn(QStringLiteral("metaVersion"));
    return track;
}

SQLValue TrackRow::textOrNull(const QString& text) {
    return text.isNull() ? SQLValue::null() : SQLValue::text(nfc(text));
}

}  // namespace sonvale
