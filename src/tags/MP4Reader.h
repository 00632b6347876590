#pragma once

#include "AudioInfo.h"
#include "FileBytes.h"
#include "ReplayGain.h"

#include <QByteArray>

#include <optional>

namespace sonvale {

// Reads MP4/QuickTime audio files (M4A, M4B, MP4, 3GP): the iTunes-style item list for the
// tags and the cover, the movie and audio track headers for the technical values, and Nero or
// QuickTime chapter lists. Only atom headers and the movie atom (moov, at most kMaxMovieBytes)
// are read, plus the samples of a chapter text track; audio data never is. Stateless and
// thread-safe; a file without a readable movie atom gives std::nullopt.
class MP4Reader {
public:
    static constexpr qint64 kMaxMovieBytes = 32LL * 1024 * 1024;

    static std::optional<AudioInfo> readInfo(const FileBytes& file, qint64 offset);
    // The ReplayGain values of the item list's freeform items (----:com.apple.iTunes:replaygain_*).
    // Reads atom headers down to the item list and the freeform items only, not the movie.
    static ReplayGain readReplayGain(const FileBytes& file, qint64 offset);
    // The bytes of the first picture of the cover item.
    static std::optional<QByteArray> readPicture(const FileBytes& file, qint64 offset);
};

}  // namespace sonvale
