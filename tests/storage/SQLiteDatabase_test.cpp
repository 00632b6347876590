#include "SQLiteDatabase.h"

#include "StorageTestSupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::SQLiteCode;
using sonvale::SQLiteDatabase;
using sonvale::SQLValue;

namespace {

class SQLiteDatabaseTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        path = dir.filePath(QStringLiteral("test.sqlite"));
        auto opened = SQLiteDatabase::open(path);
        ASSERT_TRUE(opened);
        db.emplace(std::move(*opened));
    }

    QTemporaryDir dir;
    QString path;
    std::optional<SQLiteDatabase> db;
    LogCapture log;
};

}  // namespace

TEST_F(SQLiteDatabaseTest, BindsEveryKindOfValue) {
    const QString text = QStringLiteral("Gr\u00fc\u00dfe \u266a");
    auto cursor = db->executeQuery(
        QStringLiteral("SELECT ?1 AS i, typeof(?1) AS ti, ?2 AS r, typeof(?2) AS tr, ?3 AS t, typeof(?3) AS tt, "
                       "hex(?4) AS b, typeof(?4) AS tb, typeof(?5) AS tn, typeof(?6) AS te, length(?6) AS le"),
        {SQLValue::integer(-(qint64(1) << 40)), SQLValue::real(2.5), SQLValue::text(text),
         SQLValue::blob(QByteArray("\0\x01\xff", 3)), SQLValue::null(), SQLValue::blob(QByteArray())});
    ASSERT_TRUE(cursor);
    ASSERT_TRUE(cursor->next());
    EXPECT_EQ(cursor->int64ForColumn(QStringLiteral("i")), -(qint64(1) << 40));
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("ti")), QStringLiteral("integer"));
    EXPECT_EQ(cursor->doubleForColumn(QStringLiteral("r")), 2.5);
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("tr")), QStringLiteral("real"));
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("t")), text);
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("tt")), QStringLiteral("text"));
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("b")), QStringLiteral("0001FF"));
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("tb")), QStringLiteral("blob"));
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("tn")), QStringLiteral("null"));
    // An empty buffer is an empty blob, not NULL.
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("te")), QStringLiteral("blob"));
    EXPECT_EQ(cursor->intForColumn(QStringLiteral("le")), 0);
    EXPECT_FALSE(cursor->next());
}

TEST_F(SQLiteDatabaseTest, FindsColumnsByLowerCasedNameWithTheLastDuplicateWinning) {
    auto cursor = db->executeQuery(QStringLiteral("SELECT 1 AS ID, 2 AS id, 'x' AS Name, NULL AS Empty"));
    ASSERT_TRUE(cursor && cursor->next());
    EXPECT_EQ(cursor->columnIndex(QStringLiteral("Id")), 1);
    EXPECT_EQ(cursor->intForColumn(QStringLiteral("iD")), 2);
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("NAME")), QStringLiteral("x"));

    EXPECT_EQ(cursor->intForColumn(QStringLiteral("empty")), 0);
    EXPECT_EQ(cursor->int64ForColumn(QStringLiteral("empty")), 0);
    EXPECT_EQ(cursor->doubleForColumn(QStringLiteral("empty")), 0.0);
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("empty")), std::nullopt);

    EXPECT_EQ(cursor->columnIndex(QStringLiteral("Missing")), -1);
    EXPECT_EQ(cursor->int64ForColumn(QStringLiteral("Missing")), 0);
    EXPECT_EQ(cursor->stringForColumn(QStringLiteral("Missing")), std::nullopt);
    EXPECT_TRUE(log.contains(QtWarningMsg, QStringLiteral("Warning: I could not find the column named 'Missing'.")));
}

TEST_F(SQLiteDatabaseTest, CachedStatementsAreRewoundAndReused) {
    db->setShouldCacheStatements(true);
    ASSERT_TRUE(db->executeStatements(QStringLiteral("CREATE TABLE t(x); INSERT INTO t VALUES (1), (2), (3);")));
    const QString sql = QStringLiteral("SELECT x FROM t WHERE x >= ? ORDER BY x");
    {
        auto cursor = db->executeQuery(sql, {SQLValue::integer(1)});
        ASSERT_TRUE(cursor && cursor->next());
        EXPECT_EQ(cursor->intForColumn(QStringLiteral("x")), 1);
    }
    auto cursor = db->executeQuery(sql, {SQLValue::integer(2)});
    ASSERT_TRUE(cursor);
    QList<int> seen;
    while (cursor->next()) seen.append(cursor->intForColumn(QStringLiteral("x")));
    EXPECT_EQ(seen, QList<int>({2, 3}));

    const auto cached = db->cachedStatements(sql);
    ASSERT_EQ(cached.size(), 1u);
    EXPECT_EQ(cached[0]->useCount(), 2);
    EXPECT_FALSE(cached[0]->inUse());
}

