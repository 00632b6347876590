#include "FileBytes.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
    return FileBytes(std::move(fd), static_cast<qint64>(st.st_size));
}

std::optional<QByteArray> FileBytes::read(qint64 offset, qint64 count) const {
    if (count < 1 || offset < 0 || count > size_ || offset > size_ - count || count > kMaxRead) {
        return std::nullopt;
    }
    QByteArray bytes(count, '\0');
    qint64 done = 0;
    while (done < count) {
        const ssize_t n = ::pread(fd_.get(), bytes.data() + done, static_cast<size_t>(count - done), offset + done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return std::nullopt;
        done += n;
    }
    return bytes;
}

std::optional<QByteArray> FileBytes::readUpTo(qint64 offset, qint64 max) const {
    if (offset < 0 || offset >= size_) return std::nullopt;
    const qint64 count = std::min(size_ - offset, max);
    if (count < 1) return std::nullopt;
    return read(offset, count);
}

}  // namespace sonvale
