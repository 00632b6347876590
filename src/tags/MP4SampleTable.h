#pragma once

#include "ByteView.h"

#include <QList>

#include <cstdint>
#include <optional>

namespace sonvale {

// Reads the sample tables of one track (the body of its stbl atom): sizes (stsz), chunk
// offsets (stco, co64), the sample-to-chunk map (stsc) and the decoding times (stts).
// Stateless and thread-safe; every table is checked against the bytes it lies in.
class MP4SampleTable {
public:
    struct Sample {
        qint64 offset = 0;    // absolute file offset
        qint64 size = 0;
        uint64_t time = 0;    // start, in the track's time scale
        uint32_t duration = 0;

        bool operator==(const Sample&) const = default;
    };

    // The sum of all sample sizes; nothing when stsz is missing or truncated.
    static std::optional<qint64> totalBytes(ByteView stbl);
    // The first `limit` samples (or all, when there are fewer) with their places and times;
    // nothing when a table is missing or the tables disagree.
    static std::optional<QList<Sample>> samples(ByteView stbl, int limit);
};

}  // namespace sonvale
