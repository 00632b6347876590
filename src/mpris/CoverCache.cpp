#include "CoverCache.h"

#include "MprisLog.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace sonvale {

CoverCache::CoverCache(QString folder, int maxFiles, qint64 maxBytes)
    : folder_(std::move(folder)), maxFiles_(maxFiles), maxBytes_(maxBytes) {}

QString CoverCache::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/Sonvale/covers");
}

QString CoverCache::store(const QByteArray& picture) {
    if (!QDir().mkpath(folder_)) {
        qCWarning(lcMpris, "Cannot create the cover folder %s", qUtf8Printable(folder_));
        return {};
    }
    const bool png = picture.startsWith("\x89PNG\r\n\x1a\n");
    const QString name = QString::fromLatin1(QCryptographicHash::hash(picture, QCryptographicHash::Sha1).toHex())
                         + (png ? QStringLiteral(".png") : QStringLiteral(".jpg"));
    const QString path = folder_ + QLatin1Char('/') + name;

    QFile existing(path);
    if (existing.exists() && existing.size() == picture.size()) {
        // The modification time orders the files for pruning: a picture shown again is fresh.
        if (existing.open(QIODevice::ReadWrite))
            existing.setFileTime(QDateTime::currentDateTimeUtc(), QFileDevice::FileModificationTime);
        return path;
    }
    // Written under another name and renamed, so a client never reads half a picture.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(picture) != picture.size() || !file.commit()) {
        qCWarning(lcMpris, "Cannot write the cover %s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
        return {};
    }
    prune(path);
    return path;
}

void CoverCache::prune(const QString& keep) {
    // Newest first: everything from the first file past either limit on is removed.
    const QFileInfoList files = QDir(folder_).entryInfoList(QDir::Files | QDir::Hidden, QDir::Time);
    int count = 0;
    qint64 bytes = 0;
    bool full = false;
    for (const QFileInfo& file : files) {
        const bool kept = file.filePath() == keep;
        full = full || count + 1 > maxFiles_ || bytes + file.size() > maxBytes_;
        if (kept || !full) {
            ++count;
            bytes += file.size();
        } else if (!QFile::remove(file.filePath())) {
            qCWarning(lcMpris, "Cannot remove the old cover %s", qUtf8Printable(file.filePath()));
        }
    }
}

}  // namespace sonvale
