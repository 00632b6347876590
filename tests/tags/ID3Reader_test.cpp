#include "FLACReader.h"
#include "FileBytes.h"
#include "ID3Genre.h"
#include "ID3Reader.h"

#include "MediaFactory.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;

using namespace testbytes;

namespace {

QByteArray latin1(const QByteArray& text) { return '\0' + text; }

QByteArray utf16(const QString& text, bool bigEndianOrder) {
    QByteArray out;
    for (QChar c : text) {
        const QByteArray unit = be(c.unicode(), 2);
        out += bigEndianOrder ? unit : QByteArray().append(unit[1]).append(unit[0]);
    }
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

// APIC (PIC in 2.2); `description` comes with its terminator.
QByteArray picture(int major, uint8_t type, const QByteArray& data, char encoding = '\0',
                   const QByteArray& description = QByteArray(1, '\0')) {
    const QByteArray format = major == 2 ? QByteArray("JPG") : QByteArray("image/jpeg\0", 11);
    return id3Frame(major, major == 2 ? "PIC" : "APIC", encoding + format + char(type) + description + data);
}

QByteArray chapter(const QByteArray& id, quint32 startMs, quint32 endMs, const QByteArray& title) {
    const QByteArray times = be(startMs, 4) + be(endMs, 4) + QByteArray(8, '\xFF');
    return id3Frame(4, "CHAP", id + '\0' + times + id3Frame(4, "TIT2", latin1(title)));
}

QByteArray tableOfContents(const QByteArray& id, bool topLevel, const QList<QByteArray>& children) {
    QByteArray data = id + '\0' + char(topLevel ? 0x03 : 0x01) + char(children.size());
    for (const QByteArray& child : children) data += child + '\0';
    return id3Frame(4, "CTOC", data);
}

class ID3Files {
public:
    std::optional<FileBytes> open(const QByteArray& bytes) {
        return FileBytes::open(media.write(QStringLiteral("t%1.mp3").arg(count++), bytes));
    }
    std::optional<ID3Tag> readTag(const QByteArray& bytes) {
        const auto file = open(bytes);
        return file ? ID3Reader::readTag(*file, 0) : std::nullopt;
    }
    std::optional<QByteArray> readPicture(const QByteArray& bytes) {
        const auto file = open(bytes);
        return file ? ID3Reader::readPicture(*file, 0) : std::nullopt;
    }

    MediaFactory media;

private:
    int count = 0;
};

}  // namespace

TEST(ID3Reader, ReadsTagsThatFfmpegWrites) {
    ID3Files files;
    const QString cover = files.media.jpeg(QStringLiteral("cover.jpg"));
    const QString chapters = files.media.write(
        QStringLiteral("chapters.txt"), ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=400\ntitle=Intro\n"
                                        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=400\nEND=1000\ntitle=Main\n");
    ASSERT_FALSE(cover.isEmpty());
    for (const char* version : {"3", "4"}) {
        SCOPED_TRACE(version);
        const QString path = files.media.ffmpeg(
            QStringLiteral("v%1.mp3").arg(version),
            {"-i", cover, "-i", chapters, "-map", "0:a", "-map", "1:v", "-map_chapters", "2", "-c:v", "copy",
             "-disposition:v", "attached_pic", "-metadata:s:v", "comment=Cover (front)", "-id3v2_version", version,
             "-metadata", QStringLiteral("title=Grüße ☃"), "-metadata", "artist=Someone", "-metadata",
             "album=Album", "-metadata", "track=03/12", "-metadata", "genre=Rock"});
        const auto file = FileBytes::open(path);
        ASSERT_TRUE(file);
        const auto read = ID3Reader::readTag(*file, 0);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags, (AudioTags{QStringLiteral("Grüße ☃"), {"Someone"}, "Album", "3", "Rock", {}}));
        EXPECT_TRUE(read->hasPicture);
        EXPECT_EQ(read->chapters, (QList<Chapter>{{0, 0.4, "Intro"}, {0.4, 1.0, "Main"}}));
        EXPECT_EQ(file->read(read->length, 1), QByteArray(1, '\xFF'));  // the MPEG stream follows the tag
        EXPECT_EQ(ID3Reader::readPicture(*file, 0), MediaFactory::readAll(cover));
        EXPECT_TRUE(ID3Reader::readInfo(*file, 0).value_or(AudioInfo{}).hasArtwork);
    }
}

TEST(ID3Reader, ReadsVersion22Frames) {
    ID3Files files;
    const QByteArray bytes = id3Tag(2,
                                 id3Frame(2, "TT2", latin1("Title")) + id3Frame(2, "TP1", latin1(QByteArray("A\0B", 3))) +
                                     id3Frame(2, "TAL", latin1("Album")) + id3Frame(2, "TRK", latin1("7/9")) +
                                     id3Frame(2, "TCO", latin1("(17)")) + id3Frame(2, "ULT", QByteArray("\0eng\0Words", 10)) +
                                     picture(2, 0, "PICTURE"),
                                 0, 32);
    const auto read = files.readTag(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags, (AudioTags{"Title", {"A", "B"}, "Album", "7", "Rock", "Words"}));
    EXPECT_TRUE(read->hasPicture);
    EXPECT_EQ(read->length, bytes.size());
    EXPECT_EQ(files.readPicture(bytes), "PICTURE");
}

TEST(ID3Reader, DecodesTextEncodingsAndKeepsFirstNonEmptyValues) {
    ID3Files files;
    const QString snow = QStringLiteral("Snö ☃");
    const QByteArray nul2(2, '\0');
    // Each UTF-16 value may carry its own byte-order mark; one without keeps the last order.
    const QByteArray artists = "\x01\xFF\xFE" + utf16("Le", false) + nul2 + "\xFE\xFF" + utf16("Be", true) + nul2 +
                               utf16("Next", true) + nul2;
    const QByteArray frames =
        id3Frame(4, "TIT2", latin1("  ")) + id3Frame(4, "TIT2", '\x03' + snow.toUtf8() + '\0') +
        id3Frame(4, "TIT2", latin1("No")) + id3Frame(4, "TPE1", artists) + id3Frame(4, "TPE1", '\x02' + utf16(snow, true)) +
        id3Frame(4, "TPE1", latin1(QByteArray("Caf\xE9\0\0", 6))) + id3Frame(4, "TALB", QByteArray("\x07x", 2)) +
        id3Frame(4, "TALB", "\x01\xFF\xFE" + utf16(" Odd", false) + 'x') + id3Frame(4, "TRCK", latin1("0")) +
        id3Frame(4, "TRCK", latin1("A1")) + id3Frame(4, "USLT", QByteArray("\0eng\0   ", 8)) +
        id3Frame(4, "USLT", QByteArray("\x01" "eng\xFF\xFE" "d\0\0\0", 10) + utf16("Sung", false));
    const auto read = files.readTag(id3Tag(4, frames));
    ASSERT_TRUE(read);
    // An unknown encoding drops its frame; trimming and the odd byte at the end leave "Odd".
    const QStringList allArtists{"Le", "Be", "Next", snow, QStringLiteral("Café")};
    EXPECT_EQ(read->tags, (AudioTags{snow, allArtists, "Odd", "A1", {}, "Sung"}));
}

TEST(ID3Genre, ResolvesReferencesAndRefinements) {
    const QList<std::pair<QString, std::optional<QString>>> cases = {
        {"(13)", "Pop"}, {"13", "Pop"}, {"(4)Eurodisco", "Eurodisco"}, {"(255)(17)", "Rock"}, {"(RX)", "Remix"},
        {"CR", "Cover"}, {"((Live)", "(Live)"}, {"(12", "(12"}, {"191", "Psybient"}, {"192", std::nullopt}};
    for (const auto& [value, genre] : cases) EXPECT_EQ(ID3Genre::resolve(value), genre) << qPrintable(value);

    // The first value that names a genre wins.
    ID3Files files;
    const auto read = files.readTag(id3Tag(4, id3Frame(4, "TCON", latin1(QByteArray("255\0" "26\0Pop", 10)))));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.genre, "Ambient");
}

