#pragma once

#include "UniqueFd.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace sonvale {

// Read-only random-access reader of one file, for the tag readers. It owns the descriptor,
// takes the size once at open, and reads with positioned reads only, so a const FileBytes
// keeps no file position and reads need no lock. One object belongs to one reading job.
// Every failure (missing file, short read, a range outside the file) is std::nullopt.
class FileBytes {
public:
    // Largest single read; a request beyond it fails instead of allocating.
    static constexpr qint64 kMaxRead = 64LL * 1024 * 1024;

    // Opens `path` (an absolute path) read-only. Nothing when it cannot be opened or
    // examined, or is empty.
    static std::optional<FileBytes> open(const QString& path);

    qint64 size() const { return size_; }

    // Exactly `count` bytes at `offset`; the range must lie wholly inside the file.
    std::optional<QByteArray> read(qint64 offset, qint64 count) const;
    // min(size - offset, max) bytes at `offset`, for readers that take what there is.
    std::optional<QByteArray> readUpTo(qint64 offset, qint64 max) const;

private:
    FileBytes(UniqueFd fd, qint64 size) : fd_(std::move(fd)), size_(size) {}

    UniqueFd fd_;
    qint64 size_ = 0;
};

}  // namespace sonvale
