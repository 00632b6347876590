#pragma once

#include "FileBytes.h"

#include <QByteArray>

#include <optional>

namespace sonvale {

// The bytes of an ID3v2 tag behind its header. Either read on demand from the file, so that
// walking the frame headers of a tag costs few reads (the file keeps the bytes around its
// latest read) and skipping a large picture costs none, or held in memory when the tag had to
// be decoded as a whole. Positions are relative to the start of the body. The FileBytes must
// outlive the body; one body belongs to one reading job.
class ID3Body {
public:
    // `length` bytes of `file` at `start`; the range must lie inside the file.
    ID3Body(const FileBytes& file, qint64 start, qint64 length);
    explicit ID3Body(QByteArray bytes);

    qint64 size() const { return length_; }

    // Exactly `count` bytes at `pos`; nothing when the range leaves the body or a read fails.
    std::optional<QByteArray> read(qint64 pos, qint64 count) const;
    // The same range without a copy where possible; `holder` keeps the bytes alive.
    std::optional<ByteView> view(qint64 pos, qint64 count, QByteArray& holder) const;

private:
    const FileBytes* file_ = nullptr;
    qint64 start_ = 0;
    qint64 length_ = 0;
    QByteArray bytes_;  // the whole body, when it is held in memory
};

}  // namespace sonvale