TEST(ID3Reader, UndoesUnsynchronisation) {
    ID3Files files;
    // "\xFF\xE0" and "\xFF\0" are exactly the sequences unsynchronisation rewrites.
    const QByteArray title("\xFF\xE0" "x\xFF", 4);
    const QString expected = QString::fromLatin1(title);
    const QByteArray v23 = id3Frame(3, "TIT2", latin1(title)) + id3Frame(3, "TPE1", latin1("Artist"));
    const auto whole = files.readTag(id3Tag(3, unsynchronise(v23), 0x80));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->tags.title, expected);
    EXPECT_EQ(whole->tags.artists, QStringList{"Artist"});

    // 2.4 unsynchronises frame by frame, the data length included; or every frame by the header flag.
    const QByteArray v24 =
        id3Frame(4, "TIT2", unsynchronise(syncsafe(5) + latin1(title)), 0x03) + id3Frame(4, "TALB", latin1("Album"));
    const auto perFrame = files.readTag(id3Tag(4, v24));
    ASSERT_TRUE(perFrame);
    EXPECT_EQ(perFrame->tags.title, expected);
    EXPECT_EQ(perFrame->tags.album, "Album");
    const auto allFrames = files.readTag(id3Tag(4, id3Frame(4, "TIT2", unsynchronise(latin1(title))), 0x80));
    ASSERT_TRUE(allFrames);
    EXPECT_EQ(allFrames->tags.title, expected);
    // A chapter's embedded frames are resynchronised once, with the chapter.
    const QByteArray chapterData = unsynchronise(chapter("c", 0, 1000, QByteArray("a\xFF\0b", 4)).mid(10));
    const auto embedded = files.readTag(id3Tag(4, id3Frame(4, "CHAP", chapterData), 0x80));
    ASSERT_TRUE(embedded);
    EXPECT_EQ(embedded->chapters, (QList<Chapter>{{0, 1, QStringLiteral("aÿ")}}));
}

