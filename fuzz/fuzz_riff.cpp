#include "FuzzFile.h"
#include "RIFFReader.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto file = FuzzFile::open(data, size);
    if (!file) return 0;
    // Both the plain form and one behind a tag of the input's first bytes.
    for (const qint64 offset : {qint64(0), qint64(size > 16 ? data[0] % 16 : 0)}) {
        (void)sonvale::RIFFReader::readInfo(*file, offset);
        (void)sonvale::RIFFReader::readPicture(*file, offset);
        (void)sonvale::RIFFReader::readReplayGain(*file, offset);
    }
    return 0;
}
