#pragma once

#include <QtGlobal>

#include <cstdint>
#include <optional>

namespace sonvale {

// The four-byte header of one MPEG audio frame (MPEG 1, 2 and 2.5; layers I, II and III),
// decoded into the values a reader needs. A plain value; parse() is pure.
struct MPEGFrameHeader {
    enum class Version : uint8_t { MPEG1, MPEG2, MPEG25 };

    static constexpr qint64 kSize = 4;
    // The longest frame any valid header describes (layer II, 160 kbit/s at 8 kHz, padded).
    static constexpr qint64 kMaxFrameLength = 2881;

    Version version = Version::MPEG1;
    int layer = 0;             // 1, 2 or 3
    qint64 bitRate = 0;        // bits per second
    qint64 sampleRate = 0;     // Hz
    int channels = 0;          // 1 for mono, 2 for every other channel mode
    int samplesPerFrame = 0;
    qint64 frameLength = 0;    // bytes, header and padding slot included

    // The header in a big-endian word; nothing without the 11-bit sync, with a reserved
    // version, layer or sample-rate index, or with a free-format or invalid bit-rate index.
    static std::optional<MPEGFrameHeader> parse(uint32_t word);

    // Whether `next` can follow this frame in one stream: same version, layer and sample rate.
    bool sameStream(const MPEGFrameHeader& next) const;

    // Distance from the frame start to where an encoder puts a Xing or Info header: the
    // header followed by the layer III side information.
    qint64 xingOffset() const;

    bool operator==(const MPEGFrameHeader&) const = default;
};

}  // namespace sonvale
