#include "LibraryPane.h"

#include "AudioFiles.h"
#include "FileDialogs.h"
#include "FolderStorage.h"
#include "Library.h"
#include "LibraryFoldersModel.h"
#include "OperationQueue.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace sonvale {

namespace {

// The state column: a progress bar (completed of total) while the files are processed, the
// state's text otherwise.
class FolderStateDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const QVariant progress = index.data(LibraryFoldersModel::ProgressRole);
        if (!progress.isValid()) {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        const QPoint counts = progress.toPoint();
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        const QWidget* widget = option.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);
        QStyleOptionProgressBar bar;
        bar.initFrom(widget);
        bar.state |= QStyle::State_Horizontal;
        bar.rect = option.rect.adjusted(2, 3, -2, -3);
        bar.minimum = 0;
        bar.maximum = std::max(counts.y(), 1);
        bar.progress = std::min(counts.x(), bar.maximum);
        bar.text = QStringLiteral("%1 / %2").arg(counts.x()).arg(counts.y());
        bar.textVisible = true;
        bar.textAlignment = Qt::AlignCenter;
        style->drawControl(QStyle::CE_ProgressBar, &bar, painter, widget);
    }
};

// Whether the folder's directory is there to be walked; a missing one (an unmounted disk) would
// come back empty.
bool directoryReadable(const QString& root) {
    const QFileInfo info(root);
    return info.isDir() && info.isReadable() && info.isExecutable();
}

}  // namespace

LibraryPane::LibraryPane(Library& library, LibraryFoldersModel& model, std::shared_ptr<FolderStorage> storage,
                         OperationQueue& countQueue, QWidget* parent)
    : QWidget(parent),
      library_(library),
      model_(model),
      storage_(std::move(storage)),
      countQueue_(countQueue),
      table_(new QTableView(this)),
      addButton_(new QPushButton(tr("Add…"), this)),
      removeButton_(new QPushButton(tr("Remove"), this)),
      rescanButton_(new QPushButton(tr("Rescan"), this)) {
    table_->setModel(&model_);
    table_->setAccessibleName(tr("Library folders"));
    table_->setItemDelegateForColumn(LibraryFoldersModel::State, new FolderStateDelegate(table_));
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setShowGrid(false);
    table_->setAlternatingRowColors(true);
    table_->setWordWrap(false);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    QHeaderView* columns = table_->horizontalHeader();
    columns->setHighlightSections(false);
    columns->setSectionResizeMode(LibraryFoldersModel::Path, QHeaderView::Stretch);
    columns->resizeSection(LibraryFoldersModel::State, fontMetrics().horizontalAdvance(tr("Indexing 00000 of 00000")) + 16);
    columns->resizeSection(LibraryFoldersModel::LastScan, fontMetrics().horizontalAdvance(QStringLiteral("00/00/0000 00:00 PM")) + 16);
    addButton_->setToolTip(tr("Add a folder to the library and scan it"));
    removeButton_->setToolTip(tr("Remove the folder from the library; no file is touched"));
    rescanButton_->setToolTip(tr("Scan the folder again for new, changed and removed files"));

    auto* hint = new QLabel(tr("The library's folders are scanned when they are added and when you rescan them."), this);
    hint->setWordWrap(true);
    hint->setForegroundRole(QPalette::PlaceholderText);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(addButton_);
    buttons->addWidget(removeButton_);
    buttons->addStretch();
    buttons->addWidget(rescanButton_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);
    layout->addWidget(hint);

    connect(addButton_, &QPushButton::clicked, this, [this] {
        FileDialogs::chooseFolder(this, [this](const QString& root) { addFolders({root}); });
    });
    connect(removeButton_, &QPushButton::clicked, this, &LibraryPane::removeSelected);
    connect(rescanButton_, &QPushButton::clicked, this, &LibraryPane::rescanSelected);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &LibraryPane::refreshButtons);
    connect(&model_, &QAbstractItemModel::dataChanged, this, &LibraryPane::refreshButtons);
    connect(&model_, &QAbstractItemModel::rowsRemoved, this, &LibraryPane::refreshButtons);
    connect(&model_, &QAbstractItemModel::modelReset, this, &LibraryPane::refreshButtons);
    refreshButtons();
}

