#include "ReplayGain.h"

#include "TagFiles.h"
#include "TestBytes.h"
#include "TrackMetadata.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace sonvale;
using namespace testbytes;

namespace {

QByteArray flacBlock(uint8_t type, const QByteArray& body, bool last = false) {
    return char(type | (last ? 0x80 : 0)) + be(body.size(), 3) + body;
}

QByteArray flacFile(const QList<QByteArray>& comments) {
    QByteArray streamInfo(34, '\0');
    streamInfo.replace(10, 8, be((quint64(44100) << 44) | (quint64(1) << 41) | 441000, 8));
    QByteArray body = le32(6) + "vendor" + le32(uint32_t(comments.size()));
    for (const QByteArray& c : comments) body += le32(uint32_t(c.size())) + c;
    return "fLaC" + flacBlock(0, streamInfo) + flacBlock(4, body, true) + QByteArray(64, 'a');
}

// TXXX (TXX in 2.2) with a Latin-1 description and value.
QByteArray userText(int major, const QByteArray& description, const QByteArray& value) {
    return id3Frame(major, major == 2 ? "TXX" : "TXXX", '\0' + description + '\0' + value);
}

QByteArray atom(const char* type, const QByteArray& body) {
    return be(8 + body.size(), 4) + QByteArray(type, 4) + body;
}

QByteArray freeform(const QByteArray& name, const QByteArray& value) {
    return atom("----", atom("mean", be(0, 4) + "com.apple.iTunes") + atom("name", be(0, 4) + name) +
                            atom("data", be(1, 4) + be(0, 4) + value));
}

QByteArray mp4File(const QByteArray& items) {
    const QByteArray meta = atom("meta", be(0, 4) + atom("hdlr", QByteArray(25, '\0')) + atom("ilst", items));
    return atom("ftyp", "M4A " + be(0, 4) + "M4A isom") + atom("mdat", QByteArray(3000, 'x')) +
           atom("moov", atom("mvhd", QByteArray(100, '\0')) + atom("udta", meta));
}

QByteArray chunk(const char* id, const QByteArray& body) {
    const QByteArray out = QByteArray(id, 4) + le(body.size(), 4) + body;
    return body.size() % 2 ? out + '\0' : out;
}

QByteArray waveFile(const QByteArray& chunks) { return "RIFF" + le(4 + chunks.size(), 4) + "WAVE" + chunks; }

ReplayGain gains(std::optional<float> track, std::optional<float> trackPeak, std::optional<float> album,
                 std::optional<float> albumPeak) {
    return ReplayGain{track, trackPeak, album, albumPeak};
}

}  // namespace

TEST(ReplayGain, ParsesGainsPeaksAndR128ValuesAndRejectsWhatIsBeyondReason) {
    EXPECT_EQ(ReplayGainTags::parseGain("-6.02 dB"), -6.02f);
    EXPECT_EQ(ReplayGainTags::parseGain("+3.1 dB"), 3.1f);
    EXPECT_EQ(ReplayGainTags::parseGain(" -6.02"), -6.02f);
    EXPECT_EQ(ReplayGainTags::parseGain("3,5DB\n"), 3.5f);
    EXPECT_EQ(ReplayGainTags::parseGain("-64 dB"), -64.0f);
    for (const char* bad : {"", "dB", "loud", "-6.02 dBFS", "65 dB", "nan", "inf dB", "1e400"}) {
        EXPECT_FALSE(ReplayGainTags::parseGain(bad)) << bad;
    }

    EXPECT_EQ(ReplayGainTags::parsePeak("0.988553"), 0.988553f);
    EXPECT_EQ(ReplayGainTags::parsePeak("1.25"), 1.25f);
    for (const char* bad : {"0", "-0.5", "101", "nan", "1.0 dB"}) EXPECT_FALSE(ReplayGainTags::parsePeak(bad)) << bad;

    // Q7.8 relative to -23 LUFS: -512 is -2 dB there, +3 dB at the ReplayGain reference.
    EXPECT_EQ(ReplayGainTags::parseR128Gain("-512"), 3.0f);
    EXPECT_EQ(ReplayGainTags::parseR128Gain(" +256 "), 6.0f);
    EXPECT_EQ(ReplayGainTags::parseR128Gain("0"), 5.0f);
    for (const char* bad : {"", "1.5", "32768", "-32769", "-2 dB"}) {
        EXPECT_FALSE(ReplayGainTags::parseR128Gain(bad)) << bad;
    }
}

TEST(ReplayGain, TheFirstUsableValueWinsAndReplayGainWinsOverR128) {
    ReplayGainTags tags;
    tags.offer("R128_TRACK_GAIN", "-512");
    tags.offer("replaygain_track_gain", "loud");
    tags.offer("ReplayGain_Track_Gain", "-7.5 dB");
    tags.offer("REPLAYGAIN_TRACK_GAIN", "-1 dB");
    tags.offer("REPLAYGAIN_TRACK_PEAK", "0");
    tags.offer("replaygain_track_peak", "0.5");
    tags.offer("r128_album_gain", "256");
    tags.offer("REPLAYGAIN_ALBUM", "1 dB");
    EXPECT_EQ(tags.result(), gains(-7.5f, 0.5f, 6.0f, std::nullopt));
    EXPECT_TRUE(ReplayGainTags().result().empty());
    EXPECT_TRUE(ReplayGainTags::isGainName("replaygain_album_peak"));
    EXPECT_FALSE(ReplayGainTags::isGainName("REPLAYGAIN_ALBUM_PEAKS"));
}

