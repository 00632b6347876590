#pragma once

#include "DatabaseRecovery.h"
#include "FolderStorage.h"
#include "IndexStorage.h"
#include "PlaylistStorage.h"
#include "SQLiteQueue.h"
#include "SearchEngine.h"
#include "SearchIndex.h"
#include "TrackStorage.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <memory>
#include <vector>

namespace sonvale {

// The application's library database: the file "Sonvale DB.sqlite" in the data directory,
// opened, checked, set up (statement cache, foreign keys on, synchronous writes off) and brought
// to the current schema when constructed. Construction never fails: when the file cannot be
// opened the database has no queue and every operation does nothing and returns its empty
// result; when the schema cannot be upgraded the file keeps its version (everything rolled
// back) and the database is used as it is. A file found damaged when it is opened is moved
// aside under a dated name and replaced by a new one holding what could be read of it (see
// recovery()); a file of a newer schema is never taken for damaged. All work runs on the
// queue; the object may be used from any thread. Log lines go to "sonvale.db".
class DB : public TrackStorage,
           public FolderStorage,
           public PlaylistStorage,
           public IndexStorage,
           public SearchEngine {
public:
    static constexpr int kSchemaVersion = 36;

    // $XDG_DATA_HOME/Sonvale (~/.local/share/Sonvale by default), made with its parents when
    // missing.
    static QString defaultDataDirectory();
    static QString fileName() { return QStringLiteral("Sonvale DB.sqlite"); }

    // The database in the default data directory.
    DB();
    // The database in `dataDirectory`, which is made with its parents when missing.
    explicit DB(const QString& dataDirectory);
    // Climbs only up to `targetVersion` (at most kSchemaVersion): for tests that need a file
    // at an older version.
    DB(const QString& dataDirectory, int targetVersion);

    // Marks the file for a check of every page at the next opening when damage was met.
    ~DB() override;
    DB(const DB&) = delete;
    DB& operator=(const DB&) = delete;

    const QString& dataDirectory() const { return dataDirectory_; }
    const QString& path() const { return path_; }
    // False when the file could not be opened: every operation then does nothing.
    bool isOpen() const { return queue_ != nullptr; }
    // What became of the file when it was found damaged on opening; none when it was sound.
    const std::optional<DatabaseRecovery>& recovery() const { return recovery_; }
    // True once SQLite found the file damaged in this process (its first such error is logged
    // clearly, the others not at all); the next opening then checks the whole file and recovers
    // it. Operations go on meanwhile and give what they can read.
    bool isDamaged() const;

    TrackRef track(const QString& path) override;
    QList<TrackRef> tracks(const QStringList& paths) override;
    TrackRef insertTrack(const QString& path) override;
    QList<TrackRef> findOrInsertTracks(const QStringList& paths) override;
    void updateTrack(const Track& track) override;
    FolderRecords removeMissingTracks(qint64 folderPk, const QHash<QString, qsizetype>& found) override;

    QList<Folder> loadFolders() override;
    bool addFolder(Folder& folder) override;
    void updateFolder(const Folder& folder) override;
    void removeFolder(qint64 pk) override;
    qint64 trackCount(qint64 pk) override;

    bool savePlaylist(const QList<TrackRef>& tracks) override;
    QList<TrackRef> loadPlaylist() override;

    std::optional<qint64> tokenId(const QString& text) override;
    void saveIndex(const Index& index) override;
    void clearIndex(qint64 folderPk) override;
    bool saveScanBatch(ScanBatch& batch) override;

    // Answered from a copy of the index in memory, made on the first search (reading the
    // track, token and occurrence tables whole) and kept up to date by this object's writes;
    // it is made again when another connection changed the file. The results are those of
    // searchByStatement.
    QStringList search(const QString& query) override;
    // Loads the copy in memory now, when it is not loaded yet.
    void prepareSearch() override;
    // The same search through the SQL statement, without the copy in memory: for a process that
    // searches once, and as the reference that search is held to.
    QStringList searchByStatement(const QString& query);
    // The search statement for `wordCount` words, one `?` per word.
    static QString searchStatement(qsizetype wordCount);

private:
    // Tests and benchmarks reach the connection behind the storage roles through this.
    friend class DBTestAccess;

    // nullptr when the file could not be opened.
    SQLiteQueue* queue() const { return queue_.get(); }

    void setUp();
    // Opening, DBRecovery.cpp: why the file is damaged, or none.
    std::optional<QString> findDamage();
    // Moves the file (and its journal) aside and starts recovery_; false, with the file used
    // as it is, when it cannot be moved.
    bool setAside(const QString& problem);
    // Writes what can be read of the moved file into the new one.
    void carryOver();
    QString damageMarkerPath() const;
    void migrate(int targetVersion);
    // Makes the table of the digests of indexed texts in a file at the current schema.
    void setUpDigests();
    void backUp();

    // Run inside a queue block.
    // False, logged, when the row could not be inserted.
    bool insertTrackRow(SQLiteDatabase& db, const QString& path);
    void writeTrack(SQLiteDatabase& db, const Track& track);
    // removeMissingTracks' read of the folder's rows, inside its transaction: the records of
    // paths in `present` (composed) into `staying` at their positions, the pks of the others
    // into `missing`, and those of records that cannot be handed on (no path, unknown status)
    // into `withoutTokens`. False when the query could not run.
    bool readFolderFiles(SQLiteDatabase& db, qint64 folderPk, const QHash<QString, qsizetype>& present,
                         FolderRecords& staying, QList<qint64>& missing, QList<qint64>& withoutTokens);
    // The pks of the tracks of which some row could not be written.
    QSet<qint64> writeIndex(SQLiteDatabase& db, const Index& index);
    struct Occurrence {
        qint64 token;
        qint64 track;
    };
    static constexpr qsizetype kOccurrencesPerInsert = 64;
    // Writes `rows`, adding to `failed` the tracks of those that could not be written.
    void insertOccurrences(SQLiteDatabase& db, const std::vector<Occurrence>& rows, QSet<qint64>& failed);
    // Deletes what is known of the tokens of `trackId` (see IndexStorage).
    void forgetDigest(SQLiteDatabase& db, qint64 trackId);
    void forgetFolderDigests(SQLiteDatabase& db, qint64 folderPk);
    static void rewriteLyrics(SQLiteDatabase& db, const Track& track);
    static void rewriteChapters(SQLiteDatabase& db, const Track& track);
    std::optional<qint64> tokenId(SQLiteDatabase& db, const QString& text);
    // Loads the search index when it is not loaded or another connection changed the file.
    void syncSearchIndex(SQLiteDatabase& db);
    void loadSearchIndex(SQLiteDatabase& db);
    // Drops the search index and the token cache after a write that did not commit.
    void forgetCopies();
    static QList<qint64> trackIdsOfFolder(SQLiteDatabase& db, qint64 folderPk);

    const QString dataDirectory_;
    const QString path_;
    std::unique_ptr<SQLiteQueue> queue_;
    std::optional<DatabaseRecovery> recovery_;
    // Token text -> id; touched only inside queue blocks, which are its lock.
    QHash<QString, qint64> tokenCache_;
    // The search's copy of the tables, loaded on the first search; while it is not loaded the
    // writes leave it alone. Touched only inside queue blocks.
    SearchIndex searchIndex_;
    // True when the file has the table of the digests of indexed texts; without it every
    // rescan writes every track's tokens again.
    bool digests_ = false;
    bool searchIndexLoaded_ = false;
    // The connection's data_version when the copy was loaded: it moves when another
    // connection commits.
    qint64 dataVersion_ = 0;
};

}  // namespace sonvale
