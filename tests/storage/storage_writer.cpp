// Writes to a library database until it is killed, for the tests that kill it at random
// moments. Prints one line per committed write, flushed.
//
//   storage_writer playlists DIR FIRST   saves KillWorkload::playlist(FIRST), (FIRST + 1), ...
//                                        and prints each k once it is committed
//   storage_writer open DIR              opens (and so migrates) the database, prints "open"

#include "DB.h"
#include "KillWorkload.h"

#include <QCoreApplication>
#include <QHash>

#include <cstdio>

using sonvale::DB;
using sonvale::TrackRef;

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() < 3) return 2;
    DB db(args[2]);
    if (args[1] == QLatin1String("open")) {
        std::puts("open");
        return db.isOpen() ? 0 : 1;
    }
    if (args[1] != QLatin1String("playlists") || args.size() < 4) return 2;
    QHash<QString, TrackRef> tracks;
    const QStringList paths = KillWorkload::paths();
    const QList<TrackRef> stored = db.findOrInsertTracks(paths);
    for (qsizetype i = 0; i < paths.size(); ++i) {
        if (!stored.value(i)) return 1;
        tracks.insert(paths[i], stored[i]);
    }
    for (int k = args[3].toInt();; ++k) {
        QList<TrackRef> playlist;
        for (const QString& path : KillWorkload::playlist(k)) playlist.append(tracks.value(path));
        if (!db.savePlaylist(playlist)) return 1;
        std::printf("%d\n", k);
        std::fflush(stdout);
    }
}
