#pragma once

#include "CommandLine.h"

namespace sonvale {

// `sonvale-cli folders`: one line per library folder, in storage order: id, path and the end
// of its last completed scan (ISO 8601 in UTC, or "never"), separated by tabs.
class FoldersCommand {
public:
    static int run(const CommandContext& context);
};

}  // namespace sonvale
