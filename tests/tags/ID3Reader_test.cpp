#include "FLACReader.h"
#include "ID3Genre.h"
#include "ID3Reader.h"

#include "TagFiles.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;
using namespace testbytes;

namespace {

QByteArray latin1(const QByteArray& text) { return '\0' + text; }

QByteArray utf16(const QString& text, bool bigEndianOrder) {
    QByteArray out;
    for (QChar c : text) out += bigEndianOrder ? be(c.unicode(), 2) : le(c.unicode(), 2);
    return out;
}

QByteArray unsynchronise(const QByteArray& bytes) {
    QByteArray out;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        out += bytes[i];
        const bool last = i + 1 == bytes.size();
        if (bytes[i] == char(0xFF) && (last || uint8_t(bytes[i + 1]) >= 0xE0 || bytes[i + 1] == '\0')) out += '\0';
    }
    return out;
}

QByteArray tableOfContents(const QByteArray& id, bool topLevel, const QList<QByteArray>& children) {
    QByteArray data = id + '\0' + char(topLevel ? 0x03 : 0x01) + char(children.size());
    for (const QByteArray& child : children) data += child + '\0';
    return id3Frame(4, "CTOC", data);
}

}  // namespace

TEST(ID3Reader, ReadsTagsThatFfmpegWrites) {
    MediaFactory media;
    const QString cover = media.jpeg(QStringLiteral("cover.jpg"));
    const QString chapters = media.write(
        QStringLiteral("chapters.txt"), ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=400\ntitle=Intro\n"
                                        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=400\nEND=1000\ntitle=Main\n");
    ASSERT_FALSE(cover.isEmpty());
    for (const char* version : {"3", "4"}) {
        SCOPED_TRACE(version);
        const QString path = media.ffmpeg(
            QStringLiteral("v%1.mp3").arg(version),
            QStringList{"-i", cover, "-i", chapters, "-map", "0:a", "-map", "1:v", "-map_chapters", "2", "-c:v", "copy",
                        "-disposition:v", "attached_pic", "-metadata:s:v", "comment=Cover (front)", "-id3v2_version",
                        version} +
                metadata({QStringLiteral("title=Grüße ☃"), "artist=Someone", "album=Album", "track=03/12",
                          "genre=Rock"}));
        const auto file = FileBytes::open(path);
        ASSERT_TRUE(file);
        const auto read = ID3Reader::readTag(*file, 0);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags, (AudioTags{QStringLiteral("Grüße ☃"), {"Someone"}, "Album", "3", "Rock", {}}));
        EXPECT_TRUE(read->hasPicture);
        EXPECT_EQ(read->chapters, (QList<Chapter>{{0, 0.4, "Intro"}, {0.4, 1.0, "Main"}}));
        EXPECT_EQ(ID3Reader::readPicture(*file, 0), MediaFactory::readAll(cover));
        EXPECT_TRUE(ID3Reader::readInfo(*file, 0).value_or(AudioInfo{}).hasArtwork);
    }
}

