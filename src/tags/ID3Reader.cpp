#include "ID3Reader.h"

#include "Format.h"
#include "ID3Chapters.h"
#include "ID3FrameWalker.h"
#include "ID3Genre.h"
#include "ID3v1Tag.h"
#include "MPEGStream.h"
#include "ID3Text.h"

#include <QStringList>

namespace sonvale {

namespace {

// Longest text frame read; a longer one is read as far as this.
constexpr qint64 kMaxTextBytes = 1024 * 1024;
// Chapter frames may embed pictures behind their title; the title comes first.
constexpr qint64 kMaxChapterBytes = 1024 * 1024;
// Enough of a picture frame for its MIME type, picture type and description; the short
// read serves the usual short description, the long one the rest.
constexpr qint64 kShortPictureHeaderBytes = 256;
constexpr qint64 kPictureHeaderBytes = 4096;
constexpr qsizetype kMaxPictureCandidates = 64;
// A user text frame that holds a gain is a few dozen bytes; a longer one holds something else.
constexpr qint64 kMaxUserTextBytes = 1024;
constexpr uint8_t kFrontCover = 3;

enum class Field { None, Title, Artist, Album, Track, Genre, Lyrics, Picture, Chapter, Table };

struct FrameField {
    uint32_t id;
    Field field;
};

// Version 2.2 has three-letter ids of its own.
constexpr FrameField kFields[] = {
    {id3FrameId("TIT2"), Field::Title}, {id3FrameId("TT2"), Field::Title},   {id3FrameId("TPE1"), Field::Artist}, {id3FrameId("TP1"), Field::Artist},
    {id3FrameId("TALB"), Field::Album}, {id3FrameId("TAL"), Field::Album},   {id3FrameId("TRCK"), Field::Track},  {id3FrameId("TRK"), Field::Track},
    {id3FrameId("TCON"), Field::Genre}, {id3FrameId("TCO"), Field::Genre},   {id3FrameId("USLT"), Field::Lyrics}, {id3FrameId("ULT"), Field::Lyrics},
    {id3FrameId("APIC"), Field::Picture}, {id3FrameId("PIC"), Field::Picture}, {id3FrameId("CHAP"), Field::Chapter}, {id3FrameId("CTOC"), Field::Table},
};

Field fieldOf(uint32_t id) {
    for (const FrameField& entry : kFields) {
        if (id == entry.id) return entry.field;
    }
    return Field::None;
}

// Whether a frame of `field` can still add something, so that its body is worth reading.
bool wanted(Field field, const ID3Tag& tag) {
    switch (field) {
    case Field::None: return false;
    case Field::Title: return !tag.tags.title;
    case Field::Album: return !tag.tags.album;
    case Field::Track: return !tag.tags.trackNumber;
    case Field::Genre: return !tag.tags.genre;
    case Field::Lyrics: return !tag.tags.lyrics;
    case Field::Picture: return !tag.hasPicture;
    case Field::Artist:
    case Field::Chapter:
    case Field::Table: return true;
    }
    return false;
}

void applyText(Field field, const QStringList& values, AudioTags& tags) {
    for (const QString& value : values) {
        switch (field) {
        case Field::Title:
            if (!tags.title) tags.title = value;
            break;
        case Field::Artist: tags.artists.append(value); break;
        case Field::Album:
            if (!tags.album) tags.album = value;
            break;
        case Field::Track:
            if (!tags.trackNumber) tags.trackNumber = Format::normalizeTrackNumber(value);
            break;
        case Field::Genre:
            if (!tags.genre) tags.genre = ID3Genre::resolve(value);
            break;
        default: break;
        }
    }
}

// USLT and ULT: encoding, language, terminated description, then the lyrics.
std::optional<QString> lyricsText(ByteView content) {
    const auto encoding = content.u8(0);
    if (!encoding || !content.contains(4, 0)) return std::nullopt;
    const auto textStart = ID3Text::skipString(*encoding, content, 4);
    if (!textStart) return std::nullopt;
    const auto strings = ID3Text::decode(*encoding, *content.from(*textStart));
    if (!strings) return std::nullopt;
    for (const QString& string : *strings) {
        QString text = trimTagText(string);
        if (!text.isEmpty()) return text;
    }
    return std::nullopt;
}

struct PictureHeader {
    uint8_t type = 0;
    qint64 dataStart = 0;
};

// APIC: encoding, NUL-terminated MIME type, picture type, description, data.
// PIC (2.2): encoding, three-letter image format, picture type, description, data.
std::optional<PictureHeader> pictureHeader(ByteView content, uint8_t major) {
    const auto encoding = content.u8(0);
    if (!encoding || !ID3Text::isKnown(*encoding)) return std::nullopt;
    qint64 p = 4;
    if (major >= 3) {
        const qint64 mimeEnd = content.indexOf('\0', 1);
        if (mimeEnd < 0) return std::nullopt;
        p = mimeEnd + 1;
    }
    const auto type = content.u8(p);
    if (!type) return std::nullopt;
    const auto dataStart = ID3Text::skipString(*encoding, content, p + 1);
    if (!dataStart) return std::nullopt;
    return PictureHeader{*type, *dataStart};
}

// Whether a picture frame whose head is `head` has image data (it may lie beyond the head).
bool holdsPicture(ByteView head, const ID3Frame& frame, uint8_t major) {
    const auto header = pictureHeader(head, major);
    return header && (header->dataStart < head.size() || frame.size > head.size());
}

bool holdsPicture(ID3FrameWalker& walker, const ID3Frame& frame) {
    const uint8_t major = walker.header().major;
    for (const qint64 max : {kShortPictureHeaderBytes, kPictureHeaderBytes}) {
        QByteArray holder;
        const auto head = walker.contentView(frame, max, holder);
        if (head && holdsPicture(*head, frame, major)) return true;
        if (!head || frame.size <= max) break;
    }
    return false;
}

std::optional<QByteArray> pictureData(ID3FrameWalker& walker, const ID3Frame& frame) {
    if (frame.size > FileBytes::kMaxRead) return std::nullopt;
    const auto content = walker.content(frame, frame.size);
    if (!content) return std::nullopt;
    const auto header = pictureHeader(ByteView(*content), walker.header().major);
    if (!header || header->dataStart >= content->size()) return std::nullopt;
    return content->mid(header->dataStart);
}

// TXXX and TXX: encoding, terminated description, then the value.
void offerUserText(ByteView content, ReplayGainTags& tags) {
    const auto encoding = content.u8(0);
    if (!encoding) return;
    const auto strings = ID3Text::decode(*encoding, *content.from(1));
    if (!strings || strings->size() < 2) return;
    const QByteArray name = trimTagText(strings->at(0)).toUtf8();
    if (ReplayGainTags::isGainName(name)) tags.offer(name, strings->at(1).toUtf8());
}

}  // namespace

std::optional<ID3Tag> ID3Reader::readTag(const FileBytes& file, qint64 offset) {
    auto walker = ID3FrameWalker::open(file, offset);
    if (!walker) return std::nullopt;
    ID3Tag tag;
    tag.length = walker->header().totalLength();
    ID3Chapters chapters;
    while (const auto frame = walker->next()) {
        const Field field = fieldOf(frame->id);
        if (!wanted(field, tag)) continue;
        if (field == Field::Picture) {
            tag.hasPicture = holdsPicture(*walker, *frame);
            continue;
        }
        const bool chapterFrame = field == Field::Chapter || field == Field::Table;
        QByteArray holder;
        const auto content = walker->contentView(*frame, chapterFrame ? kMaxChapterBytes : kMaxTextBytes, holder);
        if (!content) continue;
        const ByteView view = *content;
        switch (field) {
        case Field::Lyrics: tag.tags.lyrics = lyricsText(view); break;
        case Field::Chapter: chapters.addChapter(view.toByteArray(), walker->header()); break;
        case Field::Table: chapters.addTable(view.toByteArray()); break;
        default: applyText(field, ID3Text::frameValues(view), tag.tags); break;
        }
    }
    tag.chapters = chapters.ordered();
    return tag;
}

std::optional<AudioInfo> ID3Reader::readInfo(const FileBytes& file, qint64 offset) {
    const auto tag = readTag(file, offset);
    if (!tag) return std::nullopt;
    AudioInfo info;
    info.tags = tag->tags;
    if (const auto v1 = ID3v1Tag::read(file)) fillMissing(info.tags, *v1);
    if (const auto stream = MPEGStream::read(file, offset + tag->length, ID3v1Tag::audioEnd(file))) {
        info.properties = *stream;
    }
    info.hasArtwork = tag->hasPicture;
    info.chapters = finalizeChapters(tag->chapters, info.properties.duration);
    return info;
}

ReplayGain ID3Reader::readReplayGain(const FileBytes& file, qint64 offset) {
    ReplayGainTags tags;
    auto walker = ID3FrameWalker::open(file, offset);
    if (!walker) return tags.result();
    while (const auto frame = walker->next()) {
        if (frame->id != id3FrameId("TXXX") && frame->id != id3FrameId("TXX")) continue;
        if (frame->size > kMaxUserTextBytes) continue;
        QByteArray holder;
        if (const auto content = walker->contentView(*frame, kMaxUserTextBytes, holder)) offerUserText(*content, tags);
    }
    return tags.result();
}

std::optional<QByteArray> ID3Reader::readPicture(const FileBytes& file, qint64 offset) {
    auto walker = ID3FrameWalker::open(file, offset);
    if (!walker) return std::nullopt;
    // Only the head of each picture frame is read until the front cover turns up.
    QList<ID3Frame> others;
    while (const auto frame = walker->next()) {
        if (fieldOf(frame->id) != Field::Picture) continue;
        const auto head = walker->content(*frame, kPictureHeaderBytes);
        const auto header = head ? pictureHeader(ByteView(*head), walker->header().major) : std::nullopt;
        if (!header) continue;
        if (header->type == kFrontCover) {
            if (auto data = pictureData(*walker, *frame)) return data;
        } else if (others.size() < kMaxPictureCandidates) {
            others.append(*frame);
        }
    }
    for (const ID3Frame& frame : others) {
        if (auto data = pictureData(*walker, frame)) return data;
    }
    return std::nullopt;
}

}  // namespace sonvale
