#include "ID3Header.h"
#include "ID3v1Tag.h"
#include "MPEGStream.h"
#include "FuzzFile.h"

#include <cmath>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto file = FuzzFile::open(data, size);
    if (!file) return 0;
    (void)sonvale::ID3v1Tag::read(*file);
    const qint64 end = sonvale::ID3v1Tag::audioEnd(*file);
    if (end < 0 || end > file->size()) __builtin_trap();

    // From the first byte, and from behind an ID3v2 tag as the ID3 reader calls it.
    qint64 tagEnd = 0;
    if (const auto head = file->readUpTo(0, sonvale::ID3Header::kSize)) {
        if (const auto header = sonvale::ID3Header::parse(sonvale::ByteView(*head))) tagEnd = header->totalLength();
    }
    for (const qint64 start : {qint64(0), tagEnd}) {
        const auto props = sonvale::MPEGStream::read(*file, start, end);
        if (!props) continue;
        if (!std::isfinite(props->duration) || props->duration <= 0 || props->bitRate <= 0 ||
            props->sampleRate < 8000 || (props->channels != 1 && props->channels != 2)) {
            __builtin_trap();
        }
    }
    return 0;
}
