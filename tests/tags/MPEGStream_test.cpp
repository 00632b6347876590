#include "MPEGStream.h"

#include "ID3Header.h"
#include "ID3v1Tag.h"
#include "MediaFactory.h"
#include "TestBytes.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <cmath>

using namespace sonvale;
using namespace testbytes;

namespace {

// Duration and bit rate of the first audio stream as ffprobe reports them.
std::optional<AudioProperties> ffprobe(const QString& path) {
    QProcess process;
    process.start("ffprobe", {"-v", "error", "-select_streams", "a:0", "-show_entries", "stream=duration,bit_rate",
                              "-of", "default=noprint_wrappers=1", path});
    if (!process.waitForFinished(60000) || process.exitCode() != 0) return std::nullopt;
    AudioProperties probe;
    for (const QByteArray& line : process.readAllStandardOutput().split('\n')) {
        if (line.startsWith("duration=")) probe.duration = line.mid(9).toDouble();
        if (line.startsWith("bit_rate=")) probe.bitRate = line.mid(9).toLongLong();
    }
    return probe.duration > 0 ? std::optional(probe) : std::nullopt;
}

qint64 id3Length(const QByteArray& bytes) {
    const auto header = ID3Header::parse(ByteView(bytes));
    return header ? header->totalLength() : 0;
}

// The stream of a whole file, as an MPEG reader sees it: behind the ID3v2 tag, up to the
// trailing tags.
std::optional<AudioProperties> readStream(const QString& path) {
    const auto file = FileBytes::open(path);
    if (!file) return std::nullopt;
    qint64 start = 0;
    if (const auto head = file->readUpTo(0, ID3Header::kSize)) start = id3Length(*head);
    return MPEGStream::read(*file, start, ID3v1Tag::audioEnd(*file));
}

// `count` frames of `length` bytes, each a header word followed by silence-like zeros.
QByteArray frames(uint32_t header, qint64 length, int count) {
    return (be32(header) + QByteArray(length - 4, '\0')).repeated(count);
}

// Bytes that hold no frame sync but are not zero either.
QByteArray junk(qint64 size) { return QByteArray(size, '\x55'); }

// MPEG 1 layer III, 128 kbit/s, 44.1 kHz, joint stereo: 417 bytes (418 with padding).
constexpr uint32_t kLayer3Header = 0xFFFB9064;

}  // namespace

TEST(MPEGStream, MatchesFfprobeAcrossVersionsLayersAndBitRateModes) {
    // Long enough for the encoder delay to stay well below 0.5%. With a LAME tag (ffmpeg writes
    // one in a Xing/Info frame), delay and padding come off and the length is the tone's.
    const QString lame = QStringLiteral("libmp3lame");
    const struct {
        const char* name;
        int sampleRate, channels;
        double seconds;
        QStringList args;
        bool lameTag;
    } cases[] = {
        {"cbr-44k-stereo.mp3", 44100, 2, 12, {"-c:a", lame, "-b:a", "128k"}, true},
        {"vbr-48k-stereo.mp3", 48000, 2, 12, {"-c:a", lame, "-q:a", "2"}, true},
        {"vbr-32k-mono.mp3", 32000, 1, 12, {"-c:a", lame, "-q:a", "6"}, true},
        {"vbr-22k-stereo.mp3", 22050, 2, 30, {"-c:a", lame, "-q:a", "4"}, true},
        {"cbr-16k-mono.mp3", 16000, 1, 30, {"-c:a", lame, "-b:a", "32k"}, true},
        {"vbr-8k-mono.mp3", 8000, 1, 40, {"-c:a", lame, "-q:a", "5"}, true},
        {"plain-44k.mp3", 44100, 2, 12, {"-c:a", lame, "-b:a", "160k", "-write_xing", "0"}, false},
        {"layer2-48k.mp2", 48000, 2, 12, {"-c:a", "mp2", "-b:a", "192k"}, false},
    };
    MediaFactory media;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = media.ffmpeg(c.name, c.args, c.seconds, c.sampleRate, c.channels);
        const auto props = readStream(path);
        const auto probe = ffprobe(path);
        ASSERT_TRUE(props && probe);
        EXPECT_EQ(props->sampleRate, c.sampleRate);
        EXPECT_EQ(props->channels, c.channels);
        EXPECT_NEAR(props->duration, probe->duration, probe->duration * 0.005);
        EXPECT_NEAR(double(props->bitRate), probe->bitRate, probe->bitRate * 0.01);
        if (c.lameTag) {
            EXPECT_NEAR(props->duration, c.seconds, 1.0 / c.sampleRate);
        }
    }
}

TEST(MPEGStream, ReadsLayerIFramesAndRejectsReservedHeaderFields) {
    MediaFactory media;
    // MPEG 1 layer I, 384 kbit/s, 48 kHz, stereo: 384-byte frames of 384 samples.
    EXPECT_EQ(readStream(media.write("l1.mp1", frames(0xFFFFC400, 384, 100))),
              (AudioProperties{0.8, 384000, 48000, 2}));
    // MPEG 2 layer I, 128 kbit/s, 24 kHz, mono: 256-byte frames.
    EXPECT_EQ(readStream(media.write("l1lsf.mp1", frames(0xFFF784C0, 256, 100))),
              (AudioProperties{1.6, 128000, 24000, 1}));

    // Each word is kLayer3Header with one field set to a value no stream may use.
    // Version 01, layer 00, bit rate 15, free format, sample rate 11.
    for (const uint32_t header : {0xFFEB9064u, 0xFFF99064u, 0xFFFBF064u, 0xFFFB0064u, 0xFFFB9C64u}) {
        EXPECT_FALSE(readStream(media.write("bad.mp3", frames(header, 417, 20)))) << std::hex << header;
    }
}

