#pragma once

#include "LibraryListener.h"

#include <QWidget>

#include <memory>

class QPushButton;
class QTableView;

namespace sonvale {

class FolderStorage;
class Library;
class LibraryFoldersModel;
class OperationQueue;

// The preferences' library pane: the library folders with their state and last scan, and Add…,
// Remove and Rescan. Scans start only here. Remove asks first (the tracks leave the library, no
// file is touched); a rescan of a folder whose directory is missing, which would remove all its
// tracks, asks first too, naming the number of tracks (counted on `countQueue`, off the main
// thread). Rescan is offered only for a folder that is not being scanned. Main thread only; the
// library, the model, the storage and the queue must outlive the pane.
class LibraryPane : public QWidget {
    Q_OBJECT
public:
    LibraryPane(Library& library, LibraryFoldersModel& model, std::shared_ptr<FolderStorage> storage,
                OperationQueue& countQueue, QWidget* parent = nullptr);

    // Adds the folders (those not in the library yet) at the end of the list, which scans them,
    // and selects the last one. What the folder dialog of Add… calls.
    void addFolders(const QStringList& roots);
    // Asks whether to remove the selected folder (window-modal), and removes it on Remove.
    void removeSelected();
    // Rescans the selected folder; asks first when its directory is missing.
    void rescanSelected();

    QTableView* table() const { return table_; }
    QPushButton* addButton() const { return addButton_; }
    QPushButton* removeButton() const { return removeButton_; }
    QPushButton* rescanButton() const { return rescanButton_; }

private:
    FolderRef selectedFolder() const;
    void refreshButtons();
    void confirmMissingRescan(const FolderRef& folder, qint64 tracks);
    void rescan(const FolderRef& folder);

    Library& library_;
    LibraryFoldersModel& model_;
    const std::shared_ptr<FolderStorage> storage_;
    OperationQueue& countQueue_;
    QTableView* table_;
    QPushButton* addButton_;
    QPushButton* removeButton_;
    QPushButton* rescanButton_;
};

}  // namespace sonvale
