// Prefix-search latency over a synthetic library built through the real index writer: Sonvale's
// search (its index in memory), the SQL statement it is held to, and SQLite FTS5 prefix queries
// over the same token sets, in the same run; the index's load time and memory; and the index
// writer's throughput. Prints markdown tables.
//
//   search_bench [--sizes 10000,100000] [--queries 40] [--explain] [--breakdown]
//   search_bench --sizes 100000 --profile "2 x 1" [--statement]   (only that class, for perf)

#include "DB.h"
#include "DBTestAccess.h"
#include "Index.h"
#include "Indexable.h"
#include "LibraryGenerator.h"
#include "Tokenizer.h"

#include <QCoreApplication>
#include <QFile>
#include <QHashSeed>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using sonvale::SQLValue;
using sonvale::TrackRef;

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double percentile(QList<double> values, double p) {
    if (values.isEmpty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, qsizetype(p * double(values.size())))];
}

QString option(const QStringList& args, const QString& name, const QString& fallback) {
    const qsizetype i = args.indexOf(name);
    return i >= 0 && i + 1 < args.size() ? args[i + 1] : fallback;
}

// The FTS5 tables hold, per track, its index tokens joined by spaces: the same token sets as
// the occurrence rows. One without and one with prefix indexes for one to four letters.
const QStringList kFtsTables = {QStringLiteral("fts_plain"), QStringLiteral("fts_prefix")};

QString ftsStatement(const QString& table) {
    return QStringLiteral("SELECT path FROM tracks WHERE folder IS NOT NULL AND id IN (SELECT rowid FROM %1 WHERE %1 "
                          "MATCH ?) ORDER BY path ASC LIMIT 5000")
        .arg(table);
}

// Every word as a prefix term, all required.
QString ftsQuery(const QString& query) {
    QStringList terms;
    for (const QString& word : sonvale::tokens(query)) terms.append(QLatin1Char('"') + word + QStringLiteral("\"*"));
    return terms.join(QLatin1Char(' '));
}

QStringList rows(DB& db, const QString& sql, const std::vector<SQLValue>& values = {}) {
    QStringList result;
    sonvale::DBTestAccess::queue(db)->inDatabase([&](SQLiteDatabase& connection) {
        auto cursor = connection.executeQuery(sql, values);
        while (cursor && cursor->next()) {
            QStringList fields;
            for (int i = 0; i < cursor->columnCount(); ++i) fields.append(QString::number(cursor->int64ForIndex(i)));
            result.append(fields.join(QLatin1Char(' ')));
        }
    });
    return result;
}

QStringList planOf(DB& db, const QString& sql, const std::vector<SQLValue>& values) {
    QStringList lines;
    sonvale::DBTestAccess::queue(db)->inDatabase([&](SQLiteDatabase& connection) {
        auto cursor = connection.executeQuery(QStringLiteral("EXPLAIN QUERY PLAN ") + sql, values);
        while (cursor && cursor->next()) {
            lines.append(QStringLiteral("%1 %2 %3")
                             .arg(cursor->int64ForColumn(QStringLiteral("id")))
                             .arg(cursor->int64ForColumn(QStringLiteral("parent")))
                             .arg(cursor->stringForColumn(QStringLiteral("detail")).value_or(QString())));
        }
    });
    return lines;
}

QStringList ftsRows(DB& db, const QString& table, const QString& query) {
    QStringList paths;
    sonvale::DBTestAccess::queue(db)->inDatabase([&](SQLiteDatabase& connection) {
        auto cursor = connection.executeQuery(ftsStatement(table), {SQLValue::text(ftsQuery(query))});
        while (cursor && cursor->next()) paths.append(cursor->stringForColumn(QStringLiteral("path")).value_or(QString()));
    });
    return paths;
}

struct Library {
    QTemporaryDir dir;
    std::unique_ptr<DB> db;
    QList<TrackRef> tracks;
    double tokenizeSeconds = 0;
    double saveSeconds = 0;
    QList<double> ftsSeconds;
};

