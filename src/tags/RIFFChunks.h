#pragma once

#include "ByteView.h"
#include "FileBytes.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <optional>

namespace sonvale {

// One chunk of a RIFF or IFF form: its four-character code and where its body lies.
struct RIFFChunk {
    uint32_t id = 0;   // the four code bytes, first byte most significant (see fourCC)
    qint64 offset = 0; // absolute offset of the body
    qint64 size = 0;   // body length, never running past the file

    bool operator==(const RIFFChunk&) const = default;
};

// The top-level chunks of a form, in file order.
struct RIFFForm {
    enum Kind { Wave, Aiff, Aifc };

    Kind kind = Wave;
    QList<RIFFChunk> chunks;
    // From the ds64 chunk of an RF64 or BW64 file: the sample count that replaces a fact
    // chunk's 32-bit one.
    uint64_t sampleCount64 = 0;

    // The first chunk with this code, or nullptr.
    const RIFFChunk* first(uint32_t id) const;
};

// Walks the chunk list of a WAVE form ("RIFF", "RF64" or "BW64", little-endian sizes) or an
// AIFF/AIFC form ("FORM", big-endian sizes) through positioned reads, reading only the 8-byte
// chunk headers. Stateless and thread-safe; nothing is reported.
class RIFFChunks {
public:
    static constexpr int kMaxChunks = 256;

    static constexpr uint32_t fourCC(const char (&code)[5]) {
        return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 |
               uint32_t(uint8_t(code[2])) << 8 | uint32_t(uint8_t(code[3]));
    }

    // The form that starts at `offset`; nothing when the magic or form type is not one of the
    // above. Chunks must lie inside both the file and the declared form size; the walk stops at
    // the first one that does not, at a chunk code that is not printable ASCII, or after
    // kMaxChunks chunks. The sound data chunk ("data", "SSND") is the exception: a recording
    // cut short keeps the part the file still holds, and the walk ends there.
    static std::optional<RIFFForm> read(const FileBytes& file, qint64 offset);

    // Bits per second of `bytes` of sound played in `duration` seconds; 0 when the duration is
    // unknown or the result is beyond any real stream.
    static qint64 averageBitRate(qint64 bytes, double duration);

    // A text chunk or INFO value: up to the first NUL, as UTF-8 when valid, else Latin-1,
    // trimmed.
    static QString text(ByteView bytes);
};

}  // namespace sonvale
