#include "StorageTestSupport.h"

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

QStringList column(SQLiteDatabase& db, const QString& sql, const std::vector<SQLValue>& values) {
    QStringList result;
    auto cursor = db.executeQuery(sql, values);
    while (cursor && cursor->next()) {
        result.append(cursor->stringForColumn(QStringLiteral("v")).value_or(QStringLiteral("NULL")));
    }
    return result;
}

QStringList column(sonvale::DB& db, const QString& sql, const std::vector<SQLValue>& values) {
    QStringList result;
    db.queue()->inDatabase([&](SQLiteDatabase& connection) { result = column(connection, sql, values); });
    return result;
}

bool run(SQLiteDatabase& db, const QString& sql, const std::vector<SQLValue>& values) {
    auto cursor = db.executeQuery(sql, values);
    return cursor && cursor->step() == sonvale::SQLiteCode::done;
}

bool exec(sonvale::DB& db, const QString& sql) {
    bool ok = false;
    db.queue()->inDatabase([&](SQLiteDatabase& connection) { ok = connection.executeStatements(sql); });
    return ok;
}

QStringList schemaOf(const QString& path) {
    auto db = SQLiteDatabase::open(path);
    if (!db) return {QStringLiteral("cannot open")};
    return column(*db, QStringLiteral(
        "SELECT t.name || ' column ' || c.name || ' ' || c.type || ' ' || c.\"notnull\" || ' ' || "
        "ifnull(c.dflt_value, '-') || ' ' || c.pk AS v FROM sqlite_master t, pragma_table_info(t.name) c "
        "WHERE t.type = 'table' "
        "UNION ALL SELECT t.name || ' foreign key ' || f.\"from\" || ' ' || f.\"table\" || ' ' || f.\"to\" || ' ' || "
        "f.on_delete FROM sqlite_master t, pragma_foreign_key_list(t.name) f WHERE t.type = 'table' "
        "UNION ALL SELECT t.name || ' index ' || i.name || ' ' || i.\"unique\" || ' (' || "
        "(SELECT group_concat(name, ', ') FROM pragma_index_info(i.name)) || ')' "
        "FROM sqlite_master t, pragma_index_list(t.name) i WHERE t.type = 'table' AND i.origin = 'c' ORDER BY 1"));
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

qint64 StorageTest::addFolder(const QString& root) {
    sonvale::Folder folder{std::nullopt, root, std::nullopt};
    EXPECT_TRUE(db.addFolder(folder)) << root.toStdString();
    return folder.pk.value_or(0);
}

sonvale::TrackRef StorageTest::addTrack(const QString& path, const QString& title, qint64 folder) {
    sonvale::TrackRef track = db.insertTrack(path);
    EXPECT_TRUE(track) << path.toStdString();
    if (!track) return std::make_shared<sonvale::Track>(path);
    track->title = title;
    track->folder = folder;
    db.updateTrack(*track);
    return track;
}

void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
