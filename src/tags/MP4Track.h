#pragma once

#include "ByteView.h"

#include <QList>

#include <cstdint>
#include <optional>

namespace sonvale {

// A time scale (units per second) and a duration in those units, as movie and media headers
// (mvhd, mdhd) and the movie extends header (mehd, duration only) store them.
struct MP4Duration {
    uint32_t timescale = 0;
    uint64_t units = 0;

    // Seconds; 0 when either value is unknown.
    double seconds() const;
    // Reads a version 0 or 1 mvhd or mdhd body.
    static std::optional<MP4Duration> readHeader(ByteView body);
};

// What the reader needs from one `trak` atom. Views point into the caller's bytes.
struct MP4Track {
    uint32_t id = 0;
    uint32_t handler = 0;            // media handler type: 'soun', 'text', 'vide', ...
    MP4Duration duration;            // from mdhd, in the track's own time scale
    QList<uint32_t> chapterTrackIds; // tref/chap
    ByteView sampleTable;            // body of mdia/minf/stbl; empty when missing

    // Nothing when the track has no readable header (tkhd) or media (mdia).
    static std::optional<MP4Track> read(ByteView trak);
};

}  // namespace sonvale
