#include "PathExpander.h"

#include "DiskPath.h"
#include "M3U.h"
#include "PlayerLog.h"
#include "Track.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace sonvale {

namespace {

// One expansion: the output, the folders and playlists being expanded (by canonical path, to
// catch cycles) and what is left of the budget.
class Walk {
public:
    QStringList out;

    void expandAll(const QStringList& paths, const QString& base, int depth) {
        for (const QString& path : paths) expandOne(path, base, depth);
    }

private:
    QStringList chain_;
    int sources_ = 0;

    void expandOne(const QString& raw, const QString& base, int depth) {
        const QString trimmed = raw.trimmed();
        if (trimmed.isEmpty()) return;
        const QString path = QDir::isRelativePath(trimmed) && !base.isEmpty()
                                 ? QDir::cleanPath(base + u'/' + trimmed)
                                 : QDir::cleanPath(QFileInfo(trimmed).absoluteFilePath());
        expandPath(path, depth);
    }

    void expandPath(const QString& path, int depth) {
        const QFileInfo info(path);
        if (!info.exists()) {
            // Paths from the database (search results) are composed; the disk may differ.
            if (const QString onDisk = findOnDisk(path); onDisk != path) {
                expandPath(onDisk, depth);
                return;
            }
            qCInfo(lcPlayer, "Skipping %s: no such file or folder", qUtf8Printable(path));
        } else if (info.isDir()) {
            enter(info, depth, [&] { expandFolder(path, depth); });
        } else if (info.suffix().toLower() == u"m3u") {
            enter(info, depth, [&] { expandAll(M3U::read(path), info.absolutePath(), depth + 1); });
        } else {
            out.append(path);
        }
    }

    // Runs `expand` for a folder or playlist unless that would repeat or nest without end.
    template <typename Expand>
    void enter(const QFileInfo& info, int depth, Expand expand) {
        const QString path = info.absoluteFilePath();
        const QString canonical = info.canonicalFilePath();
        if (chain_.contains(canonical)) {
            qCWarning(lcPlayer, "Skipping %s: it includes itself", qUtf8Printable(path));
            return;
        }
        if (depth >= PathExpander::kMaxDepth || sources_ >= PathExpander::kMaxSources) {
            qCWarning(lcPlayer, "Skipping %s: too many nested folders or playlists", qUtf8Printable(path));
            return;
        }
        ++sources_;
        chain_.append(canonical);
        expand();
        chain_.removeLast();
    }

    void expandFolder(const QString& path, int depth) {
        QDir folder(path);
        if (!folder.isReadable()) {
            qCWarning(lcPlayer, "Cannot read folder %s", qUtf8Printable(path));
            return;
        }
        QStringList names = folder.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
        std::sort(names.begin(), names.end(),
                  [](const QString& a, const QString& b) {
                      const int order = comparePaths(a, b);
                      return order != 0 ? order < 0 : a < b;
                  });
        for (const QString& name : names) expandPath(folder.filePath(name), depth + 1);
    }
};

}  // namespace

QStringList PathExpander::expand(const QStringList& paths, const QString& baseDirectory) {
    Walk walk;
    walk.expandAll(paths, baseDirectory, 0);
    return walk.out;
}

}  // namespace sonvale
