#include "MP4Reader.h"

#include "TagFiles.h"
#include "TestBytes.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace sonvale;
using namespace testbytes;

namespace {

QByteArray atom(const char* type, const QByteArray& body) {
    return be(8 + body.size(), 4) + QByteArray(type, 4) + body;
}
QByteArray atom64(const char* type, const QByteArray& body) {
    return be(1, 4) + QByteArray(type, 4) + be(16 + body.size(), 8) + body;
}
QByteArray data(quint32 type, const QByteArray& value) { return atom("data", be(type, 4) + be(0, 4) + value); }
QByteArray text(const char* item, const QByteArray& value) { return atom(item, data(1, value)); }

QByteArray mvhd(quint32 timescale, quint32 duration) {
    return atom("mvhd", be(0, 4) + be(0, 8) + be(timescale, 4) + be(duration, 4) + QByteArray(80, '\0'));
}

QByteArray meta(const QByteArray& ilstItems, bool fullBox = true) {
    const QByteArray children = atom("hdlr", QByteArray(8, '\0') + "mdirappl" + QByteArray(9, '\0')) +
                                atom("ilst", ilstItems);
    return atom("meta", fullBox ? be(0, 4) + children : children);
}

const QByteArray kFtyp = atom("ftyp", "M4A " + be(0, 4) + "M4A isom");

// A file with a movie header (10 s) and an item list, nothing else.
QByteArray taggedFile(const QByteArray& ilstItems) {
    return kFtyp + atom("moov", mvhd(1000, 10000) + atom("udta", meta(ilstItems)));
}

}  // namespace

// With a small cover and with one of several hundred kilobytes, which the tags are read
// without (the picture reader still gets it whole).
TEST(MP4Reader, ReadsTagsPropertiesAndCoverOfAnAacFile) {
    MediaFactory media;
    const QString noise = media.path("noise.jpg");
    ASSERT_TRUE(MediaFactory::run("ffmpeg", {"-loglevel", "error", "-y", "-f", "lavfi", "-i",
                                             "nullsrc=s=600x600,geq=random(1)*255:128:128", "-frames:v", "1",
                                             "-q:v", "1", noise}));
    ASSERT_GT(QFileInfo(noise).size(), 200000);
    const QStringList tags =
        metadata({"title= Song ", "artist=Ann", "album=Album", "track=03/12", "genre=Jazz", "lyrics=la la"});
    for (const QString& jpeg : {media.jpeg("cover.jpg"), noise}) {
        SCOPED_TRACE(jpeg.toStdString());
        const QString path = media.ffmpeg("tags.m4a",
                                          QStringList{"-i", jpeg, "-map", "0", "-map", "1", "-c:a", "aac", "-b:a", "96k",
                                                      "-c:v", "copy", "-disposition:v", "attached_pic"} + tags,
                                          2.0, 48000, 1);
        const auto result = readFile(path, MP4Reader::readInfo);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->tags, (AudioTags{"Song", {"Ann"}, "Album", "3", "Jazz", "la la"}));
        EXPECT_NEAR(result->properties.duration, 2.0, 0.05);
        EXPECT_EQ(std::tuple(result->properties.sampleRate, result->properties.channels), std::tuple(48000, 1));
        EXPECT_NEAR(double(result->properties.bitRate), 96000, 20000);
        EXPECT_TRUE(result->hasArtwork);
        EXPECT_TRUE(result->chapters.isEmpty());
        EXPECT_EQ(readFile(path, MP4Reader::readPicture), MediaFactory::readAll(jpeg));
    }
}

