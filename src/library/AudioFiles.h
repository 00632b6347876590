#pragma once

#include "TrackMetadata.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace sonvale {

// The file-name extensions a library scan takes: "mp3", "mp4", "m4a", "m4b", "m4r", "wav",
// "aif", "aiff", "m3u", "flac". Compared exactly, so "Song.MP3" is not taken. Playlists go
// through the same per-file steps as audio files.
const QStringList& supportedExtensions();

// A file found by the walk, with its size and modification time as the walk read them (both
// always read: held without the optionals of ResourceValues, a scan holds many).
struct FoundFile {
    QString path;  // absolute and clean
    qint64 size = 0;
    qint64 modified = 0;  // whole seconds since 1970

    ResourceValues values() const { return {size, modified}; }
};

// The regular files under `root` whose extension (the text after the last ".") is one of
// `extensions` exactly, in the directory listing's order, each folder's files and folders in
// the order the file system lists them, a folder's contents where the folder is listed (not
// sorted). Entries whose names begin with "." are passed over, hidden folders are not entered,
// symbolic links are neither taken nor followed, unreadable folders and entries whose status
// cannot be read are skipped. Empty when `root` is missing or unreadable. Blocking
// file-system work (one status read per file taken) spread over a few short-lived threads;
// call it off the main thread.
// Tells the kernel that `file` will be read soon, so that its reads start now; it does not wait
// for them. Does nothing when the file cannot be opened.
void adviseReading(const FoundFile& file);

QList<FoundFile> collectAudioFiles(const QString& root, const QStringList& extensions);

}  // namespace sonvale
