#include "DB.h"

#include "TrackRow.h"

#include <QSet>
#include <QStringList>

#include <vector>

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
    std::vector<Occurrence> rows;
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
            rows.push_back({*token, track->pk});
        }
    }
    insertOccurrences(db, rows, failed);
    return failed;
}

void DB::insertOccurrences(SQLiteDatabase& db, const std::vector<Occurrence>& rows, QSet<qint64>& failed) {
    // Most of a first scan goes into these rows. One statement per row costs a statement's
    // set-up and tear-down (its cursors on the table, its two indexes and the parents of its
    // two foreign keys) for each of them; one statement of many rows shares them. The rows
    // and their order in the table's indexes are the same either way.
    static const QString kManyRows = [] {
        QStringList values;
        for (qsizetype i = 0; i < kOccurrencesPerInsert; ++i) values.append(QStringLiteral("(?, ?)"));
        return QStringLiteral("INSERT INTO occurences (token_id, track_id) VALUES ") + values.join(QLatin1Char(','));
    }();
    // A row whose track is not stored fails its foreign key and would take the whole statement
    // with it: such rows go one by one, each failure logged as before. The tokens come from the
    // token table or the cache of its ids, and are never deleted.
    QHash<qint64, bool> stored;
    const auto isStored = [&](qint64 track) {
        auto known = stored.find(track);
        if (known == stored.end()) {
            auto cursor = db.executeQuery(QStringLiteral("SELECT 1 FROM tracks WHERE id=?"), {SQLValue::integer(track)});
            known = stored.insert(track, cursor && cursor->next());
        }
        return known.value();
    };
    const auto insertOne = [&](const Occurrence& row) {
        auto cursor = db.executeQuery(QStringLiteral("INSERT INTO occurences (token_id, track_id) VALUES(?, ?);"),
                                      {SQLValue::integer(row.token), SQLValue::integer(row.track)});
        if (cursor && cursor->step() == SQLiteCode::done) {
            if (searchIndexLoaded_) searchIndex_.addOccurrence(row.token, row.track);
        } else {
            failed.insert(row.track);
        }
    };
    std::vector<Occurrence> chunk;
    std::vector<SQLValue> values;
    const auto insertChunk = [&] {
        values.clear();
        for (const Occurrence& row : chunk) {
            values.push_back(SQLValue::integer(row.token));
            values.push_back(SQLValue::integer(row.track));
        }
        auto cursor = db.executeQuery(kManyRows, values);
        if (cursor && cursor->step() == SQLiteCode::done) {
            if (searchIndexLoaded_) {
                for (const Occurrence& row : chunk) searchIndex_.addOccurrence(row.token, row.track);
            }
        } else {
            for (const Occurrence& row : chunk) insertOne(row);
        }
        chunk.clear();
    };
    for (const Occurrence& row : rows) {
        if (!isStored(row.track)) {
            insertOne(row);
            continue;
        }
        chunk.push_back(row);
        if (qsizetype(chunk.size()) == kOccurrencesPerInsert) insertChunk();
    }
    for (const Occurrence& row : chunk) insertOne(row);
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
