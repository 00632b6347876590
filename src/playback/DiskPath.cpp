#include "DiskPath.h"

#include <QDir>
#include <QFileInfo>

namespace sonvale {

namespace {

QString composed(const QString& text) { return text.normalized(QString::NormalizationForm_C); }

// The entry of `folder` whose composed form equals `name`'s, or an empty string.
QString matchingEntry(const QString& folder, const QString& name) {
    const QString wanted = composed(name);
    const QStringList entries =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& entry : entries)
        if (entry != name && composed(entry) == wanted) return entry;
    return {};
}

}  // namespace

QString findOnDisk(const QString& path) {
    if (!path.startsWith(u'/') || QFileInfo::exists(path)) return path;
    const QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    QString found;
    for (const QString& part : parts) {
        const QString folder = found.isEmpty() ? QStringLiteral("/") : found;
        QString candidate = found + u'/' + part;
        if (!QFileInfo::exists(candidate)) {
            const QString entry = matchingEntry(folder, part);
            if (entry.isEmpty()) return path;
            candidate = found + u'/' + entry;
        }
        found = candidate;
    }
    return found;
}

}  // namespace sonvale
