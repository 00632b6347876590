#include "SQLiteQueue.h"

#include "StorageTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using sonvale::SQLiteDatabase;
using sonvale::SQLiteQueue;
using sonvale::SQLValue;
using namespace Qt::StringLiterals;

namespace {

class SQLiteQueueTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        path = dir.filePath(u"test.sqlite"_s);
        queue = SQLiteQueue::open(path);
        ASSERT_TRUE(queue);
        queue->inDatabase([](SQLiteDatabase& db) {
            db.setShouldCacheStatements(true);
            db.executeStatements(u"PRAGMA synchronous = 0; CREATE TABLE t(x);"_s);
        });
    }

    std::optional<QString> count() {
        std::optional<QString> result;
        queue->inDatabase([&](SQLiteDatabase& db) { result = scalar(db, u"SELECT count(*) AS v FROM t"_s); });
        return result;
    }

    QTemporaryDir dir;
    QString path;
    std::unique_ptr<SQLiteQueue> queue;
    LogCapture log;
};

}  // namespace

TEST_F(SQLiteQueueTest, TransactionsCommitOrRollBack) {
    queue->inTransaction([](SQLiteDatabase& db, bool&) {
        run(db, u"INSERT INTO t VALUES (1)"_s);
        run(db, u"INSERT INTO t VALUES (2)"_s);
    });
    queue->inTransaction([](SQLiteDatabase& db, bool& rollback) {
        run(db, u"INSERT INTO t VALUES (3)"_s);
        rollback = true;
    });
    EXPECT_EQ(count(), u"2"_s);
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}

TEST_F(SQLiteQueueTest, TransactionsShutOutOtherConnections) {
    auto other = SQLiteDatabase::open(path);
    ASSERT_TRUE(other);
    ASSERT_TRUE(other->executeStatements(u"PRAGMA busy_timeout = 0;"_s));
    std::optional<QString> seenInside;
    queue->inTransaction([&](SQLiteDatabase& db, bool&) {
        run(db, u"INSERT INTO t VALUES (1)"_s);
        seenInside = scalar(*other, u"SELECT count(*) AS v FROM t"_s);
    });
    EXPECT_EQ(seenInside, std::nullopt);
    EXPECT_TRUE(log.contains(u"DB Error: 5 \"database is locked\""_s));
    EXPECT_EQ(scalar(*other, u"SELECT count(*) AS v FROM t"_s), u"1"_s);
}

TEST_F(SQLiteQueueTest, ClosedConnectionIsReopenedOnNextUse) {
    queue->inDatabase([](SQLiteDatabase& db) { run(db, u"INSERT INTO t VALUES (1)"_s); });
    queue->close();
    EXPECT_EQ(count(), u"1"_s);
    EXPECT_TRUE(log.lines().isEmpty());

    queue->close();
    ASSERT_TRUE(QFile::remove(path));
    ASSERT_TRUE(QDir().mkdir(path));
    bool ran = false;
    queue->inDatabase([&](SQLiteDatabase&) { ran = true; });
    queue->inTransaction([&](SQLiteDatabase&, bool&) { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(log.contains(u"SQLiteQueue could not reopen database for path "_s + path));
}

TEST_F(SQLiteQueueTest, BlocksFromManyThreadsRunOneAtATime) {
    constexpr int kThreads = 6;
    constexpr int kRounds = 60;
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    const auto enter = [&] {
        if (inside.fetch_add(1) != 0) overlapped = true;
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                const qint64 value = qint64(t) * 1000 + round;
                if (round % 2 == 0) {
                    queue->inDatabase([&](SQLiteDatabase& db) {
                        enter();
                        run(db, u"INSERT INTO t VALUES (?)"_s, {SQLValue::integer(value)});
                        --inside;
                    });
                } else {
                    // Every third transaction is rolled back: its two rows must not appear.
                    queue->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
                        enter();
                        run(db, u"INSERT INTO t VALUES (?)"_s, {SQLValue::integer(value)});
                        run(db, u"INSERT INTO t VALUES (?)"_s, {SQLValue::integer(-value)});
                        rollback = round % 3 == 0;
                        --inside;
                    });
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();

    int expected = 0;
    for (int round = 0; round < kRounds; ++round) expected += round % 2 == 0 ? 1 : (round % 3 == 0 ? 0 : 2);
    EXPECT_FALSE(overlapped);
    EXPECT_EQ(count(), QString::number(expected * kThreads));
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}
