// How quickly the search window answers typing over a generated library: from a keystroke in its
// field to the repainted table, p50 / p95 / max over every keystroke of realistic queries typed
// one character at a time, counted with the 20 ms typing pause and from the end of the pause;
// and, with the search's index not yet in memory when the window is made (its first load is the
// slowest search there is), how long that load takes on the search queue, the longest main-thread
// stall and the longest keystroke while it runs, and when the first keystroke's results show.
// Prints markdown tables.
//
//   search_window_bench [--tracks 100000] [--queries 40]
//
// Runs on the platform Qt picks: QT_QPA_PLATFORM=offscreen, or a real X server (xvfb-run).
// Needs a PulseAudio server for the player (scripts/with-pulseaudio.sh).

#include "DB.h"
#include "Library.h"
#include "LibraryGenerator.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"
#include "SearchBox.h"
#include "SearchController.h"
#include "SearchResultsModel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using sonvale::SQLValue;
using sonvale::TrackRef;

namespace {

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype at = args.indexOf(name);
    return at >= 0 && at + 1 < args.size() ? args[at + 1] : fallback;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * double(values.size() - 1) + 0.5))];
}

// The generated tracks under one library folder, with their tokens, as a scan leaves them.
QList<TrackRef> buildLibrary(DB& db, int count) {
    QList<TrackRef> tracks = LibraryGenerator().tracks(count);
    LibraryGenerator::store(db, tracks, QStringLiteral("/home/user/Music"));
    return tracks;
}

// What a person types: a word of a track's title, artist or album whole, then the start of
// another, e.g. "love mou".
QStringList typedQueries(const QList<TrackRef>& tracks, int count) {
    QStringList queries;
    std::uint64_t state = 7;
    const auto random = [&state](qsizetype n) { return LibraryGenerator::draw(state, n); };
    while (queries.size() < count) {
        const QStringList words = LibraryGenerator::tagTokens(*tracks[random(tracks.size())]);
        if (words.size() < 2) continue;
        const QString first = words[random(words.size())];
        QString second = words[random(words.size())];
        if (second == first) continue;
        queries.append(first + QLatin1Char(' ') + second.left(3));
    }
    return queries;
}

// The database's search, noting when its first call (the window's early load of the index, or a
// search that did it instead) has returned.
class TimedEngine : public sonvale::SearchEngine {
public:
    TimedEngine(std::shared_ptr<DB> db, const QElapsedTimer& clock) : db_(std::move(db)), clock_(clock) {}
    QStringList search(const QString& query) override {
        QStringList paths = db_->search(query);
        done();
        return paths;
    }
    void prepareSearch() override {
        db_->prepareSearch();
        done();
    }
    std::atomic<double> loadedAt{-1};

private:
    void done() {
        double none = -1;
        loadedAt.compare_exchange_strong(none, clock_.nsecsElapsed() / 1e6);
    }
    const std::shared_ptr<DB> db_;
    const QElapsedTimer& clock_;
};

// Runs the event loop until `done` holds.
template <typename Done>
void spin(Done done) {
    while (!done()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

struct Window {
    Window(const std::shared_ptr<DB>& db, std::shared_ptr<sonvale::SearchEngine> engine)
        : library(db, queues), player(db, preferences, queues), box(player, std::move(engine), library, queues) {
        library.loadFolders();
    }
    sonvale::Queues queues;
    sonvale::Library library;
    sonvale::Preferences preferences;
    sonvale::Player player;
    sonvale::SearchBox box;

    bool answered() {
        const sonvale::SearchController& controller = *box.controller();
        return controller.query() == box.searchField()->text() && !box.controller()->typingTimer().isActive()
               && !controller.isSearching();
    }
};

// The index is loaded while the user types: the longest main-thread stall (a 1 ms timer's
// longest late tick), the longest keystroke, the load itself and the results after the last key.
void coldStart(const QString& dataDir, const QString& query) {
    const auto db = std::make_shared<DB>(dataDir);
    QElapsedTimer clock;
    clock.start();
    const auto engine = std::make_shared<TimedEngine>(db, clock);
    Window window(db, engine);
    window.box.present();

    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    qint64 last = clock.nsecsElapsed();
    qint64 longestGap = 0;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        longestGap = std::max(longestGap, now - last);
        last = now;
    });
    ticker.start();
    double longestKey = 0;
    double lastKeyAt = 0;
    // A keystroke every 40 ms, as a quick typist.
    for (qsizetype i = 0; i < query.size(); ++i) {
        const qint64 before = clock.nsecsElapsed();
        lastKeyAt = before / 1e6;
        QTest::keyClick(window.box.searchField(), query[i].toLatin1());
        longestKey = std::max(longestKey, (clock.nsecsElapsed() - before) / 1e6);
        if (i == query.size() - 1) break;
        const qint64 next = clock.nsecsElapsed() + 40'000'000;
        spin([&] { return clock.nsecsElapsed() >= next; });
    }
    spin([&] { return window.answered(); });
    const double shown = clock.nsecsElapsed() / 1e6;
    std::printf("| %.0f | %.1f | %.2f | %.0f | %.0f (%s) |\n", engine->loadedAt.load(), std::max(0.0, longestGap / 1e6 - 1),
                longestKey, lastKeyAt, shown - lastKeyAt, qUtf8Printable(window.box.controller()->status()));
}