TEST(ID3Reader, SkipsCompressedAndEncryptedFramesAndGroupingBytes) {
    ID3Files files;
    // 2.3: compressed (with its inflated size), encrypted (with its method), grouped.
    const QByteArray v23 = id3Frame(3, "TIT2", be(100, 4) + "zlib", 0x80) +
                           id3Frame(3, "TIT2", "\x01" + latin1("Crypt"), 0x40) +
                           id3Frame(3, "TIT2", "\x07" + latin1("Grouped"), 0x20) + picture(3, 3, "X").replace(9, 1, "\x80");
    const auto read23 = files.readTag(id3Tag(3, v23));
    ASSERT_TRUE(read23);
    EXPECT_EQ(read23->tags.title, "Grouped");
    EXPECT_FALSE(read23->hasPicture);

    // 2.4: the grouping byte comes before the data length.
    const QByteArray v24 = id3Frame(4, "TIT2", syncsafe(9) + "zlib", 0x09) +
                           id3Frame(4, "TIT2", "\x01" + latin1("Crypt"), 0x04) +
                           id3Frame(4, "TIT2", "\x07" + syncsafe(8) + latin1("Grouped"), 0x41) +
                           id3Frame(4, "TPE1", "\x07", 0x01) + id3Frame(4, "TPE1", latin1("Kept"));
    const auto read24 = files.readTag(id3Tag(4, v24));
    ASSERT_TRUE(read24);
    EXPECT_EQ(read24->tags.title, "Grouped");
    EXPECT_EQ(read24->tags.artists, QStringList{"Kept"});  // a frame too short for its data length is dropped
}

TEST(ID3Reader, ToleratesPlainFrameSizesInVersion24) {
    ID3Files files;
    // 300 stored plainly reads as 172 syncsafe, which lands inside the text.
    const QByteArray longTitle(299, 'a');
    const QByteArray album = id3Frame(4, "TALB", latin1("Album"));
    const auto plain = files.readTag(id3Tag(4, id3Frame(4, "TIT2", latin1(longTitle), 0, true) + album, 0, 100));
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->tags.title, QString(longTitle));
    EXPECT_EQ(plain->tags.album, "Album");
    // A proper syncsafe size wins even where the plain reading (512) would land in padding.
    const auto proper = files.readTag(id3Tag(4, id3Frame(4, "TIT2", latin1(QByteArray(255, 'b'))) + album, 0, 400));
    ASSERT_TRUE(proper);
    EXPECT_EQ(proper->tags.title->size(), 255);
    EXPECT_EQ(proper->tags.album, "Album");
}

TEST(ID3Reader, HandlesExtendedHeadersFootersAndPadding) {
    ID3Files files;
    const QByteArray title = id3Frame(4, "TIT2", latin1("Title"));
    const QByteArray withFooter = id3Tag(4, syncsafe(6) + QByteArray("\x01\x00", 2) + title, 0x50);
    const auto footer = files.readTag(withFooter);
    ASSERT_TRUE(footer);
    EXPECT_EQ(footer->tags.title, "Title");
    EXPECT_EQ(footer->length, withFooter.size());
    const QByteArray v23Extended = be(6, 4) + QByteArray(6, '\0');
    const auto v23 = files.readTag(id3Tag(3, v23Extended + id3Frame(3, "TIT2", latin1("Title")), 0x40, 10));
    ASSERT_TRUE(v23);
    EXPECT_EQ(v23->tags.title, "Title");
    // A flag without an extended header: the frames start right behind the header.
    const auto missing = files.readTag(id3Tag(4, title, 0x40));
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->tags.title, "Title");
    // Padding ends the frames, whatever follows it.
    const auto padded = files.readTag(id3Tag(4, title + QByteArray("\0ALB", 4) + id3Frame(4, "TALB", latin1("No"))));
    ASSERT_TRUE(padded);
    EXPECT_FALSE(padded->tags.album);
}

