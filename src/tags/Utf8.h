#pragma once

#include "ByteView.h"

#include <QString>

namespace sonvale {

// Strict UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing past U+10FFFF.
bool isValidUtf8(ByteView bytes);

// The bytes as UTF-16 text in the given byte order (an odd last byte is ignored).
QString decodeUtf16(ByteView bytes, bool bigEndian);

}  // namespace sonvale