TEST(ID3Reader, WalksTheFramesOfEveryVersionAndHeaderLayout) {
    const QByteArray v22 = id3Frame(2, "TT2", latin1("Title")) + id3Frame(2, "TP1", latin1(QByteArray("A\0B", 3))) +
                           id3Frame(2, "TAL", latin1("Album")) + id3Frame(2, "TRK", latin1("7/9")) +
                           id3Frame(2, "TCO", latin1("(17)")) + id3Frame(2, "ULT", QByteArray("\0eng\0Words", 10)) +
                           id3Picture(2, 0, "PICTURE");
    const QByteArray title = id3Frame(4, "TIT2", latin1("Title"));
    const QByteArray album = id3Frame(4, "TALB", latin1("Album"));
    const QByteArray v23Title = id3Frame(3, "TIT2", latin1("Title"));
    const QByteArray a299(299, 'a'), b255(255, 'b');
    const AudioTags titleOnly{"Title", {}, {}, {}, {}, {}};
    const struct { const char* name; QByteArray tag; AudioTags tags; } cases[] = {
        {"2.2", id3Tag(2, v22, 0, 32), {"Title", {"A", "B"}, "Album", "7", "Rock", "Words"}},
        {"extended header, footer", id3Tag(4, syncsafe(6) + QByteArray("\x01\x00", 2) + title, 0x50), titleOnly},
        {"2.3 extended header", id3Tag(3, be(6, 4) + QByteArray(6, '\0') + v23Title, 0x40, 10), titleOnly},
        {"flag without extended header", id3Tag(4, title, 0x40), titleOnly},
        {"padding ends the frames", id3Tag(4, title + QByteArray("\0ALB", 4) + album), titleOnly},
        // 300 stored plainly reads as 172 syncsafe, which lands inside the text; a proper
        // syncsafe size wins even where the plain reading (512) would land in padding.
        {"plain 2.4 size", id3Tag(4, id3Frame(4, "TIT2", latin1(a299), 0, true) + album, 0, 400),
         {a299, {}, "Album", {}, {}, {}}},
        {"syncsafe 2.4 size", id3Tag(4, id3Frame(4, "TIT2", latin1(b255)) + album, 0, 400),
         {b255, {}, "Album", {}, {}, {}}},
    };
    TagFiles files;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto read = files.read(c.tag, ID3Reader::readTag);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags, c.tags);
        EXPECT_EQ(read->length, c.tag.size());
    }
    EXPECT_TRUE(files.value(cases[0].tag, ID3Reader::readTag).hasPicture);
    EXPECT_EQ(files.read(cases[0].tag, ID3Reader::readPicture), "PICTURE");
}

TEST(ID3Reader, DecodesTextEncodingsAndKeepsFirstNonEmptyValues) {
    TagFiles files;
    const QString snow = QStringLiteral("Snö ☃");
    const QByteArray nul2(2, '\0');
    // Each UTF-16 value may carry its own byte-order mark; one without keeps the last order.
    const QByteArray artists = "\x01\xFF\xFE" + utf16("Le", false) + nul2 + "\xFE\xFF" + utf16("Be", true) + nul2 +
                               utf16("Next", true) + nul2;
    const QByteArray frames =
        id3Frame(4, "TIT2", latin1("  ")) + id3Frame(4, "TIT2", '\x03' + snow.toUtf8() + '\0') +
        id3Frame(4, "TIT2", latin1("No")) + id3Frame(4, "TPE1", artists) +
        id3Frame(4, "TPE1", '\x02' + utf16(snow, true)) +
        id3Frame(4, "TPE1", latin1(QByteArray("Caf\xE9\0\0", 6))) + id3Frame(4, "TALB", QByteArray("\x07x", 2)) +
        id3Frame(4, "TALB", "\x01\xFF\xFE" + utf16(" Odd", false) + 'x') + id3Frame(4, "TRCK", latin1("0")) +
        id3Frame(4, "TRCK", latin1("A1")) + id3Frame(4, "USLT", QByteArray("\0eng\0   ", 8)) +
        id3Frame(4, "USLT", QByteArray("\x01" "eng\xFF\xFE" "d\0\0\0", 10) + utf16("Sung", false));
    // An unknown encoding drops its frame; trimming and the odd byte at the end leave "Odd".
    const QStringList allArtists{"Le", "Be", "Next", snow, QStringLiteral("Café")};
    EXPECT_EQ(files.value(id3Tag(4, frames), ID3Reader::readTag).tags,
              (AudioTags{snow, allArtists, "Odd", "A1", {}, "Sung"}));
}

TEST(ID3Genre, ResolvesReferencesAndRefinements) {
    const QList<std::pair<QString, std::optional<QString>>> cases = {
        {"(13)", "Pop"}, {"13", "Pop"}, {"(4)Eurodisco", "Eurodisco"}, {"(255)(17)", "Rock"}, {"(RX)", "Remix"},
        {"CR", "Cover"}, {"((Live)", "(Live)"}, {"(12", "(12"}, {"191", "Psybient"}, {"192", std::nullopt}};
    for (const auto& [value, genre] : cases) EXPECT_EQ(ID3Genre::resolve(value), genre) << qPrintable(value);

    // The first value that names a genre wins.
    TagFiles files;
    const QByteArray tag = id3Tag(4, id3Frame(4, "TCON", latin1(QByteArray("255\0" "26\0Pop", 10))));
    EXPECT_EQ(files.value(tag, ID3Reader::readTag).tags.genre, "Ambient");
}

