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
    const QStringList paths = collectAudioFiles(stored.root, extensions);

    stored.state = Folder::State::indexing;
    stored.lastCompletedScan.reset();
    onMain([folder] {
        folder->state = Folder::State::indexing;
        folder->lastCompletedScan.reset();
    });
    QHash<QString, TrackRef> known;
    if (stored.pk) {
        // Every token of the folder is written again by the pass, unchanged files included.
        indexStorage_->clearIndex(*stored.pk);
        folderStorage_->updateFolder(stored);
        // Compared in normalization form C on both sides: the names on disk may be decomposed.
        known = trackStorage_->removeMissingTracks(*stored.pk, QSet<QString>(paths.cbegin(), paths.cend()));
    }
    queues_.index.addOperation([this, paths, folder, stored, known, pending](const Operation&) {
        indexFolderFiles(paths, folder, stored, known);
    });
}

void Library::indexFolderFiles(const QStringList& paths, const FolderRef& folder, Folder stored,
                               const QHash<QString, TrackRef>& known) {
    ScanBatch batch;
    const qsizetype total = paths.size();
    for (qsizetype i = 0; i < total; ++i) {
        if (!indexFile(paths[i], stored.pk.value_or(0), known, batch)) continue;
        if (i % kFlushEvery == 0 && !batch.index.occurences.isEmpty()) {
            indexStorage_->saveScanBatch(batch);
            batch = ScanBatch();
        }
        if (i % kProgressEvery == 0) {
            const Folder::Progress progress{total, i};
            onMain([this, folder, progress] {
                folder->progress = progress;
                notify([&](LibraryListener& listener) { listener.folderChanged(folder); });
            });
        }
    }
    if (!batch.isEmpty()) indexStorage_->saveScanBatch(batch);

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

bool Library::indexFile(const QString& path, qint64 folderPk, const QHash<QString, TrackRef>& known,
                        ScanBatch& batch) {
    // The folder's own records were read in one go; others (new files, records of another
    // folder or of none) are looked up one by one, and new ones stored with the batch.
    TrackRef track = known.value(path.normalized(QString::NormalizationForm_C));
    if (!track) track = trackStorage_->track(path);
    const bool isNew = !track;
    if (isNew) {
        track = std::make_shared<Track>(path);
        batch.inserted.append(track);
    }
    // The database keeps the composed spelling; the file is opened by the name found on disk.
    track->path = path;

    const RefreshResult result = refreshMetadata(*track, true);
    const bool reassigned = track->folder == 0;
    if (reassigned) {
        std::printf("Re-assigning track %s to its folder\n", qUtf8Printable(path));
        std::fflush(stdout);
        track->folder = folderPk;
    }
    if (reassigned || result == RefreshResult::updated) {
        batch.updated.append(track);
    } else if (result == RefreshResult::unreadable) {
        return false;
    }
    batch.index.add(track);
    return true;
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
