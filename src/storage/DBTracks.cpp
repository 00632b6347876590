#include "DB.h"

#include "StorageLog.h"
#include "TrackRow.h"

namespace sonvale {

namespace {

TrackRef findTrack(SQLiteDatabase& db, const QString& path) {
    auto cursor = db.executeQuery(
        QStringLiteral("SELECT id, folder, path, size, timestamp, track, title, artist, album, duration, bitRate, "
                       "sampleRate, channels, metaVersion, status FROM tracks WHERE path=? LIMIT 1"),
        {SQLValue::text(TrackRow::nfc(path))});
    return cursor && cursor->next() ? TrackRow::fromRow(*cursor) : nullptr;
}

TrackRef newTrack(const QString& path, std::optional<qint64> id) {
    if (!id) {
        qCCritical(lcDb, "Empty track ID after insert: %s", qUtf8Printable(path));
        return nullptr;
    }
    if (*id == 0) {
        qCCritical(lcDb, "Zero track ID after insert: %s", qUtf8Printable(path));
        return nullptr;
    }
    auto track = std::make_shared<Track>(path);
    track->pk = *id;
    track->status = TrackStatus::none;
    return track;
}

}  // namespace

TrackRef DB::track(const QString& path) {
    if (!queue_) return nullptr;
    TrackRef found;
    queue_->inDatabase([&](SQLiteDatabase& db) { found = findTrack(db, path); });
    return found;
}

QList<TrackRef> DB::tracks(const QStringList& paths) {
    QList<TrackRef> found(paths.size());
    if (!queue_) return found;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        // Deferred: a read takes no write lock. Without the transaction each look-up would take
        // and drop the file's lock (and look for a journal left behind) on its own.
        auto begin = db.executeQuery(QStringLiteral("BEGIN DEFERRED TRANSACTION"));
        const bool began = begin && begin->step() == SQLiteCode::done;
        for (qsizetype i = 0; i < paths.size(); ++i) found[i] = findTrack(db, paths[i]);
        if (!began) return;
        if (auto commit = db.executeQuery(QStringLiteral("COMMIT TRANSACTION"))) commit->step();
    });
    return found;
}

TrackRef DB::insertTrack(const QString& path) {
    std::optional<qint64> id;
    if (queue_) {
        queue_->inDatabase([&](SQLiteDatabase& db) {
            insertTrackRow(db, path);
            // Taken even after a failure: callers look the path up before inserting it.
            id = db.lastInsertRowId();
        });
    }
    return newTrack(path, id);
}

QList<TrackRef> DB::findOrInsertTracks(const QStringList& paths) {
    QList<TrackRef> tracks(paths.size());
    if (!queue_) return tracks;
    // One hand-over and one transaction for a whole folder instead of two of each per file.
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool&) {
        for (qsizetype i = 0; i < paths.size(); ++i) {
            tracks[i] = findTrack(db, paths[i]);
            if (tracks[i]) continue;
            insertTrackRow(db, paths[i]);
            tracks[i] = newTrack(paths[i], db.lastInsertRowId());
        }
    });
    if (committed) return tracks;
    // The new rows are gone, and with them what the search's copy learnt of them.
    queue_->inDatabase([this](SQLiteDatabase&) { forgetCopies(); });
    return QList<TrackRef>(paths.size());
}

bool DB::insertTrackRow(SQLiteDatabase& db, const QString& path) {
    auto cursor = db.executeQuery(QStringLiteral("INSERT INTO tracks (path, status, size, timestamp, track, duration, "
                                                 "bitRate, sampleRate, channels) VALUES(?, ?, 0, 0, 0, 0, 0, 0, 0)"),
                                  {SQLValue::text(TrackRow::nfc(path)), SQLValue::integer(0)});
    if (!cursor || cursor->step() != SQLiteCode::done) {
        qCCritical(lcDb, "Failed to insert track to DB: %s - %s", qUtf8Printable(path),
                   qUtf8Printable(db.lastErrorMessage()));
        return false;
    }
    if (searchIndexLoaded_) searchIndex_.setTrack(db.lastInsertRowId(), TrackRow::nfc(path), false);
    return true;
}

void DB::updateTrack(const Track& track) {
    if (queue_) queue_->inDatabase([&](SQLiteDatabase& db) { writeTrack(db, track); });
}

void DB::writeTrack(SQLiteDatabase& db, const Track& track) {
    auto cursor = db.executeQuery(
        QStringLiteral("UPDATE tracks SET path = ?, folder = ?, size = ?, timestamp = ?, track = ?, title = ?, "
                       "artist = ?, album = ?, duration = ?, bitRate = ?, sampleRate = ?, channels = ?, "
                       "metaVersion = ?, status = ? WHERE id = ?"),
        {SQLValue::text(TrackRow::nfc(track.path)), track.folder != 0 ? SQLValue::integer(track.folder) : SQLValue::null(),
         SQLValue::integer(track.size), SQLValue::integer(track.timestamp), TrackRow::textOrNull(track.track),
         TrackRow::textOrNull(track.title), TrackRow::textOrNull(track.artist), TrackRow::textOrNull(track.album),
         SQLValue::real(track.duration), SQLValue::integer(track.bitRate), SQLValue::integer(track.sampleRate),
         SQLValue::integer(track.channels), SQLValue::integer(track.metaVersion),
         SQLValue::integer(qint64(track.status)), SQLValue::integer(track.pk)});
    if (cursor && cursor->step() == SQLiteCode::done && searchIndexLoaded_) {
        searchIndex_.setTrack(track.pk, TrackRow::nfc(track.path), track.folder != 0);
    }
    rewriteLyrics(db, track);
    rewriteChapters(db, track);
}

