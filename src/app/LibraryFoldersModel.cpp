#include "LibraryFoldersModel.h"

#include "Library.h"

#include <QDir>
#include <QLocale>
#include <QPoint>

#include <algorithm>

namespace sonvale {

LibraryFoldersModel::LibraryFoldersModel(Library& library, QObject* parent)
    : QAbstractTableModel(parent), library_(library), folders_(library.folders()) {
    library_.addListener(this);
}

int LibraryFoldersModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(folders_.size());
}

int LibraryFoldersModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : ColumnCount; }

QVariant LibraryFoldersModel::data(const QModelIndex& index, int role) const {
    const FolderRef folder = index.isValid() ? folderAt(index.row()) : nullptr;
    if (!folder) return {};
    if (role == Qt::DisplayRole) {
        switch (index.column()) {
        case Path: return QDir::toNativeSeparators(folder->root);
        case State: return stateText(*folder);
        case LastScan: return lastScanText(*folder);
        default: return {};
        }
    }
    if (role == Qt::ToolTipRole && index.column() == Path) return QDir::toNativeSeparators(folder->root);
    if (role == ProgressRole && index.column() == State && folder->progress) {
        return QPoint(int(folder->progress->completed), int(folder->progress->total));
    }
    return {};
}

QVariant LibraryFoldersModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
    case Path: return tr("Folder");
    case State: return tr("State");
    case LastScan: return tr("Last Scan");
    default: return {};
    }
}

FolderRef LibraryFoldersModel::folderAt(int row) const {
    return row >= 0 && row < folders_.size() ? folders_[row] : nullptr;
}

int LibraryFoldersModel::rowOf(const QString& root) const {
    for (int row = 0; row < folders_.size(); ++row) {
        if (folders_[row]->root == root) return row;
    }
    return -1;
}

QString LibraryFoldersModel::stateText(const Folder& folder) {
    switch (folder.state) {
    // Not scanned since the program started: idle, or never scanned at all.
    case Folder::State::none: return folder.lastCompletedScan ? tr("Idle") : tr("Not scanned");
    case Folder::State::scanning: return tr("Scanning");
    case Folder::State::indexing:
        return folder.progress ? tr("Indexing %1 of %2").arg(folder.progress->completed).arg(folder.progress->total)
                               : tr("Indexing");
    case Folder::State::ready: return tr("Ready");
    }
    return {};
}

QString LibraryFoldersModel::lastScanText(const Folder& folder) {
    if (!folder.lastCompletedScan) return tr("Never");
    return QLocale().toString(folder.lastCompletedScan->toLocalTime(), QLocale::ShortFormat);
}

void LibraryFoldersModel::foldersAdded(const QList<FolderRef>& folders, qsizetype index) {
    if (folders.isEmpty()) return;
    const int first = int(std::clamp<qsizetype>(index, 0, folders_.size()));
    beginInsertRows({}, first, first + int(folders.size()) - 1);
    for (qsizetype i = 0; i < folders.size(); ++i) folders_.insert(first + i, folders[i]);
    endInsertRows();
}

void LibraryFoldersModel::folderRemoved(const FolderRef& folder, qsizetype index) {
    // The library's position, checked against the copy; a folder only in one of them is looked
    // up by its root.
    int row = int(index);
    if (row < 0 || row >= folders_.size() || folders_[row]->root != folder->root) row = rowOf(folder->root);
    if (row < 0) return;
    beginRemoveRows({}, row, row);
    folders_.removeAt(row);
    endRemoveRows();
}

void LibraryFoldersModel::folderChanged(const FolderRef& folder) { refreshRow(folder); }

void LibraryFoldersModel::folderScanFinished(const FolderRef& folder) { refreshRow(folder); }

void LibraryFoldersModel::reload() {
    beginResetModel();
    folders_ = library_.folders();
    endResetModel();
}

void LibraryFoldersModel::refreshRow(const FolderRef& folder) {
    const int row = int(folders_.indexOf(folder));
    if (row < 0) return;
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

}  // namespace sonvale
