#pragma once

#include "AudioFiles.h"
#include "DB.h"
#include "FolderStorage.h"
#include "IndexStorage.h"
#include "TrackStorage.h"
#include "LibraryListener.h"
#include "Queues.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QStringList>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace sonvale {

// The user's library folders and their scans. A scan walks the folder on the `scan` queue,
// removes the records of files that are gone, then brings every file's record up to date and
// rebuilds the folder's search tokens on the `index` queue. Scans of several folders run one
// after another; a scan cannot be cancelled, and removing its folder does not stop it.
//
// Threads: make the library and call every member on the main thread (the QCoreApplication's),
// whose event loop must run for the listeners to hear anything. A Folder's fields are written
// only on the main thread: the queues hand their changes over together with the listener calls,
// so what a listener reads is settled. Listeners are not owned and must outlive the library or
// remove themselves first.
// The database and the queues must outlive it too; destroying the library waits for the scans
// it queued.
class Library {
public:
    // The library reaches storage only through these three roles, which it shares.
    Library(std::shared_ptr<FolderStorage> folders, std::shared_ptr<TrackStorage> tracks,
            std::shared_ptr<IndexStorage> index, Queues& queues);
    // The three roles of one database.
    Library(const std::shared_ptr<DB>& db, Queues& queues);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // In storage order after loadFolders; added folders where addFolders put them.
    const QList<FolderRef>& folders() const { return folders_; }

    // Replaces the folder list with the stored one (state none, no progress); starts no scan.
    void loadFolders();
    // Inserts `folders` at `index` (clamped to the list), stores each one (which gives it its
    // pk and claims the stored tracks under its root), queues a scan of each with the supported
    // extensions, then tells the listeners.
    void addFolders(const QList<FolderRef>& folders, qsizetype index);
    // Removes the first folder with the same root, and its stored row (its tracks stay without
    // a folder and leave the search index), then tells the listeners. Nothing happens when no
    // folder has that root.
    void removeFolder(const FolderRef& folder);
    // Queues a scan of `folder` taking files with `extensions`. Its state becomes scanning at
    // once (folderChanged follows through the event loop); folderScanQueued is called before
    // this returns. The caller does not queue a folder that is scanning or indexing.
    void scanFolder(const FolderRef& folder, const QStringList& extensions);
    // Appends `listener`; returns its position in the list.
    qsizetype addListener(LibraryListener* listener);
    // Takes `listener` out of the list (the positions after it move up one); a listener that
    // goes before the library calls this first.
    void removeListener(LibraryListener* listener);

private:
    // What the pass knows before its first file: the folder's records as the scan compares them,
    // read by the cleanup, and the composed paths that more than one file of the walk
    // spells (a name stored twice on disk, composed and decomposed).
    struct Known {
        FolderRecords records;
        QSet<QString> shared;
    };
    // The walk's paths in normalization form C, by position: a file's own path, or the composed
    // spelling where the walk found it spelled otherwise (only those are held).
    struct Composed {
        QHash<qsizetype, QString> respelled;
        const QString& at(const QList<FoundFile>& files, qsizetype position) const {
            const auto found = respelled.constFind(position);
            return found == respelled.constEnd() ? files[position].path : found.value();
        }
    };
    // The pass's own state.
    struct Pass {
        ScanBatch batch;
        // The folder's records whose tokens this pass has deleted, for the shared paths.
        QSet<qint64> cleared;
        // The stored records of the files up to `lookedUntil` that are not the folder's own, by
        // position (nullptr when there is none).
        QHash<qsizetype, TrackRef> looked;
        // The whole records of the folder's own files that needed one, by pk (nullptr when it
        // could not be read), read with the look-ups and kept for the rest of the pass: files
        // that spell one path share one record.
        QHash<qint64, TrackRef> own;
        qsizetype lookedUntil = -1;
        // The files up to here have been handed to the kernel to read ahead.
        qsizetype readAheadUntil = -1;
    };

    // Scan queue: the walk and the removal of records whose files are gone.
    void collectAndClean(const FolderRef& folder, Folder stored, const QStringList& extensions,
                         const std::shared_ptr<void>& pending);
    // Index queue: every file's record and tokens, then the folder's completion. `composed`
    // gives the files' paths in normalization form C.
    void indexFolderFiles(const QList<FoundFile>& files, const Composed& composed, const FolderRef& folder,
                          Folder stored, const Known& known);
    // Asks the kernel to start reading the files the pass will read soon after `position`.
    static void readAhead(const QList<FoundFile>& files, const Composed& composed, qsizetype position,
                          const Known& known, Pass& pass);
    // One file of the pass, its writes added to the pass's batch.
    // `stored` is the folder's own record of the file, if any.
    void indexFile(const FoundFile& file, const QString& composed, const StoredFile* stored, const TrackRef& looked,
                   qint64 folderPk, const Known& known, Pass& pass);
    // The folder's own record of the file at `position` of the walk; nullptr when there is none.
    static const StoredFile* recordOf(const Known& known, qsizetype position);
    // Looks up, in one go, the records of the files from position `from` to the next flush
    // that are not the folder's own, and the whole records of the folder's own files among
    // them that are not current (isCurrent).
    void lookUp(const QList<FoundFile>& files, const Composed& composed, qsizetype from, const Known& known,
                Pass& pass);
    // Whether the folder's own record `stored` of `file` is current and its tokens are those of
    // its texts, so that the file needs nothing at all.
    static bool isCurrent(const FoundFile& file, const QString& composed, const StoredFile& stored, const Known& known);
    // The tokens of `track`, a record of the folder being scanned whose tokens were made from
    // texts with the digest `indexed` when that is known: kept when they are those of its texts,
    // else replaced; `shared` when several files spell its path.
    void indexOwnTrack(const TrackRef& track, const std::optional<quint64>& indexed, bool shared, Pass& pass);
    // Writes the batch and starts the next one.
    void flush(ScanBatch& batch);

    // Runs `call` on the main thread through its event loop, after everything posted before.
    void onMain(std::function<void()> call);
    // Calls `call` with every listener, in registration order; main thread only.
    void notify(const std::function<void(LibraryListener&)>& call);
    // Held by queued work; the destructor waits until none is left.
    std::shared_ptr<void> pendingWork();

    const std::shared_ptr<FolderStorage> folderStorage_;
    const std::shared_ptr<TrackStorage> trackStorage_;
    const std::shared_ptr<IndexStorage> indexStorage_;
    Queues& queues_;
    QList<FolderRef> folders_;
    QList<LibraryListener*> listeners_;
    // Lives on the main thread; receives the calls posted by the queues.
    std::unique_ptr<QObject> mainContext_;

    std::mutex pendingMutex_;
    std::condition_variable pendingDone_;
    int pending_ = 0;
};

}  // namespace sonvale
