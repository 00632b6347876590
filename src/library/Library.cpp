#include "Library.h"

#include "AudioFiles.h"
#include "TrackMetadata.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSet>
#include <QThread>

#include <algorithm>
#include <cstdio>

namespace sonvale {

namespace {

// The pass writes in batches, one transaction each, and the listeners hear of progress every
// so many files.
constexpr qsizetype kFlushEvery = 1000;
constexpr qsizetype kProgressEvery = 50;
// How many files ahead of the pass the kernel is asked to read.
constexpr qsizetype kReadAheadFiles = 64;

}  // namespace

Library::Library(const std::shared_ptr<DB>& db, Queues& queues) : Library(db, db, db, queues) {}

Library::Library(std::shared_ptr<FolderStorage> folders, std::shared_ptr<TrackStorage> tracks,
                 std::shared_ptr<IndexStorage> index, Queues& queues)
    : folderStorage_(std::move(folders)),
      trackStorage_(std::move(tracks)),
      indexStorage_(std::move(index)),
      queues_(queues),
      mainContext_(std::make_unique<QObject>()) {
    if (QCoreApplication* app = QCoreApplication::instance()) mainContext_->moveToThread(app->thread());
}

Library::~Library() {
    std::unique_lock lock(pendingMutex_);
    pendingDone_.wait(lock, [this] { return pending_ == 0; });
}

void Library::loadFolders() {
    folders_.clear();
    for (Folder& folder : folderStorage_->loadFolders()) folders_.append(std::make_shared<Folder>(std::move(folder)));
}

void Library::addFolders(const QList<FolderRef>& folders, qsizetype index) {
    index = std::clamp<qsizetype>(index, 0, folders_.size());
    for (qsizetype i = 0; i < folders.size(); ++i) folders_.insert(index + i, folders[i]);
    for (const FolderRef& folder : folders) folderStorage_->addFolder(*folder);
    for (const FolderRef& folder : folders) scanFolder(folder, supportedExtensions());
    notify([&](LibraryListener& listener) { listener.foldersAdded(folders, index); });
}

void Library::removeFolder(const FolderRef& folder) {
    const auto found = std::find_if(folders_.cbegin(), folders_.cend(),
                                    [&](const FolderRef& entry) { return entry->root == folder->root; });
    if (found == folders_.cend()) return;
    const qsizetype index = found - folders_.cbegin();
    folders_.removeAt(index);
    if (folder->pk) folderStorage_->removeFolder(*folder->pk);
    notify([&](LibraryListener& listener) { listener.folderRemoved(folder, index); });
}

void Library::scanFolder(const FolderRef& folder, const QStringList& extensions) {
    folder->state = Folder::State::scanning;
    folder->progress.reset();
    onMain([this, folder] { notify([&](LibraryListener& listener) { listener.folderChanged(folder); }); });
    // The queues work on a copy of what is stored; the shared folder changes on the main thread.
    queues_.scan.addOperation([this, folder, stored = *folder, extensions, pending = pendingWork()](const Operation&) {
        collectAndClean(folder, stored, extensions, pending);
    });
    notify([&](LibraryListener& listener) { listener.folderScanQueued(folder); });
}

qsizetype Library::addListener(LibraryListener* listener) {
    listeners_.append(listener);
    return listeners_.size() - 1;
}

void Library::removeListener(LibraryListener* listener) { listeners_.removeAll(listener); }

void Library::collectAndClean(const FolderRef& folder, Folder stored, const QStringList& extensions,
                              const std::shared_ptr<void>& pending) {
    const QList<FoundFile> files = collectAudioFiles(stored.root, extensions);

    stored.state = Folder::State::indexing;
    stored.lastCompletedScan.reset();
    onMain([folder] {
        folder->state = Folder::State::indexing;
        folder->lastCompletedScan.reset();
    });
    // Records are compared in normalization form C on both sides: the names on disk may be
    // decomposed. Composed once here for the cleanup and the pass.
    Composed composed;
    for (qsizetype i = 0; i < files.size(); ++i) {
        QString path = files[i].path.normalized(QString::NormalizationForm_C);
        if (path != files[i].path) composed.respelled.insert(i, std::move(path));
    }
    Known known;
    if (stored.pk) {
        folderStorage_->updateFolder(stored);
        // Each path at the position of its first file.
        QHash<QString, qsizetype> found;
        found.reserve(files.size());
        for (qsizetype i = 0; i < files.size(); ++i) {
            const QString& path = composed.at(files, i);
            if (found.contains(path)) {
                known.shared.insert(path);
            } else {
                found.insert(path, i);
            }
        }
        // The records not handed on lose their tokens here; the others keep them until the
        // pass reaches their file, so a search meanwhile finds the folder as it was.
        known.records = trackStorage_->removeMissingTracks(*stored.pk, found);
        if (!known.shared.isEmpty()) {
            known.records.files.resize(files.size());
            for (qsizetype i = 0; i < files.size(); ++i) {
                if (!known.shared.contains(composed.at(files, i))) continue;
                known.records.files[i] = known.records.files[found.value(composed.at(files, i))];
            }
        }
    }
    queues_.index.addOperation([this, files, composed, folder, stored, known, pending](const Operation&) {
        indexFolderFiles(files, composed, folder, stored, known);
    });
}

void Library::indexFolderFiles(const QList<FoundFile>& files, const Composed& composed, const FolderRef& folder,
                               Folder stored, const Known& known) {
    Pass pass;
    const qsizetype total = files.size();
    for (qsizetype i = 0; i < total; ++i) {
        if (i > pass.lookedUntil) lookUp(files, composed, i, known, pass);
        readAhead(files, composed, i, known, pass);
        indexFile(files[i], composed.at(files, i), recordOf(known, i), pass.looked.value(i), stored.pk.value_or(0),
                  known, pass);
        // An unchanged file adds nothing, so a rescan of an unchanged folder writes no batch.
        if (i % kFlushEvery == 0 && !pass.batch.isEmpty()) flush(pass.batch);
        if (i % kProgressEvery == 0) {
            const Folder::Progress progress{total, i};
            onMain([this, folder, progress] {
                folder->progress = progress;
                notify([&](LibraryListener& listener) { listener.folderChanged(folder); });
            });
        }
    }
    if (!pass.batch.isEmpty()) flush(pass.batch);
    std::fflush(stdout);

    const QDateTime finished = QDateTime::currentDateTimeUtc();
    stored.lastCompletedScan = finished;
    if (stored.pk) folderStorage_->updateFolder(stored);
    onMain([this, folder, finished] {
        folder->lastCompletedScan = finished;
        folder->state = Folder::State::ready;
        folder->progress.reset();
        notify([&](LibraryListener& listener) { listener.folderScanFinished(folder); });
    });
}

void Library::lookUp(const QList<FoundFile>& files, const Composed& composed, qsizetype from, const Known& known,
                     Pass& pass) {
    // Up to the next flush, whose new records a later look-up must see.
    const qsizetype until = std::min(from % kFlushEvery == 0 ? from : (from / kFlushEvery + 1) * kFlushEvery,
                                     files.size() - 1);
    QList<qsizetype> positions;
    QStringList paths;
    QList<qint64> ownPks;
    QStringList ownPaths;
    for (qsizetype i = from; i <= until; ++i) {
        const StoredFile* stored = recordOf(known, i);
        if (!stored) {
            positions.append(i);
            paths.append(files[i].path);
        } else if (!pass.own.contains(stored->pk) && !isCurrent(files[i], composed.at(files, i), *stored, known)) {
            ownPks.append(stored->pk);
            ownPaths.append(composed.at(files, i));
        }
    }
    const QList<TrackRef> found = paths.isEmpty() && ownPaths.isEmpty() ? QList<TrackRef>()
                                                                        : trackStorage_->tracks(paths + ownPaths);
    pass.looked.clear();
    for (qsizetype i = 0; i < positions.size(); ++i) pass.looked.insert(positions[i], found.value(i));
    // The first of several files spelling one record keeps its copy.
    for (qsizetype i = 0; i < ownPks.size(); ++i) {
        if (!pass.own.contains(ownPks[i])) pass.own.insert(ownPks[i], found.value(paths.size() + i));
    }
    pass.lookedUntil = until;
}

void Library::readAhead(const QList<FoundFile>& files, const Composed& composed, qsizetype position,
                        const Known& known, Pass& pass) {
    // A file read from a cold disk costs a wait as long as parsing dozens of cached ones; with
    // its reads started this far ahead, the pass rarely waits (a cold first scan of 10,000
    // files took 0.6 s instead of 1.1).
    const qsizetype until = std::min(position + kReadAheadFiles, files.size() - 1);
    for (qsizetype i = std::max(pass.readAheadUntil + 1, position); i <= until; ++i) {
        const StoredFile* stored = recordOf(known, i);
        if (!stored || !isCurrent(files[i], composed.at(files, i), *stored, known)) adviseReading(files[i]);
    }
    pass.readAheadUntil = std::max(pass.readAheadUntil, until);
}

const StoredFile* Library::recordOf(const Known& known, qsizetype position) {
    const QList<StoredFile>& files = known.records.files;
    return position < files.size() && files[position].pk != 0 ? &files[position] : nullptr;
}

void Library::indexFile(const FoundFile& file, const QString& composed, const StoredFile* stored,
                        const TrackRef& looked, qint64 folderPk, const Known& known, Pass& pass) {
    ScanBatch& batch = pass.batch;
    const QString& path = file.path;
    // The folder's own records were read in one go; others (new files, records of another
    // folder or of none) are looked up a run of files at a time, and new ones stored with the
    // batch.
    if (stored && isCurrent(file, composed, *stored, known)) return;
    TrackRef track = stored ? pass.own.value(stored->pk) : nullptr;
    const bool own = track != nullptr;
    if (!track) track = looked;
    const bool isNew = !track;
    if (isNew) {
        track = std::make_shared<Track>(path);
        batch.inserted.append(track);
    }
    // The database keeps the composed spelling; the file is opened by the name found on disk.
    track->path = path;

    // The walk has just read the file's size and modification time (it leaves out a file whose
    // status cannot be read), so the file is never unreachable here.
    const RefreshResult result = refreshMetadata(*track, file.values());
    const bool reassigned = track->folder == 0;
    if (reassigned) {
        // Flushed with the batch: one write for many lines.
        std::printf("Re-assigning track %s to its folder\n", qUtf8Printable(path));
        track->folder = folderPk;
    }
    if (reassigned || result == RefreshResult::updated) batch.updated.append(track);
    if (own) {
        indexOwnTrack(track, stored->indexed, known.shared.contains(composed), pass);
        return;
    }
    // A new record has no tokens yet; any other may have some (from the scan of the folder
    // that owns it, or of a folder nested in this one) and gets these on top, as before.
    batch.index.add(track);
    if (isNew) {
        batch.indexed.append({track, indexTextsDigest(*track)});
    } else {
        batch.unknown.append(track->pk);
    }
}

bool Library::isCurrent(const FoundFile& file, const QString& composed, const StoredFile& stored, const Known& known) {
    // What refreshMetadata and indexOwnTrack would find for the record, without building it.
    // The digest was taken with the stored path, so a file spelled otherwise on disk gets its
    // record.
    return stored.status == TrackStatus::scanned && stored.metaVersion >= currentMetaVersion &&
           file.size == stored.size && file.modified == stored.timestamp &&
           stored.indexed == stored.textsDigest && file.path == composed && !known.shared.contains(composed);
}

void Library::indexOwnTrack(const TrackRef& track, const std::optional<quint64>& indexed, bool shared, Pass& pass) {
    ScanBatch& batch = pass.batch;
    // Every token of the folder's records is as if deleted before the first file and written
    // again for each of its files. A record of one file keeps its rows when the digest of
    // the texts they were made from equals that of its texts now; the player may have changed
    // the texts of a record (refreshing it when its file changed) without touching its tokens,
    // and the tokens of a record may have been doubled by the scan of an outer folder, which
    // forgot its digest: neither is kept. Tokens depend on nothing but the texts.
    if (!shared) {
        const quint64 digest = indexTextsDigest(*track);
        if (indexed == digest) return;
        batch.cleared.append(track->pk);
        batch.index.add(track);
        batch.indexed.append({track, digest});
        return;
    }
    // Several files spell this record's path: deleted once, then given the tokens of each file.
    if (!pass.cleared.contains(track->pk)) {
        pass.cleared.insert(track->pk);
        batch.cleared.append(track->pk);
    }
    batch.index.add(track);
    batch.unknown.append(track->pk);
}

void Library::flush(ScanBatch& batch) {
    std::fflush(stdout);
    indexStorage_->saveScanBatch(batch);
    batch = ScanBatch();
}

void Library::onMain(std::function<void()> call) {
    QMetaObject::invokeMethod(mainContext_.get(), std::move(call), Qt::QueuedConnection);
}

void Library::notify(const std::function<void(LibraryListener&)>& call) {
    // A copy: a listener may register another one while it is being told, or remove one (which
    // is then not told).
    const QList<LibraryListener*> listeners = listeners_;
    for (LibraryListener* listener : listeners) {
        if (listeners_.contains(listener)) call(*listener);
    }
}

std::shared_ptr<void> Library::pendingWork() {
    {
        std::lock_guard lock(pendingMutex_);
        ++pending_;
    }
    return std::shared_ptr<void>(nullptr, [this](void*) {
        // Notified under the lock, so that the waiting destructor cannot finish first.
        std::lock_guard lock(pendingMutex_);
        --pending_;
        pendingDone_.notify_all();
    });
}

}  // namespace sonvale
