#include "StorageDamage.h"

#include "StorageLog.h"

#include <QSet>

#include <mutex>

#include <sqlite3.h>

namespace sonvale {

namespace {

std::mutex damageLock;
QSet<QString>& damagedPaths() {
    static QSet<QString> paths;
    return paths;
}

}  // namespace

bool StorageDamage::isDamageCode(int code) {
    const int primary = code & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

bool StorageDamage::note(const QString& path, int code, const QString& message) {
    {
        const std::lock_guard lock(damageLock);
        if (damagedPaths().contains(path)) return false;
        damagedPaths().insert(path);
    }
    qCCritical(lcDb, "The library database %s is damaged: %s (%d)", qUtf8Printable(path), qUtf8Printable(message),
               code);
    return true;
}

void StorageDamage::expect(const QString& path) {
    const std::lock_guard lock(damageLock);
    damagedPaths().insert(path);
}

bool StorageDamage::seen(const QString& path) {
    const std::lock_guard lock(damageLock);
    return damagedPaths().contains(path);
}

void StorageDamage::forget(const QString& path) {
    const std::lock_guard lock(damageLock);
    damagedPaths().remove(path);
}

}  // namespace sonvale
