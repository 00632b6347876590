#include "FuzzFile.h"
#include "MP4Reader.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto file = FuzzFile::open(data, size);
    if (!file) return 0;
    // Both the plain file and one behind an ID3 tag of the input's first bytes.
    for (const qint64 offset : {qint64(0), qint64(size > 16 ? data[0] % 16 : 0)}) {
        (void)sonvale::MP4Reader::readInfo(*file, offset);
        (void)sonvale::MP4Reader::readPicture(*file, offset);
        (void)sonvale::MP4Reader::readReplayGain(*file, offset);
    }
    return 0;
}
