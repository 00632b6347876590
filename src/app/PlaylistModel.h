#pragma once

#include "PlaylistItem.h"

#include <QAbstractTableModel>
#include <QFont>
#include <QHash>
#include <QIcon>
#include <QList>
#include <QStringList>
#include <QTimer>

#include <optional>

namespace sonvale {

class Player;

// The player's playlist as a table for the main window: one row per item, five columns.
//
// The model shows its own copy of the item list, taken on construction and again (as a reset)
// on every playlistUpdated: the player changes its list at once but tells so later, and rows
// must not shift under the view in between. Everything else is read from the records live.
// The current item's row is bold and its Track cell carries a playing or paused mark; metadata
// refreshes are gathered and repainted together after pendingReloadInterval().
//
// Drag and drop: items drag (as row indexes for this model, and as file URLs for other
// programs); drops land between rows, never on one. Rows of this model dropped on it are moved
// by the player; local files dropped on it are handed on through pathsDropped. Rows never
// leave through the model (removeRows and setData refuse), so a view that cleans up after a
// move drop changes nothing: the player's playlistUpdated brings the new order. A view takes
// both kinds of drop in QAbstractItemView::DragDrop mode (InternalMove refuses drops from other
// programs), best with dragDropOverwriteMode off, so the indicator falls between rows.
//
// Threads: main thread only, with a QGuiApplication. `player` must outlive the model.
class PlaylistModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { Track, Title, Artist, Album, Duration };
    static constexpr int kColumnCount = 5;
    // The MIME type of dragged rows: the rows of one model of this process.
    static constexpr const char* kRowIndexesMimeType = "application/x-sonvale-rowindexes";

    PlaylistModel(Player& player, QObject* parent);

    // A stable name per column, for keeping its width: "ColumnTrack", ..., "ColumnDuration".
    static QString columnId(int column);

    // The item shown in `row`; null outside the rows.
    PlaylistItemRef itemAt(int row) const;
    // The row that shows `item`, if any.
    std::optional<int> rowOf(const PlaylistItemRef& item) const;
    // The items of the distinct valid `rows`, in row order.
    QList<PlaylistItemRef> itemsAt(QList<int> rows) const;
    // The items of the rows that `indexes` touch (one index per cell is fine), in row order.
    QList<PlaylistItemRef> itemsAt(const QModelIndexList& indexes) const;

    // How long metadata refreshes are gathered before the rows repaint; 250 ms unless set.
    int pendingReloadInterval() const { return pendingReloadTimer_.interval(); }
    void setPendingReloadInterval(int milliseconds) { pendingReloadTimer_.setInterval(milliseconds); }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;

    QStringList mimeTypes() const override;
    // Null for no indexes.
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;
    // Moves the dragged rows of this model before `row` (-1: at the end) whatever `action`, or
    // emits pathsDropped with the local files among the URLs. False when neither applies.
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

signals:
    // Local files or folders were dropped on the table, in the order of the drop. Emitted
    // inside the drop, while the program the files came from waits: queue long work.
    void pathsDropped(QStringList paths);

private:
    void reload();
    // Repaints the rows of the former and the new current item.
    void refreshCurrent();
    void markDirty(const PlaylistItemRef& item);
    void repaintDirty();
    void emitRowChanged(int row);
    QVariant displayText(const PlaylistItem& item, int column) const;
    QIcon currentMark() const;
    // The rows that `data` carries when it was dragged from this model since its last reset.
    std::optional<QList<int>> ownRows(const QMimeData* data) const;

    Player& player_;
    QList<PlaylistItemRef> items_;
    QHash<const PlaylistItem*, int> rows_;
    // Counts resets, so that rows dragged before one are not taken for rows after it.
    quint64 generation_ = 0;
    PlaylistItemRef shownCurrent_;
    bool shownPlaying_ = false;
    QTimer pendingReloadTimer_;
    int dirtyFirst_ = -1;
    int dirtyLast_ = -1;
    QFont currentFont_;
    // Drawn in the colours of the palette with this key; drawn again when the palette changes.
    mutable std::optional<qint64> markPalette_;
    mutable QIcon playingMark_;
    mutable QIcon pausedMark_;
};

}  // namespace sonvale
