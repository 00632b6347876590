#include "DamagedDatabase.h"

#include "StorageDamage.h"
#include "TrackRow.h"

#include <algorithm>
#include <limits>

namespace sonvale {

namespace {

// Row ids of the library's tables start at 1.
constexpr qint64 kFirstId = 1;
constexpr qint64 kLastId = std::numeric_limits<qint64>::max();

}  // namespace

DamagedDatabase::DamagedDatabase(const QString& path) : db_(SQLiteDatabase::openUntouched(path)) {
    if (!db_) return;
    // Its damage was reported when it was found; reading around it is expected to fail.
    StorageDamage::expect(db_->fileName());
    // Without this a file shorter than its header says cannot be read at all; with it the
    // pages that are there can be, and a damaged schema is read as far as it goes.
    db_->executeStatements(QStringLiteral("PRAGMA writable_schema = ON;"));
}

QList<Folder> DamagedDatabase::folders() {
    QList<Folder> folders;
    readRows(QStringLiteral("SELECT id, path FROM folders WHERE id >= ? ORDER BY id ASC"), [&](SQLiteCursor& row) {
        std::optional<QString> path = row.stringForColumn(QStringLiteral("path"));
        if (!path || path->isEmpty()) return;
        Folder folder;
        folder.root = std::move(*path);
        folders.append(std::move(folder));
    });
    return folders;
}

QList<std::pair<qint64, TrackRef>> DamagedDatabase::playlist(qsizetype& lost) {
    QList<std::pair<qint64, qint64>> rows;  // position, track id
    readRows(QStringLiteral("SELECT id, track_id, `order` FROM playlist WHERE id >= ? ORDER BY id ASC"),
             [&](SQLiteCursor& row) {
                 rows.append({row.int64ForColumn(QStringLiteral("order")),
                              row.int64ForColumn(QStringLiteral("track_id"))});
             });
    std::sort(rows.begin(), rows.end());
    // The positions are saved as 0, 1, 2, ...: a gap is a row that could not be read.
    lost = rows.isEmpty() ? 0 : qsizetype(std::max<qint64>(0, rows.last().first + 1 - rows.size()));
    QList<std::pair<qint64, TrackRef>> entries;
    for (const auto& [position, trackId] : rows) {
        auto cursor = db_->executeQuery(
            QStringLiteral("SELECT id, folder, path, size, timestamp, track, title, artist, album, duration, bitRate, "
                           "sampleRate, channels, metaVersion, status FROM tracks WHERE id = ?"),
            {SQLValue::integer(trackId)});
        TrackRef track = cursor && cursor->next() ? TrackRow::fromRow(*cursor) : nullptr;
        if (track) {
            entries.append({position, std::move(track)});
        } else {
            ++lost;
        }
    }
    return entries;
}

void DamagedDatabase::readRows(const QString& sql, const RowReader& read) {
    if (!db_) return;
    std::optional<qint64> from = kFirstId;
    while (from) {
        auto cursor = db_->executeQuery(sql, {SQLValue::integer(*from)});
        // The table itself cannot be reached.
        if (!cursor) return;
        qint64 after = *from;
        int code = SQLiteCode::row;
        while ((code = cursor->step()) == SQLiteCode::row) {
            const qint64 id = cursor->int64ForColumn(QStringLiteral("id"));
            read(*cursor);
            if (id == kLastId) return;
            after = std::max(after, id + 1);
        }
        if (code == SQLiteCode::done) return;
        const qint64 start = *from;
        from = nextReadable(sql, after);
        // Never back to where nothing could be read.
        if (from && after == start && *from <= start) from = start == kLastId ? std::nullopt : std::optional(start + 1);
    }
}

std::optional<qint64> DamagedDatabase::nextReadable(const QString& sql, qint64 from) {
    // A seek can pass where the walk from row to row failed.
    int code = probe(sql, from);
    if (code == SQLiteCode::row) return from;
    if (code == SQLiteCode::done) return std::nullopt;
    // Further and further ahead until a row reads; then back toward the damage, halving, so
    // that the rows just after it are not skipped.
    qint64 failed = from;
    for (qint64 gap = 1; gap <= kLastId - failed; gap *= 2) {
        const qint64 at = failed + gap;
        code = probe(sql, at);
        if (code == SQLiteCode::done) return std::nullopt;
        if (code != SQLiteCode::row) {
            failed = at;
            if (gap > kLastId / 2) break;
            continue;
        }
        qint64 reads = at;
        while (reads - failed > 1) {
            const qint64 middle = failed + (reads - failed) / 2;
            (probe(sql, middle) == SQLiteCode::row ? reads : failed) = middle;
        }
        return reads;
    }
    return std::nullopt;
}

int DamagedDatabase::probe(const QString& sql, qint64 from) {
    auto cursor = db_->executeQuery(sql, {SQLValue::integer(from)});
    return cursor ? cursor->step() : SQLiteCode::misuse;
}

}  // namespace sonvale
