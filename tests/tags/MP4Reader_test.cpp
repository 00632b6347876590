#include "MP4Reader.h"

#include "MediaFactory.h"
#include "TestBytes.h"


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

std::optional<AudioInfo> info(MediaFactory& media, const QByteArray& bytes) {
    static int n = 0;
    const auto file = FileBytes::open(media.write(QStringLiteral("crafted%1.m4a").arg(n++), bytes));
    return file ? MP4Reader::readInfo(*file, 0) : std::nullopt;
}

std::optional<AudioInfo> info(const QString& path) {
    const auto file = FileBytes::open(path);
    return file ? MP4Reader::readInfo(*file, 0) : std::nullopt;
}

std::optional<QByteArray> picture(const QString& path) {
    const auto file = FileBytes::open(path);
    return file ? MP4Reader::readPicture(*file, 0) : std::nullopt;
}

// A three-second AAC file with two chapters, as ffmpeg's iPod muxer writes it: a Nero list and
// a chapter text track.
QString chapteredFile(MediaFactory& media) {
    const QString chapters = media.write("chapters.txt", ";FFMETADATA1\n"
                                                         "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=Intro\n"
                                                         "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=3000\ntitle=Middle\n");
    return media.ffmpeg("chapters.m4a", {"-i", chapters, "-map", "0", "-map_chapters", "1", "-c:a", "aac"}, 3.0);
}

}  // namespace

TEST(MP4Reader, ReadsTagsAndPropertiesOfAnAacFile) {
    MediaFactory media;
    const QString path = media.ffmpeg("tags.m4a",
                                      {"-c:a", "aac", "-b:a", "96k", "-metadata", "title= Song ", "-metadata",
                                       "artist=Ann", "-metadata", "album=Album", "-metadata", "track=03/12",
                                       "-metadata", "genre=Jazz", "-metadata", "lyrics=la la"},
                                      2.0, 48000, 1);
    const auto result = info(path);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->tags, (AudioTags{"Song", {"Ann"}, "Album", "3", "Jazz", "la la"}));
    EXPECT_NEAR(result->properties.duration, 2.0, 0.05);
    EXPECT_EQ(result->properties.sampleRate, 48000);
    EXPECT_EQ(result->properties.channels, 1);
    EXPECT_NEAR(double(result->properties.bitRate), 96000, 20000);
    EXPECT_FALSE(result->hasArtwork);
    EXPECT_TRUE(result->chapters.isEmpty());
    EXPECT_FALSE(picture(path));
}

TEST(MP4Reader, TakesAlacAndPcmValuesFromTheCodecConfigurationOrTheSampleSizes) {
    MediaFactory media;
    // At 96 kHz the sample entry's 16.16 rate overflows; the ALAC cookie has the real one.
    const auto alac = info(media.ffmpeg("alac.m4a", {"-c:a", "alac"}, 1.0, 96000, 2));
    ASSERT_TRUE(alac);
    EXPECT_EQ(alac->properties.sampleRate, 96000);
    EXPECT_EQ(alac->properties.channels, 2);
    EXPECT_NEAR(alac->properties.duration, 1.0, 0.01);
    EXPECT_GT(alac->properties.bitRate, 0);

    // Nothing declares a bit rate for PCM: it comes from the sample sizes (16-bit mono), or
    // without a sample size table from the media data atoms.
    const QString pcmPath = media.ffmpeg("pcm.mov", {"-c:a", "pcm_s16be"}, 1.0, 44100, 1);
    const auto pcm = info(pcmPath);
    ASSERT_TRUE(pcm);
    EXPECT_EQ(pcm->properties.sampleRate, 44100);
    EXPECT_EQ(pcm->properties.channels, 1);
    EXPECT_NEAR(double(pcm->properties.bitRate), 705600, 1000);
    QByteArray noSizes = *MediaFactory::readAll(pcmPath);
    noSizes.replace("stsz", "xxxx");
    const auto measured = info(media, noSizes);
    ASSERT_TRUE(measured);
    EXPECT_NEAR(double(measured->properties.bitRate), 705600, 1000);
}

TEST(MP4Reader, ReturnsTheAttachedCover) {
    MediaFactory media;
    const QString jpeg = media.jpeg("cover.jpg");
    const QString path = media.ffmpeg("cover.m4a", {"-i", jpeg, "-map", "0", "-map", "1", "-c:a", "aac", "-c:v",
                                                    "copy", "-disposition:v", "attached_pic"});
    const auto result = info(path);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->hasArtwork);
    EXPECT_EQ(picture(path), MediaFactory::readAll(jpeg));
}

TEST(MP4Reader, PrefersTheChapterTrackOverTheNeroList) {
    MediaFactory media;
    QByteArray bytes = *MediaFactory::readAll(chapteredFile(media));
    // Rename the Nero titles so that the two lists can be told apart.
    const qsizetype chpl = bytes.indexOf("chpl");
    ASSERT_GT(chpl, 0);
    bytes.replace(bytes.indexOf("Intro", chpl), 5, "Nero1");
    bytes.replace(bytes.indexOf("Middle", chpl), 6, "Nero-2");
    const auto fromTrack = info(media, bytes);
    ASSERT_TRUE(fromTrack);
    EXPECT_EQ(fromTrack->chapters, (QList<Chapter>{{0, 1, "Intro"}, {1, 3, "Middle"}}));

    // With the text track's only chunk moved outside the file, the Nero list is used, and
    // its last chapter ends with the file.
    const qsizetype stco = bytes.lastIndexOf("stco");
    bytes.replace(stco + 12, 4, be(0x7FFFFFF0, 4));
    const auto fromNero = info(media, bytes);
    ASSERT_TRUE(fromNero);
    ASSERT_EQ(fromNero->chapters.size(), 2);
    EXPECT_EQ(fromNero->chapters[0], (Chapter{0, 1, "Nero1"}));
    EXPECT_EQ(fromNero->chapters[1].title, "Nero-2");
    EXPECT_DOUBLE_EQ(fromNero->chapters[1].end, fromNero->properties.duration);
}

