#pragma once

#include "AudioInfo.h"
#include "ByteView.h"
#include "FileBytes.h"
#include "MP4Track.h"

#include <QList>

#include <optional>

namespace sonvale {

// Reads the two kinds of MP4 chapter lists: the Nero list (moov/udta/chpl) and a QuickTime
// chapter track (a text track that the audio track names in tref/chap). Results are neither
// sorted nor finalised. Stateless and thread-safe; at most kMaxChapters are read.
class MP4Chapters {
public:
    static constexpr int kMaxChapters = 1024;

    // The chapters of a chpl body: version, flags, reserved bytes, a count, then per chapter
    // a 64-bit start in units of 100 ns and a title with an 8-bit length. A malformed entry
    // ends the list.
    static QList<Chapter> readNero(ByteView chpl);
    // One chapter per sample of a text track: each sample is a 16-bit length and the title;
    // times come from the track's time-to-sample table. Nothing when the samples can't be
    // located or read.
    static std::optional<QList<Chapter>> readTextTrack(const FileBytes& file, const MP4Track& track);
};

}  // namespace sonvale
