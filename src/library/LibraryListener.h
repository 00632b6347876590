#pragma once

#include "Folder.h"

#include <QList>

#include <memory>

namespace sonvale {

using FolderRef = std::shared_ptr<Folder>;

// Told about the library's folders. Every call arrives on the main thread (the thread of the
// QCoreApplication); each has an empty default, so a listener overrides what it needs.
class LibraryListener {
public:
    virtual ~LibraryListener() = default;

    // `folders` were inserted into the library's list at `index`.
    virtual void foldersAdded(const QList<FolderRef>& folders, qsizetype index);
    // `folder` was removed from position `index`.
    virtual void folderRemoved(const FolderRef& folder, qsizetype index);
    // The folder's state or progress changed.
    virtual void folderChanged(const FolderRef& folder);
    // A scan of the folder has just been queued (called from within Library::scanFolder).
    virtual void folderScanQueued(const FolderRef& folder);
    // The folder's scan and indexing are complete; its state is ready.
    virtual void folderScanFinished(const FolderRef& folder);
};

}  // namespace sonvale
