#include "FLACReader.h"

#include "Format.h"
#include "ID3Reader.h"
#include "Utf8.h"

#include <algorithm>
#include <cmath>

namespace sonvale {

namespace {

constexpr int kMaxBlocks = 128;
constexpr qint64 kStreamInfoBytes = 34;
constexpr qint64 kMinStreamInfoBytes = 18;
constexpr qsizetype kReservedComments = 64;

// Key comparison as after upper-casing the key: ASCII keys are compared without decoding;
// any other key goes through full Unicode upper-casing, as a few letters fold onto ASCII.
bool keyIs(QByteArrayView key, QLatin1StringView upper) {
    const bool ascii = std::all_of(key.begin(), key.end(), [](char c) { return uchar(c) < 0x80; });
    if (ascii) return key.size() == upper.size() && qstrnicmp(key.data(), key.size(), upper.data(), upper.size()) == 0;
    return QString::fromUtf8(key).toUpper() == upper;
}

// Calls `visit(key, value)` for each comment that has an "=", in order. A malformed comment
// (length outside the body, invalid UTF-8) ends the walk; what came before it stands.
template <typename Visit>
void forEachComment(ByteView body, Visit visit) {
    const auto vendorLength = body.le32(0);
    if (!vendorLength) return;
    const auto count = body.le32(qint64(*vendorLength) + 4);
    if (!count) return;
    qint64 p = qint64(*vendorLength) + 8;
    for (uint32_t i = 0; i < *count; ++i) {
        const auto length = body.le32(p);
        if (!length) return;
        const auto text = body.sub(p + 4, *length);
        if (!text || !isValidUtf8(*text)) return;
        p += 4 + qint64(*length);
        const qint64 equals = text->indexOf('=');
        if (equals < 0) continue;
        visit(QByteArrayView(text->data(), equals), QByteArrayView(text->data() + equals + 1, text->size() - equals - 1));
    }
}

const FLACReader::Block* firstOfType(const QList<FLACReader::Block>& blocks, uint8_t type) {
    for (const auto& block : blocks) {
        if (block.type == type) return &block;
    }
    return nullptr;
}

struct StreamInfo {
    qint64 sampleRate = 0;
    qint64 channels = 0;
    uint64_t totalSamples = 0;
};

std::optional<StreamInfo> parseStreamInfo(ByteView body) {
    if (body.size() < kMinStreamInfoBytes) return std::nullopt;
    const uint8_t b10 = *body.u8(10), b11 = *body.u8(11), b12 = *body.u8(12), b13 = *body.u8(13);
    StreamInfo info;
    info.sampleRate = (qint64(b10) << 12) | (qint64(b11) << 4) | (b12 >> 4);
    info.channels = ((b12 >> 1) & 0x07) + 1;
    info.totalSamples = (uint64_t(b13 & 0x0F) << 32) | *body.be32(14);
    if (info.sampleRate < 1) return std::nullopt;
    return info;
}

// Applies the Vorbis comment key table: the first usable value wins for single fields, every
// value is kept for artists. Only the values of known keys are decoded.
bool applyComments(ByteView body, AudioTags& tags) {
    bool picture = false;
    forEachComment(body, [&](QByteArrayView key, QByteArrayView raw) {
        if (keyIs(key, QLatin1StringView("METADATA_BLOCK_PICTURE"))) {
            picture = true;
            return;
        }
        std::optional<QString>* single = nullptr;
        if (keyIs(key, QLatin1StringView("TITLE"))) single = &tags.title;
        else if (keyIs(key, QLatin1StringView("ALBUM"))) single = &tags.album;
        else if (keyIs(key, QLatin1StringView("GENRE"))) single = &tags.genre;
        else if (keyIs(key, QLatin1StringView("LYRICS")) || keyIs(key, QLatin1StringView("UNSYNCEDLYRICS"))) single = &tags.lyrics;
        else if (keyIs(key, QLatin1StringView("TRACKNUMBER"))) single = &tags.trackNumber;
        else if (!keyIs(key, QLatin1StringView("ARTIST"))) return;
        if (single && *single) return;
        const QString value = trimTagText(QString::fromUtf8(raw));
        if (value.isEmpty()) return;
        if (!single) tags.artists.append(value);
        else if (single == &tags.trackNumber) tags.trackNumber = Format::normalizeTrackNumber(value);
        else *single = value;
    });
    return picture;
}

void mergeID3(const ID3Tag& id3, AudioInfo& info) {
    fillMissing(info.tags, id3.tags);
    info.hasArtwork = info.hasArtwork || id3.hasPicture;
    info.chapters = finalizeChapters(id3.chapters, info.properties.duration);
}

}  // namespace

QList<FLACReader::Block> FLACReader::readBlocks(const FileBytes& file, qint64 offset) {
    QList<Block> blocks;
    if (offset < 0 || offset > file.size() - 4) return blocks;
    QByteArray buffer;
    const auto magic = file.view(offset, 4, buffer);
    if (!magic || !magic->startsWith("fLaC")) return blocks;
    qint64 p = offset + 4;
    for (int i = 0; i < kMaxBlocks && p <= file.size() - 4; ++i) {
        const auto header = file.view(p, 4, buffer);
        if (!header) break;
        const uint8_t first = *header->u8(0);
        const qint64 bodyOffset = p + 4;
        const qint64 length = *header->be24(1);
        if (bodyOffset + length > file.size()) break;
        blocks.append({static_cast<uint8_t>(first & 0x7F), bodyOffset, length});
        p = bodyOffset + length;
        if (first & 0x80) break;
    }
    return blocks;
}

std::optional<AudioInfo> FLACReader::readInfo(const FileBytes& file, qint64 offset) {
    const QList<Block> blocks = readBlocks(file, offset);
    const Block* streamInfoBlock = firstOfType(blocks, StreamInfo);
    if (!streamInfoBlock) return std::nullopt;
    QByteArray buffer;
    const auto body = file.view(streamInfoBlock->offset, std::min(streamInfoBlock->length, kStreamInfoBytes), buffer);
    if (!body) return std::nullopt;
    const auto stream = parseStreamInfo(*body);
    if (!stream) return std::nullopt;

    AudioInfo info;
    AudioProperties& props = info.properties;
    props.sampleRate = stream->sampleRate;
    props.channels = stream->channels;
    props.duration = double(stream->totalSamples) / double(stream->sampleRate);
    if (props.duration > 0) {
        // The bit rate counts the audio frames only, not the metadata or a tag in front.
        const Block& last = blocks.last();
        const qint64 audioBytes = std::max<qint64>(0, file.size() - (last.offset + last.length));
        props.bitRate = std::llround(double(audioBytes) * 8.0 / props.duration);
    }

    bool commentPicture = false;
    if (const Block* vc = firstOfType(blocks, VorbisComment)) {
        if (const auto vcBody = file.view(vc->offset, vc->length, buffer)) commentPicture = applyComments(*vcBody, info.tags);
    }
    info.hasArtwork = commentPicture || firstOfType(blocks, Picture) != nullptr;

    if (offset >= 1) {
        if (const auto id3 = ID3Reader::readTag(file, 0)) mergeID3(*id3, info);
    }
    return info;
}

ReplayGain FLACReader::readReplayGain(const FileBytes& file, qint64 offset) {
    ReplayGainTags tags;
    const QList<Block> blocks = readBlocks(file, offset);
    if (const Block* vc = firstOfType(blocks, VorbisComment)) {
        QByteArray buffer;
        if (const auto body = file.view(vc->offset, vc->length, buffer)) {
            forEachComment(*body, [&](QByteArrayView key, QByteArrayView value) { tags.offer(key, value); });
        }
    }
    ReplayGain gain = tags.result();
    if (offset >= 1) gain.fillMissing(ID3Reader::readReplayGain(file, 0));
    return gain;
}

QList<QPair<QString, QString>> FLACReader::readVorbisComments(ByteView body) {
    QList<QPair<QString, QString>> pairs;
    pairs.reserve(kReservedComments);
    forEachComment(body, [&](QByteArrayView key, QByteArrayView value) {
        pairs.append({QString::fromUtf8(key).toUpper(), QString::fromUtf8(value)});
    });
    return pairs;
}

std::optional<QByteArray> FLACReader::pictureData(ByteView body) {
    if (body.size() < 8) return std::nullopt;
    const qint64 mimeLength = *body.be32(4);
    if (body.size() < mimeLength + 12) return std::nullopt;
    const auto descriptionLength = body.be32(mimeLength + 8);
    if (!descriptionLength) return std::nullopt;
    const qint64 base = mimeLength + qint64(*descriptionLength);
    const auto dataLength = body.be32(base + 28);
    if (!dataLength) return std::nullopt;
    return body.slice(base + 32, *dataLength);
}

std::optional<QByteArray> FLACReader::readPicture(const FileBytes& file, qint64 offset) {
    const QList<Block> blocks = readBlocks(file, offset);
    for (const Block& block : blocks) {
        if (block.type != Picture || block.length < 1) continue;
        const auto body = file.read(block.offset, block.length);
        if (!body) continue;
        if (auto data = pictureData(ByteView(*body))) return data;
    }
    for (const Block& block : blocks) {
        if (block.type != VorbisComment || block.length < 1) continue;
        const auto body = file.read(block.offset, block.length);
        if (!body) continue;
        for (const auto& [key, value] : readVorbisComments(ByteView(*body))) {
            if (key != QLatin1String("METADATA_BLOCK_PICTURE")) continue;
            const auto decoded = QByteArray::fromBase64Encoding(value.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded) continue;
            if (auto data = pictureData(ByteView(*decoded))) return data;
        }
    }
    return std::nullopt;
}

}  // namespace sonvale
