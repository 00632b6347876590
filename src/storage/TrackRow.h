#pragma once

#include "SQLValue.h"
#include "SQLiteCursor.h"
#include "Track.h"

#include <QString>

namespace sonvale {

// How track records and texts meet the database's columns.
class TrackRow {
public:
    // The record of the cursor's current row (columns found by name); nullptr when the path
    // is NULL or the status is not a known one. Sizes are read as 32-bit integers and NULL
    // numbers as 0; lyrics and chapters are not part of the row.
    static TrackRef fromRow(SQLiteCursor& cursor);

    // The positions of the track columns in a cursor's rows (-1 where missing), found once for
    // reading many rows.
    struct Columns {
        int id, folder, path, size, timestamp, track, title, artist, album, duration, bitRate, sampleRate, channels,
            metaVersion, status;
    };
    static Columns columnsOf(SQLiteCursor& cursor);
    // fromRow with the positions found by columnsOf on the same cursor.
    static TrackRef fromRow(const SQLiteCursor& cursor, const Columns& columns);

    // Every text is stored in Unicode normalization form C, so that composed and decomposed
    // spellings compare equal in SQL.
    static QString nfc(const QString& text) { return text.normalized(QString::NormalizationForm_C); }
    // NFC text, or NULL for a null string.
    static SQLValue textOrNull(const QString& text);
};

}  // namespace sonvale
