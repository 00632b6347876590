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
        for (const QString& sql :
             {QStringLiteral("DELETE FROM occurences WHERE track_id IN (SELECT id FROM tracks WHERE folder=?)"),
              QStringLiteral("UPDATE tracks SET folder=NULL WHERE folder=?"),
              QStringLiteral("DELETE FROM folders WHERE id=?")}) {
            if (auto cursor = db.executeQuery(sql, {SQLValue::integer(pk)})) cursor->step();
        }
    });
}

}  // namespace sonvale
