#include "DB.h"

#include "StorageLog.h"
#include "Tokenizer.h"
#include "TrackRow.h"

namespace sonvale {

namespace {

constexpr int kSearchLimit = 5000;

qint64 dataVersion(SQLiteDatabase& db) {
    auto cursor = db.executeQuery(QStringLiteral("PRAGMA data_version"));
    return cursor && cursor->next() ? cursor->int64ForIndex(0) : -1;
}

}  // namespace

QString DB::searchStatement(qsizetype wordCount) {
    // Only a lone word caps the tokens it matches; with more words each word's tokens are all
    // taken, and the intersection bounds the result.
    QString subquery = QStringLiteral(
        "SELECT track_id FROM occurences WHERE token_id IN (SELECT DISTINCT id FROM tokens WHERE token LIKE ? || '%' ");
    if (wordCount == 1) subquery += QStringLiteral("LIMIT ") + QString::number(kSearchLimit);
    subquery += QLatin1Char(')');

    QStringList subqueries;
    for (qsizetype i = 0; i < wordCount; ++i) subqueries.append(subquery);
    // No words leave "IN ()", which SQLite takes as an empty list.
    return QStringLiteral("SELECT path FROM tracks WHERE folder IS NOT NULL AND id IN (") +
           subqueries.join(QStringLiteral(" INTERSECT ")) + QStringLiteral(") ORDER BY path ASC LIMIT ") +
           QString::number(kSearchLimit);
}

QStringList DB::searchByStatement(const QString& query) {
    QStringList paths;
    if (!queue_) return paths;
    std::vector<SQLValue> words;
    for (const QString& word : tokens(query)) words.push_back(SQLValue::text(TrackRow::nfc(word)));
    // One statement text per word count, so the statement cache keeps one of each.
    const QString sql = searchStatement(qsizetype(words.size()));
    queue_->inDatabase([&](SQLiteDatabase& db) {
        auto cursor = db.executeQuery(sql, words);
        while (cursor && cursor->next()) {
            if (std::optional<QString> path = cursor->stringForColumn(QStringLiteral("path"))) paths.append(*path);
        }
    });
    return paths;
}

QStringList DB::search(const QString& query) {
    QStringList paths;
    if (!queue_) return paths;
    std::vector<std::string> words;
    for (const QString& word : tokens(query)) words.push_back(TrackRow::nfc(word).toStdString());
    // The statement finds nothing without words.
    if (words.empty()) return paths;
    queue_->inDatabase([&](SQLiteDatabase& db) {
        syncSearchIndex(db);
        if (searchIndexLoaded_) paths = searchIndex_.search(words, kSearchLimit);
    });
    return paths;
}

void DB::prepareSearch() {
    if (queue_) queue_->inDatabase([this](SQLiteDatabase& db) { syncSearchIndex(db); });
}

void DB::syncSearchIndex(SQLiteDatabase& db) {
    const qint64 version = dataVersion(db);
    if (searchIndexLoaded_ && version == dataVersion_) return;
    // Another process (a scan from the command line) changed the file: the token ids cached
    // for writing may be stale too.
    if (searchIndexLoaded_) tokenCache_.clear();
    dataVersion_ = version;
    loadSearchIndex(db);
}

void DB::loadSearchIndex(SQLiteDatabase& db) {
    searchIndex_.clear();
    searchIndexLoaded_ = false;
    const auto readAll = [&db](const QString& sql, const auto& row) {
        auto cursor = db.executeQuery(sql);
        if (!cursor) return false;
        int code = SQLiteCode::row;
        while ((code = cursor->step()) == SQLiteCode::row) row(*cursor);
        return code == SQLiteCode::done;
    };
    // One read transaction, so that the three tables are seen at one moment.
    if (!db.executeStatements(QStringLiteral("BEGIN"))) return;
    // In path order, so that the index needs no sorting of its own.
    const bool read =
        readAll(QStringLiteral("SELECT id, path, folder IS NOT NULL FROM tracks ORDER BY path"),
                [this](SQLiteCursor& row) {
                    const std::string_view path = row.utf8ForIndex(1);
                    searchIndex_.setTrack(row.int64ForIndex(0), QString::fromUtf8(path.data(), qsizetype(path.size())),
                                          row.int64ForIndex(2) != 0);
                }) &&
        readAll(QStringLiteral("SELECT id, token FROM tokens"),
                [this](SQLiteCursor& row) { searchIndex_.addToken(row.int64ForIndex(0), row.utf8ForIndex(1)); }) &&
        readAll(QStringLiteral("SELECT token_id, track_id FROM occurences"), [this](SQLiteCursor& row) {
            searchIndex_.addOccurrence(row.int64ForIndex(0), row.int64ForIndex(1));
        });
    db.executeStatements(QStringLiteral("COMMIT"));
    // A copy that could miss rows is not kept: this search finds nothing, as the statement
    // stops at the same read error, and the next one tries again.
    if (!read) {
        searchIndex_.clear();
        qCWarning(lcDb, "Search index could not be read");
        return;
    }
    searchIndexLoaded_ = true;
}

void DB::forgetCopies() {
    searchIndex_.clear();
    searchIndexLoaded_ = false;
    tokenCache_.clear();
}

}  // namespace sonvale
