#pragma once

#include "CommandLine.h"

namespace sonvale {

// `sonvale-cli remove FOLDER`: removes the library folder whose root is FOLDER (made absolute;
// the folder itself need not exist any more). Its tracks stay in the database without a folder
// and leave the search index. Exits with 1 when no library folder has that root.
class RemoveCommand {
public:
    static int run(const CommandContext& context);
};

}  // namespace sonvale
