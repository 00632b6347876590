#pragma once

#include "AudioInfo.h"
#include "FileBytes.h"
#include "ReplayGain.h"

#include <QByteArray>

#include <optional>

namespace sonvale {

// What an ID3v2 tag holds, before the chapters are cleaned up against a duration.
struct ID3Tag {
    AudioTags tags;
    bool hasPicture = false;
    QList<Chapter> chapters;  // in table-of-contents order, not yet finalised
    qint64 length = 0;        // header, frames, padding and footer

    bool operator==(const ID3Tag&) const = default;
};

// Reads ID3v2 tags (versions 2.2, 2.3 and 2.4) through positioned reads on a FileBytes.
// Stateless and thread-safe; nothing is reported, anything malformed gives std::nullopt.
class ID3Reader {
public:
    // The tag that starts at `offset`.
    static std::optional<ID3Tag> readTag(const FileBytes& file, qint64 offset);
    // An MPEG audio file that starts with a tag at `offset`: the tag's text, artwork flag and
    // chapters, with the stream's technical values where they can be found.
    static std::optional<AudioInfo> readInfo(const FileBytes& file, qint64 offset);
    // The ReplayGain values of the tag's user text frames (TXXX, TXX in version 2.2), whose
    // description names the value. Reads the frame headers and those frames only.
    static ReplayGain readReplayGain(const FileBytes& file, qint64 offset);
    // The bytes of the tag's first front cover, else of its first picture.
    static std::optional<QByteArray> readPicture(const FileBytes& file, qint64 offset);
};

}  // namespace sonvale
