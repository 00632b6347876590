#pragma once

#include "CommandLine.h"

namespace sonvale {

// `sonvale-cli tags FILE...`: one JSON record per file, read exactly as the library reads a
// file it has just found.
class TagsCommand {
public:
    static int run(const CommandContext& context);
};

}  // namespace sonvale
