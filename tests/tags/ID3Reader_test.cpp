#include "FLACReader.h"
#include "FileBytes.h"
#include "ID3Genre.h"
#include "ID3Reader.h"

#include "MediaFactory.h"

#include <QDirIterator>

#include <gtest/gtest.h>

using namespace sonvale;

namespace {

QByteArray bigEndian(quint32 value, int bytes) {
    QByteArray out;
    for (int i = bytes - 1; i >= 0; --i) out += char((value >> (8 * i)) & 0xFF);
    return out;
}

QByteArray syncsafe(quint32 value) {
    QByteArray out;
    for (int shift = 21; shift >= 0; shift -= 7) out += char((value >> shift) & 0x7F);
    return out;
}

// One frame of a tag of version 2.`major`. 2.4 sizes are syncsafe unless `plainSize` mimics
// the writers that got that wrong.
QByteArray frame(int major, const QByteArray& id, const QByteArray& data, uint8_t format = 0,
                 bool plainSize = false) {
    if (major == 2) return id + bigEndian(data.size(), 3) + data;
    const QByteArray size = major == 4 && !plainSize ? syncsafe(data.size()) : bigEndian(data.size(), 4);
    return id + size + '\0' + char(format) + data;
}

// A whole tag: header, `body` (frames, maybe behind an extended header), `padding` zero bytes,
// and a footer when the flags ask for one.
QByteArray tag(int major, const QByteArray& body, uint8_t flags = 0, int padding = 0) {
    const QByteArray fields = char(major) + QByteArray(1, '\0') + char(flags) + syncsafe(body.size() + padding);
    QByteArray bytes = "ID3" + fields + body + QByteArray(padding, '\0');
    if (flags & 0x10) bytes += "3DI" + fields;
    return bytes;
}

QByteArray latin1(const QByteArray& text) { return '\0' + text; }

QByteArray utf16(const QString& text, bool bigEndianOrder) {
    QByteArray out;
    for (QChar c : text) {
        const QByteArray unit = bigEndian(c.unicode(), 2);
        out += bigEndianOrder ? unit : QByteArray().append(unit[1]).append(unit[0]);
    }
    return out;
}

QByteArray unsynchronise(const QByteArray& bytes) {
    QByteArray out;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        out += bytes[i];
        if (bytes[i] == char(0xFF) && (i + 1 == bytes.size() || uint8_t(bytes[i + 1]) >= 0xE0 || bytes[i + 1] == '\0'))
            out += '\0';
    }
    return out;
}

// APIC (or PIC for 2.2); `description` comes with its terminator.
QByteArray picture(int major, uint8_t type, const QByteArray& data, char encoding = '\0',
                   const QByteArray& description = QByteArray(1, '\0')) {
    const QByteArray format = major == 2 ? QByteArray("JPG") : QByteArray("image/jpeg\0", 11);
    return frame(major, major == 2 ? "PIC" : "APIC", encoding + format + char(type) + description + data);
}

QByteArray chapter(const QByteArray& id, quint32 startMs, quint32 endMs, const QByteArray& title) {
    const QByteArray times = bigEndian(startMs, 4) + bigEndian(endMs, 4) + QByteArray(8, '\xFF');
    return frame(4, "CHAP", id + '\0' + times + frame(4, "TIT2", latin1(title)));
}

