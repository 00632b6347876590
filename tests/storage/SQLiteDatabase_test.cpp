#include "SQLiteDatabase.h"

#include "StorageTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::SQLiteCode;
using sonvale::SQLiteDatabase;
using sonvale::SQLValue;
using namespace Qt::StringLiterals;

namespace {

class SQLiteDatabaseTest : public testing::Test {
protected:
    void SetUp() override {
        auto opened = SQLiteDatabase::open(path);
        ASSERT_TRUE(opened);
        db.emplace(std::move(*opened));
    }

    QTemporaryDir dir;
    QString path = dir.filePath(u"test.sqlite"_s);
    std::optional<SQLiteDatabase> db;
    LogCapture log;
};

}  // namespace

// Integers keep 64 bits; an empty buffer is an empty blob, not NULL.
TEST_F(SQLiteDatabaseTest, BindsEveryKindOfValue) {
    auto cursor = db->executeQuery(u"SELECT ?1 AS i, hex(?2) AS b, typeof(?1) || ' ' || typeof(?2) || ' ' || "
                                   "typeof(?3) || ' ' || typeof(?4) || ' ' || typeof(?5) || ' ' || typeof(?6) AS types"_s,
                                   {SQLValue::integer(-(qint64(1) << 40)), SQLValue::blob(QByteArray("\0\x01\xff", 3)),
                                    SQLValue::blob(QByteArray()), SQLValue::real(2.5), SQLValue::text(u"t"_s),
                                    SQLValue::null()});
    ASSERT_TRUE(cursor && cursor->next());
    EXPECT_EQ(cursor->int64ForColumn(u"i"_s), -(qint64(1) << 40));
    EXPECT_EQ(cursor->stringForColumn(u"b"_s), u"0001FF"_s);
    EXPECT_EQ(cursor->stringForColumn(u"types"_s), u"integer blob blob real text null"_s);
}

// Names are looked up without regard to case; a missing one gives nothing and a warning.
TEST_F(SQLiteDatabaseTest, FindsColumnsByNameInAnyCase) {
    auto cursor = db->executeQuery(u"SELECT 2 AS sampleRate, NULL AS Empty"_s);
    ASSERT_TRUE(cursor && cursor->next());
    EXPECT_EQ(cursor->intForColumn(u"SAMPLERATE"_s), 2);
    EXPECT_EQ(cursor->stringForColumn(u"empty"_s), std::nullopt);
    EXPECT_EQ(cursor->stringForColumn(u"Missing"_s), std::nullopt);
    EXPECT_EQ(log.lines(), QStringList{u"Warning: I could not find the column named 'Missing'."_s});
}

// A finished statement goes back to the cache for the next query of the same text; a query
// nested in an open one of the same text gets a statement of its own.
TEST_F(SQLiteDatabaseTest, CachedStatementsAreReusedButNeverShared) {
    db->setShouldCacheStatements(true);
    ASSERT_TRUE(db->executeStatements(u"CREATE TABLE t(x); INSERT INTO t VALUES (1), (2);"_s));
    const QString sql = u"SELECT x FROM t WHERE x >= ? ORDER BY x"_s;
    {
        auto first = db->executeQuery(sql, {SQLValue::integer(2)});
        ASSERT_TRUE(first && first->next());
        EXPECT_EQ(first->intForColumn(u"x"_s), 2);
    }
    QList<int> pairs;
    auto outer = db->executeQuery(sql, {SQLValue::integer(1)});
    while (outer && outer->next()) {
        auto inner = db->executeQuery(sql, {SQLValue::integer(1)});
        while (inner && inner->next()) pairs.append(outer->intForColumn(u"x"_s) * 10 + inner->intForColumn(u"x"_s));
    }
    EXPECT_EQ(pairs, QList<int>({11, 12, 21, 22}));

    const auto cached = db->cachedStatements(sql);
    ASSERT_EQ(cached.size(), 2u);
    EXPECT_EQ(cached[0]->useCount(), 2);
    EXPECT_EQ(cached[1]->useCount(), 2);
    EXPECT_FALSE(cached[0]->inUse() || cached[1]->inUse());
}

TEST_F(SQLiteDatabaseTest, FailuresToPrepareOrBindAreLoggedAndHoldNoStatement) {
    db->setShouldCacheStatements(true);
    EXPECT_FALSE(db->executeQuery(u"SELEC 1"_s));
    EXPECT_EQ(log.lines(), QStringList({u"DB Error: 1 \"near \"SELEC\": syntax error\""_s, u"DB Query: SELEC 1"_s,
                                        u"DB Path: "_s + path}));
    EXPECT_TRUE(db->cachedStatements(u"SELEC 1"_s).empty());

    log.clear();
    const QString sql = u"SELECT ? AS v"_s;
    EXPECT_FALSE(db->executeQuery(sql, {SQLValue::integer(1), SQLValue::integer(2)}));
    EXPECT_EQ(log.lines(),
              QStringList({u"Error: the bind count is not correct for the # of variables (executeQuery)"_s}));
    // The statement stays cached and free, and works with the right values.
    EXPECT_EQ(column(*db, sql, {SQLValue::text(u"ok"_s)}), QStringList{u"ok"_s});
    EXPECT_EQ(db->cachedStatements(sql).size(), 1u);
}

// At its end a cursor hands its statement back to the cache and no longer touches it.
TEST_F(SQLiteDatabaseTest, EndedCursorGivesNothing) {
    db->setShouldCacheStatements(true);
    auto ended = db->executeQuery(u"SELECT 7 AS n"_s);
    ASSERT_TRUE(ended && ended->next());
    EXPECT_FALSE(ended->next());
    EXPECT_FALSE(db->cachedStatements(u"SELECT 7 AS n"_s)[0]->inUse());
    EXPECT_EQ(ended->intForColumn(u"n"_s), 0);
    EXPECT_EQ(ended->step(), SQLiteCode::misuse);
    EXPECT_TRUE(log.lines().isEmpty());
}
