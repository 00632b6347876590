#include "SearchCommand.h"

#include "DB.h"
#include "Queues.h"
#include "SearchOperation.h"

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

}  // namespace

int SearchCommand::run(const CommandContext& context) {
    if (context.args.isEmpty()) {
        std::fputs("sonvale-cli search: no WORDS given\nTry 'sonvale-cli --help'.\n", context.err);
        return 2;
    }
    const std::shared_ptr<DB> db = context.openDatabase("search");
    if (!db) return 1;
    // The search box's path: one operation on the search queue, its delivery awaited.
    Queues queues;
    const auto results = std::make_shared<Results>();
    queues.search.addOperation(std::make_shared<SearchOperation>(context.args.join(QLatin1Char(' ')), db, results));
    queues.search.waitUntilAllOperationsAreFinished();
    for (const QString& path : results->paths) {
        const QByteArray line = path.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, line.size(), context.out);
    }
    return 0;
}

}  // namespace sonvale
