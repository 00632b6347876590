#include "FLACReader.h"

#include "Format.h"
#include "ID3Reader.h"

#include <QStringDecoder>

#include <cmath>

namespace sonvale {

namespace {

constexpr int kMaxBlocks = 128;
constexpr qint64 kStreamInfoBytes = 34;
constexpr qint64 kMinStreamInfoBytes = 18;
constexpr qsizetype kReservedComments = 64;

std::optional<QString> decodeUtf8(ByteView bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(QByteArrayView(bytes.data(), bytes.size()));
    if (decoder.hasError()) return std::nullopt;
    return text;
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

// Applies the Vorbis comment key table to the tags: first value wins for single fields,
// every value is kept for artists.
void applyComments(const QList<QPair<QString, QString>>& comments, AudioTags& tags) {
    for (const auto& [key, raw] : comments) {
        const QString value = trimTagText(raw);
        if (value.isEmpty()) continue;
        if (key == QLatin1String("TITLE")) {
            if (!tags.title) tags.title = value;
        } else if (key == QLatin1String("ALBUM")) {
            if (!tags.album) tags.album = value;
        } else if (key == QLatin1String("TRACKNUMBER")) {
            if (!tags.trackNumber) tags.trackNumber = Format::normalizeTrackNumber(value);
        } else if (key == QLatin1String("GENRE")) {
            if (!tags.genre) tags.genre = value;
        } else if (key == QLatin1String("LYRICS") || key == QLatin1String("UNSYNCEDLYRICS")) {
            if (!tags.lyrics) tags.lyrics = value;
        } else if (key == QLatin1String("ARTIST")) {
            tags.artists.append(value);
        }
    }
}

void mergeID3(const ID3Tag& id3, AudioInfo& info) {
    AudioTags& tags = info.tags;
    if (!tags.title) tags.title = id3.tags.title;
    if (!tags.album) tags.album = id3.tags.album;
    if (!tags.trackNumber) tags.trackNumber = id3.tags.trackNumber;
    if (!tags.genre) tags.genre = id3.tags.genre;
    if (!tags.lyrics) tags.lyrics = id3.tags.lyrics;
    if (tags.artists.isEmpty()) tags.artists = id3.tags.artists;
    info.hasArtwork = info.hasArtwork || id3.hasPicture;
    info.chapters = finalizeChapters(id3.chapters, info.properties.duration);
}

}  // namespace

QList<FLACReader::Block> FLACReader::readBlocks(const FileBytes& file, qint64 offset) {
    QList<Block> blocks;
    if (offset < 0 || offset > file.size() - 4) return blocks;
    const auto magic = file.read(offset, 4);
    if (!magic || *magic != "fLaC") return blocks;
    qint64 p = offset + 4;
    for (int i = 0; i < kMaxBlocks && p <= file.size() - 4; ++i) {
        const auto header = file.read(p, 4);
        if (!header) break;
        const ByteView h(*header);
        const uint8_t first = *h.u8(0);
        const qint64 bodyOffset = p + 4;
        const qint64 length = *h.be24(1);
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
    const auto body = file.read(streamInfoBlock->offset, std::min(streamInfoBlock->length, kStreamInfoBytes));
    if (!body) return std::nullopt;
    const auto stream = parseStreamInfo(ByteView(*body));
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

    QList<QPair<QString, QString>> comments;
    if (const Block* vc = firstOfType(blocks, VorbisComment)) {
        if (const auto vcBody = file.read(vc->offset, vc->length)) comments = readVorbisComments(ByteView(*vcBody));
    }
    applyComments(comments, info.tags);

    const bool commentPicture = std::any_of(comments.begin(), comments.end(), [](const auto& pair) {
        return pair.first == QLatin1String("METADATA_BLOCK_PICTURE");
    });
    info.hasArtwork = commentPicture || firstOfType(blocks, Picture) != nullptr;

    if (offset >= 1) {
        if (const auto id3 = ID3Reader::readTag(file, 0)) mergeID3(*id3, info);
    }
    return info;
}

QList<QPair<QString, QString>> FLACReader::readVorbisComments(ByteView body) {
    QList<QPair<QString, QString>> pairs;
    const auto vendorLength = body.le32(0);
    if (!vendorLength) return pairs;
    const auto count = body.le32(qint64(*vendorLength) + 4);
    if (!count) return pairs;
    pairs.reserve(kReservedComments);
    qint64 p = qint64(*vendorLength) + 8;
    for (uint32_t i = 0; i < *count; ++i) {
        const auto length = body.le32(p);
        if (!length) break;
        const auto bytes = body.sub(p + 4, *length);
        if (!bytes) break;
        const auto text = decodeUtf8(*bytes);
        if (!text) break;
        p += 4 + qint64(*length);
        const qsizetype equals = text->indexOf(QLatin1Char('='));
        if (equals < 0) continue;
        pairs.append({text->left(equals).toUpper(), text->mid(equals + 1)});
    }
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
