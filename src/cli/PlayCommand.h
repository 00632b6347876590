#pragma once

#include "CommandLine.h"

namespace sonvale {

// `sonvale-cli play [--mode MODE] PATH...`: opens the paths as the player does (files, folders,
// M3U playlists, replacing the playlist in memory without saving it), plays from the first item
// in MODE (normal, repeat-all, repeat-one, shuffle or single; the saved mode is left as it is)
// and prints "POSITION<TAB>PATH<TAB>SECONDS" whenever a track becomes current. On a terminal
// the keys space (pause/resume), n (next), p (previous), left and right arrows (seek -/+ 15 s)
// and q (quit) act on the playback. The run is published on the session bus as an MPRIS player
// (org.mpris.MediaPlayer2.sonvale, or with ".instance<PID>" when that name is taken), where Quit
// stops it and OpenUri replaces the playlist; a mode set there is saved, as in the window.
// Returns when playback stops: 0, or 1 when nothing could be played, 2 for a usage error.
class PlayCommand {
public:
    static int run(const CommandContext& context);
};

}  // namespace sonvale
