#pragma once

#include "Folder.h"
#include "SQLiteDatabase.h"
#include "Track.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

namespace sonvale {

// Reads what can still be read of a damaged library database, row by row: a row that cannot
// be read is skipped and reading goes on after it. The file is opened exactly as it is and
// never written (SQLiteDatabase::openUntouched). Any thread; not shared between threads.
class DamagedDatabase {
public:
    explicit DamagedDatabase(const QString& path);

    // The library folders, oldest first, as loadFolders gives them.
    QList<Folder> folders();
    // The saved playlist: each entry's position and track record (without lyrics and chapters),
    // in order. Entries whose row or record cannot be read are left out; `lost` counts them
    // where that is known.
    QList<std::pair<qint64, TrackRef>> playlist(qsizetype& lost);

private:
    using RowReader = std::function<void(SQLiteCursor& row)>;
    // Walks the rows of `sql`, which selects in ascending row id those with an id of at least
    // its one parameter and names the id column `id`. `read` gets every row that can be read;
    // a damaged stretch is stepped over.
    void readRows(const QString& sql, const RowReader& read);
    // The first row id at or after `from` from which rows can be read again; none when no
    // row can be found beyond the damage.
    std::optional<qint64> nextReadable(const QString& sql, qint64 from);
    // The result of reading the first row of `sql` from `from`.
    int probe(const QString& sql, qint64 from);

    std::optional<SQLiteDatabase> db_;
};

}  // namespace sonvale
