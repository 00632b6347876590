#include "SQLiteCursor.h"

#include "StorageDamage.h"
#include "StorageLog.h"

#include <sqlite3.h>

namespace sonvale {

static_assert(SQLiteCode::ok == SQLITE_OK && SQLiteCode::misuse == SQLITE_MISUSE
              && SQLiteCode::row == SQLITE_ROW && SQLiteCode::done == SQLITE_DONE);

namespace {

void logStepError(int code, sqlite3_stmt* statement) {
    sqlite3* connection = sqlite3_db_handle(statement);
    // A damaged file fails every read that reaches the damage: it is reported once, clearly.
    if (StorageDamage::isDamageCode(code)) {
        StorageDamage::note(QString::fromUtf8(sqlite3_db_filename(connection, "main")), code,
                            QString::fromUtf8(sqlite3_errmsg(connection)));
        return;
    }
    qCWarning(lcDb, "DB Error: %d \"%s\"", code, sqlite3_errmsg(connection));
}

}  // namespace

SQLiteCursor::SQLiteCursor(std::shared_ptr<SQLiteStatement> statement) : statement_(std::move(statement)) {
    if (statement_) statement_->setInUse(true);
}

SQLiteCursor::~SQLiteCursor() {
    close();
}

SQLiteCursor& SQLiteCursor::operator=(SQLiteCursor&& other) noexcept {
    if (this != &other) {
        close();
        statement_ = std::move(other.statement_);
        columnIndexes_ = std::move(other.columnIndexes_);
        other.columnIndexes_.reset();
        askedIndexes_ = std::move(other.askedIndexes_);
        other.askedIndexes_.clear();
    }
    return *this;
}

bool SQLiteCursor::next() {
    sqlite3_stmt* handle = liveHandle();
    if (!handle) return false;
    const int code = sqlite3_step(handle);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) logStepError(code, handle);
    close();
    return false;
}

int SQLiteCursor::step() {
    sqlite3_stmt* handle = liveHandle();
    if (!handle) return SQLITE_MISUSE;
    const int code = sqlite3_step(handle);
    if (code != SQLITE_ROW) {
        if (code != SQLITE_DONE) logStepError(code, handle);
        close();
    }
    return code;
}

void SQLiteCursor::close() {
    if (statement_) {
        statement_->reset();
        statement_->setInUse(false);
        statement_.reset();
    }
    columnIndexes_.reset();
    askedIndexes_.clear();
}

int SQLiteCursor::columnIndex(const QString& name) {
    sqlite3_stmt* handle = liveHandle();
    if (!handle) return -1;
    if (const auto asked = askedIndexes_.constFind(name); asked != askedIndexes_.constEnd()) return asked.value();
    if (!columnIndexes_) {
        // Later columns replace earlier ones of the same name: the last one wins.
        QHash<QString, int> indexes;
        const int count = sqlite3_column_count(handle);
        for (int i = 0; i < count; ++i) {
            const char* columnName = sqlite3_column_name(handle, i);
            if (columnName) indexes.insert(QString::fromUtf8(columnName).toLower(), i);
        }
        columnIndexes_ = std::move(indexes);
    }
    const auto found = columnIndexes_->constFind(name.toLower());
    if (found != columnIndexes_->constEnd()) {
        askedIndexes_.insert(name, found.value());
        return found.value();
    }
    qCWarning(lcDb, "Warning: I could not find the column named '%s'.", qUtf8Printable(name));
    return -1;
}

int SQLiteCursor::columnCount() const {
    sqlite3_stmt* handle = liveHandle();
    return handle ? sqlite3_column_count(handle) : 0;
}

int SQLiteCursor::intForColumn(const QString& name) {
    const int index = readableIndex(name);
    return index < 0 ? 0 : sqlite3_column_int(liveHandle(), index);
}

qint64 SQLiteCursor::int64ForColumn(const QString& name) {
    const int index = readableIndex(name);
    return index < 0 ? 0 : sqlite3_column_int64(liveHandle(), index);
}

double SQLiteCursor::doubleForColumn(const QString& name) {
    const int index = readableIndex(name);
    return index < 0 ? 0 : sqlite3_column_double(liveHandle(), index);
}

std::optional<QString> SQLiteCursor::stringForColumn(const QString& name) {
    const int index = readableIndex(name);
    if (index < 0) return std::nullopt;
    sqlite3_stmt* handle = liveHandle();
    if (sqlite3_column_type(handle, index) == SQLITE_NULL) return std::nullopt;
    const unsigned char* text = sqlite3_column_text(handle, index);
    if (!text) return std::nullopt;
    return QString::fromUtf8(reinterpret_cast<const char*>(text));
}

qint64 SQLiteCursor::int64ForIndex(int index) const {
    if (index < 0 || index >= columnCount()) return 0;
    return sqlite3_column_int64(liveHandle(), index);
}

int SQLiteCursor::intForIndex(int index) const {
    if (index < 0 || index >= columnCount()) return 0;
    return sqlite3_column_int(liveHandle(), index);
}

double SQLiteCursor::doubleForIndex(int index) const {
    if (index < 0 || index >= columnCount()) return 0;
    return sqlite3_column_double(liveHandle(), index);
}

std::optional<QString> SQLiteCursor::stringForIndex(int index) const {
    if (index < 0 || index >= columnCount()) return std::nullopt;
    sqlite3_stmt* handle = liveHandle();
    if (sqlite3_column_type(handle, index) == SQLITE_NULL) return std::nullopt;
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(handle, index));
    if (!text) return std::nullopt;
    return QString::fromUtf8(text);
}

bool SQLiteCursor::isNullForIndex(int index) const {
    if (index < 0 || index >= columnCount()) return true;
    return sqlite3_column_type(liveHandle(), index) == SQLITE_NULL;
}

std::string_view SQLiteCursor::utf8ForIndex(int index) const {
    if (index < 0 || index >= columnCount()) return {};
    // The text first, then its length: that order leaves the text's bytes where they are.
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(liveHandle(), index));
    if (!text) return {};
    return {text, std::size_t(sqlite3_column_bytes(liveHandle(), index))};
}

sqlite3_stmt* SQLiteCursor::liveHandle() const {
    return statement_ ? statement_->handle() : nullptr;
}

int SQLiteCursor::readableIndex(const QString& name) {
    const int index = columnIndex(name);
    return index < columnCount() ? index : -1;
}

}  // namespace sonvale
