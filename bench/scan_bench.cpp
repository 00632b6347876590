// Library scan throughput over a generated tree, against MPD in the same run: the first scan
// into an empty database and a rescan with nothing changed, in files per second, with the peak
// resident memory of each phase and the size of the database file. Sonvale runs every phase in
// a child process of its own (fresh process, same data directory), and so does MPD (a private
// daemon on a unix socket, started for each phase). Prints a markdown table.
//
//   scan_bench [--count 10000] [--root DIR] [--formats mp3,flac,m4a,wav,aiff] [--keep]
//   scan_bench --phase first|rescan --tree DIR --data DIR --result FILE   (one Sonvale phase)

#include "AudioFiles.h"
#include "DB.h"
#include "DBTestAccess.h"
#include "Library.h"
#include "MpdRunner.h"
#include "TreeGenerator.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>

namespace {

using Clock = std::chrono::steady_clock;

// Bound on every phase of either program.
constexpr double kPhaseSeconds = 3600;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : fallback;
}

qint64 ownPeakRssKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct Phase {
    bool ok = false;
    double seconds = 0;
    qint64 peakKiB = 0;
    qint64 items = 0;  // tracks stored, or songs known to MPD
};

// Quits the event loop when the scan is over.
class FinishListener : public sonvale::LibraryListener {
public:
    explicit FinishListener(QEventLoop& loop) : loop_(loop) {}
    void folderScanFinished(const sonvale::FolderRef&) override {
        finished = true;
        loop_.quit();
    }
    bool finished = false;

private:
    QEventLoop& loop_;
};

// One Sonvale phase in this process: opens the database, then times the scan from the call
// to its completion.
int runSonvalePhase(const QStringList& args) {
    const QString phase = option(args, QStringLiteral("--phase"), QString());
    auto db = std::make_shared<sonvale::DB>(option(args, QStringLiteral("--data"), QString()));
    QEventLoop loop;
    FinishListener listener(loop);
    sonvale::Queues queues;
    Phase result;
    {
        sonvale::Library library(db, queues);
        library.addListener(&listener);
        QTimer::singleShot(int(kPhaseSeconds * 1000), &loop, &QEventLoop::quit);
        auto start = Clock::now();
        if (phase == QLatin1String("first")) {
            auto folder = std::make_shared<sonvale::Folder>();
            folder->root = option(args, QStringLiteral("--tree"), QString());
            start = Clock::now();
            library.addFolders({folder}, 0);
        } else {
            library.loadFolders();
            if (library.folders().isEmpty()) return 1;
            start = Clock::now();
            library.scanFolder(library.folders().first(), sonvale::supportedExtensions());
        }
        loop.exec();
        result.seconds = secondsSince(start);
        result.ok = listener.finished;
    }
    sonvale::DBTestAccess::queue(*db)->inDatabase([&](sonvale::SQLiteDatabase& connection) {
        auto rows = connection.executeQuery(QStringLiteral("SELECT COUNT(*) AS n FROM tracks"));
        if (rows && rows->next()) result.items = rows->int64ForColumn(QStringLiteral("n"));
    });
    result.peakKiB = ownPeakRssKiB();
    QFile out(option(args, QStringLiteral("--result"), QString()));
    if (!result.ok || !out.open(QIODevice::WriteOnly)) return 1;
    out.write(QStringLiteral("%1 %2 %3\n").arg(result.seconds, 0, 'f', 6).arg(result.peakKiB).arg(result.items).toUtf8());
    return 0;
}

Phase sonvalePhase(const QString& phase, const QString& tree, const QString& data) {
    const QString resultFile = data + QStringLiteral("/result-") + phase;
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.setStandardOutputFile(data + QStringLiteral("/log-") + phase);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--phase"), phase, QStringLiteral("--tree"), tree, QStringLiteral("--data"), data,
                 QStringLiteral("--result"), resultFile});
    Phase result;
    if (!child.waitForFinished(int(kPhaseSeconds * 1000) + 60000)) {
        child.kill();
        child.waitForFinished(5000);
        return result;
    }
    QFile file(resultFile);
    if (child.exitCode() != 0 || !file.open(QIODevice::ReadOnly)) return result;
    const QList<QByteArray> fields = file.readAll().trimmed().split(' ');
    if (fields.size() != 3) return result;
    return {true, fields[0].toDouble(), fields[1].toLongLong(), fields[2].toLongLong()};
}