TEST(ID3Reader, KeepsFramesBeforeDamageAndRejectsNonTags) {
    ID3Files files;
    const QByteArray good = id3Frame(3, "TIT2", latin1("Title"));
    const QByteArray two = id3Tag(3, good + id3Frame(3, "TALB", latin1("Album")));
    QByteArray overrun = two;  // the last frame runs past the end of the tag
    overrun[9] = char(overrun[9] - 3);
    const QByteArray truncated = two.chopped(2);  // and past the end of the file
    const QByteArray badId = id3Tag(3, good.left(10).replace(1, 1, "\x01") + good.mid(10) + good);
    for (const QByteArray& bytes : {overrun, truncated, badId}) {
        const auto read = files.readTag(bytes);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags.title, bytes == badId ? std::nullopt : std::optional<QString>("Title"));
        EXPECT_FALSE(read->tags.album);
    }
    EXPECT_EQ(files.readTag(truncated).value_or(ID3Tag{}).length, two.size());

    EXPECT_FALSE(files.readTag(id3Tag(5, good)));
    EXPECT_FALSE(files.readTag(QByteArray("ID3\x03\0\0\x80\0\0\0", 10) + good));
    const auto file = files.open(id3Tag(3, good));
    ASSERT_TRUE(file);
    EXPECT_FALSE(ID3Reader::readInfo(*file, 3));
}

TEST(ID3Reader, PrefersTheFrontCover) {
    ID3Files files;
    const QByteArray back = picture(3, 4, "BACK");
    const QByteArray front = picture(3, 3, "FRONT", '\0', QByteArray("desc\0", 5));
    // The UTF-16 terminator is the first aligned pair of zero bytes, not the one inside "d\0\0\0".
    const QByteArray utf16Front = picture(3, 3, "FRONT", '\x01', QByteArray("\xFF\xFE" "d\0\0\0", 6));
    EXPECT_EQ(files.readPicture(id3Tag(3, back + front)), "FRONT");
    EXPECT_EQ(files.readPicture(id3Tag(3, back + utf16Front)), "FRONT");
    EXPECT_EQ(files.readPicture(id3Tag(3, back + picture(3, 0, "OTHER"))), "BACK");
    EXPECT_EQ(files.readPicture(id3Tag(3, picture(3, 3, "") + back)), "BACK");  // no data: not a picture
    EXPECT_FALSE(files.readTag(id3Tag(3, picture(3, 3, ""))).value_or(ID3Tag{}).hasPicture);
    EXPECT_FALSE(files.readPicture(id3Tag(3, id3Frame(3, "TIT2", latin1("Title")))));
}

TEST(ID3Reader, OrdersChaptersByTheTopLevelTableOfContents) {
    ID3Files files;
    const QByteArray chapters =
        chapter("c2", 5000, 9000, "Two") + chapter("c1", 0, 0, "One") + chapter("c3", 9000, 9500, "Three");
    const auto byTable = files.readTag(id3Tag(4, tableOfContents("sub", false, {"c2", "missing"}) + chapters +
                                                  tableOfContents("top", true, {"c1", "sub", "top"})));
    ASSERT_TRUE(byTable);
    EXPECT_EQ(byTable->chapters, (QList<Chapter>{{0, 0, "One"}, {5, 9, "Two"}, {9, 9.5, "Three"}}));
    const auto fileOrder = files.readTag(id3Tag(4, chapters + tableOfContents("sub", false, {"c1", "c2"})));
    ASSERT_TRUE(fileOrder);
    EXPECT_EQ(fileOrder->chapters.value(0).title, "Two");

    // readInfo cleans them up: sorted by start, an open end closed by the next start.
    const auto file = files.open(id3Tag(4, chapters));
    ASSERT_TRUE(file);
    const auto info = ID3Reader::readInfo(*file, 0);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->chapters, (QList<Chapter>{{0, 5, "One"}, {5, 9, "Two"}, {9, 9.5, "Three"}}));
    EXPECT_EQ(info->properties, AudioProperties{});
}

TEST(ID3Reader, FillsWhatAFlacStreamBehindItLacks) {
    ID3Files files;
    const QString flac = files.media.ffmpeg(QStringLiteral("plain.flac"), {"-metadata", "title=Flac Title"}, 2.0);
    ASSERT_FALSE(flac.isEmpty());
    const QByteArray frames = id3Frame(4, "TIT2", latin1("Tag Title")) + id3Frame(4, "TPE1", latin1("Tag Artist")) +
                              picture(4, 3, "JPEG") + chapter("a", 0, 0, "Start") + chapter("b", 1500, 0, "End");
    const QByteArray id3 = id3Tag(4, frames, 0, 64);
    const auto file = files.open(id3 + *MediaFactory::readAll(flac));
    ASSERT_TRUE(file);
    const auto info = FLACReader::readInfo(*file, id3.size());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags.title, "Flac Title");
    EXPECT_EQ(info->tags.artists, QStringList{"Tag Artist"});
    EXPECT_TRUE(info->hasArtwork);
    EXPECT_EQ(info->chapters, (QList<Chapter>{{0, 1.5, "Start"}, {1.5, 2.0, "End"}}));
}
