#pragma once

#include <QString>

#include <optional>

namespace sonvale {

// The name of an ID3v1 genre number: the 80 genres of ID3v1 (0-79) and the Winamp extensions
// (80-191). Nothing for numbers outside that range. Thread-safe.
std::optional<QString> id3GenreName(int index);

}  // namespace sonvale
