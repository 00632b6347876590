#include "M3U.h"

#include "PlayerLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>

#include <algorithm>
#include <cmath>

namespace sonvale {

namespace {

bool isNewline(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

QStringView trimSpacesAndTabs(QStringView line) {
    auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (!line.isEmpty() && blank(line.front())) line = line.sliced(1);
    while (!line.isEmpty() && blank(line.back())) line.chop(1);
    return line;
}

QString decode(const QByteArray& bytes) {
    QStringDecoder utf8(QStringConverter::Utf8);
    QString text = utf8(bytes);
    if (!utf8.hasError()) return text;
    return QString::fromLatin1(bytes);
}

// The text after "#EXTINF:<seconds>,", kept on one line.
QString displayName(const Track& track) {
    QString name = track.title.isEmpty() ? QFileInfo(track.path).completeBaseName() : track.title;
    if (!track.artist.isEmpty() && !track.title.isEmpty()) name = track.artist + QStringLiteral(" - ") + name;
    for (QChar& c : name) {
        if (isNewline(c)) c = u' ';
    }
    return name;
}

QString entryPath(const QString& path, const QDir& folder, bool absolutePaths) {
    if (absolutePaths) return path;
    QString relative = folder.relativeFilePath(path);
    // A relative entry must not read as a comment line.
    if (relative.startsWith(u'#')) relative.prepend(QStringLiteral("./"));
    return relative;
}

}  // namespace

QStringList M3U::parse(const QString& text) {
    QStringList entries;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !isNewline(text[i])) continue;
        if (i > start) {
            QString line = trimSpacesAndTabs(QStringView(text).sliced(start, i - start)).toString();
            line.replace(u'\\', u'/');
            if (!line.startsWith(u"#EXTM3U") && !line.startsWith(u"#EXTINF")) entries.append(line);
        }
        start = i + 1;
    }
    return entries;
}

QStringList M3U::read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcPlayer, "Cannot read playlist %s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
        return {};
    }
    const QByteArray bytes = file.read(kMaxSize + 1);
    if (bytes.size() > kMaxSize) {
        qCWarning(lcPlayer, "Cannot read playlist %s: larger than %lld bytes", qUtf8Printable(path), kMaxSize);
        return {};
    }
    if (file.error() != QFileDevice::NoError) {
        qCWarning(lcPlayer, "Cannot read playlist %s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
        return {};
    }
    if (bytes.contains('\0')) {
        qCWarning(lcPlayer, "Cannot read playlist %s: not a text file", qUtf8Printable(path));
        return {};
    }
    return parse(decode(bytes));
}

QByteArray M3U::format(const QList<TrackRef>& tracks, const QString& playlistPath, bool absolutePaths) {
    const QDir folder = QFileInfo(playlistPath).absoluteDir();
    QString text = QStringLiteral("#EXTM3U\n");
    for (const TrackRef& track : tracks) {
        if (std::any_of(track->path.cbegin(), track->path.cend(), isNewline)) {
            qCWarning(lcPlayer, "Cannot export %s: the path holds a line break", qUtf8Printable(track->path));
            continue;
        }
        // Unknown durations are written as -1, as players expect.
        const long seconds = track->duration > 0 && track->duration < 1e9 ? std::lround(track->duration) : -1;
        text += QStringLiteral("#EXTINF:") + QString::number(seconds) + u',' + displayName(*track) + u'\n';
        text += entryPath(track->path, folder, absolutePaths) + u'\n';
    }
    return text.toUtf8();
}

bool M3U::write(const QList<TrackRef>& tracks, const QString& playlistPath, bool absolutePaths) {
    QSaveFile file(playlistPath);
    if (!file.open(QIODevice::WriteOnly) || file.write(format(tracks, playlistPath, absolutePaths)) < 0 ||
        !file.commit()) {
        qCWarning(lcPlayer, "Cannot write playlist %s: %s", qUtf8Printable(playlistPath),
                  qUtf8Printable(file.errorString()));
        return false;
    }
    return true;
}

}  // namespace sonvale
