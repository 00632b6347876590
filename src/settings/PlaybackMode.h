#pragma once

#include <QtGlobal>

#include <array>
#include <optional>

namespace sonvale {

// What follows when a track ends or the user asks for the next one. The raw values are
// stored in the preferences.
enum class PlaybackMode { Normal = 0, RepeatAll = 1, RepeatOne = 2, Shuffle = 3, Single = 4 };

inline constexpr std::array<PlaybackMode, 5> allPlaybackModes = {
    PlaybackMode::Normal, PlaybackMode::RepeatAll, PlaybackMode::RepeatOne, PlaybackMode::Shuffle,
    PlaybackMode::Single};

// The mode with raw value `raw`; std::nullopt for anything outside 0 to 4.
std::optional<PlaybackMode> playbackModeFromRaw(qint64 raw);

}  // namespace sonvale
