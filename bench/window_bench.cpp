// How long a person waits for the main window: start to a shown, painted window with a restored
// playlist of each size; opening a folder of real files (playlist filled and table updated) and
// the longest main-thread stall while the metadata completes in the background; the longest
// stall while scrolling the largest table from top to bottom; and resident memory. Each start is
// a fresh process. Prints a markdown table.
//
//   window_bench [--items 10000,100000] [--folder-files 10000] [--runs 5]
//
// Runs on the platform Qt picks: QT_QPA_PLATFORM=offscreen, or a real X server (xvfb-run).
// Needs a PulseAudio server for the player (scripts/with-pulseaudio.sh).

#include "AppDelegate.h"
#include "DB.h"
#include "MainWindow.h"
#include "OpenPaths.h"
#include "Player.h"
#include "PlaylistModel.h"
#include "PlaylistView.h"
#include "TreeGenerator.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QScrollBar>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <time.h>
#include <unistd.h>

namespace {

const QString kRoot = QDir::tempPath() + QStringLiteral("/sonvale-window-bench");

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : fallback;
}

long residentKiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').front().toLong();
    }
    return 0;
}

void useHome(const QString& home) {
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        setenv(name, QFile::encodeName(home + QLatin1Char('/') + QLatin1String(name)).constData(), 1);
    }
}

// A saved playlist of `count` tracks with tags, in the data folder of `home`. The files do not
// exist: the window shows what the database holds, and nothing is current.
void preparePlaylist(const QString& home, int count) {
    if (QFile::exists(home + QStringLiteral("/ready"))) return;
    QDir(home).removeRecursively();
    useHome(home);
    sonvale::DB db;
    QList<sonvale::TrackRef> tracks;
    tracks.reserve(count);
    for (int i = 0; i < count; ++i) {
        const int album = i / 12;
        auto track = db.insertTrack(QStringLiteral("/music/Artist %1/Album %2/%3 Song %4.flac")
                                        .arg(album / 8).arg(album).arg(i % 12 + 1, 2, 10, QLatin1Char('0')).arg(i));
        if (!track) continue;
        track->title = QStringLiteral("Song number %1").arg(i);
        track->artist = QStringLiteral("Artist %1").arg(album / 8);
        track->album = QStringLiteral("Album %1").arg(album);
        track->track = QString::number(i % 12 + 1);
        track->duration = 180 + i % 120;
        track->bitRate = 900000;
        track->channels = 2;
        track->sampleRate = 44100;
        track->status = sonvale::TrackStatus::scanned;
        db.updateTrack(*track);
        tracks.append(track);
    }
    db.savePlaylist(tracks);
    QFile ready(home + QStringLiteral("/ready"));
    ready.open(QIODevice::WriteOnly);
}

// Runs main-thread work while a precise timer notes the longest gap between its ticks.
class StallMeter : public QObject {
public:
    StallMeter() {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setInterval(kTickMs);
        QObject::connect(&timer_, &QTimer::timeout, this, [this] {
            const qint64 now = clock_.nsecsElapsed();
            longest_ = std::max(longest_, now - last_);
            last_ = now;
        });
    }
    void start() {
        clock_.start();
        last_ = 0;
        longest_ = 0;
        timer_.start();
    }
    // The longest stall beyond the timer's own interval, in ms.
    double stallMs() const { return std::max(0.0, longest_ / 1e6 - kTickMs); }

private:
    static constexpr int kTickMs = 2;
    QTimer timer_;
    QElapsedTimer clock_;
    qint64 last_ = 0;
    qint64 longest_ = 0;
};

qint64 threadCpuNs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * double(values.size() - 1) + 0.5))];
}

// The program's shell in this process, in the data folders useHome() chose.
struct Shell {
    int argc = 1;
    char name[13] = "window_bench";
    char* argv[2] = {name, nullptr};
    QApplication app{argc, argv};
    std::unique_ptr<sonvale::AppDelegate> delegate;

    // Launches it; false when its window was never shown.
    bool start() {
        QApplication::setOrganizationName(QStringLiteral("Sonvale"));
        QApplication::setApplicationName(QStringLiteral("Sonvale"));
        delegate = std::make_unique<sonvale::AppDelegate>();
        delegate->launch();
        return QTest::qWaitForWindowExposed(&delegate->window());
    }
};

// One start in this process: prints "startup MS RSS_KIB SCROLL_MAX SCROLL_P95 ROWS PAINTED_AT
// SCROLL_CPU_MAX" where MS counts from main(), PAINTED_AT is the steady clock's reading in ns and
// SCROLL_CPU_MAX is the main thread's own CPU time in the longest step (a wall-clock stall far
// above it was the machine running something else).
int childStart(const QString& home, bool scroll) {
    QElapsedTimer clock;
    clock.start();
    useHome(home);
    Shell shell;
    if (!shell.start()) return 1;
    sonvale::AppDelegate& delegate = *shell.delegate;
    sonvale::MainWindow& window = delegate.window();
    window.table()->viewport()->repaint();
    QApplication::processEvents();
    const double startMs = clock.nsecsElapsed() / 1e6;
    const qint64 paintedAt = std::chrono::steady_clock::now().time_since_epoch().count();
    const long rss = residentKiB();
    std::vector<double> steps;
    std::vector<double> cpuSteps;
    if (scroll) {
        QScrollBar* bar = window.table()->verticalScrollBar();
        QElapsedTimer step;
        for (int value = 0; value <= bar->maximum(); value += bar->pageStep()) {
            step.start();
            const qint64 cpuBefore = threadCpuNs();
            bar->setValue(value);
            window.table()->viewport()->repaint();
            QApplication::processEvents();
            steps.push_back(step.nsecsElapsed() / 1e6);
            cpuSteps.push_back((threadCpuNs() - cpuBefore) / 1e6);
        }
    }
    std::printf("startup %.1f %ld %.2f %.2f %d %lld %.2f\n", startMs, rss, percentile(steps, 1.0),
                percentile(steps, 0.95), window.model()->rowCount({}), static_cast<long long>(paintedAt),
                percentile(cpuSteps, 1.0));
    std::fflush(stdout);
    // Leaving without the termination sequence, which would save the playlist back.
    _exit(0);
}