TEST(ID3Reader, UndoesUnsynchronisation) {
    TagFiles files;
    // "\xFF\xE0" and "\xFF\0" are exactly the sequences unsynchronisation rewrites.
    const QByteArray title("\xFF\xE0" "x\xFF", 4);
    const QByteArray artist = id3Frame(4, "TPE1", latin1("Artist"));
    // 2.3 unsynchronises the whole tag; 2.4 frame by frame, the data length included, or every
    // frame by the header flag.
    const QByteArray tags[] = {
        id3Tag(3, unsynchronise(id3Frame(3, "TIT2", latin1(title)) + id3Frame(3, "TPE1", latin1("Artist"))), 0x80),
        id3Tag(4, id3Frame(4, "TIT2", unsynchronise(syncsafe(5) + latin1(title)), 0x03) + artist),
        id3Tag(4, id3Frame(4, "TIT2", unsynchronise(latin1(title))) + artist, 0x80)};
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const auto read = files.read(tags[i], ID3Reader::readTag);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags.title, QString::fromLatin1(title));
        EXPECT_EQ(read->tags.artists, QStringList{"Artist"});
    }
    // A chapter's embedded frames are resynchronised once, with the chapter.
    const QByteArray chapterData = unsynchronise(id3Chapter(4, "c", 0, 1000, QByteArray("a\xFF\0b", 4)).mid(10));
    EXPECT_EQ(files.value(id3Tag(4, id3Frame(4, "CHAP", chapterData), 0x80), ID3Reader::readTag).chapters,
              (QList<Chapter>{{0, 1, QStringLiteral("aÿ")}}));
}

TEST(ID3Reader, SkipsCompressedAndEncryptedFramesAndGroupingBytes) {
    TagFiles files;
    // 2.3: compressed (with its inflated size), encrypted (with its method), grouped.
    const QByteArray v23 = id3Frame(3, "TIT2", be(100, 4) + "zlib", 0x80) +
                           id3Frame(3, "TIT2", "\x01" + latin1("Crypt"), 0x40) +
                           id3Frame(3, "TIT2", "\x07" + latin1("Grouped"), 0x20) +
                           id3Picture(3, 3, "X").replace(9, 1, "\x80");
    const auto read23 = files.value(id3Tag(3, v23), ID3Reader::readTag);
    EXPECT_EQ(read23.tags.title, "Grouped");
    EXPECT_FALSE(read23.hasPicture);

    // 2.4: the grouping byte comes before the data length.
    const QByteArray v24 = id3Frame(4, "TIT2", syncsafe(9) + "zlib", 0x09) +
                           id3Frame(4, "TIT2", "\x01" + latin1("Crypt"), 0x04) +
                           id3Frame(4, "TIT2", "\x07" + syncsafe(8) + latin1("Grouped"), 0x41) +
                           id3Frame(4, "TPE1", "\x07", 0x01) + id3Frame(4, "TPE1", latin1("Kept"));
    // A frame too short for its data length is dropped.
    EXPECT_EQ(files.value(id3Tag(4, v24), ID3Reader::readTag).tags, (AudioTags{"Grouped", {"Kept"}, {}, {}, {}, {}}));
}

TEST(ID3Reader, KeepsFramesBeforeDamageAndRejectsNonTags) {
    TagFiles files;
    const QByteArray good = id3Frame(3, "TIT2", latin1("Title"));
    const QByteArray two = id3Tag(3, good + id3Frame(3, "TALB", latin1("Album")));
    QByteArray overrun = two;  // the last frame runs past the end of the tag
    overrun[9] = char(overrun[9] - 3);
    const QByteArray truncated = two.chopped(2);  // and past the end of the file
    const QByteArray badId = id3Tag(3, good.left(10).replace(1, 1, "\x01") + good.mid(10) + good);
    for (const QByteArray& bytes : {overrun, truncated, badId}) {
        const auto read = files.read(bytes, ID3Reader::readTag);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags.title, bytes == badId ? std::nullopt : std::optional<QString>("Title"));
        EXPECT_FALSE(read->tags.album);
    }
    EXPECT_EQ(files.read(truncated, ID3Reader::readTag).value_or(ID3Tag{}).length, two.size());
    EXPECT_FALSE(files.read(id3Tag(5, good), ID3Reader::readTag));
    EXPECT_FALSE(files.read(QByteArray("ID3\x03\0\0\x80\0\0\0", 10) + good, ID3Reader::readTag));
    EXPECT_FALSE(files.read(id3Tag(3, good), ID3Reader::readInfo, 3));
}

