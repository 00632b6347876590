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

struct CheckResult {
    // False when the check could not run for another reason than damage (the file is busy past
    // the timeout, it cannot be read).
    bool ran = false;
    // Why the file is damaged; empty when it is sound.
    QString problem;
};

CheckResult runCheck(SQLiteDatabase& db, const QString& sql) {
    auto cursor = db.executeQuery(sql);
    const int code = cursor ? cursor->step() : db.lastErrorCode();
    if (code == SQLiteCode::row) {
        QString result = QString::fromUtf8(cursor->utf8ForIndex(0));
        // A whole-file check begins its report with the schema's name on a line of its own.
        if (result == QLatin1String("ok")) return {true, {}};
        return {true, result.remove(QStringLiteral("*** in database main ***")).simplified()};
    }
    if (StorageDamage::isDamageCode(code)) return {true, db.lastErrorMessage()};
    return {};
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
    bool checked = false;
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
        // A quick check of the whole file reads every page: about 0.5 s at 100,000 tracks (a
        // 69 MB file) in the page cache and 1.5-2 s from the disk (bench/open_bench), too much
        // for every start. The tables that hold what the user made, the folders and the
        // playlist, are checked at every opening instead (15-20 ms at 100,000 playlist entries,
        // about 0.1 s from the disk; the schema is read on the way); the tracks and tokens can be
        // scanned again, their damage is met when they are read, noted (StorageDamage), and the
        // next opening checks everything.
        QStringList checks;
        if (thorough) {
            checks = {QStringLiteral("PRAGMA quick_check")};
        } else {
            auto tables = db.executeQuery(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' "
                                                         "AND name IN ('folders', 'playlist') ORDER BY name"));
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
            const CheckResult result = runCheck(db, check);
            if (!result.ran) return;
            if (!result.problem.isEmpty()) {
                damage = result.problem;
                return;
            }
        }
        checked = true;
    });
    if (checked && thorough) QFile::remove(damageMarkerPath());
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