TEST(MP4Reader, CollectsEveryArtistAndPrefersATextGenreOverANumericOne) {
    MediaFactory media;
    const QByteArray artists = atom("\251ART", data(1, "A") + data(1, "  ") + data(2, QByteArray("\0B", 2))) +
                               text("\251ART", "C");
    const auto both = info(media, taggedFile(artists + atom("gnre", data(0, be(22, 2))) + text("\251gen", "Jazz")));
    ASSERT_TRUE(both);
    EXPECT_EQ(both->tags.artists, (QStringList{"A", "B", "C"}));
    EXPECT_EQ(both->tags.genre, "Jazz");

    // An empty text genre gives way to the ID3v1 number (plus one); 0 and 193 name nothing.
    auto genre = [&](const QByteArray& items) { return info(media, taggedFile(items)).value_or(AudioInfo{}).tags.genre; };
    EXPECT_EQ(genre(text("\251gen", " ") + atom("gnre", data(0, be(22, 2)))), "Ska");
    EXPECT_EQ(genre(atom("gnre", data(0, be(192, 2)))), "Psybient");
    EXPECT_FALSE(genre(atom("gnre", data(0, be(0, 2)))));
    EXPECT_FALSE(genre(atom("gnre", data(0, be(193, 2)))));
}

TEST(MP4Reader, ReadsBinaryAndTextTrackNumbers) {
    MediaFactory media;
    auto track = [&](const QByteArray& item) { return info(media, taggedFile(item))->tags.trackNumber; };
    EXPECT_EQ(track(atom("trkn", data(0, be(0, 2) + be(7, 2) + be(12, 2) + be(0, 2)))), "7");
    EXPECT_FALSE(track(atom("trkn", data(0, be(0, 2) + be(0, 2) + be(12, 2) + be(0, 2)))));
    EXPECT_FALSE(track(atom("trkn", data(0, be(0, 2)))));
    EXPECT_EQ(track(text("trkn", "05/9")), "5");
}

TEST(MP4Reader, FollowsLargeSizesSizeZeroAndQuickTimeMeta) {
    MediaFactory media;
    // 64-bit moov and udta, a QuickTime meta without version and flags, a version 1 movie
    // header, and an mdat of size 0 that runs to the end of the file.
    const QByteArray mvhd1 = atom("mvhd", be(0x01000000, 4) + be(0, 16) + be(600, 4) + be(1500, 8) + QByteArray(80, '\0'));
    const QByteArray moov = atom64("moov", mvhd1 + atom64("udta", meta(text("\251nam", "Wide"), false)));
    const auto wide = info(media, kFtyp + moov + be(0, 4) + "mdat" + QByteArray(100, 'x'));
    ASSERT_TRUE(wide);
    EXPECT_EQ(wide->tags.title, "Wide");
    EXPECT_DOUBLE_EQ(wide->properties.duration, 2.5);

    // A udta of size 0 as the last child of moov.
    const QByteArray open = atom("moov", mvhd(1000, 10000) + be(0, 4) + "udta" + meta(text("\251alb", "Open")));
    EXPECT_EQ(info(media, kFtyp + open)->tags.album, "Open");
}

TEST(MP4Reader, KeepsWhatPrecedesAMalformedAtom) {
    MediaFactory media;
    const QByteArray title = text("\251nam", "Kept");
    const QByteArray album = text("\251alb", "Lost");
    // A size below the header's length, a size past the parent, a large size below 16: each
    // ends the item list there, so nothing after it is read and the walk cannot loop.
    for (const QByteArray& bad : {be(4, 4) + "free", be(4000, 4) + "free", be(1, 4) + "free" + be(8, 8)}) {
        const auto result = info(media, taggedFile(title + bad + album));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->tags.title, "Kept");
        EXPECT_FALSE(result->tags.album);
    }
    // Short data atoms and undecodable text are skipped for the next value.
    const QByteArray messy = atom("\251nam", atom("data", be(1, 4)) + data(1, "\xFF\xFE") + data(1, "Third"));
    EXPECT_EQ(info(media, taggedFile(messy))->tags.title, "Third");
}

TEST(MP4Reader, FailsWithoutACompleteMovieAtom) {
    MediaFactory media;
    const QByteArray file = taggedFile(text("\251nam", "T"));
    EXPECT_FALSE(info(media, kFtyp + atom("mdat", QByteArray(64, 'x'))));
    EXPECT_FALSE(info(media, file.left(file.size() - 1)));
    EXPECT_FALSE(info(media, kFtyp + be(8, 4) + "moov"));
    const auto outside = FileBytes::open(media.write("outside.m4a", file));
    ASSERT_TRUE(outside);
    EXPECT_FALSE(MP4Reader::readInfo(*outside, file.size()));
    EXPECT_FALSE(MP4Reader::readInfo(*outside, -1));
}

TEST(MP4Reader, MeasuresTheMediaDataWhenTheSampleSizesAreImpossible) {
    MediaFactory media;
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
    const auto result = info(media, kFtyp + atom("moov", mvhd(1000, 2000) + trak) + atom("mdat", QByteArray(1000, 'x')));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->properties, (AudioProperties{2.0, 4000, 44100, 2}));
}
