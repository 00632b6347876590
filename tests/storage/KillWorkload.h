#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// What storage_writer writes, so that a test that kills it can tell which of its writes the
// file holds.
namespace KillWorkload {

constexpr int kTracks = 1000;

inline QStringList paths() {
    QStringList paths;
    for (int i = 0; i < kTracks; ++i) paths.append(QStringLiteral("/music/kill/%1.flac").arg(i));
    return paths;
}

// The paths of the k-th playlist saved: a different length and first track each time.
inline QStringList playlist(int k) {
    const QStringList all = paths();
    QStringList playlist;
    const int length = 200 + (k * 37) % 800;
    for (int i = 0; i < length; ++i) playlist.append(all[(k * 13 + i) % kTracks]);
    return playlist;
}

}  // namespace KillWorkload
