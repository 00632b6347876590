#pragma once

#include "LibraryListener.h"

#include <QAbstractTableModel>

namespace sonvale {

class Library;

// The library's folders as a table for the preferences: the folder's path, its scan state
// (with the progress while files are processed) and its last completed scan. It listens to the
// library, so the rows follow folders added, removed and scanned. Main thread only. It
// registers itself with `library` on construction and, as the library's listeners must, outlives
// it (the library has no way to unregister a listener).
class LibraryFoldersModel : public QAbstractTableModel, public LibraryListener {
    Q_OBJECT
public:
    enum Column { Path = 0, State = 1, LastScan = 2, ColumnCount = 3 };
    enum Role {
        // On the State column: the progress as a QPoint(completed, total) while files are
        // processed, otherwise invalid.
        ProgressRole = Qt::UserRole + 1,
    };

    explicit LibraryFoldersModel(Library& library, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // The folder of `row`; null outside the table.
    FolderRef folderAt(int row) const;
    // The row of the folder with `root`, or -1.
    int rowOf(const QString& root) const;

    // "Scanning", "Indexing 120 of 400", "Ready", "Idle" (not scanned in this run), "Not scanned".
    static QString stateText(const Folder& folder);
    // The last completed scan in local time, or "Never".
    static QString lastScanText(const Folder& folder);

    void foldersAdded(const QList<FolderRef>& folders, qsizetype index) override;
    void folderRemoved(const FolderRef& folder, qsizetype index) override;
    void folderChanged(const FolderRef& folder) override;
    void folderScanFinished(const FolderRef& folder) override;

    // The library's list changed wholesale (its folders were loaded): shows it again.
    void reload();

private:
    void refreshRow(const FolderRef& folder);

    Library& library_;
    // A copy of the library's list, changed only by the listener calls, so the rows always
    // match what the views were told.
    QList<FolderRef> folders_;
};

}  // namespace sonvale
