#pragma once

#include <QString>
#include <QStringList>

namespace sonvale {

// The file-name extensions a library scan takes: "mp3", "mp4", "m4a", "m4b", "m4r", "wav",
// "aif", "aiff", "m3u", "flac". Compared exactly, so "Song.MP3" is not taken. Playlists go
// through the same per-file steps as audio files.
const QStringList& supportedExtensions();

// The absolute paths of the regular files under `root` whose extension (the text after the
// last ".") is one of `extensions` exactly, in the directory listing's order (not sorted).
// Entries whose names begin with "." are passed over, hidden folders are not entered,
// symbolic links are neither taken nor followed, unreadable folders are skipped. Empty when
// `root` is missing or unreadable. Blocking file-system work; call it off the main thread.
QStringList collectAudioFiles(const QString& root, const QStringList& extensions);

}  // namespace sonvale
