#pragma once

#include "CommandLine.h"

namespace sonvale {

// `sonvale-cli scan [--force] FOLDER...`: adds each FOLDER (made absolute) to the library,
// which scans it, or rescans it when it is a library folder already; waits for every scan,
// showing progress on stderr and one summary line per folder on stdout (see ScanProgress).
//
// Nothing is changed when a FOLDER cannot be scanned: a missing or unreadable FOLDER that is
// not a library folder fails the command (exit 1). Rescanning a library folder whose directory
// is missing would remove all its tracks, so that too fails unless --force is given: a typo or
// an unmounted disk loses nothing.
class ScanCommand {
public:
    static int run(const CommandContext& context);
};

}  // namespace sonvale