QByteArray tableOfContents(const QByteArray& id, bool topLevel, const QList<QByteArray>& children) {
    QByteArray data = id + '\0' + char(topLevel ? 0x03 : 0x01) + char(children.size());
    for (const QByteArray& child : children) data += child + '\0';
    return frame(4, "CTOC", data);
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
    const QString chapters = files.media.write(QStringLiteral("chapters.txt"),
                                               ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=400\ntitle=Intro\n"
                                               "[CHAPTER]\nTIMEBASE=1/1000\nSTART=400\nEND=1000\ntitle=Main\n");
    ASSERT_FALSE(cover.isEmpty());
    for (const char* version : {"3", "4"}) {
        SCOPED_TRACE(version);
        const QString path = files.media.ffmpeg(
            QStringLiteral("v%1.mp3").arg(version),
            {"-i", cover, "-i", chapters, "-map", "0:a", "-map", "1:v", "-map_chapters", "2", "-c:v", "copy",
             "-disposition:v", "attached_pic", "-metadata:s:v", "comment=Cover (front)", "-id3v2_version", version,
             "-metadata", QStringLiteral("title=Grüße ☃"), "-metadata", "artist=Someone", "-metadata", "album=Album",
             "-metadata", "track=03/12", "-metadata", "genre=Rock"});
        ASSERT_FALSE(path.isEmpty());
        const auto file = FileBytes::open(path);
        ASSERT_TRUE(file);
        const auto read = ID3Reader::readTag(*file, 0);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->tags.title, QStringLiteral("Grüße ☃"));
        EXPECT_EQ(read->tags.artists, QStringList{"Someone"});
        EXPECT_EQ(read->tags.album, "Album");
        EXPECT_EQ(read->tags.trackNumber, "3");
        EXPECT_EQ(read->tags.genre, "Rock");
        EXPECT_TRUE(read->hasPicture);
        EXPECT_EQ(read->chapters, (QList<Chapter>{{0, 0.4, "Intro"}, {0.4, 1.0, "Main"}}));
        // The MPEG stream starts right behind the tag.
        const auto behind = file->read(read->length, 2);
        ASSERT_TRUE(behind);
        EXPECT_EQ(uint8_t(behind->at(0)), 0xFF);
        EXPECT_EQ(ID3Reader::readPicture(*file, 0), MediaFactory::readAll(cover));

        const auto info = ID3Reader::readInfo(*file, 0);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->tags, read->tags);
        EXPECT_TRUE(info->hasArtwork);
        EXPECT_EQ(info->chapters, read->chapters);
    }
}

TEST(ID3Reader, ReadsVersion22Frames) {
    ID3Files files;
    const QByteArray frames = frame(2, "TT2", latin1("Title")) + frame(2, "TP1", latin1(QByteArray("A\0B", 3))) +
                              frame(2, "TAL", latin1("Album")) + frame(2, "TRK", latin1("7/9")) +
                              frame(2, "TCO", latin1("(17)")) +
                              frame(2, "ULT", QByteArray("\0eng\0Words", 10)) + picture(2, 0, "PICTURE");
    const QByteArray bytes = tag(2, frames, 0, 32);
    const auto read = files.readTag(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.title, "Title");
    EXPECT_EQ(read->tags.artists, (QStringList{"A", "B"}));
    EXPECT_EQ(read->tags.album, "Album");
    EXPECT_EQ(read->tags.trackNumber, "7");
    EXPECT_EQ(read->tags.genre, "Rock");
    EXPECT_EQ(read->tags.lyrics, "Words");
    EXPECT_TRUE(read->hasPicture);
    EXPECT_EQ(read->length, bytes.size());
    EXPECT_EQ(files.readPicture(bytes), "PICTURE");
}

TEST(ID3Reader, DecodesEveryTextEncoding) {
    ID3Files files;
    const QString snow = QStringLiteral("Snö ☃");
    const QByteArray bomLE("\xFF\xFE", 2);
    const QByteArray bomBE("\xFE\xFF", 2);
    // Each UTF-16 value may carry its own byte-order mark; one without keeps the last order.
    const QByteArray artists = '\x01' + bomLE + utf16("Le", false) + QByteArray(2, '\0') + bomBE + utf16("Be", true) +
                               QByteArray(2, '\0') + utf16("Next", true) + QByteArray(2, '\0');
    const QByteArray frames = frame(4, "TIT2", '\x03' + snow.toUtf8() + '\0') + frame(4, "TPE1", artists) +
                              frame(4, "TPE1", '\x02' + utf16(snow, true)) + frame(4, "TPE1", latin1("Caf\xE9")) +
                              frame(4, "TALB", QByteArray("\x01\xFF\xFE", 3) + utf16(" Odd", false) + 'x');
    const auto read = files.readTag(tag(4, frames));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.title, snow);
    EXPECT_EQ(read->tags.artists, (QStringList{"Le", "Be", "Next", snow, QStringLiteral("Café")}));
    EXPECT_EQ(read->tags.album, "Odd");  // trimmed, the odd byte dropped
}

