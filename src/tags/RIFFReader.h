#pragma once

#include "AudioInfo.h"
#include "FileBytes.h"
#include "ReplayGain.h"

#include <QByteArray>

#include <optional>

namespace sonvale {

// Reads WAVE (RIFF, RF64, BW64) and AIFF/AIFC files; which one is told by the magic at
// `offset`. Technical values come from the format chunk and the size of the sound data, whose
// samples are never read; texts from LIST/INFO (WAVE) or NAME/AUTH (AIFF). The first "id3 " or
// "ID3 " chunk holds an ID3v2 tag that wins over those texts field by field and gives the
// artwork and chapters; a tag in front of the form (`offset` >= 1) only fills what is still
// empty. Stateless and thread-safe; malformed input gives std::nullopt, never an error.
class RIFFReader {
public:
    // Nothing when the form is not recognised or has no usable format chunk.
    static std::optional<AudioInfo> readInfo(const FileBytes& file, qint64 offset);
    // The ReplayGain values of the first ID3 chunk; the tag in front of the form fills what it
    // lacks. Reads the chunk headers and the tags' user text frames only.
    static ReplayGain readReplayGain(const FileBytes& file, qint64 offset);
    // The picture of the first ID3 chunk, else of the tag in front of the form.
    static std::optional<QByteArray> readPicture(const FileBytes& file, qint64 offset);
};

}  // namespace sonvale
