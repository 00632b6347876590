#include "TrackInfoLoader.h"

#include "AudioFileType.h"
#include "FileBytes.h"
#include "OperationQueue.h"
#include "TrackMetadata.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>

namespace sonvale {

namespace {

QString formatName(const QString& path) {
    const auto file = FileBytes::open(path);
    const AudioFileType type = file ? detectFileType(*file).type : AudioFileType::unknown;
    switch (type) {
    case AudioFileType::id3: return QStringLiteral("MP3");
    case AudioFileType::mp4: return QStringLiteral("MP4");
    case AudioFileType::flac: return QStringLiteral("FLAC");
    case AudioFileType::riff: return QStringLiteral("WAVE");
    case AudioFileType::aiff: return QStringLiteral("AIFF");
    case AudioFileType::unknown: break;
    }
    return QFileInfo(path).suffix().toUpper();
}

}  // namespace

TrackInfoLoader::TrackInfoLoader(OperationQueue& queue, QObject* parent) : QObject(parent), queue_(queue) {}

void TrackInfoLoader::load(const QString& path, int thumbnailSide) {
    const quint64 generation = ++generation_;
    const QPointer<TrackInfoLoader> guard(this);
    queue_.addOperation([guard, path, thumbnailSide, generation](const Operation&) {
        TrackDetails details = read(path, thumbnailSide);
        QMetaObject::invokeMethod(qApp, [guard, generation, details = std::move(details)] {
            if (guard && guard->generation_ == generation) emit guard->loaded(details);
        }, Qt::QueuedConnection);
    });
}

TrackDetails TrackInfoLoader::read(const QString& path, int thumbnailSide) {
    TrackDetails details;
    details.path = path;
    details.track.path = path;
    const std::optional<ResourceValues> values = fileResourceValues(path);
    if (!values || !QFileInfo(path).isFile()) {
        details.missing = true;
        return details;
    }
    const std::optional<AudioInfo> info = reloadMetadata(details.track, *values);
    if (info && info->tags.genre) details.genre = *info->tags.genre;
    details.format = formatName(path);
    if (values->modified) details.modified = QDateTime::fromSecsSinceEpoch(*values->modified);
    if (const std::optional<QByteArray> bytes = loadArtworkData(path)) details.artwork = QImage::fromData(*bytes);
    if (!details.artwork.isNull()) {
        details.thumbnail = details.artwork.scaled(thumbnailSide, thumbnailSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return details;
}

}  // namespace sonvale
