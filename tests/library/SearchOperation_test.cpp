#include "SearchOperation.h"

#include "OperationQueue.h"

#include <QThread>

#include <gtest/gtest.h>

#include <atomic>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

// While hold is set, a search that has started waits.
class FakeEngine : public SearchEngine {
public:
    QStringList search(const QString& query) override {
        queries.append(query);
        querying = true;
        while (hold) QThread::usleep(100);
        return query.isEmpty() ? QStringList() : QStringList({u"/m/"_s + query + u".flac"_s});
    }
    QStringList queries;  // only read after the queue is idle
    std::atomic<bool> hold{false};
    std::atomic<bool> querying{false};
};

class Collector : public SearchOperationDelegate {
public:
    void searchFinished(const QStringList& found) override {
        results.append(found);
        thread = QThread::currentThread();
    }
    QList<QStringList> results;
    QThread* thread = nullptr;
};

class SearchOperationTest : public testing::Test {
protected:
    void search(const QString& query) { queue.addOperation(std::make_shared<SearchOperation>(query, engine, delegate)); }
    void searchAndHold(const QString& query) {
        engine->hold = true;
        search(query);
        while (!engine->querying) QThread::usleep(100);
    }

    std::shared_ptr<FakeEngine> engine = std::make_shared<FakeEngine>();
    std::shared_ptr<Collector> delegate = std::make_shared<Collector>();
    OperationQueue queue{OperationQueue::Priority::interactive};
};

}  // namespace

// Empty results are delivered too; a delegate released meanwhile is not kept alive to hear one.
TEST_F(SearchOperationTest, DeliversOnTheQueueThreadToALiveDelegateOnly) {
    search(u"abc"_s);
    search(QString());
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(delegate->results, QList<QStringList>({{u"/m/abc.flac"_s}, {}}));
    EXPECT_NE(delegate->thread, nullptr);
    EXPECT_NE(delegate->thread, QThread::currentThread());

    const std::weak_ptr<Collector> gone = delegate;
    searchAndHold(u"xyz"_s);
    delegate.reset();
    EXPECT_TRUE(gone.expired());
    engine->hold = false;
    queue.waitUntilAllOperationsAreFinished();
}

// Typing quickly: the waiting searches never query, and the one whose query was under way when
// it was cancelled delivers nothing; only the latest query's result arrives.
TEST_F(SearchOperationTest, CancelledSearchesNeitherQueryNorDeliver) {
    searchAndHold(u"a"_s);
    search(u"ab"_s);
    search(u"abc"_s);
    queue.cancelAllOperations();
    search(u"abcd"_s);
    engine->hold = false;
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(engine->queries, QStringList({u"a"_s, u"abcd"_s}));
    EXPECT_EQ(delegate->results, QList<QStringList>({{u"/m/abcd.flac"_s}}));

    // Cancelled before it was ever queued: main() itself refuses.
    SearchOperation early(u"x"_s, engine, delegate);
    early.cancel();
    early.main();
    EXPECT_EQ(engine->queries.size(), 2);
}
