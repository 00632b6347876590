#include "MPEGFrameHeader.h"

namespace sonvale {

namespace {

// Bit rates in kbit/s by bit-rate index; index 0 (free format) and 15 (invalid) are refused
// before these tables are consulted.
constexpr int kBitRates[5][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG 1, layer I
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // MPEG 1, layer II
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // MPEG 1, layer III
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // MPEG 2/2.5, layer I
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},          // MPEG 2/2.5, layers II and III
};

constexpr int kSampleRates[3][3] = {
    {44100, 48000, 32000},  // MPEG 1
    {22050, 24000, 16000},  // MPEG 2
    {11025, 12000, 8000},   // MPEG 2.5
};

int bitRateRow(MPEGFrameHeader::Version version, int layer) {
    if (version == MPEGFrameHeader::Version::MPEG1) return layer - 1;
    return layer == 1 ? 3 : 4;
}

}  // namespace

std::optional<MPEGFrameHeader> MPEGFrameHeader::parse(uint32_t word) {
    if ((word & 0xFFE00000u) != 0xFFE00000u) return std::nullopt;
    const unsigned versionBits = (word >> 19) & 0x3;
    const unsigned layerBits = (word >> 17) & 0x3;
    const unsigned bitRateIndex = (word >> 12) & 0xF;
    const unsigned sampleRateIndex = (word >> 10) & 0x3;
    if (versionBits == 1 || layerBits == 0 || bitRateIndex == 0 || bitRateIndex == 15 || sampleRateIndex == 3) {
        return std::nullopt;
    }

    MPEGFrameHeader h;
    h.version = versionBits == 3 ? Version::MPEG1 : versionBits == 2 ? Version::MPEG2 : Version::MPEG25;
    h.layer = 4 - int(layerBits);
    h.bitRate = qint64(kBitRates[bitRateRow(h.version, h.layer)][bitRateIndex]) * 1000;
    h.sampleRate = kSampleRates[int(h.version)][sampleRateIndex];
    h.channels = ((word >> 6) & 0x3) == 3 ? 1 : 2;
    const qint64 padding = (word >> 9) & 0x1;
    if (h.layer == 1) {
        h.samplesPerFrame = 384;
        h.frameLength = (12 * h.bitRate / h.sampleRate + padding) * 4;
    } else {
        // MPEG 2 and 2.5 halve the granules of layer III only.
        h.samplesPerFrame = (h.layer == 3 && h.version != Version::MPEG1) ? 576 : 1152;
        h.frameLength = qint64(h.samplesPerFrame / 8) * h.bitRate / h.sampleRate + padding;
    }
    return h;
}

bool MPEGFrameHeader::sameStream(const MPEGFrameHeader& next) const {
    return version == next.version && layer == next.layer && sampleRate == next.sampleRate;
}

qint64 MPEGFrameHeader::xingOffset() const {
    const bool mono = channels == 1;
    const qint64 sideInfo = version == Version::MPEG1 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    return kSize + sideInfo;
}

}  // namespace sonvale
