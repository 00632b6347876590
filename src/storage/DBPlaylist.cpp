#include "DB.h"

#include "StorageLog.h"
#include "TrackRow.h"

#include <QSet>

namespace sonvale {

bool DB::savePlaylist(const QList<TrackRef>& tracks) {
    if (!queue_) return false;
    bool saved = false;
    // The old playlist stays when the transaction cannot begin or commit.
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
        auto clear = db.executeQuery(QStringLiteral("DELETE FROM playlist"));
        if (!clear || clear->step() != SQLiteCode::done) {
            qCCritical(lcDb, "Failed to clear playlist before saving: %s", qUtf8Printable(db.lastErrorMessage()));
            rollback = true;
            return;
        }
        for (qsizetype i = 0; i < tracks.size(); ++i) {
            const Track& track = *tracks[i];
            auto insert = db.executeQuery(QStringLiteral("INSERT INTO playlist (track_id, `order`) VALUES( ?, ? )"),
                                          {SQLValue::integer(track.pk), SQLValue::integer(i)});
            if (!insert || insert->step() != SQLiteCode::done) {
                qCCritical(lcDb, "Error saving playlist item (%lld, %ld), path=%s: %s", static_cast<long long>(track.pk),
                           long(i), qUtf8Printable(track.path), qUtf8Printable(db.lastErrorMessage()));
                // Rolling back keeps the playlist saved before.
                rollback = true;
                return;
            }
        }
        saved = true;
    });
    return saved && committed;
}

QList<TrackRef> DB::loadPlaylist() {
    QList<TrackRef> tracks;
    if (!queue_) return tracks;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        auto cursor = db.executeQuery(QStringLiteral(
            "SELECT tracks.id AS id, folder, path, size, timestamp, track, title, artist, album, duration, bitRate, "
            "sampleRate, channels, metaVersion, status FROM playlist LEFT JOIN tracks ON playlist.track_id = "
            "tracks.id ORDER BY playlist.`order` ASC"));
        // A playlist repeats its artists, albums and track numbers: one shared copy of each
        // keeps a large playlist small in memory.
        QSet<QString> texts;
        const auto shared = [&texts](QString& text) { text = *texts.insert(text); };
        // A row without its track (NULL path) is left out; a read error ends the list.
        while (cursor && cursor->next()) {
            TrackRef track = TrackRow::fromRow(*cursor);
            if (!track) continue;
            shared(track->artist);
            shared(track->album);
            shared(track->track);
            tracks.append(std::move(track));
        }
    });
    return tracks;
}

}  // namespace sonvale
