#pragma once

#include "AudioInfo.h"
#include "ByteView.h"
#include "FileBytes.h"
#include "RIFFChunks.h"

#include <cstdint>
#include <optional>

namespace sonvale {

// The native chunks of an AIFF or AIFC form: "COMM", the size of "SSND" (never its samples),
// and the "NAME" and "AUTH" texts. Used by RIFFReader, which adds what an ID3 chunk holds.
// Stateless and thread-safe; nothing is reported.
class AIFFReader {
public:
    struct Common {
        uint16_t channels = 0;
        uint32_t frames = 0;
        uint16_t sampleSize = 0;  // bits
        double sampleRate = 0;
        uint32_t compression = 0;  // AIFC compression type; "NONE" for plain AIFF

        bool operator==(const Common&) const = default;
    };

    // A "COMM" body; nothing when it is too short, has no channels or no valid sample rate.
    static std::optional<Common> parseCommon(ByteView body, bool aifc);
    // An 80-bit IEEE 754 extended-precision number (sign, 15-bit exponent, 64-bit mantissa
    // with an explicit integer bit) that is a plausible sample rate: positive, finite, and
    // between 1 Hz and 2^24 Hz. Nothing otherwise.
    static std::optional<double> sampleRate(ByteView bytes);
    // Technical values, title and artist; nothing without a usable "COMM" chunk.
    static std::optional<AudioInfo> readInfo(const FileBytes& file, const RIFFForm& form);
};

}  // namespace sonvale
