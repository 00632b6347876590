#include "PlaybackMode.h"

namespace sonvale {

std::optional<PlaybackMode> playbackModeFromRaw(qint64 raw) {
    if (raw < 0 || raw >= qint64(allPlaybackModes.size())) return std::nullopt;
    return allPlaybackModes[size_t(raw)];
}

}  // namespace sonvale
