#include "FuzzFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace {

int memoryFile() {
    static const int fd = [] {
        const int created = memfd_create("sonvale-fuzz", MFD_CLOEXEC);
        if (created < 0) std::abort();
        return created;
    }();
    return fd;
}

}  // namespace

QString FuzzFile::path() { return QStringLiteral("/proc/self/fd/%1").arg(memoryFile()); }

std::optional<sonvale::FileBytes> FuzzFile::open(const uint8_t* data, size_t size) {
    const int fd = memoryFile();
    if (ftruncate(fd, 0) != 0) std::abort();
    size_t done = 0;
    while (done < size) {
        const ssize_t n = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) std::abort();
        done += static_cast<size_t>(n);
    }
    return sonvale::FileBytes::open(path());
}
