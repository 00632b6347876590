#include "AudioFileType.h"

#include "ByteView.h"
#include "FileBytes.h"
#include "ID3Header.h"

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
    const auto head = file.readUpTo(0, kMagicBytes);
    if (!head || head->size() < 4) return {};
    const ByteView bytes(*head);
    if (const auto type = classifyMagic(bytes)) return {*type, 0};
    if (!bytes.startsWith("ID3")) return {};

    const DetectedType mpeg{AudioFileType::id3, 0};
    const auto headerBytes = file.read(0, ID3Header::kSize);
    const auto header = headerBytes ? ID3Header::parse(ByteView(*headerBytes)) : std::nullopt;
    if (!header) return mpeg;
    const qint64 length = header->totalLength();
    const auto behind = file.readUpTo(length, kMagicBytes);
    if (!behind || behind->size() < 4) return mpeg;
    if (const auto type = classifyMagic(ByteView(*behind))) return {*type, length};
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
