#pragma once

#include <QByteArray>

#include <cstdint>

// Byte builders for tests that make files by hand: integers in either byte order and the
// pieces of ID3v2 tags, which several containers embed.
namespace testbytes {

inline QByteArray be(quint64 value, int bytes) {
    QByteArray out(bytes, '\0');
    for (int i = bytes - 1; i >= 0; --i, value >>= 8) out[i] = char(value & 0xFF);
    return out;
}

inline QByteArray le(quint64 value, int bytes) {
    QByteArray out(bytes, '\0');
    for (int i = 0; i < bytes; ++i, value >>= 8) out[i] = char(value & 0xFF);
    return out;
}

inline QByteArray be32(quint32 value) { return be(value, 4); }
inline QByteArray le32(quint32 value) { return le(value, 4); }

inline QByteArray syncsafe(quint32 value) {
    QByteArray out;
    for (int shift = 21; shift >= 0; shift -= 7) out += char((value >> shift) & 0x7F);
    return out;
}

// One frame of an ID3v2.`major` tag. 2.4 sizes are syncsafe unless `plainSize` mimics the
// writers that got that wrong.
inline QByteArray id3Frame(int major, const QByteArray& id, const QByteArray& data, uint8_t format = 0,
                           bool plainSize = false) {
    if (major == 2) return id + be(quint64(data.size()), 3) + data;
    const QByteArray size = major == 4 && !plainSize ? syncsafe(quint32(data.size())) : be(quint64(data.size()), 4);
    return id + size + '\0' + char(format) + data;
}

// Header, `body`, `padding` zero bytes and, when the flags ask for one, a footer.
inline QByteArray id3Tag(int major, const QByteArray& body, uint8_t flags = 0, int padding = 0) {
    const QByteArray fields = char(major) + QByteArray(1, '\0') + char(flags) + syncsafe(quint32(body.size() + padding));
    QByteArray bytes = "ID3" + fields + body + QByteArray(padding, '\0');
    if (flags & 0x10) bytes += "3DI" + fields;
    return bytes;
}

// APIC (PIC in 2.2) with a Latin-1 `description`, terminator included.
inline QByteArray id3Picture(int major, uint8_t type, const QByteArray& data, char encoding = '\0',
                             const QByteArray& description = QByteArray(1, '\0')) {
    const QByteArray format = major == 2 ? QByteArray("JPG") : QByteArray("image/jpeg\0", 11);
    return id3Frame(major, major == 2 ? "PIC" : "APIC", encoding + format + char(type) + description + data);
}

// CHAP with a Latin-1 TIT2 inside; an end of 0 is no end.
inline QByteArray id3Chapter(int major, const QByteArray& id, quint32 startMs, quint32 endMs, const QByteArray& title) {
    const QByteArray times = be(startMs, 4) + be(endMs, 4) + QByteArray(8, '\xFF');
    return id3Frame(major, "CHAP", id + '\0' + times + id3Frame(major, "TIT2", '\0' + title));
}

}  // namespace testbytes
