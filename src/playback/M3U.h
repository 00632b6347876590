#pragma once

#include "Track.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace sonvale {

// Reading and writing M3U playlists (one path a line, "#EXTM3U" and "#EXTINF" lines).
class M3U {
public:
    // The entries of a playlist's text, in order: the text is split at newlines, empty pieces
    // are dropped, each line is trimmed of spaces and tabs (a blank line stays as an empty
    // entry), backslashes become slashes, and "#EXTM3U" and "#EXTINF" lines are dropped. Every
    // other line, also one beginning with "#", is an entry.
    static QStringList parse(const QString& text);
    // The entries of the playlist file at `path`, decoded as UTF-8 (Latin-1 when it is not valid
    // UTF-8). A file that cannot be read, is larger than kMaxSize or holds NUL bytes (not a text
    // file) gives an empty list and a log line. Blocking file input.
    static QStringList read(const QString& path);

    // The text of a playlist of `tracks` to be saved at `playlistPath`, in UTF-8: an "#EXTM3U"
    // header, then for each track "#EXTINF:<whole seconds or -1>,<artist> - <title>" and its
    // path, absolute or relative to the playlist's folder. Tracks whose path holds a newline
    // cannot be written and are left out with a log line.
    static QByteArray format(const QList<TrackRef>& tracks, const QString& playlistPath, bool absolutePaths);
    // Writes format() to `playlistPath`, replacing the file as a whole. False, with a log line,
    // when the file could not be written. Blocking file output.
    static bool write(const QList<TrackRef>& tracks, const QString& playlistPath, bool absolutePaths);

    // The largest playlist file read.
    static constexpr qint64 kMaxSize = 16 * 1024 * 1024;
};

}  // namespace sonvale
