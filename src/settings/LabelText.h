#pragma once

#include "Labels.h"

#include <QString>

namespace sonvale {

class Track;

// The texts the windows show for tracks and for the playlist: pure functions, any thread.

// "m:ss" below an hour, "h:mm:ss" from an hour on, with "-" in front when `sign` is set.
// Seconds are truncated; a negative or undefined count reads as 0.
QString formatDuration(bool sign, double seconds);

// The text of one label: the pieces that `tags` selects and that have a value, always in this
// order whatever the order of the flags: title, artist, album, track number, track duration,
// format (the file's extension, upper case), bit rate ("320 kbps"), sample rate ("44100Hz"),
// channels, playlist count ("12 tracks"), playlist duration; joined with the separator of
// `tags`. Without a `track` (may be null) only the two playlist pieces can appear. Empty when
// no piece has a value.
QString composeLabel(const Tags& tags, const Track* track, qsizetype playlistCount, double playlistDuration);

// The one-line description of a track for menus and the clipboard: "Artist - Title" when it
// has both, else the title, else the file name without its folder.
QString describeTrack(const Track& track);

}  // namespace sonvale
