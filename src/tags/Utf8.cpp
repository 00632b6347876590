#include "Utf8.h"

namespace sonvale {

bool isValidUtf8(ByteView bytes) {
    const auto* p = reinterpret_cast<const uint8_t*>(bytes.data());
    const auto* end = p + bytes.size();
    while (p < end) {
        const uint8_t b = *p;
        if (b < 0x80) {
            ++p;
            continue;
        }
        int extra = 0;
        uint32_t min = 0;
        uint32_t cp = 0;
        if ((b & 0xE0) == 0xC0) { extra = 1; min = 0x80; cp = b & 0x1F; }
        else if ((b & 0xF0) == 0xE0) { extra = 2; min = 0x800; cp = b & 0x0F; }
        else if ((b & 0xF8) == 0xF0) { extra = 3; min = 0x10000; cp = b & 0x07; }
        else return false;
        if (end - p <= extra) return false;
        for (int k = 1; k <= extra; ++k) {
            if ((p[k] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (p[k] & 0x3F);
        }
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        p += extra + 1;
    }
    return true;
}

QString decodeUtf16(ByteView bytes, bool bigEndian) {
    const qint64 units = bytes.size() / 2;
    QString text(units, Qt::Uninitialized);
    const auto* in = reinterpret_cast<const uint8_t*>(bytes.data());
    QChar* out = text.data();
    for (qint64 i = 0; i < units; ++i) {
        const uint8_t a = in[2 * i];
        const uint8_t b = in[2 * i + 1];
        out[i] = QChar(char16_t(bigEndian ? (a << 8) | b : (b << 8) | a));
    }
    return text;
}

}  // namespace sonvale
