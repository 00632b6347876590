#pragma once

#include "SQLiteHandles.h"

#include <QtGlobal>

namespace sonvale {

// One prepared statement, the sole owner of its handle. Shared (std::shared_ptr) between the
// connection's statement cache and at most one cursor at a time; like the connection, it is
// used only inside blocks run by its SQLiteQueue. Once finalized it is treated as absent by
// every operation and never used again. Destroying it finalizes it.
class SQLiteStatement {
public:
    explicit SQLiteStatement(SQLiteStatementHandle handle) : handle_(std::move(handle)) {}

    SQLiteStatement(const SQLiteStatement&) = delete;
    SQLiteStatement& operator=(const SQLiteStatement&) = delete;

    // nullptr once finalized.
    sqlite3_stmt* handle() const { return handle_.get(); }
    bool isFinalized() const { return !handle_; }
    void finalize() { handle_.reset(); }
    // Rewinds the statement to before its first row (bindings stay); nothing once finalized.
    void reset();

    // True while a cursor runs over the statement.
    bool inUse() const { return inUse_; }
    void setInUse(bool inUse) { inUse_ = inUse; }

    // How many cursors the statement was handed to (saturating).
    qint64 useCount() const { return useCount_; }
    void countUse();

private:
    SQLiteStatementHandle handle_;
    bool inUse_ = false;
    qint64 useCount_ = 0;
};

}  // namespace sonvale