TEST(ID3Reader, PrefersTheFrontCover) {
    TagFiles files;
    auto cover = [&](const QByteArray& frames) { return files.read(id3Tag(3, frames), ID3Reader::readPicture); };
    const QByteArray back = id3Picture(3, 4, "BACK");
    // The UTF-16 terminator is the first aligned pair of zero bytes, not the one inside "d\0\0\0".
    EXPECT_EQ(cover(back + id3Picture(3, 3, "FRONT", '\0', QByteArray("desc\0", 5))), "FRONT");
    EXPECT_EQ(cover(back + id3Picture(3, 3, "FRONT", '\x01', QByteArray("\xFF\xFE" "d\0\0\0", 6))), "FRONT");
    EXPECT_EQ(cover(back + id3Picture(3, 0, "OTHER")), "BACK");
    EXPECT_EQ(cover(id3Picture(3, 3, "") + back), "BACK");  // no data: not a picture
    EXPECT_FALSE(files.read(id3Tag(3, id3Picture(3, 3, "")), ID3Reader::readTag).value_or(ID3Tag{}).hasPicture);
    EXPECT_FALSE(cover(id3Frame(3, "TIT2", latin1("Title"))));
}

TEST(ID3Reader, OrdersChaptersByTheTopLevelTableOfContents) {
    TagFiles files;
    const QByteArray chapters =
        id3Chapter(4, "c2", 5000, 9000, "Two") + id3Chapter(4, "c1", 0, 0, "One") +
        id3Chapter(4, "c3", 9000, 9500, "Three");
    const QByteArray tables = tableOfContents("sub", false, {"c2", "missing"}) + chapters +
                              tableOfContents("top", true, {"c1", "sub", "top"});
    EXPECT_EQ(files.value(id3Tag(4, tables), ID3Reader::readTag).chapters,
              (QList<Chapter>{{0, 0, "One"}, {5, 9, "Two"}, {9, 9.5, "Three"}}));
    const QByteArray subOnly = id3Tag(4, chapters + tableOfContents("sub", false, {"c1", "c2"}));
    EXPECT_EQ(files.value(subOnly, ID3Reader::readTag).chapters.value(0).title, "Two");

    // readInfo cleans them up: sorted by start, an open end closed by the next start.
    EXPECT_EQ(files.read(id3Tag(4, chapters), ID3Reader::readInfo),
              (AudioInfo{{}, {}, {{0, 5, "One"}, {5, 9, "Two"}, {9, 9.5, "Three"}}, false}));
}

TEST(ID3Reader, FillsWhatAFlacStreamBehindItLacks) {
    TagFiles files;
    const QString flac = files.media.ffmpeg(QStringLiteral("plain.flac"), metadata({"title=Flac Title"}), 2.0);
    ASSERT_FALSE(flac.isEmpty());
    const QByteArray frames = id3Frame(4, "TIT2", latin1("Tag Title")) + id3Frame(4, "TPE1", latin1("Tag Artist")) +
                              id3Picture(4, 3, "JPEG") + id3Chapter(4, "a", 0, 0, "Start") +
                              id3Chapter(4, "b", 1500, 0, "End");
    const QByteArray id3 = id3Tag(4, frames, 0, 64);
    const AudioInfo info = files.value(id3 + *MediaFactory::readAll(flac), FLACReader::readInfo, id3.size());
    EXPECT_EQ(info.tags, (AudioTags{"Flac Title", {"Tag Artist"}, {}, {}, {}, {}}));
    EXPECT_TRUE(info.hasArtwork);
    EXPECT_EQ(info.chapters, (QList<Chapter>{{0, 1.5, "Start"}, {1.5, 2.0, "End"}}));
}
