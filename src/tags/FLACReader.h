#pragma once

#include "AudioInfo.h"
#include "ByteView.h"
#include "FileBytes.h"
#include "ReplayGain.h"

#include <QByteArray>
#include <QList>
#include <QPair>

#include <cstdint>
#include <optional>

namespace sonvale {

// Reads native FLAC metadata (STREAMINFO, VORBIS_COMMENT, PICTURE) through positioned reads;
// audio frames are never touched. When an ID3v2 tag precedes the stream, that tag fills what
// the FLAC metadata left empty. Stateless and thread-safe; malformed input gives std::nullopt
// or an empty list, never an error.
class FLACReader {
public:
    enum BlockType : uint8_t { StreamInfo = 0, VorbisComment = 4, Picture = 6 };

    struct Block {
        uint8_t type = 0;
        qint64 offset = 0;  // absolute offset of the body
        qint64 length = 0;

        bool operator==(const Block&) const = default;
    };

    // The metadata block headers, in file order, behind "fLaC" at `offset` (at most 128).
    static QList<Block> readBlocks(const FileBytes& file, qint64 offset);
    static std::optional<AudioInfo> readInfo(const FileBytes& file, qint64 offset);
    // The ReplayGain comments of the first VORBIS_COMMENT block; an ID3v2 tag in front of the
    // stream fills what they lack. Reads the block headers and that block only.
    static ReplayGain readReplayGain(const FileBytes& file, qint64 offset);
    // (key, value) pairs of a VORBIS_COMMENT body; keys upper-cased. A malformed comment ends
    // the list and keeps what came before it.
    static QList<QPair<QString, QString>> readVorbisComments(ByteView body);
    // The image bytes of the first usable PICTURE block, else of the first usable
    // METADATA_BLOCK_PICTURE comment.
    static std::optional<QByteArray> readPicture(const FileBytes& file, qint64 offset);
    // The image data inside a PICTURE block body.
    static std::optional<QByteArray> pictureData(ByteView body);
};

}  // namespace sonvale