TEST(MP4Reader, TakesAlacAndPcmValuesFromTheCodecConfigurationOrTheSampleSizes) {
    // At 96 kHz the sample entry's 16.16 rate overflows; the ALAC cookie has the real one.
    MediaFactory media;
    const auto alac = readFile(media.ffmpeg("alac.m4a", {"-c:a", "alac"}, 1.0, 96000, 2), MP4Reader::readInfo);
    ASSERT_TRUE(alac);
    EXPECT_EQ(std::tuple(alac->properties.sampleRate, alac->properties.channels), std::tuple(96000, 2));
    EXPECT_NEAR(alac->properties.duration, 1.0, 0.01);
    EXPECT_GT(alac->properties.bitRate, 0);
    // Nothing declares a bit rate for PCM: it comes from the sample sizes (16-bit mono).
    const auto pcm = readFile(media.ffmpeg("pcm.mov", {"-c:a", "pcm_s16be"}, 1.0, 44100, 1), MP4Reader::readInfo);
    ASSERT_TRUE(pcm);
    EXPECT_EQ(std::tuple(pcm->properties.sampleRate, pcm->properties.channels), std::tuple(44100, 1));
    EXPECT_NEAR(double(pcm->properties.bitRate), 705600, 1000);
}

TEST(MP4Reader, PrefersTheChapterTrackOverTheNeroList) {
    // ffmpeg's iPod muxer writes both a Nero list and a chapter text track.
    TagFiles files;
    const QString chapters = files.media.write(
        "chapters.txt", ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=Intro\n"
                        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=3000\ntitle=Middle\n");
    const QString path =
        files.media.ffmpeg("chapters.m4a", {"-i", chapters, "-map", "0", "-map_chapters", "1", "-c:a", "aac"}, 3.0);
    QByteArray bytes = *MediaFactory::readAll(path);
    // Rename the Nero titles so that the two lists can be told apart.
    const qsizetype chpl = bytes.indexOf("chpl");
    ASSERT_GT(chpl, 0);
    bytes.replace(bytes.indexOf("Intro", chpl), 5, "Nero1");
    bytes.replace(bytes.indexOf("Middle", chpl), 6, "Nero-2");
    EXPECT_EQ(files.value(bytes, MP4Reader::readInfo).chapters, (QList<Chapter>{{0, 1, "Intro"}, {1, 3, "Middle"}}));
    // With the text track's only chunk moved outside the file, the Nero list is used.
    bytes.replace(bytes.lastIndexOf("stco") + 12, 4, be(0x7FFFFFF0, 4));
    const QList<Chapter> nero = files.value(bytes, MP4Reader::readInfo).chapters;
    EXPECT_EQ(nero.value(0), (Chapter{0, 1, "Nero1"}));
    EXPECT_EQ(nero.value(1).title, "Nero-2");
}

TEST(MP4Reader, DecodesItemValues) {
    const QByteArray artists = atom("\251ART", data(1, "A") + data(1, "  ") + data(2, QByteArray("\0B", 2)));
    auto gnre = [](int id) { return atom("gnre", data(0, be(id, 2))); };
    auto trkn = [](int track) { return atom("trkn", data(0, be(0, 2) + be(track, 2) + be(12, 2) + be(0, 2))); };
    const struct { QByteArray items; AudioTags tags; } cases[] = {
        // Every artist value counts; a text genre wins over a numeric one (the ID3v1 number plus one).
        {artists + text("\251ART", "C") + gnre(22) + text("\251gen", "Jazz"),
         {{}, {"A", "B", "C"}, {}, {}, "Jazz", {}}},
        {text("\251gen", " ") + gnre(22), {{}, {}, {}, {}, "Ska", {}}},
        {gnre(192), {{}, {}, {}, {}, "Psybient", {}}},
        {gnre(0), {}},
        {gnre(193), {}},
        {trkn(7), {{}, {}, {}, "7", {}, {}}},
        {trkn(0), {}},
        {atom("trkn", data(0, be(0, 2))), {}},
        {text("trkn", "05/9"), {{}, {}, {}, "5", {}, {}}},
        // Short data atoms and undecodable text are skipped for the next value.
        {atom("\251nam", atom("data", be(1, 4)) + data(1, "\xFF\xFE") + data(1, "Third")),
         {"Third", {}, {}, {}, {}, {}}},
    };
    TagFiles files;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.items.toHex().toStdString());
        EXPECT_EQ(files.value(taggedFile(c.items), MP4Reader::readInfo).tags, c.tags);
    }
}

