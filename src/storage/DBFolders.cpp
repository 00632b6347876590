#include "DB.h"

#include "TrackRow.h"

namespace sonvale {

namespace {

// Whole seconds since 1970, truncated toward zero; NULL for no date.
SQLValue secondsOrNull(const std::optional<QDateTime>& date) {
    if (!date) return SQLValue::null();
    return SQLValue::integer(date->toMSecsSinceEpoch() / 1000);
}

}  // namespace

QList<Folder> DB::loadFolders() {
    QList<Folder> folders;
    if (!queue_) return folders;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        auto cursor = db.executeQuery(QStringLiteral("SELECT id, path, lastCompletedScan FROM folders ORDER BY id ASC"));
        while (cursor && cursor->next()) {
            std::optional<QString> path = cursor->stringForColumn(QStringLiteral("path"));
            if (!path) continue;
            Folder folder;
            folder.pk = cursor->int64ForColumn(QStringLiteral("id"));
            folder.root = std::move(*path);
            // Read as text first only to tell NULL from 0.
            if (cursor->stringForColumn(QStringLiteral("lastCompletedScan"))) {
                folder.lastCompletedScan = QDateTime::fromSecsSinceEpoch(
                    cursor->int64ForColumn(QStringLiteral("lastCompletedScan")), Qt::UTC);
            }
            folders.append(std::move(folder));
        }
    });
    return folders;
}

bool DB::addFolder(Folder& folder) {
    if (!queue_) return false;
    bool inserted = false;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        const QString root = TrackRow::nfc(folder.root);
        auto insert = db.executeQuery(QStringLiteral("INSERT INTO folders (path, lastCompletedScan) VALUES(?, ?)"),
                                      {SQLValue::text(root), secondsOrNull(folder.lastCompletedScan)});
        inserted = insert && insert->step() == SQLiteCode::done;
        folder.pk = db.lastInsertRowId();
        // A plain prefix match: see FolderStorage for what LIKE makes of it.
        auto claim = db.executeQuery(QStringLiteral("UPDATE tracks SET folder=? WHERE path LIKE ? || '%'"),
                                     {SQLValue::integer(*folder.pk), SQLValue::text(root)});
        if (claim) claim->step();
        // The claimed tracks are read back rather than matched again, so that the search's copy
        // follows LIKE exactly.
        if (searchIndexLoaded_) {
            for (const qint64 id : trackIdsOfFolder(db, *folder.pk)) searchIndex_.setHasFolder(id, true);
        }
    });
    return inserted;
}

void DB::updateFolder(const Folder& folder) {
    if (!queue_) return;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        auto cursor = db.executeQuery(QStringLiteral("UPDATE folders SET path = ?, lastCompletedScan = ? WHERE id = ?"),
                                      {SQLValue::text(TrackRow::nfc(folder.root)),
                                       secondsOrNull(folder.lastCompletedScan),
                                       folder.pk ? SQLValue::integer(*folder.pk) : SQLValue::null()});
        if (cursor) cursor->step();
    });
}

void DB::removeFolder(qint64 pk) {
    if (!queue_) return;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        const QList<qint64> detached = searchIndexLoaded_ ? trackIdsOfFolder(db, pk) : QList<qint64>();
        // Forgotten first: whatever of the rest fails, no digest outlives its tokens.
        forgetFolderDigests(db, pk);
        bool done = true;
        for (const QString& sql :
             {QStringLiteral("DELETE FROM occurences WHERE track_id IN (SELECT id FROM tracks WHERE folder=?)"),
              QStringLiteral("UPDATE tracks SET folder=NULL WHERE folder=?"),
              QStringLiteral("DELETE FROM folders WHERE id=?")}) {
            auto cursor = db.executeQuery(sql, {SQLValue::integer(pk)});
            done = cursor && cursor->step() == SQLiteCode::done && done;
        }
        // After a partial failure the search's copy is made again from the tables.
        if (!done) {
            forgetCopies();
            return;
        }
        for (const qint64 id : detached) {
            searchIndex_.clearOccurrences(id);
            searchIndex_.setHasFolder(id, false);
        }
    });
}

qint64 DB::trackCount(qint64 pk) {
    qint64 count = 0;
    if (!queue_) return count;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        auto cursor = db.executeQuery(QStringLiteral("SELECT COUNT(*) FROM tracks WHERE folder=?"), {SQLValue::integer(pk)});
        if (cursor && cursor->next()) count = cursor->int64ForIndex(0);
    });
    return count;
}

QList<qint64> DB::trackIdsOfFolder(SQLiteDatabase& db, qint64 folderPk) {
    QList<qint64> ids;
    auto cursor = db.executeQuery(QStringLiteral("SELECT id FROM tracks WHERE folder=?"), {SQLValue::integer(folderPk)});
    while (cursor && cursor->next()) ids.append(cursor->int64ForIndex(0));
    return ids;
}

}  // namespace sonvale
