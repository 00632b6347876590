#pragma once

#include "Labels.h"
#include "PlaybackMode.h"
#include "ReplayGainSettings.h"

#include <QString>

#include <optional>

namespace sonvale {

// The window appearance. The raw values are stored in the preferences.
enum class Appearance { System = 0, Dark = 1, Light = 2 };

// The user's settings, kept in the settings store of organisation and application "Sonvale"
// (QSettings, user scope). Construction loads every key once; save() writes every key. The
// fields are read and changed directly by their users; nothing is written until save().
// Missing keys and values of the wrong type fall back to the defaults below, silently.
// Main thread only.
class Preferences {
public:
    Preferences();

    Appearance appearance = Appearance::System;               // "appearance"
    bool alwaysEnqueue = false;                               // "alwaysEnqueue"
    bool alwaysOnTop = false;                                 // "alwaysOnTop"
    bool winampKeys = false;                                  // "winampKeys"
    bool timeRightTotal = false;                              // "timeRightTotal"
    PlaybackMode playbackMode = PlaybackMode::Normal;         // "playbackMode", raw value
    float volume = 1.0f;                                      // "volume", 0.0 to 1.0
    std::optional<qint64> currentPlaylistItem = 0;            // "current"; removed when none
    bool useAbsolutePathsForPlaylists = false;                // "UseAbsolutePathsForPlaylists"
    Labels labels;                                            // groups "labels" and "separators"
    // "replayGainMode" (raw value), "replayGainPreamp" (dB, kept in the settings' range) and
    // "replayGainPreventClipping"; read by the player when it opens a file.
    ReplayGainSettings replayGain;

    // Reads every key again, replacing the fields.
    void load();
    // Writes every field and flushes the store. False when the store could not be written.
    bool save() const;
};

}  // namespace sonvale
