#include "AudioFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace sonvale {

namespace {

// A walk with the system's directory calls rather than QDirIterator: the names are matched
// before anything else is done with them, and only the files taken are examined (one status
// read each, which the pass then uses instead of reading it again). The order is the one
// QDirIterator gives: a folder's entries as listed, each sub-folder walked where it is listed.
class Walk {
public:
    explicit Walk(const QStringList& extensions) {
        for (const QString& extension : extensions) extensions_.append(extension.toUtf8());
    }

    // Takes ownership of `fd`, an open folder whose clean path is `path`.
    void folder(int fd, const QString& path) {
        DIR* dir = ::fdopendir(fd);
        if (!dir) {
            ::close(fd);
            return;
        }
        const QString prefix = path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
        while (const dirent* entry = ::readdir(dir)) {
            const char* name = entry->d_name;
            // Hidden entries, "." and "..".
            if (name[0] == '.') continue;
            const unsigned char type = entry->d_type;
            if (type == DT_DIR) {
                enter(::dirfd(dir), name, prefix);
                continue;
            }
            if ((type != DT_REG && type != DT_UNKNOWN) || (!taken(name) && type == DT_REG)) continue;
            struct stat status {};
            if (::fstatat(::dirfd(dir), name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
            if (S_ISDIR(status.st_mode)) {
                enter(::dirfd(dir), name, prefix);
            } else if (S_ISREG(status.st_mode) && taken(name)) {
                found_.append({joined(prefix, name), qint64(status.st_size),
                               wholeSeconds(status.st_mtim.tv_sec, status.st_mtim.tv_nsec)});
            }
        }
        ::closedir(dir);
    }

    QList<FoundFile> take() {
        // The list is kept for the whole scan: without the room it grew into.
        found_.squeeze();
        return std::move(found_);
    }

private:
    void enter(int parent, const char* name, const QString& prefix) {
        const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd >= 0) folder(fd, prefix + QFile::decodeName(name));
    }
    // `prefix` + `name` in a string of exactly that size: a path is kept for the whole scan,
    // and appending leaves room to grow in (about half as much again, a hundred thousand times).
    static QString joined(const QString& prefix, const char* name) {
        const QString decoded = QFile::decodeName(name);
        QString path;
        path.reserve(prefix.size() + decoded.size());
        path.append(prefix);
        path.append(decoded);
        return path;
    }
    bool taken(const char* name) const {
        const char* dot = std::strrchr(name, '.');
        if (!dot) return false;
        const QByteArrayView suffix(dot + 1);
        for (const QByteArray& extension : extensions_) {
            if (suffix == extension) return true;
        }
        return false;
    }

    QList<QByteArray> extensions_;
    QList<FoundFile> found_;
};

}  // namespace

const QStringList& supportedExtensions() {
    static const QStringList extensions = QStringList{QStringLiteral("mp3"), QStringLiteral("mp4"),
                                                      QStringLiteral("m4a"), QStringLiteral("m4b"),
                                                      QStringLiteral("m4r"), QStringLiteral("wav"),
                                                      QStringLiteral("aif"), QStringLiteral("aiff"),
                                                      QStringLiteral("m3u")} +
                                          QStringList{QStringLiteral("flac")};
    return extensions;
}

QList<FoundFile> collectAudioFiles(const QString& root, const QStringList& extensions) {
    const QString path = QDir::cleanPath(QFileInfo(root).absoluteFilePath());
    // The root itself may be a link to a folder.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return {};
    Walk walk(extensions);
    walk.folder(fd, path);
    return walk.take();
}

}  // namespace sonvale
