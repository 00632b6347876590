#include "SQLiteQueue.h"

#include "StorageTestSupport.h"

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

const QString kCount = u"SELECT count(*) AS v FROM t"_s;
const QString kInsert = u"INSERT INTO t VALUES (?)"_s;

class SQLiteQueueTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(queue);
        queue->inDatabase([](SQLiteDatabase& db) {
            db.setShouldCacheStatements(true);
            db.executeStatements(u"PRAGMA synchronous = 0; CREATE TABLE t(x);"_s);
        });
    }

    QTemporaryDir dir;
    QString path = dir.filePath(u"test.sqlite"_s);
    std::unique_ptr<SQLiteQueue> queue = SQLiteQueue::open(path);
    LogCapture log;
};

}  // namespace

TEST_F(SQLiteQueueTest, TransactionsShutOutOtherConnections) {
    auto other = SQLiteDatabase::open(path);
    ASSERT_TRUE(other && other->executeStatements(u"PRAGMA busy_timeout = 0;"_s));
    QStringList seenInside;
    queue->inTransaction([&](SQLiteDatabase& db, bool&) {
        column(db, kInsert, {SQLValue::integer(1)});
        seenInside = column(*other, kCount);
    });
    EXPECT_TRUE(seenInside.isEmpty());
    EXPECT_TRUE(log.contains(u"DB Error: 5 \"database is locked\""_s));
    EXPECT_EQ(column(*other, kCount), QStringList{u"1"_s});
}

// A transaction that cannot begin must not run its block: in autocommit its changes would stay
// whatever the block decided.
TEST_F(SQLiteQueueTest, TransactionThatCannotBeginRunsNothing) {
    queue->inDatabase([](SQLiteDatabase& db) { db.executeStatements(u"PRAGMA busy_timeout = 0;"_s); });
    auto other = SQLiteDatabase::open(path);
    ASSERT_TRUE(other && other->executeStatements(u"BEGIN EXCLUSIVE;"_s));
    bool ran = false;
    const bool committed = queue->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
        ran = true;
        column(db, kInsert, {SQLValue::integer(1)});
        rollback = true;
    });
    EXPECT_FALSE(committed);
    EXPECT_FALSE(ran);
    EXPECT_TRUE(log.contains(u"DB Error: 5 \"database is locked\""_s));
    ASSERT_TRUE(other->executeStatements(u"COMMIT;"_s));

    EXPECT_TRUE(queue->inTransaction([&](SQLiteDatabase& db, bool&) { column(db, kInsert, {SQLValue::integer(2)}); }));
    EXPECT_FALSE(queue->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
        column(db, kInsert, {SQLValue::integer(3)});
        rollback = true;
    }));
    QStringList rows;
    queue->inDatabase([&](SQLiteDatabase& db) { rows = column(db, u"SELECT x AS v FROM t"_s); });
    EXPECT_EQ(rows, QStringList{u"2"_s});
}

// Plain blocks and transactions, some rolled back, from several threads: none overlaps, the
// committed rows are all there and the rolled back ones are not.
TEST_F(SQLiteQueueTest, BlocksFromManyThreadsRunOneAtATime) {
    constexpr int kThreads = 6;
    constexpr int kRounds = 60;
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    const auto insert = [&](SQLiteDatabase& db, std::initializer_list<qint64> values) {
        if (inside.fetch_add(1) != 0) overlapped = true;
        for (const qint64 value : values) column(db, kInsert, {SQLValue::integer(value)});
        --inside;
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < kRounds; ++round) {
                const qint64 value = qint64(t) * 1000 + round;
                if (round % 2 == 0) {
                    queue->inDatabase([&](SQLiteDatabase& db) { insert(db, {value}); });
                } else {
                    queue->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
                        insert(db, {value, -value});
                        rollback = round % 3 == 0;
                    });
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();

    int expected = 0;
    for (int round = 0; round < kRounds; ++round) expected += round % 2 == 0 ? 1 : (round % 3 == 0 ? 0 : 2);
    EXPECT_FALSE(overlapped);
    QStringList count;
    queue->inDatabase([&](SQLiteDatabase& db) { count = column(db, kCount); });
    EXPECT_EQ(count, QStringList{QString::number(expected * kThreads)});
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(QLatin1Char('\n')).toStdString();
}
