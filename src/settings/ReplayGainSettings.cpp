#include "ReplayGainSettings.h"

#include "Preferences.h"
#include "TrackMetadata.h"

#include <algorithm>
#include <cmath>

namespace sonvale {

std::optional<ReplayGainMode> replayGainModeFromRaw(qint64 raw) {
    switch (raw) {
    case qint64(ReplayGainMode::Off): return ReplayGainMode::Off;
    case qint64(ReplayGainMode::Track): return ReplayGainMode::Track;
    case qint64(ReplayGainMode::Album): return ReplayGainMode::Album;
    default: return std::nullopt;
    }
}

float replayGainFactor(const ReplayGain& gain, const ReplayGainSettings& settings) {
    if (settings.mode == ReplayGainMode::Off) return 1.0f;
    const bool album = settings.mode == ReplayGainMode::Album && gain.albumGain;
    const std::optional<float> decibels = album ? gain.albumGain : gain.trackGain;
    if (!decibels) return 1.0f;
    double factor = std::pow(10.0, (double(*decibels) + double(settings.preamp)) / 20.0);
    const std::optional<float> peak = album && gain.albumPeak ? gain.albumPeak : gain.trackPeak;
    if (settings.preventClipping && peak && *peak > 0) factor = std::min(factor, 1.0 / double(*peak));
    return float(factor);
}

float replayGainFactorFor(const QString& path, const ReplayGainSettings& settings) {
    if (settings.mode == ReplayGainMode::Off) return 1.0f;
    return replayGainFactor(readReplayGain(path), settings);
}

float replayGainFactorFor(const QString& path, const Preferences& preferences) {
    return replayGainFactorFor(path, preferences.replayGain);
}

}  // namespace sonvale
