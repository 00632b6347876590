#pragma once

#include <QString>
#include <QStringList>

namespace sonvale {

// Turns the paths handed to the player (files, folders, M3U playlists) into the ordered list
// of file paths to enqueue. Blocking file input; any thread, no shared state.
//
// Each path is trimmed (an empty one is skipped) and made absolute: a relative path is taken
// against `baseDirectory`, or the working directory when that is empty. A path that does not
// exist is skipped with a log line. A folder is replaced by its entries, hidden ones left out,
// in natural order (comparePaths), to any depth. A file ending in ".m3u" (any case) is replaced
// by its entries, relative ones taken against the playlist's own folder. Every other file is
// passed on as it is, whatever its type. A folder reached again inside itself (through a
// symbolic link) or a playlist that includes itself is expanded once, with a log line; nesting
// deeper than kMaxDepth and more than kMaxSources folders and playlists in one call are cut off
// the same way.
class PathExpander {
public:
    static QStringList expand(const QStringList& paths, const QString& baseDirectory = {});

    static constexpr int kMaxDepth = 64;
    static constexpr int kMaxSources = 100000;
};

}  // namespace sonvale
