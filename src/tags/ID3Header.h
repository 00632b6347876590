#pragma once

#include "ByteView.h"

#include <cstdint>
#include <optional>

namespace sonvale {

// The 10-byte header that opens an ID3v2 tag.
struct ID3Header {
    static constexpr qint64 kSize = 10;
    static constexpr uint8_t kUnsynchronisation = 0x80;
    static constexpr uint8_t kExtendedHeader = 0x40;
    static constexpr uint8_t kFooter = 0x10;

    uint8_t major = 0;
    uint8_t revision = 0;
    uint8_t flags = 0;
    uint32_t size = 0;  // bytes after the header, excluding a footer

    // The header at the start of `bytes`; nothing unless it begins with "ID3", both version
    // bytes are below 255 and the size is a valid syncsafe number.
    static std::optional<ID3Header> parse(ByteView bytes);

    // Header, body and, for version 4 and later, the footer.
    qint64 totalLength() const;
};

}  // namespace sonvale
