#include "DB.h"

#include "DamagedDatabase.h"
#include "StorageDamage.h"
#include "StorageLog.h"

#include <QDateTime>
#include <QFile>
#include <QtEndian>

namespace sonvale {

namespace {

// What the first 100 bytes of the file say, read after SQLite has rolled back any journal a
// killed process left.
struct HeaderCheck {
    // Written by a newer version of the program: left alone, never taken for damage.
    bool newer = false;
    // Why the file cannot be a sound database; empty when nothing is wrong with the header.
    QString problem;
};

HeaderCheck checkHeader(const QString& path, int schemaVersion) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() == 0) return {};
    const qint64 size = file.size();
    const QByteArray header = file.read(100);
    const auto at32 = [&header](int offset) { return qFromBigEndian<quint32>(header.constData() + offset); };
    if (header.size() < 100 || !header.startsWith(QByteArrayView("SQLite format 3\0", 16))) {
        return {false, QStringLiteral("the file is not a database")};
    }
    if (at32(60) > quint32(schemaVersion)) return {true, {}};
    const quint32 pageSize = qFromBigEndian<quint16>(header.constData() + 16) == 1
                                 ? 65536
                                 : qFromBigEndian<quint16>(header.constData() + 16);
    // The page count in the header is only kept up to date when these two counters agree.
    const quint32 pages = at32(28);
    const qint64 expected = qint64(pages) * pageSize;
    if (pages != 0 && at32(24) == at32(92) && size < expected) {
        return {false, QStringLiteral("the file is cut short (%1 of %2 bytes)").arg(size).arg(expected)};
    }
    return {};
}

// Why `sql`, a check pragma, finds the file damaged; empty when it is sound or when the check
// could not run for another reason (the file is busy, it cannot be read): that is not damage.
QString problemFound(SQLiteDatabase& db, const QString& sql) {
    auto cursor = db.executeQuery(sql);
    const int code = cursor ? cursor->step() : db.lastErrorCode();
    if (code == SQLiteCode::row) {
        QString result = QString::fromUtf8(cursor->utf8ForIndex(0));
        // A whole-file check begins its report with the schema's name on a line of its own.
        return result == QLatin1String("ok") ? QString()
                                              : result.remove(QStringLiteral("*** in database main ***")).simplified();
    }
    return StorageDamage::isDamageCode(code) ? db.lastErrorMessage() : QString();
}

}  // namespace

QString DB::damageMarkerPath() const { return path_ + QStringLiteral(".damage-seen"); }

bool DB::isDamaged() const {
    if (!queue_) return false;
    bool damaged = false;
    queue_->inDatabase([&](SQLiteDatabase& db) { damaged = StorageDamage::seen(db.fileName()); });
    return damaged;
}

std::optional<QString> DB::findDamage() {
    // A previous run came upon damage that the quick check at opening does not look for.
    const bool thorough = QFile::exists(damageMarkerPath());
    std::optional<QString> damage;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        // The first read rolls back a journal left by a killed process, so that the header read
        // next is the committed one.
        auto version = db.executeQuery(QStringLiteral("pragma user_version"));
        const int code = version ? version->step() : db.lastErrorCode();
        const QString readError = db.lastErrorMessage();
        version.reset();
        const HeaderCheck header = checkHeader(path_, kSchemaVersion);
        if (header.newer) return;
        if (StorageDamage::isDamageCode(code)) {
            damage = header.problem.isEmpty() ? readError : header.problem;
            return;
        }
        // Busy past the timeout, unreadable: not damage; the operations will fail and log.
        if (code != SQLiteCode::row) return;
        if (!header.problem.isEmpty()) {
            damage = header.problem;
            return;
        }
        // A full quick check reads the whole file: about 140 ms at 100,000 tracks with a warm
        // cache (a third of the start-up with such a playlist), seconds from a cold disk. At
        // every opening only the tables that hold what the user made, the folders and the
        // playlist, are checked (under 10 ms at 100,000 entries; the schema is read on the
        // way); damage elsewhere is met when it is read, noted (StorageDamage), and then the
        // next opening checks everything.
        QStringList checks;
        if (thorough) {
            checks = {QStringLiteral("PRAGMA quick_check")};
        } else {
            auto tables = db.executeQuery(QStringLiteral(
                "SELECT name FROM sqlite_master WHERE type = 'table' AND name IN ('folders', 'playlist') ORDER BY name"));
            int step = tables ? SQLiteCode::row : db.lastErrorCode();
            while (tables && (step = tables->step()) == SQLiteCode::row) {
                checks.append(QStringLiteral("PRAGMA quick_check(%1)").arg(QString::fromUtf8(tables->utf8ForIndex(0))));
            }
            if (StorageDamage::isDamageCode(step)) {
                damage = db.lastErrorMessage();
                return;
            }
        }
        for (const QString& check : std::as_const(checks)) {
            if (const QString problem = problemFound(db, check); !problem.isEmpty()) {
                damage = problem;
                return;
            }
        }
    });
    if (!damage && thorough) QFile::remove(damageMarkerPath());
    return damage;
}

