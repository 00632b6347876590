#include "SearchBox.h"

#include "OpenPaths.h"
#include "Queues.h"
#include "SearchController.h"
#include "SearchResultDelegate.h"
#include "SearchResultsModel.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace sonvale {

namespace {

const QString kGeometryKey = QStringLiteral("Search/geometry");

}  // namespace

SearchBox::SearchBox(Player& player, std::shared_ptr<SearchEngine> engine, Library& library, Queues& queues,
                     QWidget* parent)
    : QWidget(parent, Qt::Window),
      player_(player),
      controller_(new SearchController(library, std::move(engine), queues.search, this)),
      searchField_(new QLineEdit(this)),
      table_(new QTableView(this)),
      progress_(new QProgressBar(this)),
      statusLabel_(new QLabel(this)),
      playButton_(new QPushButton(tr("Play"), this)),
      enqueueButton_(new QPushButton(tr("Enqueue"), this)),
      emptyOverlay_(makeEmptyOverlay()),
      stack_(new QStackedWidget(this)) {
    setObjectName(QStringLiteral("SearchBox"));
    setWindowTitle(tr("Search Library"));
    searchField_->setPlaceholderText(tr("Search titles, artists, albums and paths"));
    searchField_->setClearButtonEnabled(true);
    searchField_->setAccessibleName(tr("Search"));

    table_->setModel(controller_->model());
    table_->setItemDelegate(new SearchResultDelegate(table_));
    table_->setAccessibleName(tr("Results"));
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setShowGrid(false);
    table_->setAlternatingRowColors(true);
    table_->setWordWrap(false);
    table_->setTabKeyNavigation(false);
    table_->setDragEnabled(true);
    table_->setDragDropMode(QAbstractItemView::DragOnly);
    table_->setDefaultDropAction(Qt::CopyAction);
    table_->horizontalHeader()->hide();
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);

    stack_->addWidget(table_);
    stack_->addWidget(emptyOverlay_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(searchField_);
    layout->addWidget(stack_, 1);
    layout->addLayout(makeBottomRow());
    setTabOrder(searchField_, table_);
    setTabOrder(table_, enqueueButton_);
    setTabOrder(enqueueButton_, playButton_);

    searchField_->installEventFilter(this);
    table_->installEventFilter(this);
    table_->viewport()->installEventFilter(this);
    connectController();
    refreshButtons();
    refreshPage();
    resize(640, 460);
    restoreGeometry(QSettings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale")).value(kGeometryKey).toByteArray());
    // Loads the search's index now, on the search queue, rather than on the first keystroke.
    controller_->prepare();
}

SearchBox::~SearchBox() = default;

const QList<KeyBinding>& SearchBox::keys() {
    static const QList<KeyBinding> keys = {
        {Qt::Key_Down, focusResults, tr("From the search field into the results")},
        {Qt::Key_Return, playSelection, tr("Play the selected results")},
        {Qt::ControlModifier | Qt::Key_Return, enqueueSelection, tr("Enqueue the selected results")},
        {Qt::Key_Escape, closeWindow, tr("Close the search window")},
    };
    return keys;
}

QWidget* SearchBox::makeEmptyOverlay() {
    auto* overlay = new QWidget(this);
    overlay->setAccessibleName(tr("No library folders"));
    auto* heading = new QLabel(tr("Your library has no folders"), overlay);
    QFont font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.3);
    font.setBold(true);
    heading->setFont(font);
    heading->setAlignment(Qt::AlignCenter);
    auto* hint = new QLabel(tr("Add your music folders in the preferences;\ntheir tracks are found here as you type."), overlay);
    hint->setAlignment(Qt::AlignCenter);
    hint->setForegroundRole(QPalette::PlaceholderText);
    auto* button = new QPushButton(tr("Library Preferences…"), overlay);
    connect(button, &QPushButton::clicked, this, &SearchBox::libraryPreferencesRequested);
    auto* layout = new QVBoxLayout(overlay);
    layout->addStretch();
    layout->addWidget(heading);
    layout->addWidget(hint);
    layout->addSpacing(8);
    layout->addWidget(button, 0, Qt::AlignHCenter);
    layout->addStretch();
    return overlay;
}

