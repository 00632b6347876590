// Library scan throughput over a generated tree, against MPD in the same run: the first scan
// into an empty database, a rescan with nothing changed, and a rescan after 1% of the files
// were rewritten (another template of their format copied over them: other tags, size and
// modification time), in wall time and CPU time, with the peak resident memory of each phase
// and the size of the database file. Sonvale runs every phase in a child process of its own
// (fresh process, same data directory), and so does MPD (a private daemon on a unix socket,
// started for each phase). Prints a markdown table.
//
// MPD's update thread runs in the idle scheduling class, which on a loaded machine starves;
// by default every thread of Sonvale's child is put in that class too (--sched normal leaves
// them as the program makes them). --cold empties the page cache (sync, then
// /proc/sys/vm/drop_caches, which needs root) before every phase of either program; without
// it, every file of the tree is read once before the first phase.
//
//   scan_bench [--count 10000] [--root DIR] [--formats mp3,flac,m4a,wav,aiff] [--keep]
//              [--cold] [--sched idle|normal]
//   scan_bench --phase first|rescan --tree DIR --data DIR --result FILE [--sched idle|normal]
//              (one Sonvale phase)

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

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
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

double ownCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Every thread of this process so far into the idle scheduling class.
bool enterIdleClass() {
    bool ok = true;
    for (const QString& task : QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const sched_param param{};
        ok = ::sched_setscheduler(pid_t(task.toInt()), SCHED_IDLE, &param) == 0 && ok;
    }
    return ok;
}

bool dropCaches() {
    ::sync();
    QFile control(QStringLiteral("/proc/sys/vm/drop_caches"));
    return control.open(QIODevice::WriteOnly) && control.write("3\n") == 2;
}

struct Phase {
    bool ok = false;
    double seconds = 0;
    double cpuSeconds = 0;
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
    // After the queues' threads are made: Qt sets their class when it starts them.
    if (option(args, QStringLiteral("--sched"), QStringLiteral("idle")) == QLatin1String("idle") && !enterIdleClass()) {
        return 1;
    }
    Phase result;
    double cpuStart = 0;
    {
        sonvale::Library library(db, queues);
        library.addListener(&listener);
        QTimer::singleShot(int(kPhaseSeconds * 1000), &loop, &QEventLoop::quit);
        auto start = Clock::now();
        if (phase == QLatin1String("first")) {
            auto folder = std::make_shared<sonvale::Folder>();
            folder->root = option(args, QStringLiteral("--tree"), QString());
            cpuStart = ownCpuSeconds();
            start = Clock::now();
            library.addFolders({folder}, 0);
        } else {
            library.loadFolders();
            if (library.folders().isEmpty()) return 1;
            cpuStart = ownCpuSeconds();
            start = Clock::now();
            library.scanFolder(library.folders().first(), sonvale::supportedExtensions());
        }
        loop.exec();
        result.seconds = secondsSince(start);
        result.cpuSeconds = ownCpuSeconds() - cpuStart;
        result.ok = listener.finished;
    }
    sonvale::DBTestAccess::queue(*db)->inDatabase([&](sonvale::SQLiteDatabase& connection) {
        auto rows = connection.executeQuery(QStringLiteral("SELECT COUNT(*) AS n FROM tracks"));
        if (rows && rows->next()) result.items = rows->int64ForColumn(QStringLiteral("n"));
    });
    result.peakKiB = ownPeakRssKiB();
    QFile out(option(args, QStringLiteral("--result"), QString()));
    if (!result.ok || !out.open(QIODevice::WriteOnly)) return 1;
    out.write(QStringLiteral("%1 %2 %3 %4\n")
                  .arg(result.seconds, 0, 'f', 6)
                  .arg(result.cpuSeconds, 0, 'f', 6)
                  .arg(result.peakKiB)
                  .arg(result.items)
                  .toUtf8());
    return 0;
}

// How a phase is run: the page cache emptied first or not, the scheduling class of Sonvale's
// child.
struct Setting {
    bool cold = false;
    QString sched;
};

Phase sonvalePhase(const QString& phase, const QString& tree, const QString& data, const Setting& setting) {
    if (setting.cold && !dropCaches()) return {};
    const QString resultFile = data + QStringLiteral("/result-") + phase;
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.setStandardOutputFile(data + QStringLiteral("/log-") + phase);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--phase"), phase, QStringLiteral("--tree"), tree, QStringLiteral("--data"), data,
                 QStringLiteral("--result"), resultFile, QStringLiteral("--sched"), setting.sched});
    Phase result;
    if (!child.waitForFinished(int(kPhaseSeconds * 1000) + 60000)) {
        child.kill();
        child.waitForFinished(5000);
        return result;
    }
    QFile file(resultFile);
    if (child.exitCode() != 0 || !file.open(QIODevice::ReadOnly)) return result;
    const QList<QByteArray> fields = file.readAll().trimmed().split(' ');
    if (fields.size() != 4) return result;
    return {true, fields[0].toDouble(), fields[1].toDouble(), fields[2].toLongLong(), fields[3].toLongLong()};
}

// MPD's first phase starts without a database file, so the daemon begins the full update by
// itself: timed from the start of the process. The rescan is timed from the update command.
// Its CPU time is the whole daemon's over the same span (10 ms ticks).
Phase mpdPhase(bool first, const QString& tree, const QString& work, const Setting& setting) {
    Phase result;
    if (setting.cold && !dropCaches()) return result;
    MpdRunner mpd(tree, work);
    const auto start = Clock::now();
    if (!mpd.start()) return result;
    auto updateStart = start;
    double cpuStart = 0;
    if (!first) {
        cpuStart = mpd.cpuSeconds();
        updateStart = Clock::now();
        if (!mpd.command("update")) return result;
    }
    if (!mpd.waitWhileUpdating(kPhaseSeconds)) return result;
    result.seconds = secondsSince(updateStart);
    result.cpuSeconds = mpd.cpuSeconds() - cpuStart;
    result.items = mpd.songs();
    result.peakKiB = mpd.peakRssKiB();
    result.ok = true;
    return result;
}

