#include "WAVEReader.h"

#include "Format.h"

#include <string_view>

namespace sonvale {

namespace {

using namespace std::string_view_literals;

constexpr qint64 kMinFormatBytes = 14;  // WAVEFORMAT, without bits per sample
constexpr qint64 kExtensibleBytes = 40;
constexpr qint64 kSubFormatOffset = 24;
// The sub-format GUIDs of WAVE_FORMAT_EXTENSIBLE that stand for a plain format tag differ from
// each other only in their first two bytes.
constexpr std::string_view kSubFormatTail = "\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71"sv;
constexpr qint64 kMaxInfoBytes = 256 * 1024;
constexpr int kMaxInfoEntries = 256;

// Formats whose every block is one frame, so the data size alone gives the frame count.
bool hasFixedFrames(uint16_t tag) {
    using T = WAVEReader::FormatTag;
    return tag == T::PCM || tag == T::IEEEFloat || tag == T::ALaw || tag == T::MuLaw;
}

// The 32-bit sample count of a "fact" chunk, or the 64-bit one of ds64 when the chunk is
// missing or gives up with -1; 0 when unknown.
uint64_t factSampleCount(const FileBytes& file, const RIFFForm& form) {
    const RIFFChunk* fact = form.first(RIFFChunks::fourCC("fact"));
    const auto body = fact && fact->size >= 4 ? file.read(fact->offset, 4) : std::nullopt;
    const uint32_t count = body ? *ByteView(*body).le32(0) : 0;
    if ((count == 0 || count == 0xFFFFFFFF) && form.sampleCount64 > 0) return form.sampleCount64;
    return count;
}

double durationOf(const WAVEReader::FormatChunk& format, uint64_t sampleCount, qint64 dataBytes) {
    if (format.tag != WAVEReader::PCM && sampleCount > 0) return double(sampleCount) / format.sampleRate;
    if (hasFixedFrames(format.tag) && format.blockAlign > 0) {
        return double(dataBytes / format.blockAlign) / format.sampleRate;
    }
    if (format.bytesPerSecond > 0) return double(dataBytes) / format.bytesPerSecond;
    return 0;
}

void setOnce(std::optional<QString>& field, const QString& value) {
    if (!field) field = value;
}

}  // namespace

std::optional<WAVEReader::FormatChunk> WAVEReader::parseFormat(ByteView body) {
    if (body.size() < kMinFormatBytes) return std::nullopt;
    FormatChunk format;
    format.tag = *body.le16(0);
    format.channels = *body.le16(2);
    format.sampleRate = *body.le32(4);
    format.bytesPerSecond = *body.le32(8);
    format.blockAlign = *body.le16(12);
    format.bitsPerSample = body.le16(14).value_or(0);
    if (format.tag == Extensible) {
        // Without a recognisable sub-format the tag stays Extensible, a format of unknown kind.
        if (body.size() >= kExtensibleBytes && body.hasAt(kSubFormatOffset + 2, kSubFormatTail)) {
            format.tag = *body.le16(kSubFormatOffset);
        }
    }
    if (format.channels < 1 || format.sampleRate < 1) return std::nullopt;
    return format;
}

std::optional<AudioInfo> WAVEReader::readInfo(const FileBytes& file, const RIFFForm& form) {
    const RIFFChunk* fmt = form.first(RIFFChunks::fourCC("fmt "));
    if (!fmt) return std::nullopt;
    const auto fmtBody = file.read(fmt->offset, std::min(fmt->size, kExtensibleBytes));
    if (!fmtBody) return std::nullopt;
    const auto format = parseFormat(ByteView(*fmtBody));
    if (!format) return std::nullopt;

    AudioInfo info;
    AudioProperties& props = info.properties;
    props.sampleRate = format->sampleRate;
    props.channels = format->channels;
    const RIFFChunk* data = form.first(RIFFChunks::fourCC("data"));
    const qint64 dataBytes = data ? data->size : 0;
    props.duration = durationOf(*format, factSampleCount(file, form), dataBytes);
    if (format->bytesPerSecond > 0) {
        props.bitRate = qint64(format->bytesPerSecond) * 8;
    } else {
        props.bitRate = RIFFChunks::averageBitRate(dataBytes, props.duration);
    }

    for (const RIFFChunk& chunk : form.chunks) {
        if (chunk.id != RIFFChunks::fourCC("LIST") || chunk.size < 4) continue;
        const auto body = file.read(chunk.offset, std::min(chunk.size, kMaxInfoBytes));
        if (!body || !ByteView(*body).startsWith("INFO")) continue;
        applyInfoList(ByteView(*body), info.tags);
        break;
    }
    return info;
}

void WAVEReader::applyInfoList(ByteView body, AudioTags& tags) {
    qint64 p = 4;
    for (int i = 0; i < kMaxInfoEntries; ++i) {
        const auto id = body.fourCC(p);
        const auto size = body.le32(p + 4);
        if (!id || !size) break;
        const auto valueBytes = body.sub(p + 8, *size);
        if (!valueBytes) break;
        p += 8 + qint64(*size) + qint64(*size & 1);
        const QString value = RIFFChunks::text(*valueBytes);
        if (value.isEmpty()) continue;
        if (*id == QLatin1String("INAM")) {
            setOnce(tags.title, value);
        } else if (*id == QLatin1String("IART")) {
            tags.artists.append(value);
        } else if (*id == QLatin1String("IPRD")) {
            setOnce(tags.album, value);
        } else if (*id == QLatin1String("IGNR")) {
            setOnce(tags.genre, value);
        } else if (*id == QLatin1String("ITRK") || *id == QLatin1String("IPRT")) {
            if (!tags.trackNumber) tags.trackNumber = Format::normalizeTrackNumber(value);
        }
    }
}

}  // namespace sonvale
