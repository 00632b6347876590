#include "ID3v1Tag.h"

#include "TagFiles.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;
using namespace testbytes;

namespace {

QByteArray fixed(const QByteArray& text, int size) { return text.left(size).leftJustified(size, '\0'); }

// A 128-byte tag; a track of 0 or more makes it ID3v1.1, -1 fills the whole comment.
QByteArray id3v1(const QByteArray& title, const QByteArray& artist, const QByteArray& album, int track,
                 uint8_t genre) {
    QByteArray comment = track >= 0 ? fixed("comment", 28) + '\0' + char(track) : QByteArray(30, 'c');
    return "TAG" + fixed(title, 30) + fixed(artist, 30) + fixed(album, 30) + "1999" + comment + char(genre);
}

QByteArray apeBlock(uint32_t size, uint32_t flags) {
    return "APETAGEX" + le32(2000) + le32(size) + le32(1) + le32(flags) + QByteArray(8, '\0');
}

// An APEv2 tag with one item; `size` overrides the footer's size field when not 0.
QByteArray ape(bool withHeader, uint32_t size = 0) {
    const QByteArray items = le32(5) + le32(0) + QByteArray("Title\0", 6) + "hello";
    if (size == 0) size = uint32_t(items.size() + 32);
    const QByteArray header = withHeader ? apeBlock(size, 0xA0000000) : QByteArray();
    return header + items + apeBlock(size, withHeader ? 0x80000000 : 0);
}

QByteArray lyrics3(const QByteArray& begin = "LYRICSBEGIN") {
    const QByteArray body = begin + "IND0000210LYR00005hello";
    return body + QByteArray::number(body.size()).rightJustified(6, '0') + "LYRICS200";
}

}  // namespace

TEST(ID3v1Tag, ParsesFieldsAndNamesGenres) {
    const QByteArray tag = id3v1(QByteArray("  Song\0junk", 11), "   ", "Caf\xE9", 12, 50);
    EXPECT_EQ(ID3v1Tag::parse(ByteView(tag)),
              (AudioTags{"Song", {}, QStringLiteral("Caf\u00E9"), "12", "Darkwave", std::nullopt}));
    // ID3v1.0: the comment runs to byte 126, so there is no track; 255 means no genre.
    EXPECT_EQ(ID3v1Tag::parse(ByteView(id3v1("T", "Artist", "", -1, 255))),
              (AudioTags{"T", {"Artist"}, {}, {}, {}, {}}));
    QByteArray notATag = tag;
    notATag[2] = 'X';
    EXPECT_FALSE(ID3v1Tag::parse(ByteView(notATag)));
    EXPECT_FALSE(ID3v1Tag::parse(ByteView(tag.left(127))));
}

TEST(ID3v1Tag, FindsAudioEndBehindTrailingTagsInAnyOrder) {
    const QByteArray audio(1000, '\x55');  // no tag magic anywhere
    const QByteArray v1 = id3v1("Song", "", "", 1, 0);
    const QByteArray id3v2WithFooter = id3Tag(4, {}, 0x10, 20);
    const struct { const char* name; QByteArray trailer; bool hasID3v1; } cases[] = {
        {"nothing", {}, false},
        {"ID3v1", v1, true},
        {"APEv2 with header, ID3v1", ape(true) + v1, true},
        {"ID3v1, APEv2 without header", v1 + ape(false), true},
        {"APEv2, Lyrics3 v2, ID3v1", ape(false) + lyrics3() + v1, true},
        {"ID3v1, ID3v2 with footer", v1 + id3v2WithFooter, true},
    };
    TagFiles files;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto file = files.open(audio + c.trailer);
        ASSERT_TRUE(file);
        EXPECT_EQ(ID3v1Tag::audioEnd(*file), audio.size());
        EXPECT_EQ(ID3v1Tag::read(*file).value_or(AudioTags{}).title,
                  c.hasID3v1 ? std::optional<QString>("Song") : std::nullopt);
    }
    // Blocks that only look like tags stay audio, and so does anything behind them.
    for (const QByteArray& bytes :
         {audio + ape(false, 5000), audio + v1 + ape(true, 10), audio + lyrics3("LYRICSBEGUN"), QByteArray("TAG")}) {
        const auto file = files.open(bytes);
        ASSERT_TRUE(file);
        EXPECT_EQ(ID3v1Tag::audioEnd(*file), file->size());
        EXPECT_FALSE(ID3v1Tag::read(*file));
    }
}
