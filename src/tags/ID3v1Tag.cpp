#include "ID3v1Tag.h"

#include "Format.h"
#include "ID3Genres.h"

namespace sonvale {

namespace {

// Taggers append rather than rewrite, so a few tags can pile up at the end; more than this
// many is not a real file.
constexpr int kMaxTrailingTags = 8;
constexpr qint64 kAPEFooterSize = 32;
constexpr uint32_t kAPEHasHeader = 0x80000000u;
constexpr qint64 kLyrics3TrailerSize = 15;  // six-digit size and "LYRICS200"
constexpr qint64 kID3v2FooterSize = 10;

struct Trailer {
    qint64 audioEnd = 0;
    std::optional<qint64> id3v1;  // offset of the ID3v1 tag nearest the end
};

// The length of an APEv2 tag whose footer ends `tail`, 0 when there is none.
qint64 apeLength(ByteView tail, qint64 end) {
    const qint64 at = tail.size() - kAPEFooterSize;
    if (at < 0 || !tail.hasAt(at, "APETAGEX")) return 0;
    const qint64 size = *tail.le32(at + 12);  // items and footer, without the header
    const qint64 length = size + ((*tail.le32(at + 20) & kAPEHasHeader) ? kAPEFooterSize : 0);
    return size >= kAPEFooterSize && length <= end ? length : 0;
}

// The length of a Lyrics3 v2 block that ends `tail`, 0 when there is none. Its six-digit size
// counts the block from "LYRICSBEGIN" up to the size field.
qint64 lyrics3Length(const FileBytes& file, ByteView tail, qint64 end) {
    const qint64 at = tail.size() - kLyrics3TrailerSize;
    if (at < 0 || !tail.hasAt(at + 6, "LYRICS200")) return 0;
    qint64 size = 0;
    for (qint64 i = 0; i < 6; ++i) {
        const uint8_t digit = *tail.u8(at + i);
        if (digit < '0' || digit > '9') return 0;
        size = size * 10 + (digit - '0');
    }
    const qint64 length = size + kLyrics3TrailerSize;
    if (length > end) return 0;
    const auto begin = file.read(end - length, 11);
    return begin && *begin == "LYRICSBEGIN" ? length : 0;
}

// The length of an ID3v2 tag whose footer ("3DI", the header's mirror) ends `tail`.
qint64 id3v2FooterLength(ByteView tail, qint64 end) {
    const qint64 at = tail.size() - kID3v2FooterSize;
    if (at < 0 || !tail.hasAt(at, "3DI") || *tail.u8(at + 3) == 0xFF || *tail.u8(at + 4) == 0xFF) return 0;
    const auto size = tail.syncsafe32(at + 6);
    if (!size) return 0;
    const qint64 length = qint64(*size) + 2 * kID3v2FooterSize;
    return length <= end ? length : 0;
}

Trailer walkTrailingTags(const FileBytes& file) {
    Trailer trailer{file.size(), std::nullopt};
    for (int i = 0; i < kMaxTrailingTags; ++i) {
        const qint64 end = trailer.audioEnd;
        const qint64 count = std::min(ID3v1Tag::kSize, end);
        if (count < kID3v2FooterSize) break;
        const auto bytes = file.read(end - count, count);
        if (!bytes) break;
        const ByteView tail(*bytes);
        qint64 length = 0;
        if (count == ID3v1Tag::kSize && tail.startsWith("TAG")) {
            if (!trailer.id3v1) trailer.id3v1 = end - ID3v1Tag::kSize;
            length = ID3v1Tag::kSize;
        } else if ((length = apeLength(tail, end)) == 0 && (length = lyrics3Length(file, tail, end)) == 0) {
            length = id3v2FooterLength(tail, end);
        }
        if (length <= 0) break;
        trailer.audioEnd = end - length;
    }
    return trailer;
}

// A fixed-size field: Latin-1 up to the first NUL, trimmed; absent when nothing is left.
std::optional<QString> field(ByteView tag, qint64 at, qint64 length) {
    const ByteView bytes = *tag.sub(at, length);
    const qint64 nul = bytes.indexOf('\0');
    const QString text = trimTagText(QString::fromLatin1(bytes.data(), nul < 0 ? length : nul));
    if (text.isEmpty()) return std::nullopt;
    return text;
}

}  // namespace

std::optional<AudioTags> ID3v1Tag::parse(ByteView tag) {
    if (tag.size() != kSize || !tag.startsWith("TAG")) return std::nullopt;
    AudioTags tags;
    tags.title = field(tag, 3, 30);
    if (const auto artist = field(tag, 33, 30)) tags.artists.append(*artist);
    tags.album = field(tag, 63, 30);
    // ID3v1.1 gives the comment's last byte to the track number, behind a zero byte.
    if (*tag.u8(125) == 0 && *tag.u8(126) != 0) {
        tags.trackNumber = Format::normalizeTrackNumber(QString::number(*tag.u8(126)));
    }
    tags.genre = id3GenreName(*tag.u8(127));
    return tags;
}

std::optional<AudioTags> ID3v1Tag::read(const FileBytes& file) {
    const Trailer trailer = walkTrailingTags(file);
    if (!trailer.id3v1) return std::nullopt;
    const auto bytes = file.read(*trailer.id3v1, kSize);
    if (!bytes) return std::nullopt;
    return parse(ByteView(*bytes));
}

qint64 ID3v1Tag::audioEnd(const FileBytes& file) { return walkTrailingTags(file).audioEnd; }

}  // namespace sonvale
