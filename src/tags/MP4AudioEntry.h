#pragma once

#include "ByteView.h"

#include <optional>

namespace sonvale {

// Technical values from the first sample description (stsd) of an audio track: the sample
// entry's own rate and channel count, refined by the codec configuration it carries (esds for
// AAC, the ALAC magic cookie, dfLa for FLAC, dOps for Opus) and the bit rates declared by esds,
// the ALAC cookie or btrt. Stateless and thread-safe; unknown values are 0.
struct MP4AudioEntry {
    qint64 sampleRate = 0;
    qint64 channels = 0;
    qint64 bitRate = 0;  // as declared; 0 when nothing declares one

    bool operator==(const MP4AudioEntry&) const = default;

    // Reads the stsd of a track's sample table (the body of stbl).
    static std::optional<MP4AudioEntry> read(ByteView stbl);
};

}  // namespace sonvale
