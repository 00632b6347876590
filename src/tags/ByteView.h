#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <string_view>

namespace sonvale {

// A non-owning, bounds-checked window on bytes read from a file. Every binary parser of the
// program reads through this type: each accessor checks its range and answers std::nullopt
// (never undefined behaviour) when the range leaves the window or the index is negative.
// The viewed bytes must outlive the view; a view is cheap to copy and never allocates,
// except slice() and text(), which copy on purpose.
class ByteView {
public:
    ByteView() = default;
    ByteView(const char* data, qint64 size) : data_(data), size_(size < 0 ? 0 : size) {}
    explicit ByteView(const QByteArray& bytes) : ByteView(bytes.constData(), bytes.size()) {}

    qint64 size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const char* data() const { return data_; }

    // The accessors below are inline: every reader calls them for nearly every field.
    bool contains(qint64 index, qint64 count) const {
        return index >= 0 && count >= 0 && index <= size_ && count <= size_ - index;
    }

    std::optional<uint8_t> u8(qint64 i) const { return bigEndian<uint8_t, 1>(i); }
    std::optional<uint16_t> be16(qint64 i) const { return bigEndian<uint16_t, 2>(i); }
    std::optional<uint32_t> be24(qint64 i) const { return bigEndian<uint32_t, 3>(i); }
    std::optional<uint32_t> be32(qint64 i) const { return bigEndian<uint32_t, 4>(i); }
    std::optional<uint64_t> be64(qint64 i) const { return bigEndian<uint64_t, 8>(i); }
    std::optional<uint16_t> le16(qint64 i) const { return littleEndian<uint16_t, 2>(i); }
    std::optional<uint32_t> le32(qint64 i) const { return littleEndian<uint32_t, 4>(i); }
    std::optional<uint64_t> le64(qint64 i) const { return littleEndian<uint64_t, 8>(i); }
    // Four bytes of seven bits each (ID3v2 sizes); nothing when a byte has its top bit set.
    std::optional<uint32_t> syncsafe32(qint64 i) const;

    // A sub-window of `count` bytes at `i`, or nothing when it does not lie wholly inside.
    std::optional<ByteView> sub(qint64 i, qint64 count) const {
        if (!contains(i, count)) return std::nullopt;
        return ByteView(data_ + i, count);
    }
    // Everything from `i` to the end (an empty view when i == size()).
    std::optional<ByteView> from(qint64 i) const {
        if (i < 0 || i > size_) return std::nullopt;
        return ByteView(data_ + i, size_ - i);
    }
    // A copy of `count` bytes at `i`.
    std::optional<QByteArray> slice(qint64 i, qint64 count) const;
    // `count` bytes at `i` as ASCII text; nothing when a byte is outside 0x20..0x7E.
    std::optional<QString> fourCC(qint64 i, qint64 count = 4) const;
    bool startsWith(std::string_view magic) const;
    bool hasAt(qint64 i, std::string_view magic) const;
    // Index of the first occurrence of `byte` at or after `from`, or -1.
    qint64 indexOf(char byte, qint64 from = 0) const;

    QByteArray toByteArray() const { return QByteArray(data_, size_); }

private:
    // `N` bytes at `i` as an unsigned integer, most or least significant byte first.
    template <typename T, int N>
    std::optional<T> bigEndian(qint64 i) const {
        if (!contains(i, N)) return std::nullopt;
        T value = 0;
        for (int k = 0; k < N; ++k) value = static_cast<T>((value << 8) | static_cast<uint8_t>(data_[i + k]));
        return value;
    }
    template <typename T, int N>
    std::optional<T> littleEndian(qint64 i) const {
        if (!contains(i, N)) return std::nullopt;
        T value = 0;
        for (int k = N - 1; k >= 0; --k) value = static_cast<T>((value << 8) | static_cast<uint8_t>(data_[i + k]));
        return value;
    }

    const char* data_ = nullptr;
    qint64 size_ = 0;
};

}  // namespace sonvale
