#pragma once

#include "ByteView.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

// Decoding of the text fields of ID3v2 frames. Pure functions, thread-safe.
namespace sonvale::ID3Text {

// The text encodings an ID3v2 frame names in its first byte.
enum Encoding : uint8_t { Latin1 = 0, Utf16 = 1, Utf16BE = 2, Utf8 = 3 };

bool isKnown(uint8_t encoding);

// The NUL-separated strings of a field in `encoding`, each decoded on its own (so every
// UTF-16 string may carry its own byte-order mark). A trailing terminator does not start an
// empty string. Nothing when the encoding is unknown.
std::optional<QStringList> decode(uint8_t encoding, ByteView bytes);

// The index just behind the terminator of the string that starts at `from`: one NUL byte, or
// two at an even distance from `from` for UTF-16. Nothing when there is no terminator.
std::optional<qint64> skipString(uint8_t encoding, ByteView bytes, qint64 from);

// The values of a text information frame (an encoding byte, then the strings), trimmed, with
// empty ones left out. Empty for an unknown encoding.
QStringList frameValues(ByteView content);

}  // namespace sonvale::ID3Text
