#include "SearchCommand.h"

#include "DB.h"
#include "Queues.h"
#include "SearchOperation.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace sonvale {

namespace {

// Keeps what the operation delivers. Written on the search queue's thread and read after the
// queue has finished, which orders the two.
class Results final : public SearchOperationDelegate {
public:
    void searchFinished(const QStringList& results) override { paths = results; }
    QStringList paths;
};

// A single search goes through the statement: loading the index into memory would cost more
// than the one query it serves.
class StatementSearch final : public SearchEngine {
public:
    explicit StatementSearch(std::shared_ptr<DB> db) : db_(std::move(db)) {}
    QStringList search(const QString& query) override { return db_->searchByStatement(query); }

private:
    const std::shared_ptr<DB> db_;
};

// The search box's path: one operation on the search queue, its delivery awaited.
QStringList find(Queues& queues, const QString& query, const std::shared_ptr<SearchEngine>& engine) {
    const auto results = std::make_shared<Results>();
    queues.search.addOperation(std::make_shared<SearchOperation>(query, engine, results));
    queues.search.waitUntilAllOperationsAreFinished();
    return results->paths;
}

void printPaths(FILE* out, const QStringList& paths) {
    for (const QString& path : paths) {
        const QByteArray line = path.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, line.size(), out);
    }
}

}  // namespace

int SearchCommand::run(const CommandContext& context) {
    if (context.args.isEmpty()) {
        std::fputs("sonvale-cli search: no WORDS given\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    const std::shared_ptr<DB> db = context.openDatabase("search");
    if (!db) return 1;
    Queues queues;
    if (context.args != QStringList{QStringLiteral("-")}) {
        printPaths(context.out, find(queues, context.args.join(QLatin1Char(' ')), std::make_shared<StatementSearch>(db)));
        return 0;
    }
    // One query per line, each answered by its paths and an empty line, flushed at once so
    // that the process can be kept open and asked again.
    // getline returns as soon as a line is there; a stream reader might wait to fill its buffer.
    char* line = nullptr;
    std::size_t capacity = 0;
    ssize_t length = 0;
    while ((length = ::getline(&line, &capacity, stdin)) >= 0) {
        const QString query = QString::fromUtf8(line, length).chopped(length > 0 && line[length - 1] == '\n' ? 1 : 0);
        printPaths(context.out, find(queues, query, db));
        std::fputc('\n', context.out);
        std::fflush(context.out);
    }
    std::free(line);
    return 0;
}

}  // namespace sonvale