void insertRows(DB& db, const QList<TrackRef>& tracks) {
    sonvale::DBTestAccess::queue(db)->inTransaction([&](SQLiteDatabase& connection, bool&) {
        for (const TrackRef& t : tracks) {
            auto cursor = connection.executeQuery(
                QStringLiteral("INSERT INTO tracks (id, path, size, timestamp, track, title, artist, album, duration, "
                               "bitRate, sampleRate, channels, status, metaVersion) "
                               "VALUES (?, ?, 4000000, 1700000000, ?, ?, ?, ?, 200.0, 900000, 44100, 2, 1, 3)"),
                {SQLValue::integer(t->pk), SQLValue::text(t->path), SQLValue::text(t->track), SQLValue::text(t->title),
                 SQLValue::text(t->artist), SQLValue::text(t->album)});
            if (cursor) cursor->step();
        }
    });
}

void buildFts(Library& library) {
    sonvale::DBTestAccess::queue(*library.db)->inDatabase([](SQLiteDatabase& connection) {
        connection.executeStatements(QStringLiteral("CREATE VIRTUAL TABLE fts_plain USING fts5(tokens);"
                                                    "CREATE VIRTUAL TABLE fts_prefix USING fts5(tokens, prefix='1 2 3 4');"));
    });
    QStringList texts;
    for (const TrackRef& track : library.tracks) {
        QSet<QString> found;
        for (const QString& text : sonvale::indexTexts(*track)) sonvale::insertTokens(text, found);
        texts.append(QStringList(found.begin(), found.end()).join(QLatin1Char(' ')));
    }
    for (const QString& table : kFtsTables) {
        const auto start = Clock::now();
        sonvale::DBTestAccess::queue(*library.db)->inTransaction([&](SQLiteDatabase& connection, bool&) {
            const QString sql = QStringLiteral("INSERT INTO %1 (rowid, tokens) VALUES (?, ?)").arg(table);
            for (qsizetype i = 0; i < texts.size(); ++i) {
                if (auto cursor = connection.executeQuery(sql, {SQLValue::integer(library.tracks[i]->pk),
                                                                SQLValue::text(texts[i])})) {
                    cursor->step();
                }
            }
        });
        library.ftsSeconds.append(msSince(start) / 1000);
    }
}

std::unique_ptr<Library> build(int size) {
    auto library = std::make_unique<Library>();
    library->db = std::make_unique<DB>(library->dir.path());
    library->tracks = LibraryGenerator().tracks(size);
    insertRows(*library->db, library->tracks);
    sonvale::Folder folder{std::nullopt, QStringLiteral("/home/user/Music/"), std::nullopt};
    library->db->addFolder(folder);
    for (const TrackRef& track : library->tracks) track->folder = *folder.pk;

    // In batches, as a scan writes them.
    constexpr int kBatch = 1000;
    for (qsizetype first = 0; first < library->tracks.size(); first += kBatch) {
        auto start = Clock::now();
        sonvale::Index index;
        for (const TrackRef& track : library->tracks.mid(first, kBatch)) index.add(track);
        library->tokenizeSeconds += msSince(start) / 1000;
        start = Clock::now();
        library->db->saveIndex(index);
        library->saveSeconds += msSince(start) / 1000;
    }
    buildFts(*library);
    return library;
}

// `count` queries of `words` words, each the first `letters` letters of a different tag token
// of one random track (path tokens such as "home" and "music" are not typed).
QStringList makeQueries(const QList<TrackRef>& tracks, int words, int letters, int count, std::uint64_t seed) {
    QStringList queries;
    std::uint64_t state = seed;
    const auto random = [&state](qsizetype n) { return LibraryGenerator::draw(state, n); };
    while (queries.size() < count) {
        const QStringList candidates = LibraryGenerator::tagTokens(*tracks[random(tracks.size())]);
        QSet<QString> prefixes;
        for (int attempt = 0; attempt < 20 && prefixes.size() < words; ++attempt) {
            prefixes.insert(candidates[random(candidates.size())].left(letters));
        }
        if (prefixes.size() < words) continue;
        QStringList list(prefixes.begin(), prefixes.end());
        list.sort();
        queries.append(list.join(QLatin1Char(' ')));
    }
    return queries;
}

// CPU time of the calling thread, so that a query's own cost can be told from the time the
// shared machine kept it waiting.
double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

struct ClassResult {
    QList<double> sonvale, sonvaleCpu, statement, plain, prefix;
    int mismatches = 0;
    QList<double> resultCounts;
};