void LibraryPane::addFolders(const QStringList& roots) {
    QList<FolderRef> added;
    for (const QString& path : roots) {
        const QString root = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
        const bool known = model_.rowOf(root) >= 0 ||
                           std::any_of(added.cbegin(), added.cend(), [&](const FolderRef& f) { return f->root == root; });
        if (known) continue;
        auto folder = std::make_shared<Folder>();
        folder->root = root;
        added.append(folder);
    }
    if (!added.isEmpty()) library_.addFolders(added, library_.folders().size());
    const QString last = roots.isEmpty() ? QString() : QDir::cleanPath(QFileInfo(roots.last()).absoluteFilePath());
    if (const int row = model_.rowOf(last); row >= 0) table_->selectRow(row);
}

FolderRef LibraryPane::selectedFolder() const {
    const QModelIndexList rows = table_->selectionModel()->selectedRows();
    return rows.isEmpty() ? nullptr : model_.folderAt(rows.front().row());
}

void LibraryPane::refreshButtons() {
    const FolderRef folder = selectedFolder();
    removeButton_->setEnabled(folder != nullptr);
    // A folder being scanned is not queued twice.
    rescanButton_->setEnabled(folder && (folder->state == Folder::State::none || folder->state == Folder::State::ready));
}

void LibraryPane::removeSelected() {
    const FolderRef folder = selectedFolder();
    if (!folder) return;
    auto* box = new QMessageBox(QMessageBox::Question, tr("Remove Folder"),
                                tr("Remove “%1” from the library?").arg(QDir::toNativeSeparators(folder->root)),
                                QMessageBox::Ok | QMessageBox::Cancel, this);
    box->setInformativeText(tr("Its tracks leave the library and the search. No file on disk is touched, and the "
                               "playlist keeps its tracks."));
    box->button(QMessageBox::Ok)->setText(tr("Remove"));
    box->setDefaultButton(QMessageBox::Cancel);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::accepted, this, [this, folder] { library_.removeFolder(folder); });
    box->open();
}

void LibraryPane::rescanSelected() {
    const FolderRef folder = selectedFolder();
    if (!folder || !rescanButton_->isEnabled()) return;
    if (directoryReadable(folder->root)) {
        rescan(folder);
        return;
    }
    if (!folder->pk) {
        confirmMissingRescan(folder, 0);
        return;
    }
    // Counting the folder's tracks asks the database; the answer comes back through the event loop.
    const QPointer<LibraryPane> guard(this);
    countQueue_.addOperation([guard, folder, storage = storage_, pk = *folder->pk](const Operation&) {
        const qint64 tracks = storage->trackCount(pk);
        QMetaObject::invokeMethod(qApp, [guard, folder, tracks] {
            if (guard) guard->confirmMissingRescan(folder, tracks);
        }, Qt::QueuedConnection);
    });
}

void LibraryPane::confirmMissingRescan(const FolderRef& folder, qint64 tracks) {
    // Removed while its tracks were being counted: nothing left to ask about.
    if (model_.rowOf(folder->root) < 0) return;
    auto* box = new QMessageBox(QMessageBox::Warning, tr("Folder Missing"),
                                tr("The folder “%1” cannot be found or read.").arg(QDir::toNativeSeparators(folder->root)),
                                QMessageBox::Ok | QMessageBox::Cancel, this);
    const QString loss = tracks == 1 ? tr("its one track") : tr("all its %1 tracks").arg(QLocale().toString(tracks));
    box->setInformativeText(tr("Rescanning it now would remove %1 from the library. If it is on a disk that is not "
                               "mounted, mount the disk first.").arg(loss));
    box->button(QMessageBox::Ok)->setText(tr("Rescan Anyway"));
    box->setDefaultButton(QMessageBox::Cancel);
    box->setEscapeButton(QMessageBox::Cancel);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::accepted, this, [this, folder] { rescan(folder); });
    box->open();
}

void LibraryPane::rescan(const FolderRef& folder) {
    // The state may have changed while a question was open.
    if (folder->state != Folder::State::none && folder->state != Folder::State::ready) return;
    if (model_.rowOf(folder->root) < 0) return;
    library_.scanFolder(folder, supportedExtensions());
    refreshButtons();
}

}  // namespace sonvale
