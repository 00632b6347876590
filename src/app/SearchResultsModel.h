#pragma once

#include <QAbstractListModel>
#include <QStringList>

namespace sonvale {

// The search window's results: one row per path, in the order the search returned them. A row
// shows its path without the part all library folders share (the common prefix), so rows read
// as paths below the library; its tooltip is the same text. Rows are dragged out as file URLs
// (text/uri-list), offered as a copy only, so a file manager never moves the user's files.
// Main thread only.
class SearchResultsModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        PathRole = Qt::UserRole + 1,  // the whole path
        NameStartRole,                // where the file name starts in the display text
    };

    explicit SearchResultsModel(QObject* parent = nullptr);

    // Replaces every row (a model reset).
    void setResults(const QStringList& paths, const QString& commonPrefix);

    const QStringList& paths() const { return paths_; }
    const QString& commonPrefix() const { return prefix_; }
    // The paths of `rows`, in the order given; rows out of range are passed over.
    QStringList pathsAt(const QList<int>& rows) const;
    // The rows whose file lies in the same folder as the file of `row` (that row included), in
    // row order; empty for a row out of range.
    QList<int> rowsInFolderOf(int row) const;

    // The part all of `roots` share, literally, cut after its last "/" so that it ends at a
    // folder boundary; empty without roots or without a shared "/".
    static QString commonPrefix(const QStringList& roots);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override;

private:
    QString displayText(int row) const;

    QStringList paths_;
    QString prefix_;
};

}  // namespace sonvale
