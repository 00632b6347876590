#include "ID3Header.h"

namespace sonvale {

std::optional<ID3Header> ID3Header::parse(ByteView bytes) {
    if (bytes.size() < kSize || !bytes.startsWith("ID3")) return std::nullopt;
    ID3Header header;
    header.major = *bytes.u8(3);
    header.revision = *bytes.u8(4);
    header.flags = *bytes.u8(5);
    if (header.major == 0xFF || header.revision == 0xFF) return std::nullopt;
    const auto size = bytes.syncsafe32(6);
    if (!size) return std::nullopt;
    header.size = *size;
    return header;
}

qint64 ID3Header::totalLength() const {
    qint64 length = kSize + size;
    if ((flags & kFooter) && major >= 4) length += kSize;
    return length;
}

}  // namespace sonvale
