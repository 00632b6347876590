#pragma once

#include "AudioInfo.h"
#include "ReplayGain.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace sonvale {

class Track;

// A file's size and modification time as the file system reported them; either may be
// missing.
struct ResourceValues {
    std::optional<qint64> size;
    std::optional<qint64> modified;  // whole seconds since 1970, truncated toward zero
};

enum class RefreshResult { unchanged = 0, updated = 1, unreadable = 2 };

// A file's modification time as a record keeps it: whole seconds since 1970, truncated toward
// zero, from the file system's seconds (the floor) and nanoseconds.
inline qint64 wholeSeconds(qint64 seconds, qint64 nanoseconds) {
    return seconds < 0 && nanoseconds > 0 ? seconds + 1 : seconds;
}

// All of these do blocking file input, hold no lock and report nothing; run them off the
// main thread, one thread per Track at a time.

// The size and modification time of `path`; nothing when it can't be examined.
std::optional<ResourceValues> fileResourceValues(const QString& path);

// Detects the file's type and runs the matching reader. Nothing when the file can't be
// opened, its type is unknown, or the reader finds nothing usable.
std::optional<AudioInfo> readAudioInfo(const QString& path);

// The file's ReplayGain values, read by the reader its leading bytes call for; an empty record
// when the file can't be opened, its type is unknown or it has none. Reads only the tag
// structures that can hold them (a few positioned reads), so it may run where a file is about
// to be played, on the main thread.
ReplayGain readReplayGain(const QString& path);

// Refills every metadata field of `track` from its file, with fallbacks from the file and
// folder names and, when the readers lack a technical value, from the libavformat probe.
// Returns what the reader found, for callers that want more than the record keeps.
std::optional<AudioInfo> reloadMetadata(Track& track, const ResourceValues& values);

// Re-reads the track when it was never read, was read by older rules, or (with
// `checkModification`) its file's size or whole-second modification time changed.
RefreshResult refreshMetadata(Track& track, bool checkModification);
// The same check with the file's size and modification time as the caller read them (a
// directory walk), without examining the file again: unchanged or updated.
RefreshResult refreshMetadata(Track& track, const ResourceValues& values);

// The names tried, in this order, in the track's folder when the file has no picture.
const QStringList& folderArtworkNames();

// The embedded picture, else the first readable folder image; nothing when neither exists.
std::optional<QByteArray> loadArtworkData(const QString& path);

// The path of the folder image loadArtworkData falls back on for the file at `path` (the first
// of folderArtworkNames that is a readable file of acceptable size), whether or not the file
// has a picture of its own; nothing when the folder has none.
std::optional<QString> folderArtworkPath(const QString& path);

}  // namespace sonvale
