#pragma once

#include "ByteView.h"

#include <cstdint>
#include <optional>

namespace sonvale {

// The decoder configuration of an MPEG-4 audio stream, from the elementary stream descriptor
// (esds) of an mp4a sample entry (ISO/IEC 14496-1 descriptors, 14496-3 AudioSpecificConfig).
// Stateless and thread-safe; values that can't be read are 0.
struct MP4DecoderConfig {
    uint32_t maxBitrate = 0;
    uint32_t avgBitrate = 0;
    qint64 sampleRate = 0;  // output rate, with SBR when it is signalled
    qint64 channels = 0;    // from the channel configuration, 2 when parametric stereo is signalled

    bool operator==(const MP4DecoderConfig&) const = default;

    // Reads an esds body (version and flags, then the ES descriptor).
    static std::optional<MP4DecoderConfig> read(ByteView esds);
    // Reads an AudioSpecificConfig into sampleRate and channels.
    static void readAudioSpecificConfig(ByteView config, MP4DecoderConfig& out);
};

}  // namespace sonvale
