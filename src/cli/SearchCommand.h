#pragma once

#include "CommandLine.h"

namespace sonvale {

// `sonvale-cli search WORDS...`: the paths of the library tracks that the words find, one per
// line, as the search box finds them. `sonvale-cli search -` reads one query per line from
// standard input and answers each with its paths and an empty line, flushed, until the input
// ends. Opens (creating and upgrading when needed) the database of the data directory.
class SearchCommand {
public:
    static int run(const CommandContext& context);
};

}  // namespace sonvale
