#pragma once

#include "ByteView.h"
#include "UniqueFd.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace sonvale {

// Read-only random-access reader of one file, for the tag readers. It owns the descriptor,
// takes the size once at open, and reads with positioned reads only (it keeps no file
// position). Not thread-safe: one object belongs to one reading job at a time. Every failure
// (missing file, short read, a range outside the file) is std::nullopt.
//
// A reader asks for many small ranges that lie close together: headers near the start, the
// first audio frame behind a tag, trailing tags at the end. So open() keeps the first
// kHeadSize bytes, and a small read outside them fetches kBlockSize bytes around it and keeps
// them for the reads that follow: a file costs about as many system calls as the places it
// is read at, not as many as the ranges read. Large reads go straight to the caller.
class FileBytes {
public:
    // Largest single read; a request beyond it fails instead of allocating.
    static constexpr qint64 kMaxRead = 64LL * 1024 * 1024;
    static constexpr qint64 kHeadSize = 2048;
    static constexpr qint64 kBlockSize = 4096;

    // Opens `path` (an absolute path) read-only. Nothing when it cannot be opened or
    // examined, or is empty.
    static std::optional<FileBytes> open(const QString& path);

    qint64 size() const { return size_; }

    // Exactly `count` bytes at `offset`; the range must lie wholly inside the file.
    std::optional<QByteArray> read(qint64 offset, qint64 count) const;
    // min(size - offset, max) bytes at `offset`, for readers that take what there is.
    std::optional<QByteArray> readUpTo(qint64 offset, qint64 max) const;
    // The same range as read(), without copying what is already in memory: the view points
    // into the head or into `buffer`, which holds (or shares) the bytes; keep `buffer` alive
    // while using the view.
    std::optional<ByteView> view(qint64 offset, qint64 count, QByteArray& buffer) const;
    // Whether the range lies in the head, so that reading it costs no system call.
    bool inHead(qint64 offset, qint64 count) const {
        return count >= 1 && offset >= 0 && count <= head_.size() && offset <= head_.size() - count;
    }

private:
    FileBytes(UniqueFd fd, qint64 size) : fd_(std::move(fd)), size_(size) {}

    bool preadFully(char* into, qint64 offset, qint64 count) const;
    bool inBlock(qint64 offset, qint64 count) const;
    // Makes the kept block cover a range of at most kBlockSize bytes inside the file.
    bool fillBlock(qint64 offset, qint64 count) const;

    UniqueFd fd_;
    qint64 size_ = 0;
    QByteArray head_;  // the first min(size, kHeadSize) bytes
    // The block of the latest small read. Each refill makes a new array, so views handed out
    // through view() keep the old bytes alive through their shared buffer.
    mutable QByteArray block_;
    mutable qint64 blockOffset_ = 0;
};

}  // namespace sonvale
