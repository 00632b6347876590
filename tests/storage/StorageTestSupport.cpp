#include "StorageTestSupport.h"

#include <QDir>

#include <mutex>

using sonvale::SQLiteDatabase;
using sonvale::SQLValue;

namespace {

std::mutex captureMutex;
QList<std::pair<QtMsgType, QString>> captured;

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
    sonvale::DBTestAccess::queue(db)->inDatabase(
        [&](SQLiteDatabase& connection) { result = column(connection, sql, values); });
    return result;
}

bool exec(sonvale::DB& db, const QString& sql) {
    bool ok = false;
    sonvale::DBTestAccess::queue(db)->inDatabase(
        [&](SQLiteDatabase& connection) { ok = connection.executeStatements(sql); });
    return ok;
}

QString dbPathIn(const QString& dir) { return QDir(dir).filePath(sonvale::DB::fileName()); }

QStringList query(const QString& path, const QString& sql) {
    auto db = SQLiteDatabase::open(path);
    return db ? column(*db, sql) : QStringList{QStringLiteral("cannot open")};
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