ClassResult runClass(DB& db, const QStringList& queries) {
    ClassResult result;
    db.search(queries.first());
    for (const QString& query : queries) {
        const double cpuStart = threadCpuMs();
        auto start = Clock::now();
        const QStringList found = db.search(query);
        result.sonvale.append(msSince(start));
        result.sonvaleCpu.append(threadCpuMs() - cpuStart);
        result.resultCounts.append(double(found.size()));
        start = Clock::now();
        const QStringList reference = db.searchByStatement(query);
        result.statement.append(msSince(start));
        start = Clock::now();
        ftsRows(db, kFtsTables[0], query);
        result.plain.append(msSince(start));
        start = Clock::now();
        const QStringList fts = ftsRows(db, kFtsTables[1], query);
        result.prefix.append(msSince(start));
        if (fts != found || reference != found) ++result.mismatches;
    }
    return result;
}

// Resident memory of the process in KiB, from /proc.
double residentKiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').value(0).toDouble();
    }
    return 0;
}

// Where the time of one query goes: the tokens each word matches, the occurrence rows they
// select, the intersection, then the full statement (which adds the tracks and the sort).
void breakdown(DB& db, const QString& label, const QStringList& queries) {
    QList<double> tokenMs, occMs, interMs, fullMs, tokenCount, occCount, interCount;
    for (const QString& query : queries) {
        std::vector<SQLValue> words;
        for (const QString& w : sonvale::tokens(query)) words.push_back(SQLValue::text(w));
        const QString full = DB::searchStatement(qsizetype(words.size()));
        const qsizetype open = full.indexOf(QStringLiteral("AND id IN (")) + 11;
        const QString joined = full.mid(open, full.lastIndexOf(QStringLiteral(") ORDER BY")) - open);
        const QString first = joined.section(QStringLiteral(" INTERSECT "), 0, 0);
        double tokens = 0, occurrences = 0;
        auto start = Clock::now();
        for (const SQLValue& w : words) {
            tokens += rows(db, QStringLiteral("SELECT count(*) FROM (SELECT DISTINCT id FROM tokens WHERE token LIKE ? || "
                                              "'%'") + (words.size() == 1 ? QStringLiteral(" LIMIT 5000)") : QStringLiteral(")")),
                           {w}).value(0).toDouble();
        }
        tokenMs.append(msSince(start));
        start = Clock::now();
        for (const SQLValue& w : words) {
            occurrences += rows(db, QStringLiteral("SELECT count(*) FROM (") + first + QLatin1Char(')'), {w}).value(0).toDouble();
        }
        occMs.append(msSince(start));
        start = Clock::now();
        interCount.append(rows(db, QStringLiteral("SELECT count(*) FROM (") + joined + QLatin1Char(')'), words).value(0).toDouble());
        interMs.append(msSince(start));
        start = Clock::now();
        db.searchByStatement(query);
        fullMs.append(msSince(start));
        tokenCount.append(tokens);
        occCount.append(occurrences);
    }
    std::printf("| %s | %.0f | %.2f | %.0f | %.2f | %.0f | %.2f | %.2f |\n", qPrintable(label), percentile(tokenCount, 0.5),
                percentile(tokenMs, 0.5), percentile(occCount, 0.5), percentile(occMs, 0.5), percentile(interCount, 0.5),
                percentile(interMs, 0.5), percentile(fullMs, 0.5));
}

