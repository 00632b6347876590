#include "ByteView.h"

#include <cstring>

namespace sonvale {

namespace {

// Reads `n` bytes at `i` into an unsigned integer, most significant byte first.
template <typename T>
std::optional<T> bigEndian(const ByteView& v, qint64 i, int n) {
    if (!v.contains(i, n)) return std::nullopt;
    T value = 0;
    for (int k = 0; k < n; ++k) value = static_cast<T>((value << 8) | static_cast<uint8_t>(v.data()[i + k]));
    return value;
}

template <typename T>
std::optional<T> littleEndian(const ByteView& v, qint64 i, int n) {
    if (!v.contains(i, n)) return std::nullopt;
    T value = 0;
    for (int k = n - 1; k >= 0; --k) value = static_cast<T>((value << 8) | static_cast<uint8_t>(v.data()[i + k]));
    return value;
}

}  // namespace

bool ByteView::contains(qint64 index, qint64 count) const {
    return index >= 0 && count >= 0 && index <= size_ && count <= size_ - index;
}

std::optional<uint8_t> ByteView::u8(qint64 i) const { return bigEndian<uint8_t>(*this, i, 1); }
std::optional<uint16_t> ByteView::be16(qint64 i) const { return bigEndian<uint16_t>(*this, i, 2); }
std::optional<uint32_t> ByteView::be24(qint64 i) const { return bigEndian<uint32_t>(*this, i, 3); }
std::optional<uint32_t> ByteView::be32(qint64 i) const { return bigEndian<uint32_t>(*this, i, 4); }
std::optional<uint64_t> ByteView::be64(qint64 i) const { return bigEndian<uint64_t>(*this, i, 8); }
std::optional<uint16_t> ByteView::le16(qint64 i) const { return littleEndian<uint16_t>(*this, i, 2); }
std::optional<uint32_t> ByteView::le32(qint64 i) const { return littleEndian<uint32_t>(*this, i, 4); }
std::optional<uint64_t> ByteView::le64(qint64 i) const { return littleEndian<uint64_t>(*this, i, 8); }

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

std::optional<ByteView> ByteView::sub(qint64 i, qint64 count) const {
    if (!contains(i, count)) return std::nullopt;
    return ByteView(data_ + i, count);
}

std::optional<ByteView> ByteView::from(qint64 i) const {
    if (i < 0 || i > size_) return std::nullopt;
    return ByteView(data_ + i, size_ - i);
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
