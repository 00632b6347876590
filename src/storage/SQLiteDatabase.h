#pragma once

#include "SQLValue.h"
#include "SQLiteCursor.h"
#include "SQLiteHandles.h"
#include "SQLiteStatement.h"

#include <QHash>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace sonvale {

// One open SQLite connection with a cache of prepared statements. Not thread-safe: it is
// reached only inside the blocks of the SQLiteQueue that owns it. Failures are logged
// ("sonvale.db") and reported as std::nullopt, false or 0; nothing throws. Move-only; closed
// on destruction.
class SQLiteDatabase {
public:
    // Opens (creating when needed) the file read-write with a busy timeout of 2000 ms.
    // std::nullopt, with "error opening!: <code>" logged, when SQLite cannot open it.
    static std::optional<SQLiteDatabase> open(const QString& path);
    // Opens the file for reading only, exactly as it is: no locks taken, a journal beside it
    // neither read nor rolled back, nothing written. For salvaging a damaged file.
    static std::optional<SQLiteDatabase> openUntouched(const QString& path);
    // The version of the SQLite library in use, read at run time.
    static QString libraryVersion();

    ~SQLiteDatabase();
    SQLiteDatabase(SQLiteDatabase&& other) noexcept = default;
    SQLiteDatabase& operator=(SQLiteDatabase&&) = delete;

    const QString& path() const { return path_; }
    bool isOpen() const { return handle_ != nullptr; }

    // When on, statements are kept per exact SQL text and reused after a reset; a text whose
    // statements are all held by open cursors gets one more. Off after opening.
    bool shouldCacheStatements() const { return shouldCacheStatements_; }
    void setShouldCacheStatements(bool on) { shouldCacheStatements_ = on; }

    // Prepares one statement (or takes a free cached one), binds `values` to its parameters
    // 1..n, and returns a cursor before the first row. A change statement is carried out by one
    // step of the cursor. std::nullopt when closed (silently), when preparing fails, or when
    // the values do not fit the parameters (logged).
    std::optional<SQLiteCursor> executeQuery(const QString& sql, const std::vector<SQLValue>& values = {});
    // Runs one or more statements; true when all succeeded. An error is logged.
    bool executeStatements(const QString& sql);
    // Finalizes every cached statement and empties the cache; open cursors over them then
    // behave as closed.
    void closeCachedStatements();
    // The statements cached for exactly `sql`, in the order they were prepared.
    std::vector<std::shared_ptr<SQLiteStatement>> cachedStatements(const QString& sql) const;

    // The file's user_version; 0 when it cannot be read.
    qint64 userVersion();
    // Row id of the last row this connection inserted; 0 when none or closed.
    qint64 lastInsertRowId() const;
    // SQLite's extended result code of the last failed call; SQLITE_MISUSE when closed.
    int lastErrorCode() const;
    // The file's full name as SQLite resolved it; empty when closed. Damage is noted under it
    // (StorageDamage).
    QString fileName() const;
    // SQLite's message for the last failed call; empty when closed.
    QString lastErrorMessage() const;

    // Finalizes the cached statements and closes the connection; later calls find it closed.
    void close();

private:
    using StatementList = std::vector<std::shared_ptr<SQLiteStatement>>;

    SQLiteDatabase(QString path, SQLiteConnectionHandle handle);
    static std::optional<SQLiteDatabase> open(const QString& path, const QByteArray& name, int flags);

    std::shared_ptr<SQLiteStatement> takeCachedStatement(const QString& sql);
    std::shared_ptr<SQLiteStatement> prepare(const QString& sql);
    bool bind(SQLiteStatement& statement, const std::vector<SQLValue>& values);

    QString path_;
    SQLiteConnectionHandle handle_;
    QHash<QString, StatementList> cachedStatements_;
    bool shouldCacheStatements_ = false;
};

}  // namespace sonvale