// MPD's first phase starts without a database file, so the daemon begins the full update by
// itself: timed from the start of the process. The rescan is timed from the update command.
Phase mpdPhase(bool first, const QString& tree, const QString& work) {
    Phase result;
    MpdRunner mpd(tree, work);
    const auto start = Clock::now();
    if (!mpd.start()) return result;
    auto updateStart = start;
    if (!first) {
        updateStart = Clock::now();
        if (!mpd.command("update")) return result;
    }
    if (!mpd.waitWhileUpdating(kPhaseSeconds)) return result;
    result.seconds = secondsSince(updateStart);
    result.items = mpd.songs();
    result.peakKiB = mpd.peakRssKiB();
    result.ok = true;
    return result;
}

QString mib(qint64 bytes) { return QString::number(double(bytes) / (1024 * 1024), 'f', 2); }

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.contains(QStringLiteral("--phase"))) return runSonvalePhase(args);

    const int count = option(args, QStringLiteral("--count"), QStringLiteral("10000")).toInt();
    const QString root = option(args, QStringLiteral("--root"), QStringLiteral("/tmp/sonvale-scan-tree-%1").arg(count));
    const QStringList formats = option(args, QStringLiteral("--formats"), QStringLiteral("mp3,flac,m4a,wav,aiff")).split(QLatin1Char(','));

    std::printf("making or checking the tree %s...\n", qPrintable(root));
    std::fflush(stdout);
    TreeGenerator tree(root, formats, count, TreeGenerator::Options{0.5, true});
    if (!tree.ensure()) return 1;
    const qsizetype files = tree.files().size();
    // MPD walks hidden folders too: keep it out of the generator's templates.
    QFile ignore(root + QStringLiteral("/.mpdignore"));
    if (!ignore.open(QIODevice::WriteOnly) || ignore.write(".templates\n") <= 0) return 1;
    ignore.close();

    QTemporaryDir work;
    work.setAutoRemove(!args.contains(QStringLiteral("--keep")));
    const QString sonvaleData = work.path() + QStringLiteral("/sonvale");
    const QString mpdWork = work.path() + QStringLiteral("/mpd");
    QDir().mkpath(sonvaleData);
    QDir().mkpath(mpdWork);

    const Phase sFirst = sonvalePhase(QStringLiteral("first"), root, sonvaleData);
    const Phase sRescan = sonvalePhase(QStringLiteral("rescan"), root, sonvaleData);
    const qint64 sDb = QFileInfo(sonvaleData + QLatin1Char('/') + sonvale::DB::fileName()).size();
    const Phase mFirst = mpdPhase(true, root, mpdWork);
    const Phase mRescan = mpdPhase(false, root, mpdWork);
    const qint64 mDb = QFileInfo(mpdWork + QStringLiteral("/mpd.db")).size();
    if (!sFirst.ok || !sRescan.ok || !mFirst.ok || !mRescan.ok) {
        std::fprintf(stderr, "a phase failed (Sonvale first %d rescan %d, MPD first %d rescan %d); work dir %s\n",
                     sFirst.ok, sRescan.ok, mFirst.ok, mRescan.ok, qPrintable(work.path()));
        work.setAutoRemove(false);
        return 1;
    }

    std::printf("\n%lld audio files; stored: Sonvale %lld tracks, MPD %lld songs; page cache warm\n\n",
                qint64(files), sRescan.items, mRescan.items);
    std::printf("| files | Sonvale first f/s | rescan f/s | peak RSS first / rescan MiB | DB MiB "
                "| MPD first f/s | rescan f/s | peak RSS first / rescan MiB | DB MiB (gzip) "
                "| first x MPD | rescan x MPD |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|\n");
    const auto rate = [files](const Phase& phase) { return double(files) / phase.seconds; };
    std::printf("| %lld | %.0f | %.0f | %.0f / %.0f | %s | %.0f | %.0f | %.0f / %.0f | %s | %.2f | %.2f |\n",
                qint64(files), rate(sFirst), rate(sRescan), sFirst.peakKiB / 1024.0, sRescan.peakKiB / 1024.0,
                qPrintable(mib(sDb)), rate(mFirst), rate(mRescan), mFirst.peakKiB / 1024.0, mRescan.peakKiB / 1024.0,
                qPrintable(mib(mDb)), rate(sFirst) / rate(mFirst), rate(sRescan) / rate(mRescan));
    return 0;
}
