#pragma once

#include "AudioInfo.h"
#include "ByteView.h"
#include "FileBytes.h"
#include "RIFFChunks.h"

#include <cstdint>
#include <optional>

namespace sonvale {

// The native chunks of a WAVE form: "fmt ", "fact", the size of "data" (never its samples), and
// the first LIST/INFO list. Used by RIFFReader, which adds what an ID3 chunk holds. Stateless
// and thread-safe; nothing is reported.
class WAVEReader {
public:
    enum FormatTag : uint16_t { PCM = 0x0001, IEEEFloat = 0x0003, ALaw = 0x0006, MuLaw = 0x0007, Extensible = 0xFFFE };

    struct FormatChunk {
        uint16_t tag = 0;  // for WAVE_FORMAT_EXTENSIBLE, the tag of its sub-format GUID
        uint16_t channels = 0;
        uint32_t sampleRate = 0;
        uint32_t bytesPerSecond = 0;
        uint16_t blockAlign = 0;
        uint16_t bitsPerSample = 0;

        bool operator==(const FormatChunk&) const = default;
    };

    // A "fmt " body; nothing when it is too short or has no channels or no sample rate.
    static std::optional<FormatChunk> parseFormat(ByteView body);
    // Technical values and INFO texts; nothing without a usable "fmt " chunk.
    static std::optional<AudioInfo> readInfo(const FileBytes& file, const RIFFForm& form);
    // Applies the INFO entries of a LIST body that starts with "INFO" to `tags`: the first
    // non-empty value wins, every IART value is an artist.
    static void applyInfoList(ByteView body, AudioTags& tags);
};

}  // namespace sonvale