TEST(ID3Reader, KeepsFirstNonEmptyValuesAndSkipsEmptyOnes) {
    ID3Files files;
    const QByteArray frames = frame(3, "TIT2", latin1("  ")) + frame(3, "TIT2", latin1(QByteArray("\0Second\0", 8))) +
                              frame(3, "TIT2", latin1("Third")) + frame(3, "TPE1", latin1(QByteArray("A\0\0B\0", 5))) +
                              frame(3, "TRCK", latin1("0")) + frame(3, "TRCK", latin1("A1")) +
                              frame(3, "USLT", QByteArray("\0eng\0   ", 8)) +
                              frame(3, "USLT", QByteArray("\x01" "eng\xFF\xFE" "d\0\0\0", 10) + utf16("Sung", false)) +
                              frame(3, "TALB", QByteArray("\x07x", 2)) + frame(3, "TALB", latin1("Album"));
    const auto read = files.readTag(tag(3, frames));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.title, "Second");
    EXPECT_EQ(read->tags.artists, (QStringList{"A", "B"}));
    EXPECT_EQ(read->tags.trackNumber, "A1");
    EXPECT_EQ(read->tags.lyrics, "Sung");
    EXPECT_EQ(read->tags.album, "Album");  // an unknown encoding drops the frame
    EXPECT_FALSE(read->tags.genre);
    EXPECT_FALSE(read->hasPicture);
}

TEST(ID3Genre, ResolvesReferencesAndRefinements) {
    EXPECT_EQ(ID3Genre::resolve("(13)"), "Pop");
    EXPECT_EQ(ID3Genre::resolve("13"), "Pop");
    EXPECT_EQ(ID3Genre::resolve("(4)Eurodisco"), "Eurodisco");
    EXPECT_EQ(ID3Genre::resolve("(255)(17)"), "Rock");
    EXPECT_EQ(ID3Genre::resolve("(RX)"), "Remix");
    EXPECT_EQ(ID3Genre::resolve("CR"), "Cover");
    EXPECT_EQ(ID3Genre::resolve("((Live)"), "(Live)");
    EXPECT_EQ(ID3Genre::resolve("(Live)"), "(Live)");
    EXPECT_EQ(ID3Genre::resolve("80"), "Folk");
    EXPECT_EQ(ID3Genre::resolve("147"), "Synthpop");
    EXPECT_EQ(ID3Genre::resolve("191"), "Psybient");
    EXPECT_EQ(ID3Genre::resolve("192"), std::nullopt);
    EXPECT_EQ(ID3Genre::resolve("(12"), "(12");
    EXPECT_EQ(ID3Genre::resolve("Trip Hop"), "Trip Hop");

    // The first value that names a genre wins.
    ID3Files files;
    const auto read = files.readTag(tag(4, frame(4, "TCON", latin1(QByteArray("255\0" "26\0Pop", 10)))));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.genre, "Ambient");
}

