#include "StorageTestSupport.h"

#include "DB.h"

#include <QDir>

#include <mutex>

#include <sys/fsuid.h>
#include <unistd.h>

using sonvale::SQLiteDatabase;
using sonvale::SQLValue;

namespace {

std::mutex captureMutex;
QList<std::pair<QtMsgType, QString>> captured;

constexpr uid_t kNobody = 65534;

void captureHandler(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (qstrcmp(context.category, "sonvale.db") != 0) return;
    std::lock_guard lock(captureMutex);
    captured.append({type, message});
}

// The named columns of every row `sql` gives for `argument`, space-separated ("-" for NULL).
QStringList rows(SQLiteDatabase& db, const QString& sql, const QString& argument, const QStringList& columns) {
    QStringList result;
    auto cursor = db.executeQuery(sql, {SQLValue::text(argument)});
    while (cursor && cursor->next()) {
        QStringList fields;
        for (const auto& column : columns) fields.append(cursor->stringForColumn(column).value_or(QStringLiteral("-")));
        result.append(fields.join(QLatin1Char(' ')));
    }
    return result;
}

}  // namespace

LogCapture::LogCapture() : previous_(qInstallMessageHandler(&captureHandler)) {}

LogCapture::~LogCapture() {
    qInstallMessageHandler(previous_);
    clear();
}

QStringList LogCapture::lines(std::optional<QtMsgType> type) const {
    std::lock_guard lock(captureMutex);
    QStringList result;
    for (const auto& [lineType, text] : captured) {
        if (!type || lineType == *type) result.append(text);
    }
    return result;
}

void LogCapture::clear() {
    std::lock_guard lock(captureMutex);
    captured.clear();
}

std::optional<QString> scalar(SQLiteDatabase& db, const QString& sql, const std::vector<SQLValue>& values) {
    auto cursor = db.executeQuery(sql, values);
    if (!cursor || !cursor->next()) return std::nullopt;
    return cursor->stringForColumn(QStringLiteral("v"));
}

bool run(SQLiteDatabase& db, const QString& sql, const std::vector<SQLValue>& values) {
    auto cursor = db.executeQuery(sql, values);
    return cursor && cursor->step() == sonvale::SQLiteCode::done;
}

QStringList columnOf(sonvale::DB& db, const QString& sql, const std::vector<SQLValue>& values) {
    QStringList result;
    db.queue()->inDatabase([&](SQLiteDatabase& connection) {
        auto cursor = connection.executeQuery(sql, values);
        while (cursor && cursor->next()) {
            result.append(cursor->stringForColumn(QStringLiteral("v")).value_or(QStringLiteral("NULL")));
        }
    });
    return result;
}

bool exec(sonvale::DB& db, const QString& sql) {
    bool ok = false;
    db.queue()->inDatabase([&](SQLiteDatabase& connection) { ok = connection.executeStatements(sql); });
    return ok;
}

QStringList schemaOf(const QString& path) {
    auto db = SQLiteDatabase::open(path);
    if (!db) return {QStringLiteral("cannot open")};
    QStringList schema;
    for (const QString& table : rows(*db, QStringLiteral("SELECT name FROM sqlite_master WHERE type = ? ORDER BY name"),
                                     QStringLiteral("table"), {QStringLiteral("name")})) {
        schema.append(QStringLiteral("table ") + table);
        for (const auto& column : rows(*db, QStringLiteral("SELECT * FROM pragma_table_info(?) ORDER BY cid"), table,
                                       {"name", "type", "notnull", "dflt_value", "pk"})) {
            schema.append(QStringLiteral("  column ") + column);
        }
        for (const auto& key : rows(*db, QStringLiteral("SELECT * FROM pragma_foreign_key_list(?) ORDER BY id"), table,
                                    {"from", "table", "to", "on_delete"})) {
            schema.append(QStringLiteral("  foreign key ") + key);
        }
        for (const auto& index : rows(*db, QStringLiteral("SELECT * FROM pragma_index_list(?) WHERE origin = 'c' "
                                                          "ORDER BY name"),
                                      table, {"name", "unique"})) {
            const QStringList keys = rows(*db, QStringLiteral("SELECT * FROM pragma_index_info(?) ORDER BY seqno"),
                                          index.section(QLatin1Char(' '), 0, 0), {QStringLiteral("name")});
            schema.append(QStringLiteral("  index %1 (%2)").arg(index, keys.join(QStringLiteral(", "))));
        }
    }
    return schema;
}

QString dbPathIn(const QString& dir) {
    return QDir(dir).filePath(sonvale::DB::fileName());
}

qint64 userVersionOf(const QString& path) {
    auto db = SQLiteDatabase::open(path);
    return db ? db->userVersion() : -1;
}

QStringList filesIn(const QString& dir) {
    return QDir(dir).entryList(QDir::Files, QDir::Name);
}

WithoutFilePrivileges::WithoutFilePrivileges() : wasRoot_(geteuid() == 0) {
    if (!wasRoot_) {
        active_ = true;
        return;
    }
    // The file-system ids belong to the calling thread alone; leaving 0 also drops the
    // capabilities that override file permissions.
    setfsgid(kNobody);
    setfsuid(kNobody);
    active_ = setfsuid(uid_t(-1)) == int(kNobody);
}

WithoutFilePrivileges::~WithoutFilePrivileges() {
    if (!wasRoot_) return;
    setfsuid(0);
    setfsgid(0);
}

void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
