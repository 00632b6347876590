#include "SQLiteQueue.h"

#include "StorageLog.h"

namespace sonvale {

std::unique_ptr<SQLiteQueue> SQLiteQueue::open(const QString& path) {
    auto db = SQLiteDatabase::open(path);
    if (!db) {
        qCWarning(lcDb, "Could not create database queue for path %s", qUtf8Printable(path));
        return nullptr;
    }
    return std::unique_ptr<SQLiteQueue>(new SQLiteQueue(path, std::move(*db)));
}

SQLiteQueue::SQLiteQueue(QString path, SQLiteDatabase db) : path_(std::move(path)), db_(std::move(db)) {}

SQLiteQueue::~SQLiteQueue() {
    close();
}

void SQLiteQueue::inDatabase(const Block& block) {
    std::lock_guard lock(mutex_);
    if (!reopenIfNeeded()) return;
    block(*db_);
}

bool SQLiteQueue::inTransaction(const TransactionBlock& block) {
    std::lock_guard lock(mutex_);
    if (!reopenIfNeeded()) return false;
    SQLiteDatabase& db = *db_;
    const auto run = [&db](const QString& sql) {
        auto cursor = db.executeQuery(sql);
        return cursor && cursor->step() == SQLiteCode::done;
    };
    if (!run(QStringLiteral("begin exclusive transaction"))) return false;
    bool rollback = false;
    block(db, rollback);
    if (!rollback && run(QStringLiteral("commit transaction"))) return true;
    // A failed commit leaves the transaction open; it must not stay open for the next block.
    run(QStringLiteral("rollback transaction"));
    return false;
}

void SQLiteQueue::close() {
    std::lock_guard lock(mutex_);
    db_.reset();
}

bool SQLiteQueue::reopenIfNeeded() {
    if (db_) return true;
    auto db = SQLiteDatabase::open(path_);
    if (!db) {
        qCWarning(lcDb, "SQLiteQueue could not reopen database for path %s", qUtf8Printable(path_));
        return false;
    }
    db_.emplace(std::move(*db));
    return true;
}

}  // namespace sonvale
