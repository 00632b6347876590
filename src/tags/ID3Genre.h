#pragma once

#include <QString>

#include <optional>

// Genre names of ID3 tags: the numbered genres of ID3v1 (with the Winamp extensions) and the
// reference forms ID3v2 uses for them. Pure functions, thread-safe.
namespace sonvale::ID3Genre {

// The name of genre number `index` (0 to 191), or nothing.
std::optional<QString> name(qint64 index);

// The genre one TCON value stands for: "13" and "(13)" name genre 13, "RX" and "CR" (bare or
// in parentheses) stand for Remix and Cover, text behind references ("(13)Pop Rock") refines
// them and wins, "((" escapes a literal parenthesis, and any other text is the genre itself.
// Nothing for an empty value or a reference to an unknown number.
std::optional<QString> resolve(const QString& value);

}  // namespace sonvale::ID3Genre
