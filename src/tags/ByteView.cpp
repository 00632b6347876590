#include "ByteView.h"

#include <cstring>

namespace sonvale {

std::optional<uint32_t> ByteView::syncsafe32(qint64 i) const {
    if (!contains(i, 4)) return std::nullopt;
    uint32_t value = 0;
    for (int k = 0; k < 4; ++k) {
        const auto b = static_cast<uint8_t>(data_[i + k]);
        if (b & 0x80) return std::nullopt;
        value = (value << 7) | b;
    }
    return value;
}

std::optional<QByteArray> ByteView::slice(qint64 i, qint64 count) const {
    if (!contains(i, count)) return std::nullopt;
    return QByteArray(data_ + i, count);
}

std::optional<QString> ByteView::fourCC(qint64 i, qint64 count) const {
    if (!contains(i, count)) return std::nullopt;
    for (qint64 k = 0; k < count; ++k) {
        const auto b = static_cast<uint8_t>(data_[i + k]);
        if (b < 0x20 || b > 0x7E) return std::nullopt;
    }
    return QString::fromLatin1(data_ + i, count);
}

bool ByteView::startsWith(std::string_view magic) const { return hasAt(0, magic); }

bool ByteView::hasAt(qint64 i, std::string_view magic) const {
    const auto n = static_cast<qint64>(magic.size());
    return contains(i, n) && std::memcmp(data_ + i, magic.data(), magic.size()) == 0;
}

qint64 ByteView::indexOf(char byte, qint64 from) const {
    if (from < 0 || from >= size_) return -1;
    const void* hit = std::memchr(data_ + from, byte, static_cast<size_t>(size_ - from));
    return hit ? static_cast<const char*>(hit) - data_ : -1;
}

}  // namespace sonvale
