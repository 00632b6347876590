#pragma once

#include <QString>

#include <optional>

namespace sonvale::Format {

// The normal form of a track number: the part before "/", trimmed; a run of ASCII digits
// becomes its value without leading zeros (absent when below 1 or beyond 64 bits); any other
// text is returned as it is ("A1"). Absent when nothing is left.
std::optional<QString> normalizeTrackNumber(const QString& text);

// One to three digits at the start of a file name followed by ".", "-" or " "
// ("07 - Song.mp3" gives "07"); empty text otherwise.
QString trackNumberFromFileName(const QString& name);

// "None", "Mono", "Stereo", or "<n>CH".
QString channelsDescription(qint64 count);

}  // namespace sonvale::Format
