#pragma once

#include <QString>

#include <optional>

namespace sonvale {

// The last-resort source of technical values: asks libavformat about the first audio stream
// of a file. Blocking file input; thread-safe (one demuxer per call). Nothing when the file
// can't be opened as audio or libavformat can't be loaded.
class AudioProbe {
public:
    struct Format {
        double sampleRate = 0;
        qint64 channels = 0;
        qint64 frames = 0;  // length in sample frames; 0 when unknown
    };

    static std::optional<Format> probe(const QString& path);
};

// Turns FFmpeg's own logging off, once per process. Bad and odd files are expected; the
// program reports what matters itself.
void quietenFFmpegLogging();

}  // namespace sonvale
