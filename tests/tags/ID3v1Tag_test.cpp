#include "ID3v1Tag.h"

#include "MediaFactory.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;

using namespace testbytes;

namespace {

QByteArray fixed(const QByteArray& text, int size) {
    QByteArray field = text.left(size);
    field.append(QByteArray(size - field.size(), '\0'));
    return field;
}

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
    QByteArray tag;
    if (withHeader) tag += apeBlock(size, 0xA0000000);
    return tag + items + apeBlock(size, withHeader ? 0x80000000 : 0);
}

QByteArray lyrics3(const QByteArray& begin = "LYRICSBEGIN") {
    const QByteArray body = begin + "IND0000210LYR00005hello";
    return body + QByteArray::number(body.size()).rightJustified(6, '0') + "LYRICS200";
}

// An ID3v2.4 tag of padding only, with its footer.
QByteArray id3v2WithFooter() {
    const QByteArray size("\x00\x00\x00\x14", 4);
    return QByteArray("ID3\x04\x00\x10", 6) + size + QByteArray(20, '\0') + QByteArray("3DI\x04\x00\x10", 6) + size;
}

// Stand-in audio bytes: no tag magic anywhere.
const QByteArray kAudio(1000, '\x55');

}  // namespace

TEST(ID3v1Tag, ParsesFieldsAndNamesGenres) {
    const QByteArray tag = id3v1(QByteArray("  Song\0junk", 11), "   ", "Caf\xE9", 12, 50);
    EXPECT_EQ(ID3v1Tag::parse(ByteView(tag)),
              (AudioTags{"Song", {}, QStringLiteral("Caf\u00E9"), "12", "Darkwave", std::nullopt}));

    // ID3v1.0: the comment runs to byte 126, so there is no track; 255 means no genre.
    const auto plain = ID3v1Tag::parse(ByteView(id3v1("T", "Artist", "", -1, 255)));
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->artists, QList<QString>{QStringLiteral("Artist")});
    EXPECT_FALSE(plain->album);
    EXPECT_FALSE(plain->trackNumber);
    EXPECT_FALSE(plain->genre);

    QByteArray notATag = tag;
    notATag[2] = 'X';
    EXPECT_FALSE(ID3v1Tag::parse(ByteView(notATag)));
    EXPECT_FALSE(ID3v1Tag::parse(ByteView(tag.left(127))));
}

TEST(ID3v1Tag, ReadsTheTagFfmpegWrites) {
    MediaFactory media;
    const QString path = media.ffmpeg(
        QStringLiteral("tagged.mp3"),
        {"-c:a", "libmp3lame", "-write_id3v1", "1", "-metadata", "title=Tone", "-metadata", "artist=Tester",
         "-metadata", "album=Sines", "-metadata", "track=3/9", "-metadata", "genre=Darkwave"});
    ASSERT_FALSE(path.isEmpty());
    const auto file = FileBytes::open(path);
    ASSERT_TRUE(file);
    EXPECT_EQ(ID3v1Tag::read(*file), (AudioTags{"Tone", {"Tester"}, "Sines", "3", "Darkwave", std::nullopt}));
    EXPECT_EQ(ID3v1Tag::audioEnd(*file), file->size() - ID3v1Tag::kSize);
}

TEST(ID3v1Tag, FindsAudioEndBehindTrailingTagsInAnyOrder) {
    const QByteArray v1 = id3v1("Song", "", "", 1, 0);
    const struct {
        const char* name;
        QByteArray trailer;
        bool hasID3v1;
    } cases[] = {
        {"nothing", {}, false},
        {"ID3v1", v1, true},
        {"APEv2 with header, ID3v1", ape(true) + v1, true},
        {"ID3v1, APEv2 without header", v1 + ape(false), true},
        {"APEv2, Lyrics3 v2, ID3v1", ape(false) + lyrics3() + v1, true},
        {"ID3v1, ID3v2 with footer", v1 + id3v2WithFooter(), true},
    };
    MediaFactory media;
    for (const auto& c : cases) {
        const auto file = FileBytes::open(media.write(QStringLiteral("t.mp3"), kAudio + c.trailer));
        ASSERT_TRUE(file);
        EXPECT_EQ(ID3v1Tag::audioEnd(*file), kAudio.size()) << c.name;
        const auto tags = ID3v1Tag::read(*file);
        EXPECT_EQ(tags.has_value(), c.hasID3v1) << c.name;
        if (tags) {
            EXPECT_EQ(tags->title, QStringLiteral("Song")) << c.name;
        }
    }

    // Blocks that only look like tags stay audio, and so does anything behind them.
    const QByteArray bogus[] = {ape(false, 5000), v1 + ape(true, 10), lyrics3("LYRICSBEGUN")};
    for (const QByteArray& trailer : bogus) {
        const auto file = FileBytes::open(media.write(QStringLiteral("b.mp3"), kAudio + trailer));
        ASSERT_TRUE(file);
        EXPECT_EQ(ID3v1Tag::audioEnd(*file), file->size());
        EXPECT_FALSE(ID3v1Tag::read(*file));
    }
    const auto tiny = FileBytes::open(media.write(QStringLiteral("tiny.mp3"), "TAG"));
    ASSERT_TRUE(tiny);
    EXPECT_EQ(ID3v1Tag::audioEnd(*tiny), 3);
    EXPECT_FALSE(ID3v1Tag::read(*tiny));
}
