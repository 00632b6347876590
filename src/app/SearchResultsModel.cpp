#include "SearchResultsModel.h"

#include <QMimeData>
#include <QUrl>

#include <algorithm>

namespace sonvale {

namespace {

// The folder part of a path, its last "/" included.
QStringView folderOf(const QString& path) { return QStringView(path).left(path.lastIndexOf(QLatin1Char('/')) + 1); }

}  // namespace

SearchResultsModel::SearchResultsModel(QObject* parent) : QAbstractListModel(parent) {}

QString SearchResultsModel::commonPrefix(const QStringList& roots) {
    if (roots.isEmpty()) return {};
    QString prefix = roots.front();
    for (const QString& root : roots) {
        const qsizetype length = std::min(prefix.size(), root.size());
        qsizetype same = 0;
        while (same < length && prefix[same] == root[same]) ++same;
        prefix.truncate(same);
    }
    return prefix.left(prefix.lastIndexOf(QLatin1Char('/')) + 1);
}

void SearchResultsModel::setResults(const QStringList& paths, const QString& commonPrefix) {
    beginResetModel();
    paths_ = paths;
    prefix_ = commonPrefix;
    endResetModel();
}

QStringList SearchResultsModel::pathsAt(const QList<int>& rows) const {
    QStringList paths;
    paths.reserve(rows.size());
    for (const int row : rows) {
        if (row >= 0 && row < paths_.size()) paths.append(paths_[row]);
    }
    return paths;
}

QList<int> SearchResultsModel::rowsInFolderOf(int row) const {
    QList<int> rows;
    if (row < 0 || row >= paths_.size()) return rows;
    const QStringView folder = folderOf(paths_[row]);
    for (int i = 0; i < paths_.size(); ++i) {
        // Same folder: the folder is a prefix and no further "/" follows it.
        const QString& path = paths_[i];
        if (path.startsWith(folder) && path.indexOf(QLatin1Char('/'), folder.size()) < 0) rows.append(i);
    }
    return rows;
}

int SearchResultsModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(paths_.size()); }

QString SearchResultsModel::displayText(int row) const {
    const QString& path = paths_[row];
    // A path outside the prefix (a folder removed since the search ran) shows whole.
    return path.startsWith(prefix_) ? path.mid(prefix_.size()) : path;
}

QVariant SearchResultsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: return displayText(index.row());
    case PathRole: return paths_[index.row()];
    case NameStartRole: return int(displayText(index.row()).lastIndexOf(QLatin1Char('/')) + 1);
    default: return {};
    }
}

Qt::ItemFlags SearchResultsModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

QStringList SearchResultsModel::mimeTypes() const { return {QStringLiteral("text/uri-list")}; }

QMimeData* SearchResultsModel::mimeData(const QModelIndexList& indexes) const {
    QList<int> rows;
    for (const QModelIndex& index : indexes) {
        if (checkIndex(index, CheckIndexOption::IndexIsValid)) rows.append(index.row());
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    if (rows.isEmpty()) return nullptr;
    QList<QUrl> urls;
    for (const QString& path : pathsAt(rows)) urls.append(QUrl::fromLocalFile(path));
    auto* mime = new QMimeData;
    mime->setUrls(urls);
    return mime;
}

Qt::DropActions SearchResultsModel::supportedDragActions() const { return Qt::CopyAction; }

}  // namespace sonvale
