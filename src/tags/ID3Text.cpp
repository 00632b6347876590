#include "ID3Text.h"

#include "AudioInfo.h"

#include "Utf8.h"

namespace sonvale::ID3Text {

namespace {

// Text frames hold a handful of values; anything beyond this is garbage.
constexpr qsizetype kMaxValues = 256;

qint64 unitSize(uint8_t encoding) { return encoding == Utf16 || encoding == Utf16BE ? 2 : 1; }

// The start of the terminator of the string at `from`, or -1.
qint64 terminatorAt(uint8_t encoding, ByteView bytes, qint64 from) {
    if (unitSize(encoding) == 1) return bytes.indexOf('\0', from);
    for (qint64 i = from; i + 1 < bytes.size(); i += 2) {
        if (bytes.data()[i] == '\0' && bytes.data()[i + 1] == '\0') return i;
    }
    return -1;
}

// UTF-16 with a byte-order mark. A string without one keeps the order of the string before it;
// the first defaults to little-endian, which is what BOM-less writers produce in practice.
QString decodeWithByteOrderMark(ByteView bytes, bool& bigEndian) {
    if (bytes.hasAt(0, "\xFF\xFE")) {
        bigEndian = false;
        bytes = *bytes.from(2);
    } else if (bytes.hasAt(0, "\xFE\xFF")) {
        bigEndian = true;
        bytes = *bytes.from(2);
    }
    return sonvale::decodeUtf16(bytes, bigEndian);
}

// UTF-8 as declared; bytes that are not valid UTF-8 were most likely written as Latin-1.
QString decodeUtf8(ByteView bytes) {
    if (bytes.startsWith("\xEF\xBB\xBF")) bytes = *bytes.from(3);
    if (!isValidUtf8(bytes)) return QString::fromLatin1(bytes.data(), bytes.size());
    return QString::fromUtf8(bytes.data(), bytes.size());
}

}  // namespace

bool isKnown(uint8_t encoding) { return encoding <= Utf8; }

std::optional<QStringList> decode(uint8_t encoding, ByteView bytes) {
    if (!isKnown(encoding)) return std::nullopt;
    QStringList strings;
    strings.reserve(2);
    bool bigEndian = encoding == Utf16BE;
    qint64 from = 0;
    while (from < bytes.size() && strings.size() < kMaxValues) {
        const qint64 terminator = terminatorAt(encoding, bytes, from);
        const qint64 end = terminator < 0 ? bytes.size() : terminator;
        // An odd byte left over at the end of UTF-16 text cannot be decoded.
        const qint64 length = (end - from) / unitSize(encoding) * unitSize(encoding);
        const ByteView piece = *bytes.sub(from, length);
        switch (encoding) {
        case Latin1: strings.append(QString::fromLatin1(piece.data(), piece.size())); break;
        case Utf16:
        case Utf16BE: strings.append(decodeWithByteOrderMark(piece, bigEndian)); break;
        default: strings.append(decodeUtf8(piece)); break;
        }
        if (terminator < 0) break;
        from = terminator + unitSize(encoding);
    }
    return strings;
}

std::optional<qint64> skipString(uint8_t encoding, ByteView bytes, qint64 from) {
    const qint64 terminator = terminatorAt(encoding, bytes, from);
    if (terminator < 0) return std::nullopt;
    return terminator + unitSize(encoding);
}

QStringList frameValues(ByteView content) {
    QStringList values;
    values.reserve(2);
    const auto encoding = content.u8(0);
    if (!encoding) return values;
    const auto strings = decode(*encoding, *content.from(1));
    if (!strings) return values;
    for (const QString& string : *strings) {
        QString value = trimTagText(string);
        if (!value.isEmpty()) values.append(std::move(value));
    }
    return values;
}

}  // namespace sonvale::ID3Text