TEST(MPEGStream, FindsFirstFrameBehindStackedTagPaddingAndFalseSyncInTruncatedFiles) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("plain.mp3"),
                                      {"-c:a", "libmp3lame", "-b:a", "160k", "-write_xing", "0"}, 3);
    const auto original = MediaFactory::readAll(path);
    ASSERT_TRUE(original);
    const qint64 tagLength = id3Length(*original);
    const QByteArray tag = original->left(tagLength);
    const QByteArray audio = original->mid(tagLength);
    const auto clean = readStream(path);
    ASSERT_TRUE(clean);
    ASSERT_EQ(clean->bitRate, 160000);

    // A second tag whose body holds two well-spaced 128 kbit/s frames, the way an embedded
    // file might: only skipping the tag as a whole avoids them.
    const QByteArray decoy = frames(kLayer3Header, 417, 2);
    const QByteArray stacked = id3Tag(4, decoy);
    // A lone header whose successor is missing, inside junk.
    const QByteArray falseSync = junk(100) + be32(kLayer3Header) + junk(900);
    const QByteArray zeros(2000, '\0');

    const auto props = readStream(media.write("junk.mp3", tag + stacked + zeros + falseSync + audio));
    ASSERT_TRUE(props);
    EXPECT_EQ(*props, *clean);

    // The scan gives up after 64 KiB.
    EXPECT_FALSE(readStream(media.write("far.mp3", tag + junk(70000) + audio)));
    // A lone partial frame still names its format; three bytes are no frame.
    const auto partial = readStream(media.write("partial.mp3", tag + audio.left(200))).value_or(AudioProperties{});
    EXPECT_EQ(std::tuple(partial.sampleRate, partial.channels), std::tuple(44100, 2));
    EXPECT_FALSE(readStream(media.write("stub.mp3", tag + audio.left(3))));
}

TEST(MPEGStream, TrustsXingCountsOnlyWhereTheyFitTheStream) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("cbr.mp3"), {"-c:a", "libmp3lame", "-b:a", "128k"}, 12);
    const auto bytes = MediaFactory::readAll(path);
    ASSERT_TRUE(bytes);
    const qint64 infoAt = bytes->indexOf("Info");
    ASSERT_GT(infoAt, 0);
    // A file cut short keeps the length its header tells, as it does for ffprobe.
    EXPECT_EQ(readStream(media.write("half.mp3", bytes->left(bytes->size() / 2))),
              readStream(path).value_or(AudioProperties{}));

    // ffprobe, too, estimates from the bit rate when the header counts no frames.
    QByteArray noCount = *bytes;
    noCount.replace(infoAt + 8, 4, be32(0));
    const auto probe = ffprobe(media.write(QStringLiteral("no-count.mp3"), noCount));
    ASSERT_TRUE(probe);

    // No frames, and far too many frames for the bytes the header counts.
    for (const uint32_t frameCount : {0u, 0x7FFFFFFFu}) {
        SCOPED_TRACE(frameCount);
        QByteArray patched = *bytes;
        patched.replace(infoAt + 8, 4, be32(frameCount));
        const auto props = readStream(media.write(QStringLiteral("patched.mp3"), patched));
        ASSERT_TRUE(props);
        EXPECT_EQ(props->bitRate, 128000);
        EXPECT_NEAR(props->duration, probe->duration, probe->duration * 0.005);
    }
    // Two files joined: the first one's header covers only half the stream.
    const auto joined = readStream(media.write("joined.mp3", *bytes + *bytes)).value_or(AudioProperties{});
    EXPECT_NEAR(joined.duration, 24.0, 0.24);
}

TEST(MPEGStream, MatchesFfprobeOnPeerFiles) {
    const auto peer = MediaFactory::peerCorpus();
    if (!peer) GTEST_SKIP() << "no peer corpus";
    // False frame headers ahead of the real stream, a second ID3v2 tag, a plain CBR stream, a
    // VBRI header (ffprobe stops at vbri.mp3's tag; the same stream sits in rare_frames.mp3).
    const std::pair<QString, QString> cases[] = {
        {"taglib/invalid-frames1.mp3", {}}, {"taglib/invalid-frames2.mp3", {}}, {"taglib/invalid-frames3.mp3", {}},
        {"taglib/duplicate_id3v2.mp3", {}}, {"taglib/bladeenc.mp3", {}},
        {"mutagen/vbri.mp3", "taglib/rare_frames.mp3"}};
    for (const auto& [name, probed] : cases) {
        SCOPED_TRACE(name.toStdString());
        const auto props = readStream(*peer + '/' + name);
        const auto probe = ffprobe(*peer + '/' + (probed.isEmpty() ? name : probed));
        ASSERT_TRUE(props && probe);
        EXPECT_NEAR(props->duration, probe->duration, probe->duration * 0.005);
        EXPECT_NEAR(double(props->bitRate), probe->bitRate, probe->bitRate * 0.01);
    }
}
