#include "AudioFiles.h"

#include "FolderWalk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace sonvale {

namespace {

// Most of a walk over a tree the kernel has not cached is waiting for the disk: with eight
// folders read at once, a cold walk of 10,000 files took half the time of one thread's (a
// tenth less than with four); a cached walk gains a third, and more threads add nothing.
constexpr int kWalkThreads = 8;

// What the tag readers read of most files: the tags and stream headers at the start (the
// kernel's own first read-ahead is as long), and the trailing tags and chunks at the end. The
// rest of a song is left on disk.
constexpr qint64 kReadHead = 128 * 1024;
constexpr qint64 kReadTail = 32 * 1024;

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

void adviseReading(const FoundFile& file) {
    const int fd = ::open(QFile::encodeName(file.path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return;
    if (file.size <= kReadHead + kReadTail) {
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_WILLNEED);
    } else {
        ::posix_fadvise(fd, 0, kReadHead, POSIX_FADV_WILLNEED);
        ::posix_fadvise(fd, file.size - kReadTail, kReadTail, POSIX_FADV_WILLNEED);
    }
    ::close(fd);
}

QList<FoundFile> collectAudioFiles(const QString& root, const QStringList& extensions) {
    const QString path = QDir::cleanPath(QFileInfo(root).absoluteFilePath());
    return FolderWalk(extensions).run(path, kWalkThreads);
}

}  // namespace sonvale