QString mib(qint64 bytes) { return QString::number(double(bytes) / (1024 * 1024), 'f', 2); }

QString loadAverage() {
    QFile file(QStringLiteral("/proc/loadavg"));
    if (!file.open(QIODevice::ReadOnly)) return QStringLiteral("?");
    return QString::fromLatin1(file.readAll().split(' ').mid(0, 3).join(' '));
}

// Reads every file once, so that a warm run starts with the whole tree in the page cache rather
// than whatever an earlier run left there (Sonvale's first scan would otherwise read from the
// disk what MPD's then finds cached).
bool warmUp(const QStringList& files) {
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) return false;
        while (file.read(buffer.data(), buffer.size()) > 0) {
        }
    }
    return true;
}

// Every hundredth file (from the 50th) rewritten with another template of its format: other
// tags and size, a new modification time. The number of files rewritten.
qsizetype changeOnePercent(const QStringList& files, const QString& templates) {
    qsizetype changed = 0;
    for (qsizetype i = 50; i < files.size(); i += 100) {
        const QString& file = files[i];
        const QString format = QFileInfo(file).suffix();
        const qint64 size = QFileInfo(file).size();
        for (int t = 0; t < 3; ++t) {
            const QString source = QStringLiteral("%1/t%2.%3").arg(templates).arg(t).arg(format);
            if (QFileInfo(source).size() == size) continue;
            if (QFile::remove(file) && QFile::copy(source, file)) ++changed;
            break;
        }
    }
    return changed;
}

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
    const Setting setting{args.contains(QStringLiteral("--cold")), option(args, QStringLiteral("--sched"), QStringLiteral("idle"))};
    if (!setting.cold && !warmUp(tree.files())) return 1;
    const QString loadBefore = loadAverage();

    const Phase sFirst = sonvalePhase(QStringLiteral("first"), root, sonvaleData, setting);
    const Phase sRescan = sonvalePhase(QStringLiteral("rescan"), root, sonvaleData, setting);
    const qint64 sDb = QFileInfo(sonvaleData + QLatin1Char('/') + sonvale::DB::fileName()).size();
    const Phase mFirst = mpdPhase(true, root, mpdWork, setting);
    const Phase mRescan = mpdPhase(false, root, mpdWork, setting);
    const qint64 mDb = QFileInfo(mpdWork + QStringLiteral("/mpd.db")).size();
    const qsizetype changed = changeOnePercent(tree.files(), root + QStringLiteral("/.templates"));
    // Written back before either program looks: otherwise the first to rescan shares the disk
    // with the write-back of the files just rewritten.
    ::sync();
    const Phase sChanged = sonvalePhase(QStringLiteral("rescan"), root, sonvaleData, setting);
    const Phase mChanged = mpdPhase(false, root, mpdWork, setting);
    const QString loadAfter = loadAverage();
    const QList<const Phase*> all = {&sFirst, &sRescan, &sChanged, &mFirst, &mRescan, &mChanged};
    if (changed == 0 || std::any_of(all.cbegin(), all.cend(), [](const Phase* phase) { return !phase->ok; })) {
        std::fprintf(stderr, "a phase failed (Sonvale %d %d %d, MPD %d %d %d, %lld files changed); work dir %s\n",
                     sFirst.ok, sRescan.ok, sChanged.ok, mFirst.ok, mRescan.ok, mChanged.ok, qint64(changed),
                     qPrintable(work.path()));
        work.setAutoRemove(false);
        return 1;
    }

    std::printf("\n%lld audio files (%lld changed for the last phase); stored: Sonvale %lld tracks, MPD %lld songs; "
                "page cache %s; Sonvale's threads in the %s class, MPD's update thread idle; load average %s before, "
                "%s after; DB %s MiB, MPD's %s MiB (gzip)\n\n",
                qint64(files), qint64(changed), sChanged.items, mChanged.items, setting.cold ? "cold" : "warm",
                qPrintable(setting.sched), qPrintable(loadBefore), qPrintable(loadAfter), qPrintable(mib(sDb)),
                qPrintable(mib(mDb)));
    std::printf("| phase | Sonvale f/s | wall s | CPU s | peak RSS MiB | MPD f/s | wall s | CPU s | peak RSS MiB "
                "| wall x MPD | CPU x MPD |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|\n");
    const auto row = [files](const char* name, const Phase& sonvale, const Phase& mpd) {
        std::printf("| %s | %.0f | %.3f | %.3f | %.0f | %.0f | %.3f | %.3f | %.0f | %.2f | %.2f |\n", name,
                    double(files) / sonvale.seconds, sonvale.seconds, sonvale.cpuSeconds, sonvale.peakKiB / 1024.0,
                    double(files) / mpd.seconds, mpd.seconds, mpd.cpuSeconds, mpd.peakKiB / 1024.0,
                    mpd.seconds / sonvale.seconds, mpd.cpuSeconds / sonvale.cpuSeconds);
    };
    row("first scan", sFirst, mFirst);
    row("rescan, nothing changed", sRescan, mRescan);
    row("rescan, 1% changed", sChanged, mChanged);
    return 0;
}