void DB::rewriteLyrics(SQLiteDatabase& db, const Track& track) {
    if (auto cursor = db.executeQuery(QStringLiteral("DELETE FROM lyrics WHERE track_id=?"), {SQLValue::integer(track.pk)})) {
        cursor->step();
    }
    if (!track.lyrics) return;
    if (auto cursor = db.executeQuery(QStringLiteral("INSERT INTO lyrics (track_id, text) VALUES(?, ?)"),
                                      {SQLValue::integer(track.pk), SQLValue::text(TrackRow::nfc(*track.lyrics))})) {
        cursor->step();
    }
}

void DB::rewriteChapters(SQLiteDatabase& db, const Track& track) {
    if (auto cursor =
            db.executeQuery(QStringLiteral("DELETE FROM chapters WHERE track_id=?"), {SQLValue::integer(track.pk)})) {
        cursor->step();
    }
    // A chapter that cannot be stored is logged by the cursor; the others are still tried.
    for (qsizetype index = 0; index < track.chapters.size(); ++index) {
        const Chapter& chapter = track.chapters[index];
        auto cursor = db.executeQuery(
            QStringLiteral("INSERT INTO chapters (track_id, `index`, `start`, `end`, title) VALUES(?, ?, ?, ?, ?)"),
            {SQLValue::integer(track.pk), SQLValue::integer(index), SQLValue::real(chapter.start),
             SQLValue::real(chapter.end), TrackRow::textOrNull(chapter.title)});
        if (cursor) cursor->step();
    }
}

FolderRecords DB::removeMissingTracks(qint64 folderPk, const QSet<QString>& found) {
    FolderRecords staying;
    if (!queue_) return staying;
    // The stored paths are composed; a walk may report them decomposed.
    QSet<QString> present;
    present.reserve(found.size());
    for (const QString& path : found) present.insert(TrackRow::nfc(path));

    // One transaction: a search sees the folder before or after, and the deletes share one
    // journal.
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool&) {
        // Collected first, so that no row is deleted under the running SELECT.
        QList<qint64> missing;
        QList<qint64> withoutTokens;
        auto rows = db.executeQuery(digests_ ? QStringLiteral("SELECT id, folder, path, size, timestamp, track, title, "
                                                              "artist, album, duration, bitRate, sampleRate, channels, "
                                                              "metaVersion, status, digest FROM tracks LEFT JOIN "
                                                              "indexed_texts ON track_id = id WHERE folder=?")
                                             : QStringLiteral("SELECT id, folder, path, size, timestamp, track, title, "
                                                              "artist, album, duration, bitRate, sampleRate, channels, "
                                                              "metaVersion, status FROM tracks WHERE folder=?"),
                                    {SQLValue::integer(folderPk)});
        if (!rows) return;
        // Found once: a folder has many rows.
        const TrackRow::Columns columns = TrackRow::columnsOf(*rows);
        const int digestColumn = digests_ ? rows->columnIndex(QStringLiteral("digest")) : -1;
        while (rows->next()) {
            const std::optional<QString> path = rows->stringForIndex(columns.path);
            const qint64 id = rows->int64ForIndex(columns.id);
            const auto foundPath = path ? present.constFind(*path) : present.constEnd();
            if (path && foundPath == present.constEnd()) {
                missing.append(id);
            } else if (TrackRef track = path ? TrackRow::fromRow(*rows, columns) : nullptr) {
                if (digestColumn >= 0 && !rows->isNullForIndex(digestColumn)) {
                    staying.indexed.insert(id, quint64(rows->int64ForIndex(digestColumn)));
                }
                // The same text as the caller's: its copy is shared rather than held twice.
                track->path = *foundPath;
                staying.tracks.insert(*foundPath, std::move(track));
            } else {
                withoutTokens.append(id);
            }
        }
        // Children first: the foreign keys are enforced. The track's occurrences go by cascade.
        for (const qint64 id : missing) {
            int code = SQLiteCode::misuse;
            for (const QString& sql : {QStringLiteral("DELETE FROM lyrics WHERE track_id=?"),
                                       QStringLiteral("DELETE FROM chapters WHERE track_id=?"),
                                       QStringLiteral("DELETE FROM tracks WHERE id=?")}) {
                auto cursor = db.executeQuery(sql, {SQLValue::integer(id)});
                code = cursor ? cursor->step() : SQLiteCode::misuse;
            }
            if (code != SQLiteCode::done) {
                // Still in the saved playlist: the record stays, its tokens go.
                withoutTokens.append(id);
            } else if (searchIndexLoaded_) {
                searchIndex_.removeTrack(id);
            }
        }
        // The scan gives tokens only to the records it hands on.
        for (const qint64 id : withoutTokens) {
            auto cursor = db.executeQuery(QStringLiteral("DELETE FROM occurences WHERE track_id=?"), {SQLValue::integer(id)});
            if (cursor && cursor->step() == SQLiteCode::done && searchIndexLoaded_) searchIndex_.clearOccurrences(id);
            forgetDigest(db, id);
        }
    });
    if (!committed) {
        queue_->inDatabase([this](SQLiteDatabase&) { forgetCopies(); });
        staying = FolderRecords();
    }
    return staying;
}

}  // namespace sonvale
