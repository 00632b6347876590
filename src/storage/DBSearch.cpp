#include "DB.h"

#include "Tokenizer.h"
#include "TrackRow.h"

namespace sonvale {

namespace {

constexpr int kSearchLimit = 5000;

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

QStringList DB::search(const QString& query) {
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

}  // namespace sonvale