TEST_F(SQLiteDatabaseTest, NestedQueriesWithTheSameTextUseSeparateStatements) {
    db->setShouldCacheStatements(true);
    ASSERT_TRUE(db->executeStatements(QStringLiteral("CREATE TABLE t(x); INSERT INTO t VALUES (1), (2);")));
    const QString sql = QStringLiteral("SELECT x FROM t ORDER BY x");
    QList<int> pairs;
    auto outer = db->executeQuery(sql);
    ASSERT_TRUE(outer);
    while (outer->next()) {
        auto inner = db->executeQuery(sql);
        ASSERT_TRUE(inner);
        while (inner->next()) {
            pairs.append(outer->intForColumn(QStringLiteral("x")) * 10 + inner->intForColumn(QStringLiteral("x")));
        }
    }
    EXPECT_EQ(pairs, QList<int>({11, 12, 21, 22}));

    const auto cached = db->cachedStatements(sql);
    ASSERT_EQ(cached.size(), 2u);
    EXPECT_EQ(cached[0]->useCount(), 1);
    EXPECT_EQ(cached[1]->useCount(), 2);
    EXPECT_FALSE(cached[0]->inUse() || cached[1]->inUse());
}

TEST_F(SQLiteDatabaseTest, PreparingAndBindingFailuresAreLoggedAndGiveNoCursor) {
    db->setShouldCacheStatements(true);
    EXPECT_FALSE(db->executeQuery(QStringLiteral("SELEC 1")));
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("DB Error: 1 \"near \"SELEC\": syntax error\""),
                                        QStringLiteral("DB Query: SELEC 1"), QStringLiteral("DB Path: ") + path}));
    EXPECT_TRUE(db->cachedStatements(QStringLiteral("SELEC 1")).empty());

    log.clear();
    const QString sql = QStringLiteral("SELECT ? AS v");
    EXPECT_FALSE(db->executeQuery(sql, {SQLValue::integer(1), SQLValue::integer(2)}));
    EXPECT_EQ(log.lines(),
              QStringList({QStringLiteral("Error: the bind count is not correct for the # of variables (executeQuery)")}));
    // The statement stays cached and free, and works with the right values.
    ASSERT_EQ(db->cachedStatements(sql).size(), 1u);
    EXPECT_FALSE(db->cachedStatements(sql)[0]->inUse());
    EXPECT_EQ(scalar(*db, sql, {SQLValue::text(QStringLiteral("ok"))}), QStringLiteral("ok"));
    EXPECT_EQ(db->cachedStatements(sql).size(), 1u);
}

TEST_F(SQLiteDatabaseTest, StepFailuresAreLoggedAndCloseTheCursor) {
    ASSERT_TRUE(db->executeStatements(QStringLiteral("CREATE TABLE t(x UNIQUE); INSERT INTO t VALUES (1);")));
    const QString insert = QStringLiteral("INSERT INTO t VALUES (?)");
    auto cursor = db->executeQuery(insert, {SQLValue::integer(1)});
    ASSERT_TRUE(cursor);
    EXPECT_EQ(cursor->step(), 19);
    EXPECT_EQ(cursor->step(), SQLiteCode::misuse);
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("DB Error: 19 \"UNIQUE constraint failed: t.x\"")}));

    ASSERT_TRUE(run(*db, insert, {SQLValue::integer(2)}));
    EXPECT_EQ(db->lastInsertRowId(), 2);
}

TEST_F(SQLiteDatabaseTest, BatchesRunUntilTheFirstError) {
    EXPECT_FALSE(db->executeStatements(QStringLiteral("CREATE TABLE a(x); CREATE TABLE a(x); CREATE TABLE b(x);")));
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("Error inserting batch: table a already exists")}));
    EXPECT_EQ(scalar(*db, QStringLiteral("SELECT group_concat(name) AS v FROM sqlite_master")), QStringLiteral("a"));
}

TEST_F(SQLiteDatabaseTest, ClosedCursorsAndConnectionsGiveNothing) {
    db->setShouldCacheStatements(true);
    auto ended = db->executeQuery(QStringLiteral("SELECT 7 AS n"));
    ASSERT_TRUE(ended && ended->next());
    EXPECT_FALSE(ended->next());
    EXPECT_EQ(ended->intForColumn(QStringLiteral("n")), 0);
    EXPECT_EQ(ended->step(), SQLiteCode::misuse);

    // Closing the connection finalizes the statement under this open cursor.
    auto cursor = db->executeQuery(QStringLiteral("SELECT 1 AS n UNION ALL SELECT 2"));
    ASSERT_TRUE(cursor && cursor->next());
    db->close();
    EXPECT_FALSE(db->isOpen());
    EXPECT_EQ(cursor->intForColumn(QStringLiteral("n")), 0);
    EXPECT_FALSE(cursor->next());
    EXPECT_EQ(cursor->step(), SQLiteCode::misuse);

    EXPECT_FALSE(db->executeQuery(QStringLiteral("SELECT 1")));
    EXPECT_FALSE(db->executeStatements(QStringLiteral("SELECT 1")));
    EXPECT_EQ(db->userVersion(), 0);
    EXPECT_EQ(db->lastInsertRowId(), 0);
    EXPECT_TRUE(db->lastErrorMessage().isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
}

