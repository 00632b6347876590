#include "DB.h"

#include "TrackRow.h"

#include <QSet>

namespace sonvale {

std::optional<qint64> DB::tokenId(const QString& text) {
    std::optional<qint64> id;
    if (queue_) queue_->inDatabase([&](SQLiteDatabase& db) { id = tokenId(db, TrackRow::nfc(text)); });
    return id;
}

std::optional<qint64> DB::tokenId(SQLiteDatabase& db, const QString& text) {
    // Ids never change (tokens are never deleted), so a cached id stays right.
    const auto cached = tokenCache_.constFind(text);
    if (cached != tokenCache_.constEnd()) return cached.value();

    auto select = db.executeQuery(QStringLiteral("SELECT id FROM tokens WHERE token=? LIMIT 1"), {SQLValue::text(text)});
    if (select && select->next() && select->columnCount() > 0) {
        const qint64 id = select->int64ForIndex(0);
        tokenCache_.insert(text, id);
        return id;
    }
    auto insert = db.executeQuery(QStringLiteral("INSERT INTO tokens (token) VALUES(?)"), {SQLValue::text(text)});
    if (!insert || insert->step() != SQLiteCode::done) return std::nullopt;
    const qint64 id = db.lastInsertRowId();
    tokenCache_.insert(text, id);
    if (searchIndexLoaded_) searchIndex_.addToken(id, text.toStdString());
    return id;
}

void DB::saveIndex(const Index& index) {
    if (!queue_) return;
    // Single failed rows are logged by the cursor and do not stop the write: the transaction
    // always commits.
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool&) {
        writeIndex(db, index);
        // The tracks may have had tokens before: what was known of them no longer holds.
        QSet<qint64> given;
        for (const QList<TrackRef>& tracks : index.occurences) {
            for (const TrackRef& track : tracks) given.insert(track->pk);
        }
        for (const qint64 id : given) forgetDigest(db, id);
    });
    // What the copies took from the transaction is gone with it.
    if (!committed) queue_->inDatabase([this](SQLiteDatabase&) { forgetCopies(); });
}

QSet<qint64> DB::writeIndex(SQLiteDatabase& db, const Index& index) {
    QSet<qint64> failed;
    QSet<qint64> written;
    for (auto entry = index.occurences.constBegin(); entry != index.occurences.constEnd(); ++entry) {
        const std::optional<qint64> token = tokenId(db, TrackRow::nfc(entry.key()));
        if (!token) {
            for (const TrackRef& track : entry.value()) failed.insert(track->pk);
            continue;
        }
        written.clear();
        for (const TrackRef& track : entry.value()) {
            // A track of a scan batch that could not be stored has no pk.
            if (track->pk == 0 || written.contains(track->pk)) continue;
            written.insert(track->pk);
            auto cursor = db.executeQuery(QStringLiteral("INSERT INTO occurences (token_id, track_id) VALUES(?, ?);"),
                                          {SQLValue::integer(*token), SQLValue::integer(track->pk)});
            if (cursor && cursor->step() == SQLiteCode::done) {
                if (searchIndexLoaded_) searchIndex_.addOccurrence(*token, track->pk);
            } else {
                failed.insert(track->pk);
            }
        }
    }
    return failed;
}

bool DB::saveScanBatch(ScanBatch& batch) {
    if (!queue_) return false;
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool&) {
        for (const TrackRef& track : batch.inserted) track->pk = insertTrackRow(db, track->path) ? db.lastInsertRowId() : 0;
        for (const TrackRef& track : batch.updated) {
            if (track->pk != 0) writeTrack(db, *track);
        }
        for (const qint64 id : batch.cleared) {
            auto cursor = db.executeQuery(QStringLiteral("DELETE FROM occurences WHERE track_id=?"), {SQLValue::integer(id)});
            if (cursor && cursor->step() == SQLiteCode::done && searchIndexLoaded_) searchIndex_.clearOccurrences(id);
            forgetDigest(db, id);
        }
        const QSet<qint64> failed = writeIndex(db, batch.index);
        if (digests_) {
            for (const auto& [track, digest] : batch.indexed) {
                if (track->pk == 0 || failed.contains(track->pk)) continue;
                auto cursor = db.executeQuery(
                    QStringLiteral("INSERT OR REPLACE INTO indexed_texts (track_id, digest) VALUES(?, ?)"),
                    {SQLValue::integer(track->pk), SQLValue::integer(qint64(digest))});
                if (cursor) cursor->step();
            }
        }
        for (const qint64 id : batch.unknown) forgetDigest(db, id);
    });
    if (!committed) queue_->inDatabase([this](SQLiteDatabase&) { forgetCopies(); });
    return committed;
}

void DB::forgetDigest(SQLiteDatabase& db, qint64 trackId) {
    if (!digests_) return;
    if (auto cursor = db.executeQuery(QStringLiteral("DELETE FROM indexed_texts WHERE track_id=?"),
                                      {SQLValue::integer(trackId)})) {
        cursor->step();
    }
}

void DB::clearIndex(qint64 folderPk) {
    if (!queue_) return;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        const QList<qint64> cleared = searchIndexLoaded_ ? trackIdsOfFolder(db, folderPk) : QList<qint64>();
        auto cursor =
            db.executeQuery(QStringLiteral("DELETE FROM occurences WHERE track_id IN (SELECT id FROM tracks WHERE folder=?)"),
                            {SQLValue::integer(folderPk)});
        if (!cursor || cursor->step() != SQLiteCode::done) {
            forgetCopies();
            return;
        }
        forgetFolderDigests(db, folderPk);
        for (const qint64 id : cleared) searchIndex_.clearOccurrences(id);
    });
}

void DB::forgetFolderDigests(SQLiteDatabase& db, qint64 folderPk) {
    if (!digests_) return;
    if (auto cursor = db.executeQuery(
            QStringLiteral("DELETE FROM indexed_texts WHERE track_id IN (SELECT id FROM tracks WHERE folder=?)"),
            {SQLValue::integer(folderPk)})) {
        cursor->step();
    }
}

}  // namespace sonvale
