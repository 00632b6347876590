#pragma once

#include "SQLiteStatement.h"

#include <QHash>
#include <QString>

#include <memory>
#include <optional>
#include <string_view>

namespace sonvale {

// SQLite result codes that callers of the layer test for.
struct SQLiteCode {
    static constexpr int ok = 0;
    static constexpr int misuse = 21;
    static constexpr int row = 100;
    static constexpr int done = 101;
};

// A running query over one statement, positioned before the first row when made. The cursor
// closes itself at the end of the rows, on a step error or when destroyed; closing rewinds
// the statement and hands it back to the cache. A cursor must be used up or closed inside the
// queue block that made it. Without a statement (closed, or finalized because the connection
// closed its cache) every step fails and every reader yields 0 or std::nullopt. Move-only.
class SQLiteCursor {
public:
    explicit SQLiteCursor(std::shared_ptr<SQLiteStatement> statement);
    ~SQLiteCursor();
    SQLiteCursor(SQLiteCursor&& other) noexcept = default;
    SQLiteCursor& operator=(SQLiteCursor&& other) noexcept;
    SQLiteCursor(const SQLiteCursor&) = delete;
    SQLiteCursor& operator=(const SQLiteCursor&) = delete;

    // Moves to the next row: true on a row; false at the end or on an error (logged).
    bool next();
    // One step with its raw result code; SQLiteCode::misuse without a statement. Anything but
    // a row closes the cursor; codes other than row and done are logged first.
    int step();
    void close();

    // Index of the result column whose lower-cased name is `name` lower-cased (the last such
    // column when several share it); -1, with a warning, when there is none.
    int columnIndex(const QString& name);
    int columnCount() const;

    // Readers of the current row by column name: 0 or std::nullopt when the column or the
    // statement is missing. Numbers are read without a NULL test, so NULL reads as 0.
    int intForColumn(const QString& name);
    qint64 int64ForColumn(const QString& name);
    double doubleForColumn(const QString& name);
    std::optional<QString> stringForColumn(const QString& name);
    // Column `index` of the current row; 0 or std::nullopt when it is out of range (an index
    // from columnIndex, -1 included), NULL texts give std::nullopt.
    qint64 int64ForIndex(int index) const;
    int intForIndex(int index) const;
    double doubleForIndex(int index) const;
    std::optional<QString> stringForIndex(int index) const;
    // Whether column `index` of the current row is NULL; true when it is out of range.
    bool isNullForIndex(int index) const;
    // The UTF-8 bytes of column `index` of the current row, valid until the cursor moves or
    // closes; empty when NULL or out of range.
    std::string_view utf8ForIndex(int index) const;

private:
    sqlite3_stmt* liveHandle() const;
    // The column index when it can be read from the current statement, else -1.
    int readableIndex(const QString& name);

    std::shared_ptr<SQLiteStatement> statement_;
    std::optional<QHash<QString, int>> columnIndexes_;
    // The names callers asked for, as they spelled them: a row of many columns is read without
    // lower-casing each name again.
    QHash<QString, int> askedIndexes_;
};

}  // namespace sonvale
