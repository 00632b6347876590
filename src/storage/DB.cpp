#include "DB.h"

#include "Migrations.h"
#include "StorageLog.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace sonvale {

static_assert(DB::kSchemaVersion == Migrations::kCurrentVersion);

QString DB::defaultDataDirectory() {
    const QString dir = QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
                            .filePath(QStringLiteral("Sonvale"));
    // A failure shows up when the database file cannot be opened.
    QDir().mkpath(dir);
    return dir;
}

DB::DB() : DB(defaultDataDirectory()) {}

DB::DB(const QString& dataDirectory) : DB(dataDirectory, kSchemaVersion) {}

DB::DB(const QString& dataDirectory, int targetVersion)
    : dataDirectory_(dataDirectory), path_(QDir(dataDirectory).filePath(fileName())) {
    QDir().mkpath(dataDirectory_);
    queue_ = SQLiteQueue::open(path_);
    const std::optional<QString> damage = queue_ ? findDamage() : std::nullopt;
    const bool replaced = damage && setAside(*damage);
    if (queue_) setUp();
    migrate(targetVersion);
    if (queue_) setUpDigests();
    if (replaced) carryOver();
}

void DB::setUp() {
    queue_->inDatabase([](SQLiteDatabase& db) {
        db.setShouldCacheStatements(true);
        db.executeStatements(QStringLiteral("PRAGMA foreign_keys = ON;"));
        // Durability on power loss is traded for speed on purpose: the library can be
        // scanned again, and the playlist is saved often.
        db.executeStatements(QStringLiteral("PRAGMA synchronous = %1;").arg(qint32(0)));
        // Temporary files in memory, among them the journal of a statement that writes many
        // rows (the token index's inserts), which would otherwise spill to a file on disk.
        db.executeStatements(QStringLiteral("PRAGMA temp_store = MEMORY;"));
    });
}

void DB::setUpDigests() {
    // Why a table: a rescan keeps a track's tokens only when they are provably what indexing
    // its texts would write again. Comparing against the stored rows would mean reading about
    // seventeen occurrence rows and tokenizing the texts of every file, which costs more than
    // writing them. A digest kept in memory would be lost with the process, and a rescan is
    // often the first scan of a run (the command line scans in a process of its own). So the
    // digest of the indexed texts lives beside the tokens, written in the same transactions,
    // in a table of its own outside the numbered schema: the tables the rest of the program
    // reads keep exactly their rows. It goes with its track (cascade); every write of tokens
    // that does not come from a scan batch forgets it. A file that cannot take the table
    // (read-only, or from a newer build) is scanned with every token written again.
    queue_->inDatabase([this](SQLiteDatabase& db) {
        if (db.userVersion() != kSchemaVersion) return;
        digests_ = db.executeStatements(QStringLiteral(
            "CREATE TABLE IF NOT EXISTS indexed_texts (track_id integer PRIMARY KEY NOT NULL "
            "REFERENCES tracks (id) ON DELETE CASCADE, digest integer NOT NULL);"));
    });
}

void DB::migrate(int targetVersion) {
    if (!queue_) return;
    quint32 current = 0;
    queue_->inDatabase([&](SQLiteDatabase& db) { current = quint32(db.userVersion()); });
    qCInfo(lcDb, "DB schema: %ld / %ld", long(current), long(targetVersion));
    // A file from a newer version is used as it is.
    if (current >= quint32(targetVersion)) return;
    if (current != 0) backUp();

    bool began = false;
    bool stepFailed = false;
    const bool committed = queue_->inTransaction([&](SQLiteDatabase& db, bool& rollback) {
        began = true;
        const auto execute = [&db](const QString& sql) {
            auto cursor = db.executeQuery(sql);
            return cursor && cursor->step() == SQLiteCode::done;
        };
        for (int version = int(current) + 1; version <= targetVersion; ++version) {
            if (!Migrations::runStep(version, execute, dataDirectory_)) {
                rollback = true;
                stepFailed = true;
                qCCritical(lcDb, "DB error: %s", qUtf8Printable(db.lastErrorMessage()));
                qCCritical(lcDb, "DB migration to %ld failed, rolling back", long(version));
                return;
            }
            if (auto cursor = db.executeQuery(QStringLiteral("pragma user_version = %1").arg(version))) cursor->step();
            qCInfo(lcDb, "DB migrated to %ld", long(version));
        }
    });
    // Nothing was changed: the file keeps its version and is used as it is.
    if (!began) qCCritical(lcDb, "DB migration could not start a transaction");
    else if (!committed && !stepFailed) qCCritical(lcDb, "DB migration was not committed");
}

void DB::backUp() {
    qint64 version = 0;
    queue_->inDatabase([&](SQLiteDatabase& db) { version = db.userVersion(); });
    const QString backup = path_ + QStringLiteral(".bak.") + QString::number(version);
    // Copying never replaces a file, so after a failed climb the first backup of this version
    // is kept; a failure here does not stop the climb.
    QFile::copy(path_, backup);
    qCInfo(lcDb, "DB backup created at %s", qUtf8Printable(backup));
}

}  // namespace sonvale
