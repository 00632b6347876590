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

namespace {

class SQLiteQueueTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        path = dir.filePath(QStringLiteral("test.sqlite"));
        queue = SQLiteQueue::open(path);
        ASSERT_TRUE(queue);
        queue->inDatabase([](SQLiteDatabase& db) {
            db.setShouldCacheStatements(true);
            db.executeStatements(QStringLiteral("PRAGMA synchronous = 0; CREATE TABLE t(x);"));
        });
    }

    std::optional<QString> count() {
        std::optional<QString> result;
        queue->inDatabase([&](SQLiteDatabase& db) { result = scalar(db, QStringLiteral("SELECT count(*) AS v FROM t")); });
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
        run(db, QStringLiteral("INSERT INTO t VALUES (1)"));
        run(db, QStringLiteral("INSERT INTO t VALUES (2)"));
    });
    queue->inTransaction([](SQLiteDatabase& db, bool& rollback) {
        run(db, QStringLiteral("INSERT INTO t VALUES (3)"));
        rollback = true;
    });
    EXPECT_EQ(count(), QStringLiteral("2"));
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}

TEST_F(SQLiteQueueTest, TransactionsShutOutOtherConnections) {
    auto other = SQLiteDatabase::open(path);
    ASSERT_TRUE(other);
    ASSERT_TRUE(other->executeStatements(QStringLiteral("PRAGMA busy_timeout = 0;")));
    std::optional<QString> seenInside;
    queue->inTransaction([&](SQLiteDatabase& db, bool&) {
        run(db, QStringLiteral("INSERT INTO t VALUES (1)"));
        seenInside = scalar(*other, QStringLiteral("SELECT count(*) AS v FROM t"));
    });
    EXPECT_EQ(seenInside, std::nullopt);
    EXPECT_TRUE(log.contains(QStringLiteral("DB Error: 5 \"database is locked\"")));
    EXPECT_EQ(scalar(*other, QStringLiteral("SELECT count(*) AS v FROM t")), QStringLiteral("1"));
}

TEST_F(SQLiteQueueTest, ClosedConnectionIsReopenedOnNextUse) {
    queue->inDatabase([](SQLiteDatabase& db) { run(db, QStringLiteral("INSERT INTO t VALUES (1)")); });
    queue->close();
    EXPECT_EQ(count(), QStringLiteral("1"));
    EXPECT_TRUE(log.lines().isEmpty());

    queue->close();
    ASSERT_TRUE(QFile::remove(path));
    ASSERT_TRUE(QDir().mkdir(path));
    bool ran = false;
    queue->inDatabase([&](SQLiteDatabase&) { ran = true; });
    queue->inTransaction([&](SQLiteDatabase&, bool&) { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(log.contains(QStringLiteral("SQLiteQueue could not reopen database for path ") + path));
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
                        run(db, QStringLiteral("INSERT INTO t VALUES (?)"), {SQLValue::integer(value)});
                        --inside;
                    });
                } else {
                    // Every third transaction is rolled back: its two rows must not appear.
                    queue->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
                        enter();
                        run(db, QStringLiteral("INSERT INTO t VALUES (?)"), {SQLValue::integer(value)});
                        run(db, QStringLiteral("INSERT INTO t VALUES (?)"), {SQLValue::integer(-value)});
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