// Every keystroke of every query, each answered before the next: prints the table's row.
void typing(const QString& dataDir, const QStringList& queries) {
    const auto db = std::make_shared<DB>(dataDir);
    Window window(db, db);
    window.box.present();
    window.queues.search.waitUntilAllOperationsAreFinished();
    QElapsedTimer clock;
    clock.start();
    qint64 started = 0;
    qint64 shown = 0;
    QObject::connect(window.box.controller(), &sonvale::SearchController::searchStarted,
                     [&] { started = clock.nsecsElapsed(); });
    QObject::connect(window.box.controller(), &sonvale::SearchController::resultsShown,
                     [&] { shown = clock.nsecsElapsed(); });
    std::vector<double> searching;
    std::vector<double> withPause;
    std::vector<double> afterPause;
    std::vector<double> results;
    QString slowest;
    for (const QString& query : queries) {
        window.box.searchField()->clear();
        spin([&] { return window.answered(); });
        for (const QChar c : query) {
            const qint64 before = clock.nsecsElapsed();
            QTest::keyClick(window.box.searchField(), c.toLatin1());
            spin([&] { return window.answered(); });
            window.box.table()->viewport()->repaint();
            const qint64 painted = clock.nsecsElapsed();
            if (withPause.empty() || (painted - before) / 1e6 > percentile(withPause, 1.0)) {
                slowest = QStringLiteral("\"%1\", %2 results").arg(window.box.searchField()->text()).arg(window.box.controller()->model()->rowCount());
            }
            withPause.push_back((painted - before) / 1e6);
            afterPause.push_back((painted - started) / 1e6);
            searching.push_back((shown - started) / 1e6);
            results.push_back(window.box.controller()->model()->rowCount());
        }
    }
    std::printf("| %zu | %.0f | %.1f / %.1f / %.1f | %.2f / %.2f / %.2f |\n", withPause.size(), percentile(results, 0.5),
                percentile(withPause, 0.5), percentile(withPause, 0.95), percentile(withPause, 1.0),
                percentile(afterPause, 0.5), percentile(afterPause, 0.95), percentile(afterPause, 1.0));
    std::printf("\nslowest keystroke: %s; of the time after the pause, the search and the hop to the main thread "
                "p50 / p95 / max %.2f / %.2f / %.2f ms\n",
                qUtf8Printable(slowest), percentile(searching, 0.5), percentile(searching, 0.95), percentile(searching, 1.0));
}

}  // namespace

int main(int argc, char* argv[]) {
    QTemporaryDir home;
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        setenv(name, QFile::encodeName(home.filePath(QLatin1String(name))).constData(), 1);
    }
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Sonvale"));
    QApplication::setApplicationName(QStringLiteral("Sonvale"));
    const QStringList args = QCoreApplication::arguments();
    const int count = option(args, QStringLiteral("--tracks"), QStringLiteral("100000")).toInt();
    const int queryCount = option(args, QStringLiteral("--queries"), QStringLiteral("40")).toInt();

    const QString dataDir = home.filePath(QStringLiteral("library"));
    QList<TrackRef> tracks;
    {
        DB db(dataDir);
        tracks = buildLibrary(db, count);
    }
    const QStringList queries = typedQueries(tracks, queryCount);
    std::printf("%d tracks, %d queries (e.g. \"%s\", \"%s\"), platform %s\n\n", count, queryCount,
                qUtf8Printable(queries.value(0)), qUtf8Printable(queries.value(1)),
                qUtf8Printable(QGuiApplication::platformName()));

    std::printf("| index loaded at ms | longest main-thread stall ms | longest keystroke ms | last keystroke at ms "
                "| last keystroke to results ms |\n|---|---|---|---|---|\n");
    for (int run = 0; run < 3; ++run) coldStart(dataDir, queries.value(run));

    std::printf("\n| keystrokes | results p50 | keystroke to painted table p50 / p95 / max ms (20 ms pause included) "
                "| end of the pause to painted table p50 / p95 / max ms |\n|---|---|---|---|\n");
    typing(dataDir, queries);
    return 0;
}
