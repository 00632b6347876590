#include "PlaylistView.h"

#include "LabelText.h"
#include "PlaylistModel.h"
#include "Preferences.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QMetaMethod>

namespace sonvale {

PlaylistView::PlaylistView(PlaylistModel& model, const Preferences& preferences, QWidget* parent)
    : QTableView(parent), model_(model), preferences_(preferences), contextMenu_(new QMenu(this)) {
    setModel(&model_);
    setAccessibleName(tr("Playlist"));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(false);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setTextElideMode(Qt::ElideRight);
    setCornerButtonEnabled(false);
    setTabKeyNavigation(false);
    // Rows move through the model (which hands them to the player); files come in as URLs.
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDragDropOverwriteMode(false);

    QHeaderView* rows = verticalHeader();
    rows->hide();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(fontMetrics().height() + 8);
    QHeaderView* columns = horizontalHeader();
    columns->setHighlightSections(false);
    columns->setSectionsMovable(true);
    columns->setStretchLastSection(false);
    columns->setSectionResizeMode(QHeaderView::Interactive);
    columns->setSectionResizeMode(PlaylistModel::Title, QHeaderView::Stretch);
    columns->resizeSection(PlaylistModel::Track, fontMetrics().horizontalAdvance(QStringLiteral("▶ 000")) + 12);
    columns->resizeSection(PlaylistModel::Artist, 180);
    columns->resizeSection(PlaylistModel::Album, 180);
    columns->resizeSection(PlaylistModel::Duration, fontMetrics().horizontalAdvance(QStringLiteral("00:00:00")) + 16);

    connect(this, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const PlaylistItemRef item = model_.itemAt(index.row())) emit playRequested(item);
    });
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { emit selectionCountChanged(selectedCount()); });
    connect(&model_, &QAbstractItemModel::modelReset, this, [this] { emit selectionCountChanged(selectedCount()); });
    buildContextMenu();
}

void PlaylistView::buildContextMenu() {
    contextMenuCopyTitle_ = contextMenu_->addAction(tr("Copy Title"), this, [this] { copyLabel(true); });
    contextMenuCopySubtitle_ = contextMenu_->addAction(tr("Copy Subtitle"), this, [this] { copyLabel(false); });
    contextMenuShowInfo_ = contextMenu_->addAction(tr("Show Info"), this, [this] { emit showInfoRequested(clicked_); });
    contextMenu_->addSeparator();
    contextMenuRemove_ = contextMenu_->addAction(tr("Remove"), this, [this] {
        QList<PlaylistItemRef> items = selectedItems();
        if (items.isEmpty() && clicked_) items.append(clicked_);
        emit removeRequested(items);
    });
    contextMenuShowInFinder_ = contextMenu_->addAction(tr("Show in File Manager"), this,
                                                       [this] { emit showInFileManagerRequested(clicked_->track()->path); });
}

void PlaylistView::contextMenuEvent(QContextMenuEvent* event) {
    const QModelIndex index = indexAt(viewport()->mapFrom(this, event->pos()));
    clicked_ = index.isValid() ? model_.itemAt(index.row()) : nullptr;
    if (!clicked_) return;
    if (!selectionModel()->isRowSelected(index.row(), {})) selectRow(index.row());
    contextMenuShowInfo_->setVisible(isSignalConnected(QMetaMethod::fromSignal(&PlaylistView::showInfoRequested)));
    contextMenuRemove_->setText(selectedCount() > 1 ? tr("Remove %1 Tracks").arg(selectedCount()) : tr("Remove"));
    contextMenu_->exec(event->globalPos());
}

void PlaylistView::copyLabel(bool title) {
    if (!clicked_) return;
    const Tags& tags = title ? preferences_.labels.title : preferences_.labels.subtitle;
    QApplication::clipboard()->setText(composeLabel(tags, clicked_->track().get(), 0, 0));
}

QList<PlaylistItemRef> PlaylistView::selectedItems() const { return model_.itemsAt(selectionModel()->selectedRows()); }

int PlaylistView::selectedCount() const {
    // Counted over the ranges: listing 100,000 selected indexes on every click is too slow.
    int count = 0;
    for (const QItemSelectionRange& range : selectionModel()->selection()) {
        if (range.left() == 0) count += range.height();
    }
    return count;
}

bool PlaylistView::selectItem(const PlaylistItemRef& item) {
    const std::optional<int> row = item ? model_.rowOf(item) : std::nullopt;
    if (!row) return false;
    selectRow(*row);
    scrollTo(model_.index(*row, 0), QAbstractItemView::PositionAtCenter);
    return true;
}

QByteArray PlaylistView::columnState() const { return horizontalHeader()->saveState(); }

void PlaylistView::restoreColumnState(const QByteArray& state) {
    if (!state.isEmpty()) horizontalHeader()->restoreState(state);
}

}  // namespace sonvale
