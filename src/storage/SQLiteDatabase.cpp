#include "SQLiteDatabase.h"

#include "StorageDamage.h"
#include "StorageLog.h"

#include <QUrl>

#include <sqlite3.h>

namespace sonvale {

namespace {

constexpr int kBusyTimeoutMs = 2000;

int bindValue(sqlite3_stmt* statement, int index, const SQLValue& value) {
    switch (value.kind()) {
    case SQLValue::Kind::integer:
        return sqlite3_bind_int64(statement, index, value.toInteger());
    case SQLValue::Kind::real:
        return sqlite3_bind_double(statement, index, value.toReal());
    case SQLValue::Kind::text:
        return sqlite3_bind_text(statement, index, value.toText().toUtf8().constData(), -1, SQLITE_TRANSIENT);
    case SQLValue::Kind::blob: {
        const QByteArray bytes = value.toBlob();
        return sqlite3_bind_blob64(statement, index, bytes.constData(), sqlite3_uint64(bytes.size()),
                                   SQLITE_TRANSIENT);
    }
    case SQLValue::Kind::null:
        break;
    }
    return sqlite3_bind_null(statement, index);
}

}  // namespace

QString SQLiteDatabase::libraryVersion() { return QString::fromUtf8(sqlite3_libversion()); }

std::optional<SQLiteDatabase> SQLiteDatabase::open(const QString& path) {
    return open(path, path.toUtf8(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

std::optional<SQLiteDatabase> SQLiteDatabase::openUntouched(const QString& path) {
    // immutable: no locks, no journal looked at or rolled back, nothing written.
    const QByteArray uri = "file:" + QUrl::toPercentEncoding(path, "/") + "?immutable=1";
    return open(path, uri, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

std::optional<SQLiteDatabase> SQLiteDatabase::open(const QString& path, const QByteArray& name, int flags) {
    sqlite3* handle = nullptr;
    // Without SQLite's own lock on the connection (taken by every call, a few for each column
    // of each row): one thread at a time reaches it, under the queue's lock.
    const int code = sqlite3_open_v2(name.constData(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code != SQLITE_OK) {
        qCWarning(lcDb, "error opening!: %d", code);
        sqlite3_close(handle);
        return std::nullopt;
    }
    // SQLite itself retries a locked database for this long; the layer has no retry loop.
    sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    return SQLiteDatabase(path, SQLiteConnectionHandle(handle));
}

SQLiteDatabase::SQLiteDatabase(QString path, SQLiteConnectionHandle handle)
    : path_(std::move(path)), handle_(std::move(handle)) {}

SQLiteDatabase::~SQLiteDatabase() {
    close();
}

std::optional<SQLiteCursor> SQLiteDatabase::executeQuery(const QString& sql, const std::vector<SQLValue>& values) {
    if (!handle_) return std::nullopt;
    std::shared_ptr<SQLiteStatement> statement;
    if (shouldCacheStatements_) statement = takeCachedStatement(sql);
    if (!statement) {
        statement = prepare(sql);
        if (!statement) return std::nullopt;
        if (shouldCacheStatements_) cachedStatements_[sql].push_back(statement);
    }
    if (!bind(*statement, values)) return std::nullopt;
    statement->countUse();
    return SQLiteCursor(std::move(statement));
}

std::shared_ptr<SQLiteStatement> SQLiteDatabase::takeCachedStatement(const QString& sql) {
    const auto list = cachedStatements_.constFind(sql);
    if (list == cachedStatements_.constEnd()) return nullptr;
    for (const auto& statement : *list) {
        if (statement->inUse()) continue;
        // Bindings are kept; the caller binds every parameter again.
        statement->reset();
        statement->setInUse(false);
        return statement;
    }
    return nullptr;
}

std::shared_ptr<SQLiteStatement> SQLiteDatabase::prepare(const QString& sql) {
    sqlite3_stmt* handle = nullptr;
    const int code = sqlite3_prepare_v2(handle_.get(), sql.toUtf8().constData(), -1, &handle, nullptr);
    if (code != SQLITE_OK || !handle) {
        sqlite3_finalize(handle);
        if (StorageDamage::isDamageCode(code)) {
            StorageDamage::note(fileName(), code, lastErrorMessage());
            return nullptr;
        }
        qCWarning(lcDb, "DB Error: %d \"%s\"", sqlite3_errcode(handle_.get()), sqlite3_errmsg(handle_.get()));
        qCWarning(lcDb, "DB Query: %s", qUtf8Printable(sql));
        qCWarning(lcDb, "DB Path: %s", qUtf8Printable(path_));
        return nullptr;
    }
    return std::make_shared<SQLiteStatement>(SQLiteStatementHandle(handle));
}

bool SQLiteDatabase::bind(SQLiteStatement& statement, const std::vector<SQLValue>& values) {
    sqlite3_stmt* handle = statement.handle();
    if (std::size_t(sqlite3_bind_parameter_count(handle)) != values.size()) {
        qCWarning(lcDb, "Error: the bind count is not correct for the # of variables (executeQuery)");
        return false;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        const int code = bindValue(handle, int(i) + 1, values[i]);
        if (code != SQLITE_OK) {
            qCWarning(lcDb, "Error: unable to bind (%d, %s)", code, sqlite3_errmsg(handle_.get()));
            return false;
        }
    }
    return true;
}

bool SQLiteDatabase::executeStatements(const QString& sql) {
    if (!handle_) return false;
    char* message = nullptr;
    const int code = sqlite3_exec(handle_.get(), sql.toUtf8().constData(), nullptr, nullptr, &message);
    if (StorageDamage::isDamageCode(code)) {
        StorageDamage::note(fileName(), code, lastErrorMessage());
        sqlite3_free(message);
        return false;
    }
    if (message) {
        // One text for every batch, whatever its statements were.
        qCWarning(lcDb, "Error inserting batch: %s", message);
        sqlite3_free(message);
    }
    return code == SQLITE_OK;
}

void SQLiteDatabase::closeCachedStatements() {
    for (const auto& list : std::as_const(cachedStatements_)) {
        for (const auto& statement : list) statement->finalize();
    }
    cachedStatements_.clear();
}

std::vector<std::shared_ptr<SQLiteStatement>> SQLiteDatabase::cachedStatements(const QString& sql) const {
    return cachedStatements_.value(sql);
}

qint64 SQLiteDatabase::userVersion() {
    auto cursor = executeQuery(QStringLiteral("pragma user_version"));
    if (!cursor || !cursor->next()) return 0;
    return cursor->int64ForIndex(0);
}

qint64 SQLiteDatabase::lastInsertRowId() const {
    return handle_ ? sqlite3_last_insert_rowid(handle_.get()) : 0;
}

int SQLiteDatabase::lastErrorCode() const {
    return handle_ ? sqlite3_extended_errcode(handle_.get()) : SQLITE_MISUSE;
}

QString SQLiteDatabase::fileName() const {
    return handle_ ? QString::fromUtf8(sqlite3_db_filename(handle_.get(), "main")) : QString();
}

QString SQLiteDatabase::lastErrorMessage() const {
    return handle_ ? QString::fromUtf8(sqlite3_errmsg(handle_.get())) : QString();
}

void SQLiteDatabase::close() {
    closeCachedStatements();
    handle_.reset();
}

}  // namespace sonvale
