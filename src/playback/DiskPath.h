#pragma once

#include <QString>

namespace sonvale {

// The spelling on disk of an absolute path that was kept in composed Unicode (NFC), as the
// database keeps every path. Linux file names are bytes, so a name written decomposed (as some
// tools and copies from other systems do) does not open under its composed spelling.
//
// Returns `path` itself when it exists or when no entry matches; otherwise the path whose
// components are the on-disk entries with the same composed form. Reads only the folders along
// the path whose component is missing. Blocking file input; any thread.
QString findOnDisk(const QString& path);

}  // namespace sonvale
