#include "LibraryListener.h"

namespace sonvale {

void LibraryListener::foldersAdded(const QList<FolderRef>&, qsizetype) {}
void LibraryListener::folderRemoved(const FolderRef&, qsizetype) {}
void LibraryListener::folderChanged(const FolderRef&) {}
void LibraryListener::folderScanQueued(const FolderRef&) {}
void LibraryListener::folderScanFinished(const FolderRef&) {}

}  // namespace sonvale
