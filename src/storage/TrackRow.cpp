#include "TrackRow.h"

namespace sonvale {

TrackRef TrackRow::fromRow(SQLiteCursor& cursor) {
    return fromRow(cursor, columnsOf(cursor));
}

TrackRow::Columns TrackRow::columnsOf(SQLiteCursor& cursor) {
    const auto at = [&cursor](const char* name) { return cursor.columnIndex(QLatin1String(name)); };
    return {at("id"),    at("folder"), at("path"),     at("size"),       at("timestamp"),
            at("track"), at("title"),  at("artist"),   at("album"),      at("duration"),
            at("bitRate"), at("sampleRate"), at("channels"), at("metaVersion"), at("status")};
}

TrackRef TrackRow::fromRow(const SQLiteCursor& cursor, const Columns& columns) {
    const std::optional<QString> path = cursor.stringForIndex(columns.path);
    if (!path) return nullptr;
    const std::optional<TrackStatus> status = trackStatusFromRaw(cursor.int64ForIndex(columns.status));
    if (!status) return nullptr;

    auto track = std::make_shared<Track>(*path);
    track->pk = cursor.int64ForIndex(columns.id);
    track->status = *status;
    track->folder = cursor.int64ForIndex(columns.folder);
    track->size = cursor.intForIndex(columns.size);
    track->timestamp = cursor.int64ForIndex(columns.timestamp);
    track->track = cursor.stringForIndex(columns.track).value_or(QString());
    track->title = cursor.stringForIndex(columns.title).value_or(QString());
    track->artist = cursor.stringForIndex(columns.artist).value_or(QString());
    track->album = cursor.stringForIndex(columns.album).value_or(QString());
    track->duration = cursor.doubleForIndex(columns.duration);
    track->bitRate = cursor.intForIndex(columns.bitRate);
    track->sampleRate = cursor.intForIndex(columns.sampleRate);
    track->channels = cursor.intForIndex(columns.channels);
    track->metaVersion = cursor.intForIndex(columns.metaVersion);
    return track;
}

SQLValue TrackRow::textOrNull(const QString& text) {
    return text.isNull() ? SQLValue::null() : SQLValue::text(nfc(text));
}

}  // namespace sonvale
