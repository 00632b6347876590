#include "StorageTestSupport.h"

#include "DB.h"

#include <QFile>

#include <sys/fsuid.h>
#include <unistd.h>

using sonvale::SQLiteDatabase;
using sonvale::SQLValue;

namespace {

struct Captured {
    QtMsgType type;
    QString text;
};

std::mutex captureMutex;
QList<Captured> captured;

constexpr uid_t kNobody = 65534;

}  // namespace

LogCapture::LogCapture() {
    previous_ = qInstallMessageHandler(&LogCapture::handler);
}

LogCapture::~LogCapture() {
    qInstallMessageHandler(previous_);
    clear();
}

void LogCapture::handler(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (qstrcmp(context.category, "sonvale.db") != 0) return;
    std::lock_guard lock(captureMutex);
    captured.append({type, message});
}

QStringList LogCapture::lines() const {
    std::lock_guard lock(captureMutex);
    QStringList result;
    for (const auto& line : captured) result.append(line.text);
    return result;
}

QStringList LogCapture::lines(QtMsgType type) const {
    std::lock_guard lock(captureMutex);
    QStringList result;
    for (const auto& line : captured) {
        if (line.type == type) result.append(line.text);
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

namespace {

QStringList rows(SQLiteDatabase& db, const QString& sql, const QString& table, const QStringList& columns) {
    QStringList result;
    auto cursor = db.executeQuery(sql, {SQLValue::text(table)});
    while (cursor && cursor->next()) {
        QStringList fields;
        for (const auto& column : columns) fields.append(cursor->stringForColumn(column).value_or(QStringLiteral("-")));
        result.append(fields.join(QLatin1Char(' ')));
    }
    return result;
}

}  // namespace

QStringList schemaOf(SQLiteDatabase& db) {
    QStringList tables;
    auto cursor = db.executeQuery(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"));
    while (cursor && cursor->next()) tables.append(cursor->stringForColumn(QStringLiteral("name")).value_or(QString()));
    QStringList schema;
    for (const auto& table : tables) {
        schema.append(QStringLiteral("table ") + table);
        for (const auto& column : rows(db, QStringLiteral("SELECT * FROM pragma_table_info(?) ORDER BY cid"), table,
                                       {QStringLiteral("name"), QStringLiteral("type"), QStringLiteral("notnull"),
                                        QStringLiteral("dflt_value"), QStringLiteral("pk")})) {
            schema.append(QStringLiteral("  column ") + column);
        }
        for (const auto& key : rows(db, QStringLiteral("SELECT * FROM pragma_foreign_key_list(?) ORDER BY id"), table,
                                    {QStringLiteral("from"), QStringLiteral("table"), QStringLiteral("to"),
                                     QStringLiteral("on_delete")})) {
            schema.append(QStringLiteral("  foreign key ") + key);
        }
        const QStringList indexes =
            rows(db, QStringLiteral("SELECT * FROM pragma_index_list(?) WHERE origin = 'c' ORDER BY name"), table,
                 {QStringLiteral("name"), QStringLiteral("unique")});
        for (const auto& index : indexes) {
            const QString name = index.section(QLatin1Char(' '), 0, 0);
            const QStringList keys =
                rows(db, QStringLiteral("SELECT * FROM pragma_index_info(?) ORDER BY seqno"), name, {QStringLiteral("name")});
            schema.append(QStringLiteral("  index ") + index + QStringLiteral(" (") + keys.join(QStringLiteral(", ")) +
                          QLatin1Char(')'));
        }
    }
    return schema;
}

QStringList schemaOf(const QString& path) {
    auto db = SQLiteDatabase::open(path);
    return db ? schemaOf(*db) : QStringList{QStringLiteral("cannot open")};
}

std::optional<QByteArray> fileBytes(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return file.readAll();
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

void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
