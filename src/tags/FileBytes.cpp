#include "FileBytes.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace sonvale {

std::optional<FileBytes> FileBytes::open(const QString& path) {
    const QByteArray native = QFile::encodeName(path);
    if (native.isEmpty()) return std::nullopt;
    UniqueFd fd(::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.valid()) return std::nullopt;
    struct stat st {};
    // O_NONBLOCK keeps a FIFO from blocking the open; only regular files have tags to read.
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 1) return std::nullopt;
    FileBytes file(std::move(fd), static_cast<qint64>(st.st_size));
    file.head_.resize(std::min(file.size_, kHeadSize));
    if (!file.preadFully(file.head_.data(), 0, file.head_.size())) return std::nullopt;
    return file;
}

bool FileBytes::preadFully(char* into, qint64 offset, qint64 count) const {
    qint64 done = 0;
    while (done < count) {
        const ssize_t n = ::pread(fd_.get(), into + done, static_cast<size_t>(count - done), offset + done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += n;
    }
    return true;
}

bool FileBytes::inBlock(qint64 offset, qint64 count) const {
    return offset >= blockOffset_ && count <= block_.size() && offset - blockOffset_ <= block_.size() - count;
}

bool FileBytes::fillBlock(qint64 offset, qint64 count) const {
    if (inBlock(offset, count)) return true;
    // The block ends at the end of the file rather than run past it, so that a read of the
    // trailing tags keeps the bytes just before them too.
    const qint64 length = std::min(size_, kBlockSize);
    const qint64 start = std::min(offset, size_ - length);
    QByteArray fresh(length, Qt::Uninitialized);
    if (!preadFully(fresh.data(), start, length)) return false;
    block_ = std::move(fresh);
    blockOffset_ = start;
    return true;
}

std::optional<QByteArray> FileBytes::read(qint64 offset, qint64 count) const {
    if (count < 1 || offset < 0 || count > size_ || offset > size_ - count || count > kMaxRead) {
        return std::nullopt;
    }
    if (inHead(offset, count)) return head_.mid(offset, count);
    if (count <= kBlockSize) {
        if (!fillBlock(offset, count)) return std::nullopt;
        return block_.mid(offset - blockOffset_, count);
    }
    QByteArray bytes(count, Qt::Uninitialized);
    if (!preadFully(bytes.data(), offset, count)) return std::nullopt;
    return bytes;
}

std::optional<ByteView> FileBytes::view(qint64 offset, qint64 count, QByteArray& buffer) const {
    if (inHead(offset, count)) return ByteView(head_.constData() + offset, count);
    if (count >= 1 && count <= kBlockSize && offset >= 0 && count <= size_ && offset <= size_ - count) {
        if (!fillBlock(offset, count)) return std::nullopt;
        buffer = block_;
        return ByteView(buffer.constData() + (offset - blockOffset_), count);
    }
    auto bytes = read(offset, count);
    if (!bytes) return std::nullopt;
    buffer = std::move(*bytes);
    return ByteView(buffer);
}

std::optional<QByteArray> FileBytes::readUpTo(qint64 offset, qint64 max) const {
    if (offset < 0 || offset >= size_) return std::nullopt;
    const qint64 count = std::min(size_ - offset, max);
    if (count < 1) return std::nullopt;
    return read(offset, count);
}

}  // namespace sonvale
