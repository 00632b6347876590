#pragma once

#include <QString>

namespace sonvale {

class FileBytes;

// What a file's first bytes say it is; the raw values are stable.
enum class AudioFileType { id3 = 0, mp4 = 1, flac = 2, riff = 3, aiff = 4, unknown = 5 };

struct DetectedType {
    AudioFileType type = AudioFileType::unknown;
    qint64 offset = 0;  // where the reader starts: behind an ID3v2 tag that precedes the stream

    bool operator==(const DetectedType&) const = default;
};

// Classifies an open file by its leading magic bytes. An ID3v2 tag in front of a FLAC, MP4,
// RIFF or AIFF stream is skipped (the offset is the tag's length); any other file that starts
// with an ID3v2 tag is an MPEG file (`id3`, offset 0). Reads at most 12 bytes, twice when a
// tag is skipped.
DetectedType detectFileType(const FileBytes& file);

// "id3", "mp4", "flac", "riff", "aiff" or "unknown".
QString fileTypeName(AudioFileType type);

}  // namespace sonvale
