#pragma once

#include "Folder.h"

#include <QList>

namespace sonvale {

// The library's root folders. Calls block the calling thread while the database runs them;
// any thread may call. Failures are logged and give the empty result.
class FolderStorage {
public:
    virtual ~FolderStorage() = default;

    // Every stored folder, oldest first.
    virtual QList<Folder> loadFolders() = 0;
    // Stores `folder`, sets its pk to the new row id and gives it the stored tracks whose path
    // begins with its root. That claim is an SQL LIKE prefix: ASCII letters match without
    // regard to case, "%" and "_" in the root are wildcards, and the root claims its
    // neighbours sharing the prefix (/Music/A claims /Music/AB/x.mp3). False when the insert
    // failed; the pk is then the connection's last inserted row id all the same.
    virtual bool addFolder(Folder& folder) = 0;
    virtual void updateFolder(const Folder& folder) = 0;
    // Deletes folder `pk`. Its tracks stay, without a folder, and leave the search index.
    virtual void removeFolder(qint64 pk) = 0;
    // How many track records folder `pk` holds; 0 when it cannot be read.
    virtual qint64 trackCount(qint64 pk) = 0;
};

}  // namespace sonvale