QLayout* SearchBox::makeBottomRow() {
    // A bar that moves without a known end: the search cannot tell how far it is.
    progress_->setRange(0, 0);
    progress_->setTextVisible(false);
    progress_->setFixedSize(64, fontMetrics().height() / 2 + 2);
    progress_->setAccessibleName(tr("Searching"));
    // Hidden without giving up its place, so the status line does not jump.
    QSizePolicy keepPlace = progress_->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    progress_->setSizePolicy(keepPlace);
    progress_->hide();
    playButton_->setDefault(true);
    playButton_->setToolTip(tr("Play the selected results in place of the playlist (Return)"));
    enqueueButton_->setToolTip(tr("Add the selected results to the end of the playlist (Ctrl+Return)"));
    auto* row = new QHBoxLayout;
    row->addWidget(statusLabel_);
    row->addWidget(progress_);
    row->addStretch(1);
    row->addWidget(enqueueButton_);
    row->addWidget(playButton_);
    return row;
}

void SearchBox::connectController() {
    connect(searchField_, &QLineEdit::textChanged, controller_, &SearchController::setQuery);
    connect(controller_, &SearchController::searchingChanged, progress_, &QWidget::setVisible);
    connect(controller_, &SearchController::resultsShown, this, [this] {
        statusLabel_->setText(controller_->status());
        refreshButtons();
    });
    connect(controller_, &SearchController::foldersChanged, this, &SearchBox::refreshPage);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &SearchBox::refreshButtons);
    connect(table_, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) { selectFolderOf(index.row()); });
    connect(playButton_, &QPushButton::clicked, this, [this] { openSelection(false); });
    connect(enqueueButton_, &QPushButton::clicked, this, [this] { openSelection(true); });
}

void SearchBox::refreshButtons() {
    const bool any = table_->selectionModel()->hasSelection();
    playButton_->setEnabled(any);
    enqueueButton_->setEnabled(any);
}

void SearchBox::refreshPage() {
    stack_->setCurrentWidget(controller_->hasFolders() ? table_ : emptyOverlay_);
}

QStringList SearchBox::selectedPaths() const {
    QList<int> rows;
    for (const QModelIndex& index : table_->selectionModel()->selectedRows()) rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    return controller_->model()->pathsAt(rows);
}

void SearchBox::selectFolderOf(int row) {
    QItemSelection selection;
    const SearchResultsModel& model = *controller_->model();
    for (const int folderRow : model.rowsInFolderOf(row)) {
        selection.select(model.index(folderRow), model.index(folderRow));
    }
    if (selection.isEmpty()) return;
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void SearchBox::openSelection(bool enqueue) {
    const QStringList paths = selectedPaths();
    if (!paths.isEmpty()) openPaths(player_, paths, enqueue);
}

void SearchBox::present() {
    refreshPage();
    show();
    raise();
    activateWindow();
    searchField_->setFocus();
    searchField_->selectAll();
}

void SearchBox::saveGeometryToSettings() const {
    QSettings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale")).setValue(kGeometryKey, saveGeometry());
}

void SearchBox::hideEvent(QHideEvent* event) {
    saveGeometryToSettings();
    QWidget::hideEvent(event);
}

bool SearchBox::eventFilter(QObject* watched, QEvent* event) {
    if (watched == table_->viewport()) {
        // The view selects the pressed row alone on the release that ends a double-click, which
        // would undo the folder's selection.
        if (event->type() == QEvent::MouseButtonDblClick) doubleClicked_ = true;
        if (event->type() != QEvent::MouseButtonRelease || !doubleClicked_) return false;
        doubleClicked_ = false;
        return true;
    }
    if (event->type() != QEvent::KeyPress || (watched != searchField_ && watched != table_)) return false;
    const std::optional<int> command = commandForKey(keys(), *static_cast<QKeyEvent*>(event));
    // Down moves within the results once there.
    if (!command || (*command == focusResults && watched != searchField_)) return false;
    return run(Command(*command));
}

bool SearchBox::run(Command command) {
    switch (command) {
    case focusResults:
        if (controller_->model()->rowCount() == 0) return true;
        table_->setFocus();
        if (!table_->selectionModel()->hasSelection()) table_->selectRow(0);
        return true;
    case playSelection: openSelection(false); return true;
    case enqueueSelection: openSelection(true); return true;
    case closeWindow: close(); return true;
    }
    return false;
}

}  // namespace sonvale