TEST(ID3Reader, UndoesUnsynchronisation) {
    ID3Files files;
    // "\xFF\xE0" and "\xFF\0" are exactly the sequences unsynchronisation rewrites.
    const QByteArray title("\xFF\xE0" "x\xFF", 4);
    const QByteArray expected = QString::fromLatin1(title).toUtf8();
    const QByteArray v23 = frame(3, "TIT2", latin1(title)) + frame(3, "TPE1", latin1("Artist"));
    const auto whole = files.readTag(tag(3, unsynchronise(v23), 0x80));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->tags.title->toUtf8(), expected);
    EXPECT_EQ(whole->tags.artists, QStringList{"Artist"});

    // 2.4 unsynchronises frame by frame; the data length precedes the data.
    const QByteArray data = syncsafe(5) + latin1(title);
    const QByteArray v24 = frame(4, "TIT2", unsynchronise(data), 0x03) + frame(4, "TALB", latin1("Album"));
    const auto perFrame = files.readTag(tag(4, v24));
    ASSERT_TRUE(perFrame);
    EXPECT_EQ(perFrame->tags.title->toUtf8(), expected);
    EXPECT_EQ(perFrame->tags.album, "Album");

    // The 2.4 header flag says every frame is unsynchronised.
    const auto allFrames = files.readTag(tag(4, frame(4, "TIT2", unsynchronise(latin1(title))), 0x80));
    ASSERT_TRUE(allFrames);
    EXPECT_EQ(allFrames->tags.title->toUtf8(), expected);
}

TEST(ID3Reader, SkipsCompressedAndEncryptedFramesAndGroupingBytes) {
    ID3Files files;
    const QByteArray v23 = frame(3, "TIT2", bigEndian(100, 4) + "zlib", 0x80) +
                           frame(3, "TIT2", "\x01" + latin1("Crypt"), 0x40) +
                           frame(3, "TIT2", "\x07" + latin1("Grouped"), 0x20) + picture(3, 3, "X").replace(9, 1, "\x80");
    const auto read23 = files.readTag(tag(3, v23));
    ASSERT_TRUE(read23);
    EXPECT_EQ(read23->tags.title, "Grouped");
    EXPECT_FALSE(read23->hasPicture);

    const QByteArray v24 = frame(4, "TIT2", syncsafe(9) + "zlib", 0x09) + frame(4, "TIT2", "\x01" + latin1("Crypt"), 0x04) +
                           frame(4, "TIT2", "\x07" + syncsafe(8) + latin1("Grouped"), 0x41) +
                           frame(4, "TPE1", "\x07", 0x01) + frame(4, "TPE1", latin1("Kept"));
    const auto read24 = files.readTag(tag(4, v24));
    ASSERT_TRUE(read24);
    EXPECT_EQ(read24->tags.title, "Grouped");
    EXPECT_EQ(read24->tags.artists, QStringList{"Kept"});  // a frame too short for its data length is dropped
}

TEST(ID3Reader, ToleratesPlainFrameSizesInVersion24) {
    ID3Files files;
    // 300 bytes stored plainly read as 172 syncsafe, which lands inside the text.
    const QByteArray longTitle(299, 'a');
    const QByteArray plain = frame(4, "TIT2", latin1(longTitle), 0, true) + frame(4, "TALB", latin1("Album"));
    const auto read = files.readTag(tag(4, plain, 0, 100));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.title, QString(longTitle));
    EXPECT_EQ(read->tags.album, "Album");

    // A proper syncsafe size is kept even where the plain reading would also lead to a frame.
    const QByteArray data = latin1(QByteArray(255, 'b'));
    const auto proper = files.readTag(tag(4, frame(4, "TIT2", data) + frame(4, "TALB", latin1("Album")), 0, 400));
    ASSERT_TRUE(proper);
    EXPECT_EQ(proper->tags.title->size(), 255);
    EXPECT_EQ(proper->tags.album, "Album");
}

TEST(ID3Reader, HandlesExtendedHeadersFootersAndPadding) {
    ID3Files files;
    const QByteArray frames = frame(4, "TIT2", latin1("Title"));
    const QByteArray v24Extended = syncsafe(6) + QByteArray("\x01\x00", 2);
    const QByteArray v23Extended = bigEndian(6, 4) + QByteArray(6, '\0');
    const QByteArray withFooter = tag(4, v24Extended + frames, 0x50);
    const auto footer = files.readTag(withFooter);
    ASSERT_TRUE(footer);
    EXPECT_EQ(footer->tags.title, "Title");
    EXPECT_EQ(footer->length, withFooter.size());
    const auto v23 = files.readTag(tag(3, v23Extended + frame(3, "TIT2", latin1("Title")), 0x40, 10));
    ASSERT_TRUE(v23);
    EXPECT_EQ(v23->tags.title, "Title");
    // A flag without an extended header: the frames start right behind the header.
    const auto missing = files.readTag(tag(4, frames, 0x40));
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->tags.title, "Title");
    // Padding ends the frames, whatever follows it.
    const auto padded = files.readTag(tag(4, frames + QByteArray("\0ALB", 4) + frame(4, "TALB", latin1("No"))));
    ASSERT_TRUE(padded);
    EXPECT_FALSE(padded->tags.album);
}

