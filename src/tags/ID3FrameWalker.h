#pragma once

#include "ByteView.h"
#include "FileBytes.h"
#include "ID3Body.h"
#include "ID3Header.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace sonvale {

// A frame id as a number: the letters in order from the most significant byte, a three-letter
// id of version 2.2 with a zero last byte ("TIT2" → 0x54495432, "TT2" → 0x54543200).
template <size_t N>
constexpr uint32_t id3FrameId(const char (&id)[N]) {
    static_assert(N == 4 || N == 5, "frame ids have three or four letters");
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value = (value << 8) | (i + 1 < N ? uint8_t(id[i]) : 0);
    return value;
}

// One frame as an ID3v2 tag stores it.
struct ID3Frame {
    uint32_t id = 0;          // three (version 2.2) or four capital letters and digits
    qint64 dataPos = 0;       // body position of the bytes behind the frame header
    qint64 size = 0;          // stored bytes behind the frame header
    uint8_t formatFlags = 0;  // the second flag byte (versions 2.3 and 2.4)
};

// Walks the frame headers of an ID3v2.2, 2.3 or 2.4 tag (or of the frames embedded in a
// chapter frame) and hands out the frame data on request, so callers read only the bodies they
// need. Undoes unsynchronisation, steps over extended headers, grouping bytes and data-length
// indicators, and copes with 2.4 writers that stored plain instead of syncsafe frame sizes.
// Every walk ends after kMaxFrames frames. One walker belongs to one reading job.
class ID3FrameWalker {
public:
    static constexpr int kMaxFrames = 8192;

    // The frames of the tag that starts at `offset`, behind its extended header; nothing when
    // no tag of version 2.2 to 2.4 starts there. A tag that runs past the end of the file
    // yields the frames that lie inside it.
    static std::optional<ID3FrameWalker> open(const FileBytes& file, qint64 offset);

    // Frames stored back to back in `body`, written under `header` (its version and flags).
    ID3FrameWalker(ID3Body body, const ID3Header& header);

    const ID3Header& header() const { return header_; }

    // The next frame; nothing at padding, at the end of the body, at a frame that does not fit
    // in the body or at a header that is no frame header.
    std::optional<ID3Frame> next();

    // The data of `frame` as its writer meant it, decoded from at most `max` stored bytes (a
    // prefix when the frame is larger). Nothing for compressed or encrypted frames and for
    // data that cannot be read.
    std::optional<QByteArray> content(const ID3Frame& frame, qint64 max);
    // The same without copying where it can; `holder` keeps the bytes alive.
    std::optional<ByteView> contentView(const ID3Frame& frame, qint64 max, QByteArray& holder);

private:
    qint64 headerSize() const { return header_.major == 2 ? 6 : 10; }
    qint64 idLength() const { return header_.major == 2 ? 3 : 4; }
    bool isFrameId(ByteView bytes) const;
    // Whether a frame, padding or the end of the body starts at `pos`.
    bool isFrameStart(qint64 pos);
    std::optional<qint64> frameSize(ByteView frameHeader, qint64 dataPos);
    void skipExtendedHeader();

    ID3Body body_;
    ID3Header header_;
    qint64 pos_ = 0;
    int frames_ = 0;
};

}  // namespace sonvale