bool DB::setAside(const QString& problem) {
    const QString copy =
        path_ + QStringLiteral(".damaged-") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString journal = QStringLiteral("-journal");
    queue_->close();
    // A journal left beside the new file would be rolled back into it: it goes with the copy.
    if (QFile::exists(copy) || !QFile::rename(path_, copy)
        || (QFile::exists(path_ + journal) && !QFile::rename(path_ + journal, copy + journal))) {
        qCCritical(lcDb, "The damaged library database %s could not be moved aside; it is used as it is",
                   qUtf8Printable(path_));
        return false;
    }
    queue_->inDatabase([](SQLiteDatabase& db) { StorageDamage::forget(db.fileName()); });
    QFile::remove(damageMarkerPath());
    recovery_ = DatabaseRecovery{copy, problem, {}, {}, 0};
    return true;
}

void DB::carryOver() {
    DamagedDatabase damaged(recovery_->damagedCopy);
    qsizetype lost = 0;
    const QList<std::pair<qint64, TrackRef>> entries = damaged.playlist(lost);
    QStringList paths;
    for (const auto& entry : entries) paths.append(entry.second->path);
    const QList<TrackRef> stored = findOrInsertTracks(paths);
    QList<TrackRef> playlist;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (!stored.value(i)) {
            ++lost;
            continue;
        }
        // The tags read before are kept for the playlist's sake; the status makes the next scan,
        // or the player, read the file again for the lyrics and chapters left behind.
        Track track = *entries[i].second;
        track.pk = stored[i]->pk;
        track.folder = 0;
        track.status = TrackStatus::none;
        updateTrack(track);
        playlist.append(std::make_shared<Track>(std::move(track)));
        recovery_->playlistOrigins.append(entries[i].first);
    }
    savePlaylist(playlist);
    recovery_->playlistLost = lost;
    // Added after the tracks, so that each claims the playlist's tracks under its root.
    for (Folder folder : damaged.folders()) {
        if (addFolder(folder)) recovery_->folders.append(std::move(folder));
    }
    qCCritical(lcDb,
               "The library database was damaged (%s) and is kept as %s; a new one holds its %lld library folders, "
               "to be scanned again, and %lld entries of its playlist (%lld could not be read)",
               qUtf8Printable(recovery_->problem), qUtf8Printable(recovery_->damagedCopy),
               static_cast<long long>(recovery_->folders.size()), static_cast<long long>(playlist.size()),
               static_cast<long long>(lost));
}

DB::~DB() {
    // Damage met while running is looked for in the whole file at the next opening.
    if (isDamaged()) {
        QFile marker(damageMarkerPath());
        if (!marker.open(QIODevice::WriteOnly)) {
            qCWarning(lcDb, "Cannot write %s", qUtf8Printable(damageMarkerPath()));
        }
    }
}

}  // namespace sonvale