// Vorbis comments in any case; an ID3v2 tag in front of the stream only fills the gaps.
TEST(ReplayGain, ReadsFlacCommentsAndTheTagInFront) {
    TagFiles files;
    const QByteArray flac = flacFile({"TITLE=x", "replaygain_track_gain=-6.02 dB", "REPLAYGAIN_TRACK_PEAK=0.9",
                                      "Replaygain_Album_Gain=+1.5 dB", "no equals sign"});
    EXPECT_EQ(readReplayGain(files.write(flac)), gains(-6.02f, 0.9f, 1.5f, std::nullopt));

    const QByteArray tag = id3Tag(3, userText(3, "REPLAYGAIN_TRACK_GAIN", "-9 dB") +
                                         userText(3, "REPLAYGAIN_ALBUM_PEAK", "0.95"));
    EXPECT_EQ(readReplayGain(files.write(tag + flac)), gains(-6.02f, 0.9f, 1.5f, 0.95f));
    EXPECT_TRUE(readReplayGain(files.write(flacFile({"TITLE=x"}))).empty());
}

TEST(ReplayGain, ReadsUserTextFramesOfEveryID3Version) {
    TagFiles files;
    const QByteArray audio(64, '\xFF');
    for (const int major : {2, 3, 4}) {
        SCOPED_TRACE(major);
        const QByteArray frames = id3Frame(major, major == 2 ? "TT2" : "TIT2", QByteArray("\0Song", 5)) +
                                  userText(major, "replaygain_album_gain", "-3.2 dB") +
                                  userText(major, "MusicBrainz Album Id", "x") +
                                  userText(major, "replaygain_album_peak", " 1.02 ");
        EXPECT_EQ(readReplayGain(files.write(id3Tag(major, frames) + audio)),
                  gains(std::nullopt, std::nullopt, -3.2f, 1.02f));
    }
    // UTF-16 with byte-order marks, as some taggers write every frame.
    auto utf16 = [](const QByteArray& latin1) {
        QByteArray out("\xFF\xFE", 2);
        for (const char c : latin1) out += QByteArray(1, c) + '\0';
        return out;
    };
    const QByteArray frame =
        id3Frame(4, "TXXX", '\x01' + utf16("REPLAYGAIN_TRACK_GAIN") + QByteArray(2, '\0') + utf16("-4.5 dB"));
    EXPECT_EQ(readReplayGain(files.write(id3Tag(4, frame) + audio)).trackGain, -4.5f);
}

TEST(ReplayGain, ReadsMp4FreeformItemsPastALargeCover) {
    TagFiles files;
    const QByteArray items = atom("covr", atom("data", be(13, 4) + be(0, 4) + QByteArray(200000, 'j'))) +
                             freeform("iTunNORM", " 0000") + freeform("replaygain_track_gain", "-2.50 dB") +
                             freeform("REPLAYGAIN_TRACK_PEAK", "0.700012") + freeform("R128_ALBUM_GAIN", "-1280");
    EXPECT_EQ(readReplayGain(files.write(mp4File(items))), gains(-2.5f, 0.700012f, 0.0f, std::nullopt));
    EXPECT_TRUE(readReplayGain(files.write(mp4File(freeform("replaygain_track_gain", "")))).empty());
}

TEST(ReplayGain, ReadsTheID3ChunkOfAWaveFile) {
    TagFiles files;
    const QByteArray fmt = chunk("fmt ", le(1, 2) + le(2, 2) + le(8000, 4) + le(32000, 4) + le(4, 2) + le(16, 2));
    const QByteArray tag = id3Tag(3, userText(3, "REPLAYGAIN_TRACK_GAIN", "1.25 dB"));
    EXPECT_EQ(readReplayGain(files.write(waveFile(fmt + chunk("data", QByteArray(64, '\0')) + chunk("id3 ", tag))))
                  .trackGain,
              1.25f);
}

// Files as an encoder writes them, and files with nothing to read.
TEST(ReplayGain, ReadsFilesMadeByTheEncoderAndNothingFromOthers) {
    MediaFactory media;
    const QStringList tags = metadata({"REPLAYGAIN_TRACK_GAIN=-6.02 dB", "REPLAYGAIN_TRACK_PEAK=0.5",
                                       "REPLAYGAIN_ALBUM_GAIN=-7.00 dB", "REPLAYGAIN_ALBUM_PEAK=0.75"});
    for (const char* name : {"a.flac", "a.mp3"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(readReplayGain(media.ffmpeg(name, tags)), gains(-6.02f, 0.5f, -7.0f, 0.75f));
    }
    EXPECT_TRUE(readReplayGain(media.ffmpeg("plain.flac", {})).empty());
    EXPECT_TRUE(readReplayGain(media.write("text.txt", "not audio")).empty());
    EXPECT_TRUE(readReplayGain(media.path("missing.flac")).empty());
}