TEST(ID3Reader, KeepsFramesBeforeDamageAndRejectsNonTags) {
    ID3Files files;
    const QByteArray good = frame(3, "TIT2", latin1("Title"));
    // A frame running past the end of the tag, then one past the end of the file.
    QByteArray overrun = tag(3, good + frame(3, "TALB", latin1("Album")));
    overrun[9] = char(overrun[9] - 3);
    const auto cut = files.readTag(overrun);
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->tags.title, "Title");
    EXPECT_FALSE(cut->tags.album);
    const QByteArray shortFile = tag(3, good + frame(3, "TALB", latin1("Album"))).chopped(2);
    const auto truncated = files.readTag(shortFile);
    ASSERT_TRUE(truncated);
    EXPECT_EQ(truncated->tags.title, "Title");
    EXPECT_FALSE(truncated->tags.album);
    EXPECT_EQ(truncated->length, shortFile.size() + 2);
    // A frame header with a bad id ends the walk.
    const auto badId = files.readTag(tag(3, good.left(10).replace(0, 4, "T\x01T2") + good.mid(10) + good));
    ASSERT_TRUE(badId);
    EXPECT_FALSE(badId->tags.title);

    EXPECT_FALSE(files.readTag(tag(5, good)));
    EXPECT_FALSE(files.readTag(QByteArray("ID3\x03\0\0\x80\0\0\0", 10) + good));
    EXPECT_FALSE(files.readTag("\xFF\xFB\x90\x00 not a tag"));
    const auto file = files.open(tag(3, good));
    ASSERT_TRUE(file);
    EXPECT_FALSE(ID3Reader::readTag(*file, -1));
    EXPECT_FALSE(ID3Reader::readInfo(*file, 3));
    EXPECT_FALSE(ID3Reader::readPicture(*file, file->size()));
}

TEST(ID3Reader, PrefersTheFrontCover) {
    ID3Files files;
    const QByteArray back = picture(3, 4, "BACK");
    const QByteArray front = picture(3, 3, "FRONT", '\0', QByteArray("desc\0", 5));
    // The UTF-16 terminator is the first aligned pair of zero bytes, not the one inside "d\0\0\0".
    const QByteArray utf16Front = picture(3, 3, "FRONT", '\x01', QByteArray("\xFF\xFE" "d\0\0\0", 6));
    EXPECT_EQ(files.readPicture(tag(3, back + front)), "FRONT");
    EXPECT_EQ(files.readPicture(tag(3, back + utf16Front)), "FRONT");
    EXPECT_EQ(files.readPicture(tag(3, back + picture(3, 0, "OTHER"))), "BACK");
    EXPECT_EQ(files.readPicture(tag(3, picture(3, 3, "") + back)), "BACK");  // no data: not a picture
    EXPECT_FALSE(files.readPicture(tag(3, frame(3, "TIT2", latin1("Title")))));
}

