#include "DB.h"

#include "Index.h"
#include "StorageLog.h"
#include "TrackRow.h"

#include <QStringDecoder>
#include <QVarLengthArray>

#include <algorithm>

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

// The texts of a row are read as UTF-16 into buffers kept from row to row, as QString::fromUtf8
// would make them (up to the first NUL, a leading byte-order mark dropped, bad bytes replaced),
// without a string of their own each.
class TextReader {
public:
    QStringView read(const SQLiteCursor& cursor, int column) {
        std::string_view utf8 = cursor.utf8ForIndex(column);
        utf8 = utf8.substr(0, utf8.find('\0'));
        units_.resize(qsizetype(utf8.size()));
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        QChar* end = decoder.appendToBuffer(units_.data(), QByteArrayView(utf8.data(), qsizetype(utf8.size())));
        return QStringView(units_.data(), end - units_.data());
    }

private:
    QVarLengthArray<QChar, 256> units_;
};

}  // namespace

bool DB::readFolderFiles(SQLiteDatabase& db, qint64 folderPk, const QHash<QString, qsizetype>& present,
                         FolderRecords& staying, QList<qint64>& missing, QList<qint64>& withoutTokens) {
    // The columns by position, as the SELECT lists them.
    enum Column { id, path, size, timestamp, metaVersion, status, title, artist, album, digest };
    auto rows = db.executeQuery(digests_ ? QStringLiteral("SELECT id, path, size, timestamp, metaVersion, status, title, "
                                                          "artist, album, digest FROM tracks LEFT JOIN indexed_texts "
                                                          "ON track_id = id WHERE folder=?")
                                         : QStringLiteral("SELECT id, path, size, timestamp, metaVersion, status, title, "
                                                          "artist, album FROM tracks WHERE folder=?"),
                                {SQLValue::integer(folderPk)});
    if (!rows) return false;
    qsizetype count = 0;
    for (const qsizetype position : present) count = std::max(count, position + 1);
    staying.files.resize(count);
    TextReader titles, artists, albums;
    while (rows->next()) {
        const qint64 pk = rows->int64ForIndex(id);
        const std::optional<QString> stored = rows->stringForIndex(path);
        const auto found = stored ? present.constFind(*stored) : present.constEnd();
        if (stored && found == present.constEnd()) {
            missing.append(pk);
            continue;
        }
        const std::optional<TrackStatus> known = trackStatusFromRaw(rows->int64ForIndex(status));
        if (!stored || !known) {
            withoutTokens.append(pk);
            continue;
        }
        StoredFile& file = staying.files[found.value()];
        file = {pk,
                *known,
                rows->intForIndex(metaVersion),
                rows->intForIndex(size),
                rows->int64ForIndex(timestamp),
                indexTextsDigest(found.key(), titles.read(*rows, title), artists.read(*rows, artist),
                                 albums.read(*rows, album)),
                std::nullopt};
        if (digests_ && !rows->isNullForIndex(digest)) file.indexed = quint64(rows->int64ForIndex(digest));
    }
    return true;
}

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

FolderRecords DB::removeMissingTracks(qint64 folderPk, const QHash<QString, qsizetype>& found) {
    FolderRecords staying;
    if (!queue_) return staying;
    // The stored paths are composed; a walk may report them decomposed.
    // A scan hands them on composed already: its map is then used as it is.
    const bool composed = std::all_of(found.keyBegin(), found.keyEnd(),
                                      [](const QString& path) { return TrackRow::nfc(path) == path; });
    QHash<QString, qsizetype> recomposed;
    if (!composed) {
        recomposed.reserve(found.size());
        for (auto path = found.cbegin(); path != found.cend(); ++path) {
            recomposed.insert(TrackRow::nfc(path.key()), path.value());
        }
    }
    const QHash<QString, qsizetype>& present = composed ? found : recomposed;

    // One transaction: a search sees the folder before or after, and the deletes share one
    // journal.
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool&) {
        // Collected first, so that no row is deleted under the running SELECT.
        QList<qint64> missing;
        QList<qint64> withoutTokens;
        if (!readFolderFiles(db, folderPk, present, staying, missing, withoutTokens)) return;
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
