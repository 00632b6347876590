#pragma once

#include "AudioInfo.h"
#include "ByteView.h"
#include "FileBytes.h"

#include <optional>

namespace sonvale {

// The tags that MPEG files carry at their end: reads the ID3v1 tag and finds where the audio
// stops. Stateless and thread-safe; nothing is reported, anything malformed is ignored.
class ID3v1Tag {
public:
    static constexpr qint64 kSize = 128;

    // The ID3v1 (or ID3v1.1) tag at the end of the file, also when an APEv2 tag, a Lyrics3 v2
    // block or an ID3v2 tag with footer was appended behind it: title, artist, album, track
    // number and genre name, Latin-1, trimmed; empty fields are absent. Nothing without a tag.
    static std::optional<AudioTags> read(const FileBytes& file);

    // The fields of a 128-byte tag that begins with "TAG"; nothing for anything else.
    static std::optional<AudioTags> parse(ByteView tag);

    // Where the audio ends: the file size less the tags stacked at the end (ID3v1, APEv2 with
    // or without its header, Lyrics3 v2, ID3v2 with footer), in whatever order they were
    // appended. The file size when there are none.
    static qint64 audioEnd(const FileBytes& file);
};

}  // namespace sonvale
