// Files per second for reading tags and audio properties over a generated tree, page cache
// warm: Sonvale's readAudioInfo against TagLib, the libavformat probe and the floor of the
// machine (open, fstat, three small positioned reads, close). All measured in the same run.
//
//   tag_bench [--root DIR] [--count N] [--formats mp3,flac,m4a,wav,aiff] [--rounds R]

#include "AudioProbe.h"
#include "TrackMetadata.h"
#include "TreeGenerator.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <taglib/fileref.h>
#include <taglib/tag.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>

namespace {

using Reader = std::function<bool(const QString&, const QByteArray&)>;

bool readSonvale(const QString& path, const QByteArray&) { return sonvale::readAudioInfo(path).has_value(); }

bool readTagLib(const QString&, const QByteArray& native) {
    TagLib::FileRef ref(native.constData(), true, TagLib::AudioProperties::Average);
    if (ref.isNull() || !ref.tag() || !ref.audioProperties()) return false;
    const TagLib::Tag* tag = ref.tag();
    const auto total = tag->title().size() + tag->artist().size() + tag->album().size() + tag->genre().size();
    return total + tag->track() + ref.audioProperties()->lengthInMilliseconds() > 0;
}

bool readProbe(const QString& path, const QByteArray&) { return sonvale::AudioProbe::probe(path).has_value(); }

bool readFloor(const QString&, const QByteArray& native) {
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    char buffer[64];
    bool ok = ::fstat(fd, &st) == 0 && ::pread(fd, buffer, 12, 0) == 12 && ::pread(fd, buffer, 10, 12) > 0 &&
              ::pread(fd, buffer, 34, 64) > 0;
    ::close(fd);
    return ok;
}

struct Measure {
    double filesPerSecond = 0;
    int recognised = 0;
};

Measure timeOnce(const Reader& reader, const QStringList& paths, const QList<QByteArray>& natives) {
    int recognised = 0;
    const auto start = std::chrono::steady_clock::now();
    for (qsizetype i = 0; i < paths.size(); ++i) recognised += reader(paths[i], natives[i]) ? 1 : 0;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return {paths.size() / elapsed.count(), recognised};
}

// Best of `rounds` for every reader; the readers take turns within each round, so that a
// change in the machine's load touches all of them alike.
QList<Measure> measureAll(const QList<QPair<const char*, Reader>>& readers, const QStringList& paths,
                          const QList<QByteArray>& natives, int rounds) {
    QList<Measure> best(readers.size());
    for (const auto& entry : readers) timeOnce(entry.second, paths, natives);  // warm caches and code
    for (int round = 0; round < rounds; ++round) {
        for (qsizetype r = 0; r < readers.size(); ++r) {
            const Measure m = timeOnce(readers[r].second, paths, natives);
            if (m.filesPerSecond > best[r].filesPerSecond) best[r] = m;
        }
    }
    return best;
}

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype i = args.indexOf(name);
    return i >= 0 && i + 1 < args.size() ? args[i + 1] : fallback;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString root = option(args, QStringLiteral("--root"), QStringLiteral("/tmp/sonvale-bench-tree"));
    const int count = option(args, QStringLiteral("--count"), QStringLiteral("10000")).toInt();
    const QStringList formats = option(args, QStringLiteral("--formats"), QStringLiteral("mp3,flac,m4a,wav,aiff")).split(QLatin1Char(','));
    const int rounds = option(args, QStringLiteral("--rounds"), QStringLiteral("5")).toInt();

    TreeGenerator tree(root, formats, count);
    if (!tree.ensure()) return 1;
    QMap<QString, QStringList> byFormat;
    const QStringList all = tree.files();
    for (const QString& path : all) byFormat[QFileInfo(path).suffix()].append(path);
    byFormat.insert(QStringLiteral("all"), all);

    const QList<QPair<const char*, Reader>> readers = {
        {"Sonvale", readSonvale}, {"TagLib", readTagLib}, {"libavformat", readProbe}, {"floor", readFloor}};
    std::printf("%d files in %s, best of %d interleaved rounds, page cache warm\n\n", int(all.size()), qPrintable(root), rounds);
    std::printf("| format | files | Sonvale f/s | TagLib f/s | libavformat f/s | floor f/s | x TagLib | floor / Sonvale |\n");
    std::printf("|---|---|---|---|---|---|---|---|\n");
    for (const QString& format : formats + QStringList{QStringLiteral("all")}) {
        const QStringList& paths = byFormat.value(format);
        if (paths.isEmpty()) continue;
        QList<QByteArray> natives;
        for (const QString& p : paths) natives.append(QFile::encodeName(p));
        const QList<Measure> results = measureAll(readers, paths, natives, rounds);
        std::printf("| %s | %d | %.0f (%d read) | %.0f | %.0f | %.0f | %.1f | %.2f |\n", qPrintable(format),
                    int(paths.size()), results[0].filesPerSecond, results[0].recognised, results[1].filesPerSecond,
                    results[2].filesPerSecond, results[3].filesPerSecond,
                    results[0].filesPerSecond / results[1].filesPerSecond,
                    results[3].filesPerSecond / results[0].filesPerSecond);
    }
    return 0;
}
