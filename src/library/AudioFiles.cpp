#include "AudioFiles.h"

#include <QDirIterator>
#include <QFileInfo>

namespace sonvale {

const QStringList& supportedExtensions() {
    static const QStringList extensions = QStringList{QStringLiteral("mp3"), QStringLiteral("mp4"),
                                                      QStringLiteral("m4a"), QStringLiteral("m4b"),
                                                      QStringLiteral("m4r"), QStringLiteral("wav"),
                                                      QStringLiteral("aif"), QStringLiteral("aiff"),
                                                      QStringLiteral("m3u")} +
                                          QStringList{QStringLiteral("flac")};
    return extensions;
}

QStringList collectAudioFiles(const QString& root, const QStringList& extensions) {
    QStringList found;
    // Without QDir::Hidden the iterator neither lists nor enters dot entries; without
    // FollowSymlinks it does not descend through links, and NoSymLinks keeps linked files out.
    // Devices, sockets and pipes need QDir::System, which is not asked for.
    QDirIterator entries(root, QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        entries.next();
        const QFileInfo info = entries.fileInfo();
        if (!info.isFile() || info.isSymLink()) continue;
        if (extensions.contains(info.suffix(), Qt::CaseSensitive)) found.append(info.absoluteFilePath());
    }
    return found;
}

}  // namespace sonvale
