#include "FuzzFile.h"
#include "ID3Reader.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto file = FuzzFile::open(data, size);
    if (!file) return 0;
    (void)sonvale::ID3Reader::readTag(*file, 0);
    (void)sonvale::ID3Reader::readInfo(*file, 0);
    (void)sonvale::ID3Reader::readPicture(*file, 0);
    (void)sonvale::ID3Reader::readReplayGain(*file, 0);
    return 0;
}
