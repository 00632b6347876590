// What the library database's check at opening costs: a synthetic library of N tracks (tags,
// search tokens, every track in the saved playlist, one library folder) is written through the
// storage roles, then the database is opened as the program opens it (with its check of the
// header, the folders and the playlist), opened after damage was met (which checks the whole
// file), and checked with SQLite's whole-file quick check and full integrity check, each with the
// file in the page cache and dropped from it. Prints a markdown table.
//
//   open_bench [--sizes 10000,100000] [--runs 5]

#include "DB.h"
#include "LibraryGenerator.h"
#include "SQLiteDatabase.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

#include <fcntl.h>
#include <unistd.h>

using sonvale::DB;
using sonvale::TrackRef;

namespace {

using Clock = std::chrono::steady_clock;

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype i = args.indexOf(name);
    return i >= 0 && i + 1 < args.size() ? args[i + 1] : fallback;
}

void build(const QString& dir, int size) {
    DB db(dir);
    QList<TrackRef> tracks = LibraryGenerator().tracks(size);
    LibraryGenerator::store(db, tracks, QStringLiteral("/home/user/Music/"));
    db.savePlaylist(tracks);
}

// Drops the file's pages from the page cache, so that the next read comes from the disk.
void dropFromCache(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (fd < 0) return;
    ::fdatasync(fd);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
}

// Median milliseconds of `runs` runs of `work`, each after `prepare`.
double median(int runs, const std::function<void()>& prepare, const std::function<void()>& work) {
    QList<double> times;
    for (int i = 0; i < runs; ++i) {
        prepare();
        const auto start = Clock::now();
        work();
        times.append(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void check(const QString& path, const QString& sql) {
    auto db = sonvale::SQLiteDatabase::open(path);
    auto cursor = db ? db->executeQuery(sql) : std::nullopt;
    while (cursor && cursor->next()) {}
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const int runs = option(args, QStringLiteral("--runs"), QStringLiteral("5")).toInt();
    std::printf("| tracks | file MiB | cache | opening ms | its check of folders and playlist ms | opening after damage "
                "was met ms | quick_check ms | integrity_check ms |\n|---|---|---|---|---|---|---|---|\n");
    for (const QString& size : option(args, QStringLiteral("--sizes"), QStringLiteral("10000,100000")).split(u',')) {
        QTemporaryDir dir;
        build(dir.path(), size.toInt());
        const QString path = DB(dir.path()).path();
        const QString marker = path + QStringLiteral(".damage-seen");
        for (const bool cold : {false, true}) {
            const auto prepare = [&] {
                if (cold) dropFromCache(path);
            };
            const double opening = median(runs, prepare, [&] { DB db(dir.path()); });
            const double tables = median(runs, prepare, [&] {
                check(path, QStringLiteral("PRAGMA quick_check(folders)"));
                check(path, QStringLiteral("PRAGMA quick_check(playlist)"));
            });
            const double thorough = median(runs, [&] { QFile(marker).open(QIODevice::WriteOnly); prepare(); },
                                           [&] { DB db(dir.path()); });
            const double quick = median(runs, prepare, [&] { check(path, QStringLiteral("PRAGMA quick_check")); });
            const double full = median(runs, prepare, [&] { check(path, QStringLiteral("PRAGMA integrity_check")); });
            std::printf("| %s | %.0f | %s | %.1f | %.1f | %.1f | %.1f | %.1f |\n", qUtf8Printable(size),
                        double(QFile(path).size()) / (1 << 20), cold ? "dropped" : "warm", opening, tables, thorough,
                        quick, full);
            std::fflush(stdout);
        }
    }
    return 0;
}