TEST(MP4Reader, FollowsLargeSizesSizeZeroAndQuickTimeMeta) {
    TagFiles files;
    // 64-bit moov and udta, a QuickTime meta without version and flags, a version 1 movie
    // header, and an mdat of size 0 that runs to the end of the file.
    const QByteArray mvhd1 =
        atom("mvhd", be(0x01000000, 4) + be(0, 16) + be(600, 4) + be(1500, 8) + QByteArray(80, '\0'));
    const QByteArray moov = atom64("moov", mvhd1 + atom64("udta", meta(text("\251nam", "Wide"), false)));
    const AudioInfo wide = files.value(kFtyp + moov + be(0, 4) + "mdat" + QByteArray(100, 'x'), MP4Reader::readInfo);
    EXPECT_EQ(wide.tags.title, "Wide");
    EXPECT_DOUBLE_EQ(wide.properties.duration, 2.5);

    // A udta of size 0 as the last child of moov.
    const QByteArray open = atom("moov", mvhd(1000, 10000) + be(0, 4) + "udta" + meta(text("\251alb", "Open")));
    EXPECT_EQ(files.value(kFtyp + open, MP4Reader::readInfo).tags.album, "Open");
}

TEST(MP4Reader, KeepsWhatPrecedesAMalformedAtomAndFailsWithoutACompleteMovie) {
    TagFiles files;
    const QByteArray title = text("\251nam", "Kept");
    // A size below the header's length, a size past the parent, a large size below 16: each
    // ends the item list there, so nothing after it is read and the walk cannot loop.
    for (const QByteArray& bad : {be(4, 4) + "free", be(4000, 4) + "free", be(1, 4) + "free" + be(8, 8)}) {
        const auto result = files.read(taggedFile(title + bad + text("\251alb", "Lost")), MP4Reader::readInfo);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->tags, (AudioTags{"Kept", {}, {}, {}, {}, {}}));
    }
    for (const QByteArray& bytes :
         {kFtyp + atom("mdat", QByteArray(64, 'x')), taggedFile(title).chopped(1), kFtyp + be(8, 4) + "moov"}) {
        EXPECT_FALSE(files.read(bytes, MP4Reader::readInfo));
    }
}

TEST(MP4Reader, MeasuresTheMediaDataWhenTheSampleSizesAreImpossible) {
    // One AAC track without a codec configuration whose 2^32 - 1 samples of 2^32 - 1 bytes
    // each overflow any 64-bit total.
    const QByteArray entry = atom("mp4a", QByteArray(6, '\0') + be(1, 2) + be(0, 8) + be(2, 2) + be(16, 2) +
                                              be(0, 4) + be(44100u << 16, 4));
    const QByteArray stbl = atom("stbl", atom("stsd", be(0, 4) + be(1, 4) + entry) +
                                             atom("stsz", be(0, 4) + be(0xFFFFFFFF, 4) + be(0xFFFFFFFF, 4)));
    const QByteArray mdia = atom("mdia", atom("mdhd", be(0, 12) + be(44100, 4) + be(88200, 4) + be(0, 4)) +
                                             atom("hdlr", be(0, 8) + "soun" + QByteArray(13, '\0')) +
                                             atom("minf", stbl));
    const QByteArray trak = atom("trak", atom("tkhd", be(0, 12) + be(1, 4) + QByteArray(72, '\0')) + mdia);
    TagFiles files;
    const auto result = files.read(kFtyp + atom("moov", mvhd(1000, 2000) + trak) + atom("mdat", QByteArray(1000, 'x')),
                                   MP4Reader::readInfo);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->properties, (AudioProperties{2.0, 4000, 44100, 2}));
}
