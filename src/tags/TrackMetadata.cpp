#include "TrackMetadata.h"

#include "AudioFileType.h"
#include "AudioProbe.h"
#include "FLACReader.h"
#include "FileBytes.h"
#include "Format.h"
#include "ID3Reader.h"
#include "MP4Reader.h"
#include "RIFFReader.h"
#include "Track.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <cmath>

namespace sonvale {

namespace {

constexpr qint64 kMaxFolderImage = 32LL * 1024 * 1024;

std::optional<AudioInfo> readWith(const FileBytes& file, DetectedType detected) {
    switch (detected.type) {
    case AudioFileType::id3: return ID3Reader::readInfo(file, 0);
    case AudioFileType::mp4: return MP4Reader::readInfo(file, detected.offset);
    case AudioFileType::flac: return FLACReader::readInfo(file, detected.offset);
    case AudioFileType::riff:
    case AudioFileType::aiff: return RIFFReader::readInfo(file, detected.offset);
    case AudioFileType::unknown: break;
    }
    return std::nullopt;
}

ReplayGain gainWith(const FileBytes& file, DetectedType detected) {
    switch (detected.type) {
    case AudioFileType::id3: return ID3Reader::readReplayGain(file, 0);
    case AudioFileType::mp4: return MP4Reader::readReplayGain(file, detected.offset);
    case AudioFileType::flac: return FLACReader::readReplayGain(file, detected.offset);
    case AudioFileType::riff:
    case AudioFileType::aiff: return RIFFReader::readReplayGain(file, detected.offset);
    case AudioFileType::unknown: break;
    }
    return {};
}

std::optional<QByteArray> embeddedPicture(const FileBytes& file, DetectedType detected) {
    switch (detected.type) {
    case AudioFileType::id3: return ID3Reader::readPicture(file, 0);
    case AudioFileType::mp4: return MP4Reader::readPicture(file, detected.offset);
    case AudioFileType::flac:
        if (auto picture = FLACReader::readPicture(file, detected.offset)) return picture;
        // A FLAC stream behind an ID3 tag may keep its picture in the tag.
        return detected.offset > 0 ? ID3Reader::readPicture(file, 0) : std::nullopt;
    case AudioFileType::riff:
    case AudioFileType::aiff: return RIFFReader::readPicture(file, detected.offset);
    case AudioFileType::unknown: break;
    }
    return std::nullopt;
}

std::optional<QByteArray> folderArtwork(const QString& path) {
    const QString dir = QFileInfo(path).path();
    for (const QString& name : folderArtworkNames()) {
        QFile image(dir + QLatin1Char('/') + name);
        if (!image.open(QIODevice::ReadOnly) || image.size() > kMaxFolderImage) continue;
        QByteArray bytes = image.readAll();
        if (image.error() == QFileDevice::NoError) return bytes;
    }
    return std::nullopt;
}

// Fills only the technical values the readers could not give, from libavformat.
void probeMissing(Track& track) {
    const auto format = AudioProbe::probe(track.path);
    if (!format) return;
    if (track.sampleRate == 0) track.sampleRate = static_cast<qint64>(format->sampleRate);
    if (track.channels == 0) track.channels = format->channels;
    if (track.duration == 0 && format->sampleRate > 0) track.duration = double(format->frames) / format->sampleRate;
    if (track.bitRate == 0 && track.duration > 0) track.bitRate = std::llround(double(track.size) * 8.0 / track.duration);
}

QString lastComponentWithoutExtension(const QString& path) {
    const QString name = path.section(QLatin1Char('/'), -1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

}  // namespace

std::optional<ResourceValues> fileResourceValues(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0) return std::nullopt;
    return ResourceValues{static_cast<qint64>(st.st_size), wholeSeconds(st.st_mtim.tv_sec, st.st_mtim.tv_nsec)};
}

std::optional<AudioInfo> readAudioInfo(const QString& path) {
    const auto file = FileBytes::open(path);
    if (!file) return std::nullopt;
    return readWith(*file, detectFileType(*file));
}

ReplayGain readReplayGain(const QString& path) {
    const auto file = FileBytes::open(path);
    if (!file) return {};
    return gainWith(*file, detectFileType(*file));
}

std::optional<AudioInfo> reloadMetadata(Track& track, const ResourceValues& values) {
    track.status = TrackStatus::scanned;
    track.metaVersion = currentMetaVersion;
    if (values.size && values.modified) {
        track.size = *values.size;
        track.timestamp = *values.modified;
    }
    const std::optional<AudioInfo> info = readAudioInfo(track.path);
    const AudioTags tags = info ? info->tags : AudioTags{};
    const QString fileName = track.path.section(QLatin1Char('/'), -1);

    track.title = tags.title.value_or(lastComponentWithoutExtension(track.path));
    track.album = tags.album.value_or(track.path.section(QLatin1Char('/'), -2, -2));
    track.artist = tags.artists.join(QStringLiteral(" / "));
    track.track = tags.trackNumber
        ? *tags.trackNumber
        : Format::normalizeTrackNumber(Format::trackNumberFromFileName(fileName)).value_or(QString());
    track.lyrics = tags.lyrics;
    track.chapters = info ? info->chapters : QList<Chapter>{};
    const AudioProperties props = info ? info->properties : AudioProperties{};
    track.duration = props.duration;
    track.bitRate = props.bitRate;
    track.sampleRate = props.sampleRate;
    track.channels = props.channels;
    track.resetArtwork();

    if (track.duration <= 0 || track.sampleRate < 1 || track.channels <= 0) probeMissing(track);
    return info;
}

RefreshResult refreshMetadata(Track& track, bool checkModification) {
    const bool current = track.status == TrackStatus::scanned && track.metaVersion >= currentMetaVersion;
    if (current && !checkModification) return RefreshResult::unchanged;
    const auto values = fileResourceValues(track.path);
    if (!values) return current ? RefreshResult::unreadable : RefreshResult::unchanged;
    return refreshMetadata(track, *values);
}

RefreshResult refreshMetadata(Track& track, const ResourceValues& values) {
    const bool current = track.status == TrackStatus::scanned && track.metaVersion >= currentMetaVersion;
    if (current && values.size == track.size && values.modified == track.timestamp) return RefreshResult::unchanged;
    reloadMetadata(track, values);
    return RefreshResult::updated;
}

const QStringList& folderArtworkNames() {
    static const QStringList names = {
        QStringLiteral("folder.jpg"),  QStringLiteral("Folder.jpg"),  QStringLiteral("front.jpg"),
        QStringLiteral("Front.jpg"),   QStringLiteral("cover.jpg"),   QStringLiteral("Cover.jpg"),
        QStringLiteral("folder.jpeg"), QStringLiteral("Folder.jpeg"), QStringLiteral("front.jpeg"),
        QStringLiteral("Front.jpeg"),  QStringLiteral("cover.jpeg"),  QStringLiteral("Cover.jpeg"),
    };
    return names;
}

std::optional<QByteArray> loadArtworkData(const QString& path) {
    if (const auto file = FileBytes::open(path)) {
        if (auto picture = embeddedPicture(*file, detectFileType(*file))) return picture;
    }
    return folderArtwork(path);
}

std::optional<QString> folderArtworkPath(const QString& path) {
    const QString dir = QFileInfo(path).path();
    for (const QString& name : folderArtworkNames()) {
        const QFileInfo image(dir + QLatin1Char('/') + name);
        if (image.isFile() && image.isReadable() && image.size() <= kMaxFolderImage) return image.filePath();
    }
    return std::nullopt;
}

}  // namespace sonvale
