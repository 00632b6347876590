#include "TreeGenerator.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>

#include <cstdio>

namespace {

const QStringList kArtists = {QStringLiteral("Ana Müller"), QStringLiteral("The Quiet Ones"), QStringLiteral("坂本 龍一"),
                              QStringLiteral("Björk"), QStringLiteral("Los Hermanos"), QStringLiteral("DJ Échelle")};
const QStringList kWords = {QStringLiteral("Night"), QStringLiteral("River"), QStringLiteral("Café"), QStringLiteral("Dream"),
                            QStringLiteral("Stone"), QStringLiteral("夜"), QStringLiteral("Heart"), QStringLiteral("Glass")};

bool ffmpeg(const QStringList& args) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"),
                                                        QStringLiteral("error"), QStringLiteral("-y")} + args);
    if (process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) return true;
    std::fprintf(stderr, "ffmpeg %s failed: %s\n", qPrintable(args.join(QLatin1Char(' '))), process.readAll().constData());
    return false;
}

QStringList codecArgs(const QString& format) {
    if (format == QLatin1String("mp3")) return {QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), QStringLiteral("-q:a"), QStringLiteral("4"), QStringLiteral("-id3v2_version"), QStringLiteral("3")};
    if (format == QLatin1String("m4a")) return {QStringLiteral("-c:a"), QStringLiteral("aac"), QStringLiteral("-b:a"), QStringLiteral("128k")};
    if (format == QLatin1String("aiff")) return {QStringLiteral("-write_id3v2"), QStringLiteral("1")};
    return {};
}

}  // namespace

TreeGenerator::TreeGenerator(QString root, QStringList formats, int count)
    : TreeGenerator(std::move(root), std::move(formats), count, Options()) {}

TreeGenerator::TreeGenerator(QString root, QStringList formats, int count, Options options)
    : root_(std::move(root)), formats_(std::move(formats)), count_(count), options_(options) {}

QString TreeGenerator::stampText() const {
    QString text = QStringLiteral("%1 %2").arg(formats_.join(QLatin1Char(','))).arg(count_);
    // The original stamp, kept for the default options so that existing trees stay valid.
    if (options_.seconds != 1 || options_.folderImages) {
        text += QStringLiteral(" %1s%2").arg(options_.seconds).arg(options_.folderImages ? QStringLiteral(" images") : QString());
    }
    return text + QLatin1Char('\n');
}

bool TreeGenerator::makeTemplates(const QString& dir) {
    QDir().mkpath(dir);
    const QString cover = dir + QStringLiteral("/cover.jpg");
    if (!ffmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("testsrc=size=500x500"),
                 QStringLiteral("-frames:v"), QStringLiteral("1"), cover})) {
        return false;
    }
    const QString lyrics = QStringLiteral("la ").repeated(400);
    for (const QString& format : formats_) {
        for (int t = 0; t < 3; ++t) {
            QStringList args = {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                QStringLiteral("sine=frequency=%1:duration=%2").arg(220 * (t + 1)).arg(options_.seconds)};
            const bool withCover = t == 1 && format != QLatin1String("wav") && format != QLatin1String("aiff");
            if (withCover) {
                args += {QStringLiteral("-i"), cover, QStringLiteral("-map"), QStringLiteral("0"), QStringLiteral("-map"),
                         QStringLiteral("1"), QStringLiteral("-c:v"), QStringLiteral("mjpeg"),
                         QStringLiteral("-disposition:v"), QStringLiteral("attached_pic")};
            }
            args += codecArgs(format);
            args += {QStringLiteral("-metadata"), QStringLiteral("title=%1 %2").arg(kWords[t], kWords[t + 3]),
                     QStringLiteral("-metadata"), QStringLiteral("artist=") + kArtists[t],
                     QStringLiteral("-metadata"), QStringLiteral("album=%1 Collection").arg(kWords[t + 1]),
                     QStringLiteral("-metadata"), QStringLiteral("track=%1/12").arg(t + 1),
                     QStringLiteral("-metadata"), QStringLiteral("genre=Electronic")};
            if (t == 2) args += {QStringLiteral("-metadata"), QStringLiteral("lyrics=") + lyrics};
            args += QStringLiteral("%1/t%2.%3").arg(dir).arg(t).arg(format);
            if (!ffmpeg(args)) return false;
        }
    }
    return true;
}

bool TreeGenerator::ensure() {
    QFile stamp(root_ + QStringLiteral("/.tree"));
    if (stamp.open(QIODevice::ReadOnly) && stamp.readAll() == stampText().toUtf8()) return true;
    stamp.close();
    QDir(root_).removeRecursively();
    const QString templates = root_ + QStringLiteral("/.templates");
    if (!makeTemplates(templates)) return false;
    for (int i = 0; i < count_; ++i) {
        const QString& format = formats_[i % formats_.size()];
        const QString artist = kArtists[(i / 120) % kArtists.size()] + QStringLiteral(" %1").arg(i / 720);
        const QString album = kWords[(i / 12) % kWords.size()] + QStringLiteral(" %1").arg(i / 12);
        const QString dir = QStringLiteral("%1/%2/%3").arg(root_, artist, album);
        if (i % 12 == 0 && !makeAlbumFolder(dir, templates, i / 12)) return false;
        const QString name = QStringLiteral("%1/%2 %3.%4").arg(dir).arg(i % 12 + 1, 2, 10, QLatin1Char('0'))
                                 .arg(kWords[i % kWords.size()], format);
        if (!QFile::copy(QStringLiteral("%1/t%2.%3").arg(templates).arg(i % 3).arg(format), name)) return false;
    }
    return stamp.open(QIODevice::WriteOnly) && stamp.write(stampText().toUtf8()) > 0;
}

bool TreeGenerator::makeAlbumFolder(const QString& dir, const QString& templates, int album) const {
    if (!QDir().mkpath(dir)) return false;
    if (!options_.folderImages || album % 3 == 2) return true;
    const QString name = album % 3 == 0 ? QStringLiteral("/cover.jpg") : QStringLiteral("/folder.jpg");
    return QFile::copy(templates + QStringLiteral("/cover.jpg"), dir + name);
}

QStringList TreeGenerator::files() const {
    QStringList patterns;
    for (const QString& format : formats_) patterns.append(QStringLiteral("*.") + format);
    QStringList list;
    // Hidden templates are skipped, and so are the folder images.
    QDirIterator it(root_, patterns, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) list.append(it.next());
    list.sort();
    return list;
}
