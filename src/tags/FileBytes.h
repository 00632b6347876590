#pragma once

#include "ByteView.h"
#include "UniqueFd.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace sonvale {

// Read-only random-access reader of one file, for the tag readers. It owns the descriptor,
// takes the size once at open, and reads with positioned reads only, so a const FileBytes
// keeps no file position and reads need no lock. One object belongs to one reading job.
// Every failure (missing file, short read, a range outside the file) is std::nullopt.
//
// Every reader starts with the type detection at offset 0 and most headers sit near the
// start, so open() reads the first kHeadSize bytes once and serves reads inside them from
// memory: one system call instead of several small ones per file.
class FileBytes {
public:
    // Largest single read; a request beyond it fails instead of allocating.
    static constexpr qint64 kMaxRead = 64LL * 1024 * 1024;
    static constexpr qint64 kHeadSize = 4096;

    // Opens `path` (an absolute path) read-only. Nothing when it cannot be opened or
    // examined, or is empty.
    static std::optional<FileBytes> open(const QString& path);

    qint64 size() const { return size_; }

    // Exactly `count` bytes at `offset`; the range must lie wholly inside the file.
    std::optional<QByteArray> read(qint64 offset, qint64 count) const;
    // min(size - offset, max) bytes at `offset`, for readers that take what there is.
    std::optional<QByteArray> readUpTo(qint64 offset, qint64 max) const;
    // The same range as read(), without a copy when it lies in the head; otherwise the bytes
    // are read into `buffer`, which the view then points into (keep it alive while using it).
    std::optional<ByteView> view(qint64 offset, qint64 count, QByteArray& buffer) const;
    // Whether the range lies in the head, so that reading it costs no system call.
    bool inHead(qint64 offset, qint64 count) const {
        return count >= 1 && offset >= 0 && count <= head_.size() && offset <= head_.size() - count;
    }

private:
    FileBytes(UniqueFd fd, qint64 size) : fd_(std::move(fd)), size_(size) {}

    bool preadFully(char* into, qint64 offset, qint64 count) const;

    UniqueFd fd_;
    qint64 size_ = 0;
    QByteArray head_;  // the first min(size, kHeadSize) bytes
};

}  // namespace sonvale
