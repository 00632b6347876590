#pragma once

#include <QString>

#include <optional>

namespace sonvale {

// The name of a numbered ID3 genre: the ID3v1 list (0-79) with the Winamp extensions
// (80-191). Nothing for any other number, including 255, which ID3v1 uses for "no genre".
std::optional<QString> id3GenreName(int index);

}  // namespace sonvale