void explain(DB& db) {
    for (int words = 1; words <= 3; ++words) {
        std::vector<SQLValue> values(std::size_t(words), SQLValue::text(QStringLiteral("ab")));
        std::printf("\nEXPLAIN QUERY PLAN, %d word(s):\n", words);
        for (const QString& line : planOf(db, DB::searchStatement(words), values)) std::printf("  %s\n", qPrintable(line));
    }
    std::printf("\nEXPLAIN QUERY PLAN, FTS5:\n");
    for (const QString& line : planOf(db, ftsStatement(kFtsTables[1]), {SQLValue::text(QStringLiteral("\"ab\"*"))})) {
        std::printf("  %s\n", qPrintable(line));
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    // The index map is a hash: a fixed seed keeps the token ids, and so the runs, repeatable.
    QHashSeed::setDeterministicGlobalSeed();
    const QStringList args = app.arguments();
    const int perClass = option(args, QStringLiteral("--queries"), QStringLiteral("40")).toInt();

    for (const QString& sizeText : option(args, QStringLiteral("--sizes"), QStringLiteral("10000,100000")).split(QLatin1Char(','))) {
        const int size = sizeText.toInt();
        const auto library = build(size);
        DB& db = *library->db;
        const QString profiled = option(args, QStringLiteral("--profile"), QString());
        // The first search loads the index into memory: its time, and what it adds to the
        // process's resident memory.
        const double residentBefore = residentKiB();
        const auto loadStart = Clock::now();
        db.search(QStringLiteral("a"));
        const double loadMs = msSince(loadStart);
        const double indexMiB = (residentKiB() - residentBefore) / 1024;
        if (!profiled.isEmpty()) {
            const QStringList parts = profiled.split(QStringLiteral(" x "));
            const QStringList queries =
                makeQueries(library->tracks, parts.value(0).toInt(), parts.value(1).toInt(), perClass,
                            parts.value(0).toInt() * 10 + parts.value(1).toInt());
            const auto start = Clock::now();
            const bool statement = args.contains(QStringLiteral("--statement"));
            for (int round = 0; round < 10; ++round) {
                for (const QString& query : queries) statement ? db.searchByStatement(query) : db.search(query);
            }
            std::printf("%s: %.2f ms per query\n", qPrintable(profiled), msSince(start) / (10.0 * double(queries.size())));
            continue;
        }
        std::printf("\n## %d tracks: %s distinct tokens, %s occurrence rows, file %.0f MB with both FTS5 tables\n\n",
                    size, qPrintable(rows(db, QStringLiteral("SELECT count(*) FROM tokens")).value(0)),
                    qPrintable(rows(db, QStringLiteral("SELECT count(*) FROM occurences")).value(0)),
                    rows(db, QStringLiteral("SELECT page_count * page_size FROM pragma_page_count, pragma_page_size"))
                            .value(0).toDouble() / 1e6);
        std::printf("Index.add %.0f tracks/s; saveIndex %.0f tracks/s (%.2f s); FTS5 build %.2f s, with prefix "
                    "indexes %.2f s\n\n",
                    size / library->tokenizeSeconds, size / library->saveSeconds, library->saveSeconds,
                    library->ftsSeconds.value(0), library->ftsSeconds.value(1));
        std::printf("Search index in memory: loaded in %.0f ms, %.1f MiB resident\n\n", loadMs, indexMiB);
        std::printf("| words x letters | results p50 | Sonvale p50 ms | p95 ms | CPU p95 ms | statement p50 ms | p95 ms | FTS5 p50 ms | "
                    "p95 ms | FTS5 prefix-index p50 ms | p95 ms | results differ |\n"
                    "|---|---|---|---|---|---|---|---|---|---|---|---|\n");
        QList<QPair<QString, QStringList>> classes;
        for (int words = 1; words <= 3; ++words) {
            for (int letters = 1; letters <= 4; ++letters) {
                const QString label = QStringLiteral("%1 x %2").arg(words).arg(letters);
                const QStringList queries = makeQueries(library->tracks, words, letters, perClass, words * 10 + letters);
                classes.append({label, queries});
                const ClassResult r = runClass(db, queries);
                std::printf("| %s | %.0f | %.3f | %.3f | %.3f | %.2f | %.2f | %.2f | %.2f | %.2f | %.2f | %d/%d |\n",
                            qPrintable(label), percentile(r.resultCounts, 0.5), percentile(r.sonvale, 0.5),
                            percentile(r.sonvale, 0.95), percentile(r.sonvaleCpu, 0.95), percentile(r.statement, 0.5), percentile(r.statement, 0.95),
                            percentile(r.plain, 0.5), percentile(r.plain, 0.95), percentile(r.prefix, 0.5),
                            percentile(r.prefix, 0.95), r.mismatches, int(queries.size()));
                std::fflush(stdout);
            }
        }
        if (args.contains(QStringLiteral("--breakdown"))) {
            std::printf("\n| words x letters | tokens matched | ms | occurrence rows | ms | ids after INTERSECT | ms | "
                        "full ms |\n|---|---|---|---|---|---|---|---|\n");
            for (const auto& [label, queries] : classes) breakdown(db, label, queries.mid(0, 10));
        }
        if (args.contains(QStringLiteral("--explain"))) explain(db);
    }
    return 0;
}
