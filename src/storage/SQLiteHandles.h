#pragma once

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace sonvale {

// Sole owners of the SQLite C handles, so that sqlite3.h stays inside the layer's .cpp files.
// A connection is closed with sqlite3_close_v2: statements that are still alive keep it as a
// zombie until they are finalized, instead of making the close fail.
struct SQLiteConnectionCloser {
    void operator()(sqlite3* handle) const;
};
struct SQLiteStatementFinalizer {
    void operator()(sqlite3_stmt* handle) const;
};

using SQLiteConnectionHandle = std::unique_ptr<sqlite3, SQLiteConnectionCloser>;
using SQLiteStatementHandle = std::unique_ptr<sqlite3_stmt, SQLiteStatementFinalizer>;

}  // namespace sonvale
