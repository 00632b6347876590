#include "MP4DecoderConfig.h"

#include <gtest/gtest.h>

using sonvale::ByteView;
using sonvale::MP4DecoderConfig;

namespace {

MP4DecoderConfig audioConfig(const QByteArray& bytes) {
    MP4DecoderConfig config;
    MP4DecoderConfig::readAudioSpecificConfig(ByteView(bytes), config);
    return config;
}

}  // namespace

TEST(MP4DecoderConfig, ReadsRatesAndBothKindsOfSbrAndPsSignalling) {
    // Plain AAC LC at 48 kHz, mono, with a sync extension that says "no SBR".
    EXPECT_EQ(audioConfig(QByteArray::fromHex("1188 56e5 00")), (MP4DecoderConfig{0, 0, 48000, 1}));
    // A rate written out in 24 bits instead of an index.
    EXPECT_EQ(audioConfig(QByteArray::fromHex("17805dc010")), (MP4DecoderConfig{0, 0, 48000, 2}));
    // Explicit hierarchical signalling: SBR (object type 5) and PS (29) over a 22.05 kHz core.
    EXPECT_EQ(audioConfig(QByteArray::fromHex("2b9208")), (MP4DecoderConfig{0, 0, 44100, 2}));
    EXPECT_EQ(audioConfig(QByteArray::fromHex("eb8a08")), (MP4DecoderConfig{0, 0, 44100, 2}));
    // Backward-compatible signalling behind the GASpecificConfig: SBR, then SBR and PS.
    EXPECT_EQ(audioConfig(QByteArray::fromHex("138856e5a54800")), (MP4DecoderConfig{0, 0, 44100, 1}));
    EXPECT_EQ(audioConfig(QByteArray::fromHex("138856e5a54880")), (MP4DecoderConfig{0, 0, 44100, 2}));
    // Too short to hold the channel configuration.
    EXPECT_EQ(audioConfig(QByteArray::fromHex("12")), MP4DecoderConfig{});
}

TEST(MP4DecoderConfig, FindsTheBitRatesWithLongAndShortDescriptorLengths) {
    const QByteArray longLengths = QByteArray::fromHex(
        "00000000 0380808022 000000 0480808014 401500001a 00000ce8 00000b62 0580808002 1210 068080800102");
    EXPECT_EQ(MP4DecoderConfig::read(ByteView(longLengths)), (MP4DecoderConfig{3304, 2914, 44100, 2}));
    const QByteArray shortLengths =
        QByteArray::fromHex("00000000 0319000000 0411 4015 000300 0000bb80 0000bb80 0502 1288 060102");
    EXPECT_EQ(MP4DecoderConfig::read(ByteView(shortLengths)), (MP4DecoderConfig{48000, 48000, 32000, 1}));
    // An MP3 stream (object type 0x6B) has no AudioSpecificConfig to read.
    QByteArray mp3 = shortLengths;
    mp3[11] = char(0x6B);
    EXPECT_EQ(MP4DecoderConfig::read(ByteView(mp3)), (MP4DecoderConfig{48000, 48000, 0, 0}));
    EXPECT_FALSE(MP4DecoderConfig::read(ByteView(shortLengths.left(16))));
    EXPECT_FALSE(MP4DecoderConfig::read(ByteView(QByteArray::fromHex("00000000 0500"))));
}
