#pragma once

#include "AudioInfo.h"
#include "FileBytes.h"

#include <optional>

namespace sonvale {

// Technical values of an MPEG audio stream (MPEG 1, 2 and 2.5; layers I, II and III), as
// found behind an ID3v2 tag. Reads only the first frames: a few positioned reads near the
// start of the stream, never the audio beyond them. Stateless and thread-safe; nothing is
// reported.
class MPEGStream {
public:
    // The stream in the byte range [start, end) of `file`: `start` is just behind the ID3v2
    // tag, `end` is where the trailing tags begin (see ID3v1Tag::audioEnd). Further ID3v2 tags
    // stacked at `start`, padding and junk of up to 64 KiB before the first frame are skipped.
    // The duration and average bit rate come from a Xing, Info or VBRI header in the first
    // frame, else from the region's size at the first frame's bit rate. Nothing when no frame
    // confirmed by its successor is found, or when the range is empty or outside the file.
    static std::optional<AudioProperties> read(const FileBytes& file, qint64 start, qint64 end);
};

}  // namespace sonvale
