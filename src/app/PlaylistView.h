#pragma once

#include "PlaylistItem.h"

#include <QTableView>

class QAction;
class QMenu;

namespace sonvale {

class PlaylistModel;
class Preferences;

// The playlist table: whole rows selected, rows reordered by dragging them, files dropped from a
// file manager handed to the model, a fixed row height so that 100,000 rows scroll smoothly,
// column widths kept between runs, and the rows' context menu. Main thread only.
class PlaylistView : public QTableView {
    Q_OBJECT
public:
    PlaylistView(PlaylistModel& model, const Preferences& preferences, QWidget* parent = nullptr);

    // The selected items in playlist order.
    QList<PlaylistItemRef> selectedItems() const;
    int selectedCount() const;
    // Selects and shows the row of `item`; false when it is not in the playlist.
    bool selectItem(const PlaylistItemRef& item);

    // Column widths and order, for the settings store.
    QByteArray columnState() const;
    void restoreColumnState(const QByteArray& state);

signals:
    void playRequested(sonvale::PlaylistItemRef item);
    void removeRequested(QList<sonvale::PlaylistItemRef> items);
    void showInFileManagerRequested(QString path);
    // Show Info is offered only while something listens to this.
    void showInfoRequested(sonvale::PlaylistItemRef item);
    void selectionCountChanged(int count);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void buildContextMenu();
    void copyLabel(bool title);

    PlaylistModel& model_;
    const Preferences& preferences_;
    QMenu* contextMenu_;
    QAction* contextMenuCopyTitle_;
    QAction* contextMenuCopySubtitle_;
    QAction* contextMenuShowInfo_;
    QAction* contextMenuRemove_;
    QAction* contextMenuShowInFinder_;
    PlaylistItemRef clicked_;
};

}  // namespace sonvale
