#pragma once

#include "ReplayGain.h"

#include <QString>

#include <optional>

namespace sonvale {

class Preferences;

// Which gain of a file's ReplayGain values playback applies. The raw values are stored in the
// preferences.
enum class ReplayGainMode { Off = 0, Track = 1, Album = 2 };

// The mode with raw value `raw`; std::nullopt for anything outside 0 to 2.
std::optional<ReplayGainMode> replayGainModeFromRaw(qint64 raw);

// How playback applies ReplayGain: the preferences "replayGainMode", "replayGainPreamp" and
// "replayGainPreventClipping". Off by default, so files play as they are unless asked.
struct ReplayGainSettings {
    // The range the preferences offer and loading keeps the preamp in.
    static constexpr float kMinPreamp = -15.0f;
    static constexpr float kMaxPreamp = 15.0f;

    ReplayGainMode mode = ReplayGainMode::Off;
    float preamp = 0.0f;          // dB added to the file's gain
    bool preventClipping = true;  // the peak limits the gain

    bool operator==(const ReplayGainSettings&) const = default;
};

// The linear amplitude factor for a file with `gain` under `settings`: 1 when off or when the
// file has no gain for the mode (the preamp applies only to files that have one: an untagged
// file plays as it is); album mode takes the track gain where the album gain is missing.
// Otherwise 10^((gain + preamp) / 20), limited to 1 / peak when clipping is prevented and a
// peak is known (the album peak in album mode, else the track peak). Pure; any thread.
float replayGainFactor(const ReplayGain& gain, const ReplayGainSettings& settings);

// The same for the file at `path`, whose tags are read only when the mode is not off (a few
// positioned reads; see readReplayGain). A file that can't be read plays at 1. Any thread.
float replayGainFactorFor(const QString& path, const ReplayGainSettings& settings);
// With the settings as `preferences` hold them now. Main thread (the preferences' thread).
float replayGainFactorFor(const QString& path, const Preferences& preferences);

}  // namespace sonvale