// Opens a folder in an empty player: prints "open MS STALL_MS META_MS ROWS".
int childOpen(const QString& home, const QString& folder, int files) {
    QDir(home).removeRecursively();
    useHome(home);
    Shell shell;
    if (!shell.start()) return 1;
    sonvale::AppDelegate& delegate = *shell.delegate;
    sonvale::MainWindow& window = delegate.window();
    int loaded = 0;
    QObject::connect(&delegate.player(), &sonvale::Player::metaLoaded, [&] { ++loaded; });
    StallMeter meter;
    QElapsedTimer clock;
    clock.start();
    sonvale::openPaths(delegate.player(), {folder}, true);
    while (window.model()->rowCount({}) < files && clock.elapsed() < 60000) QApplication::processEvents();
    window.table()->viewport()->repaint();
    const double openMs = clock.nsecsElapsed() / 1e6;
    meter.start();
    while (loaded < files && clock.elapsed() < 300000) QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    const double metaMs = clock.nsecsElapsed() / 1e6;
    std::printf("open %.1f %.2f %.1f %d\n", openMs, meter.stallMs(), metaMs, window.model()->rowCount({}));
    std::fflush(stdout);
    _exit(0);
}

QList<QByteArray> runChild(const QStringList& args) {
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), args);
    if (!child.waitForFinished(600000)) return {};
    return child.readAllStandardOutput().trimmed().split(' ');
}

}  // namespace

int main(int argc, char* argv[]) {
    QStringList args;
    for (int i = 1; i < argc; ++i) args.append(QString::fromLocal8Bit(argv[i]));
    if (args.value(0) == QLatin1String("--child-start")) return childStart(args.value(1), args.value(2) == QLatin1String("scroll"));
    if (args.value(0) == QLatin1String("--child-open")) return childOpen(args.value(1), args.value(2), args.value(3).toInt());

    QCoreApplication app(argc, argv);
    const int runs = option(args, QStringLiteral("--runs"), QStringLiteral("5")).toInt();
    const int folderFiles = option(args, QStringLiteral("--folder-files"), QStringLiteral("10000")).toInt();
    QList<int> sizes;
    for (const QString& size : option(args, QStringLiteral("--items"), QStringLiteral("10000,100000")).split(QLatin1Char(','))) {
        sizes.append(size.toInt());
    }
    std::printf("platform: %s\n\n", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "default" : qgetenv("QT_QPA_PLATFORM").constData());
    std::printf("| playlist items | exec to painted window p50 / max ms | main() to painted p50 ms | resident MiB | "
                "scroll step max / p95 ms | scroll step max CPU ms |\n");
    std::printf("|---|---|---|---|---|---|\n");
    for (const int size : sizes) {
        const QString home = kRoot + QStringLiteral("/playlist-%1").arg(size);
        preparePlaylist(home, size);
        std::vector<double> starts;
        std::vector<double> inProcess;
        QList<QByteArray> last;
        for (int run = 0; run < runs; ++run) {
            const qint64 before = std::chrono::steady_clock::now().time_since_epoch().count();
            last = runChild({QStringLiteral("--child-start"), home, run == runs - 1 ? QStringLiteral("scroll") : QString()});
            if (last.size() < 8) return 1;
            starts.push_back((last[6].toLongLong() - before) / 1e6);
            inProcess.push_back(last[1].toDouble());
        }
        std::printf("| %d | %.0f / %.0f | %.0f | %.1f | %s / %s | %s |\n", size, percentile(starts, 0.5),
                    percentile(starts, 1.0), percentile(inProcess, 0.5), last[2].toDouble() / 1024, last[3].constData(),
                    last[4].constData(), last[7].constData());
    }
    if (folderFiles > 0) {
        TreeGenerator tree(kRoot + QStringLiteral("/tree"), {QStringLiteral("mp3"), QStringLiteral("flac")}, folderFiles);
        if (!tree.ensure()) return 1;
        std::printf("\n| folder files | open to filled table ms | longest stall while metadata loads ms | metadata complete ms |\n");
        std::printf("|---|---|---|---|\n");
        for (int run = 0; run < std::max(1, runs / 2); ++run) {
            const QList<QByteArray> out = runChild({QStringLiteral("--child-open"), kRoot + QStringLiteral("/open-home"),
                                                    kRoot + QStringLiteral("/tree"), QString::number(folderFiles)});
            if (out.size() < 5) return 1;
            std::printf("| %s | %s | %s | %s |\n", out[4].constData(), out[1].constData(), out[2].constData(), out[3].constData());
        }
    }
    return 0;
}
