#include "AudioFileType.h"

#include "ByteView.h"
#include "FileBytes.h"
#include "ID3Header.h"

#include <algorithm>
#include <optional>

namespace sonvale {

namespace {

constexpr qint64 kMagicBytes = 12;

std::optional<AudioFileType> classifyMagic(ByteView bytes) {
    if (bytes.startsWith("fLaC")) return AudioFileType::flac;
    if (bytes.startsWith("RIFF")) return AudioFileType::riff;
    if (bytes.startsWith("FORM")) return AudioFileType::aiff;
    if (bytes.size() >= 8 && bytes.hasAt(4, "ftyp")) return AudioFileType::mp4;
    return std::nullopt;
}

}  // namespace

DetectedType detectFileType(const FileBytes& file) {
    QByteArray holder;
    const auto head = file.view(0, std::min(file.size(), kMagicBytes), holder);
    if (!head || head->size() < 4) return {};
    const ByteView bytes = *head;
    if (const auto type = classifyMagic(bytes)) return {*type, 0};
    if (!bytes.startsWith("ID3")) return {};

    const DetectedType mpeg{AudioFileType::id3, 0};
    const auto header = ID3Header::parse(bytes);
    if (!header) return mpeg;
    const qint64 length = header->totalLength();
    if (length >= file.size()) return mpeg;
    const auto behind = file.view(length, std::min(file.size() - length, kMagicBytes), holder);
    if (!behind || behind->size() < 4) return mpeg;
    if (const auto type = classifyMagic(*behind)) return {*type, length};
    return mpeg;
}

QString fileTypeName(AudioFileType type) {
    switch (type) {
    case AudioFileType::id3: return QStringLiteral("id3");
    case AudioFileType::mp4: return QStringLiteral("mp4");
    case AudioFileType::flac: return QStringLiteral("flac");
    case AudioFileType::riff: return QStringLiteral("riff");
    case AudioFileType::aiff: return QStringLiteral("aiff");
    case AudioFileType::unknown: break;
    }
    return QStringLiteral("unknown");
}

}  // namespace sonvale
