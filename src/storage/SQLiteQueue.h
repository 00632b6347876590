#pragma once

#include "SQLiteDatabase.h"

#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace sonvale {

// Owns one SQLiteDatabase and is the only way to reach it. Each block runs synchronously on
// the calling thread while the queue's lock is held, so blocks from any number of threads run
// one at a time and may hand results out through captured variables. The lock is not
// recursive: calling inDatabase or inTransaction from inside a block of the same queue
// deadlocks, so blocks never nest. The connection, its statements and its cursors must not
// leave the block.
class SQLiteQueue {
public:
    using Block = std::function<void(SQLiteDatabase& db)>;
    using TransactionBlock = std::function<void(SQLiteDatabase& db, bool& rollback)>;

    // Opens the file; nullptr, with "Could not create database queue for path <path>" logged,
    // when it cannot be opened.
    static std::unique_ptr<SQLiteQueue> open(const QString& path);

    // Waits for a running block, then closes the connection.
    ~SQLiteQueue();
    SQLiteQueue(const SQLiteQueue&) = delete;
    SQLiteQueue& operator=(const SQLiteQueue&) = delete;

    const QString& path() const { return path_; }

    // Runs `block` with the connection. When the connection is gone it is opened again first;
    // when that fails too the block is not run (logged).
    void inDatabase(const Block& block);
    // Runs `block` inside "begin exclusive transaction", then commits, or rolls back when the
    // block set `rollback`. True when the block's changes were committed. When the transaction
    // cannot begin (the file is busy past the timeout, read-only, damaged) the block is not run
    // at all, since its changes would commit one by one and a rollback could not undo them;
    // when the commit fails the transaction is rolled back. Either failure returns false after
    // the layer logged its "DB Error" line. Other connections to the file wait (up to their
    // busy timeout) until the transaction ends.
    bool inTransaction(const TransactionBlock& block);

    // Closes the connection now; the next block opens a fresh one, with the settings of a new
    // connection (no statement cache, SQLite's default pragmas).
    void close();

private:
    SQLiteQueue(QString path, SQLiteDatabase db);

    // With mutex_ held.
    bool reopenIfNeeded();

    const QString path_;
    std::mutex mutex_;
    std::optional<SQLiteDatabase> db_;
};

}  // namespace sonvale