TEST(ID3Reader, OrdersChaptersByTheTopLevelTableOfContents) {
    ID3Files files;
    const QByteArray chapters =
        chapter("c2", 5000, 9000, "Two") + chapter("c1", 0, 0, "One") + chapter("c3", 9000, 9500, "Three");
    const auto byTable = files.readTag(tag(4, tableOfContents("sub", false, {"c2", "missing"}) + chapters +
                                                  tableOfContents("top", true, {"c1", "sub", "top"})));
    ASSERT_TRUE(byTable);
    EXPECT_EQ(byTable->chapters,
              (QList<Chapter>{{0, 0, "One"}, {5, 9, "Two"}, {9, 9.5, "Three"}}));

    const auto fileOrder = files.readTag(tag(4, chapters + tableOfContents("sub", false, {"c1", "c2"})));
    ASSERT_TRUE(fileOrder);
    ASSERT_EQ(fileOrder->chapters.size(), 3);
    EXPECT_EQ(fileOrder->chapters[0].title, "Two");

    // readInfo cleans them up: sorted by start, an open end closed by the next start.
    const auto file = files.open(tag(4, chapters));
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
    const QByteArray id3 = tag(4, frame(4, "TIT2", latin1("Tag Title")) + frame(4, "TPE1", latin1("Tag Artist")) +
                                      frame(4, "TALB", latin1("Tag Album")) + picture(4, 3, "JPEG") +
                                      chapter("a", 0, 0, "Start") + chapter("b", 1500, 0, "End"),
                                  0, 64);
    const auto file = files.open(id3 + *MediaFactory::readAll(flac));
    ASSERT_TRUE(file);
    const auto info = FLACReader::readInfo(*file, id3.size());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags.title, "Flac Title");
    EXPECT_EQ(info->tags.artists, QStringList{"Tag Artist"});
    EXPECT_EQ(info->tags.album, "Tag Album");
    EXPECT_TRUE(info->hasArtwork);
    EXPECT_EQ(info->chapters, (QList<Chapter>{{0, 1.5, "Start"}, {1.5, 2.0, "End"}}));
}

TEST(ID3Reader, ReadsThePeerCorpusSafely) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus";
    QDirIterator it(*corpus, QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        const QString path = it.next();
        const auto file = FileBytes::open(path);
        if (!file) continue;
        ++files;
        const auto read = ID3Reader::readTag(*file, 0);
        (void)ID3Reader::readInfo(*file, 0);
        const auto picture = ID3Reader::readPicture(*file, 0);
        if (picture) {
            EXPECT_TRUE(read && read->hasPicture) << qPrintable(path);
        }
    }
    EXPECT_GT(files, 100);

    auto tagOf = [&](const char* name) {
        const auto file = FileBytes::open(*corpus + QLatin1Char('/') + QLatin1String(name));
        return file ? ID3Reader::readTag(*file, 0) : std::nullopt;
    };
    EXPECT_EQ(tagOf("taglib/005411.id3")->tags.title, "Sunshine Superman");
    EXPECT_EQ(tagOf("taglib/unsynch24.id3")->tags.title, "Hi");
    EXPECT_EQ(tagOf("taglib/unsynch.id3")->tags.title, "My babe just cares for me");
    EXPECT_EQ(tagOf("taglib/broken-tenc.id3")->tags.title, "Take On Me");
    EXPECT_EQ(tagOf("taglib/rare_frames.mp3")->tags.genre, "Pop");
    EXPECT_EQ(tagOf("mutagen/bad-TYER-frame.mp3")->tags.title->left(10), "This track");
    EXPECT_EQ(tagOf("mutagen/silence-44-s.mp3")->tags.artists.size(), 2);
    EXPECT_EQ(tagOf("mutagen/issue_21.id3")->tags.title, "Punk To Funk");
    EXPECT_EQ(tagOf("mutagen/id3v22-test.mp3")->tags.title, "cosmic american");
    const auto toc = tagOf("taglib/toc_many_children.mp3");
    ASSERT_EQ(toc->chapters.size(), 129);
    EXPECT_EQ(toc->chapters[0].title, "Marker 1");
    const auto itunes = FileBytes::open(*corpus + QStringLiteral("/taglib/itunes10.mp3"));
    ASSERT_TRUE(itunes);
    EXPECT_TRUE(ID3Reader::readPicture(*itunes, 0)->startsWith("\x89PNG"));
}
