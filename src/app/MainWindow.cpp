#include "MainWindow.h"

#include "CoverView.h"
#include "EmptyPlaylistView.h"
#include "FileDialogs.h"
#include "KeyMonitor.h"
#include "LabelText.h"
#include "M3U.h"
#include "Notifications.h"
#include "OpenPaths.h"
#include "Player.h"
#include "PlaylistModel.h"
#include "PlaylistSaver.h"
#include "PlaylistView.h"
#include "Preferences.h"
#include "SeekSlider.h"
#include "TrackPanel.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QFrame>
#include <QMessageBox>
#include <QMimeData>
#include <QSettings>
#include <QStackedWidget>
#include <QSlider>
#include <QStatusBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace sonvale {

namespace {

const QString kGeometryKey = QStringLiteral("MainWindow/geometry");
const QString kColumnsKey = QStringLiteral("MainWindow/columns");

QStringList localPaths(const QMimeData* mime) {
    QStringList paths;
    if (!mime || !mime->hasUrls()) return paths;
    for (const QUrl& url : mime->urls()) {
        if (url.isLocalFile()) paths.append(url.toLocalFile());
    }
    return paths;
}

}  // namespace

MainWindow::MainWindow(Player& player, Preferences& preferences, Notifications& notifications,
                       OperationQueue& artworkQueue, QWidget* parent)
    : QMainWindow(parent),
      player_(player),
      preferences_(preferences),
      notifications_(notifications),
      panel_(new TrackPanel(player, preferences, artworkQueue, this)),
      model_(new PlaylistModel(player, this)),
      table_(new PlaylistView(*model_, preferences, this)),
      emptyView_(new EmptyPlaylistView(this)),
      stack_(new QStackedWidget(this)),
      saver_(new PlaylistSaver(player, this)) {
    new KeyMonitor(*this, player, preferences, [this] { return table_->selectedItems(); });
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(QStringLiteral("Sonvale"));
    setAcceptDrops(true);
    stack_->addWidget(table_);
    stack_->addWidget(emptyView_);
    auto* line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(panel_);
    layout->addWidget(line);
    layout->addWidget(stack_, 1);
    setCentralWidget(central);
    statusBar()->setSizeGripEnabled(true);
    resize(900, 620);
    setMinimumSize(420, 300);

    updateTimer_.setInterval(1000);
    connect(&updateTimer_, &QTimer::timeout, panel_, &TrackPanel::refreshTime);
    // Queued: the file manager waits for the drop to end, and opening a folder reads the disk.
    connect(model_, &PlaylistModel::pathsDropped, this, &MainWindow::openUserPaths, Qt::QueuedConnection);
    connect(emptyView_, &EmptyPlaylistView::openRequested, this, [this] { notifications_.post(&Notifications::openFiles); });
    connect(table_, &PlaylistView::playRequested, this, [this](const PlaylistItemRef& item) { player_.playItem(item, true); });
    connect(table_, &PlaylistView::removeRequested, this,
            [this](const QList<PlaylistItemRef>& items) { player_.removeItems(items); });
    connect(table_, &PlaylistView::showInFileManagerRequested, this, &FileDialogs::showInFileManager);
    connect(table_, &PlaylistView::showInfoRequested, this, &MainWindow::showInfoRequested);
    connect(panel_, &TrackPanel::showInfoRequested, this, [this] {
        if (player_.current()) emit showInfoRequested(player_.current());
    });
    connect(table_, &PlaylistView::selectionCountChanged, this,
            [this](int count) { notifications_.postSelectionChanged(count); });
    connect(panel_, &TrackPanel::playRequestedWithoutCurrent, this, [this] {
        const QList<PlaylistItemRef> selected = table_->selectedItems();
        const QList<PlaylistItemRef>& items = player_.playlist().items;
        if (!selected.isEmpty()) {
            player_.playItem(selected.front(), true);
        } else if (!items.isEmpty()) {
            player_.playItem(items.front(), true);
        }
    });
    connectPlayer();
    connectNotifications();
    refreshPlaylistPage();
    setTabOrder(panel_->previousButton(), panel_->playButton());
    setTabOrder(panel_->playButton(), panel_->nextButton());
    setTabOrder(panel_->nextButton(), panel_->seekSlider());
    setTabOrder(panel_->seekSlider(), panel_->timeRight());
    setTabOrder(panel_->timeRight(), panel_->playbackModeButton());
    setTabOrder(panel_->playbackModeButton(), panel_->volumeSlider());
    setTabOrder(panel_->volumeSlider(), table_);
    table_->setFocus();
}

MainWindow::~MainWindow() = default;

void MainWindow::connectPlayer() {
    const auto refreshAll = [this] {
        panel_->refreshLabels();
        panel_->refreshTime();
        panel_->refreshButtons();
        refreshWindowTitle();
    };
    connect(&player_, &Player::trackSetup, this, [this, refreshAll] {
        statusBar()->clearMessage();
        refreshAll();
    });
    connect(&player_, &Player::trackChanged, this, refreshAll);
    connect(&player_, &Player::playbackStarted, this, [this, refreshAll] {
        updateTimer_.start();
        refreshAll();
    });
    connect(&player_, &Player::playbackPaused, this, [this, refreshAll] {
        updateTimer_.stop();
        refreshAll();
    });
    connect(&player_, &Player::playbackStopped, this, [this, refreshAll] {
        updateTimer_.stop();
        panel_->cover()->showArtwork({});
        refreshAll();
    });
    connect(&player_, qOverload<PlaylistItemRef>(&Player::seek), panel_, &TrackPanel::refreshTime);
    connect(&player_, &Player::playlistUpdated, this, [this] {
        refreshPlaylistPage();
        panel_->refreshLabels();
        panel_->refreshButtons();
    });
    connect(&player_, &Player::metaLoaded, this, [this](const PlaylistItemRef& item) {
        if (item != player_.current()) return;
        panel_->refreshLabels();
        panel_->refreshTime();
        refreshWindowTitle();
    });
    // Many items' metadata arrives together: the totals follow the model's batched refresh.
    connect(model_, &QAbstractItemModel::dataChanged, panel_, &TrackPanel::refreshLabels);
    connect(&player_, &Player::artworkLoaded, this, [this](const PlaylistItemRef& item, const QByteArray& artwork) {
        if (item == player_.current()) panel_->cover()->showArtwork(artwork);
    });
    connect(&player_, &Player::playbackModeChanged, panel_, &TrackPanel::refreshMode);
    connect(&player_, &Player::playbackModeChanged, panel_, &TrackPanel::refreshButtons);
    connect(&player_, &Player::cannotPlay, this, &MainWindow::showCannotPlay);
}

void MainWindow::connectNotifications() {
    connect(&notifications_, &Notifications::selectAll, table_, &QTableView::selectAll);
    connect(&notifications_, &Notifications::selectCurrent, this, [this] { table_->selectItem(player_.current()); });
    connect(&notifications_, &Notifications::copySelection, this, &MainWindow::copySelection);
    connect(&notifications_, &Notifications::openFiles, this, [this] {
        FileDialogs::chooseFilesAndFolders(this, [this](const QStringList& paths) { openUserPaths(paths); });
    });
    connect(&notifications_, &Notifications::exportPlaylist, this, [this] { exportTracks(false); });
    connect(&notifications_, &Notifications::exportSelection, this, [this] { exportTracks(true); });
    connect(&notifications_, &Notifications::labelsChanged, panel_, &TrackPanel::refreshLabels);
}

void MainWindow::openUserPaths(const QStringList& paths) {
    if (paths.isEmpty()) return;
    if (openPaths(player_, paths, preferences_.alwaysEnqueue) == 0) {
        statusBar()->showMessage(tr("Nothing playable in %1").arg(paths.size() == 1 ? paths.front() : tr("the dropped items")));
    }
}

void MainWindow::refreshPlaylistPage() {
    stack_->setCurrentWidget(player_.playlist().items.isEmpty() ? static_cast<QWidget*>(emptyView_) : table_);
}

void MainWindow::refreshWindowTitle() {
    const PlaylistItemRef& current = player_.current();
    setWindowTitle(current ? QStringLiteral("%1 — Sonvale").arg(describeTrack(*current->track())) : QStringLiteral("Sonvale"));
}

void MainWindow::copySelection() {
    QStringList lines;
    for (const PlaylistItemRef& item : table_->selectedItems()) {
        const Track& track = *item->track();
        lines.append(track.duration > 0 ? QStringLiteral("%1 (%2)").arg(describeTrack(track), formatDuration(false, track.duration))
                                        : describeTrack(track));
    }
    if (!lines.isEmpty()) QApplication::clipboard()->setText(lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

void MainWindow::exportTracks(bool selectionOnly) {
    QList<TrackRef> tracks;
    const QList<PlaylistItemRef> items = selectionOnly ? table_->selectedItems() : player_.playlist().items;
    if (items.isEmpty()) return;
    tracks.reserve(items.size());
    for (const PlaylistItemRef& item : items) tracks.append(item->track());
    FileDialogs::chooseExportPath(this, preferences_.useAbsolutePathsForPlaylists,
                                  [this, tracks](const QString& path, bool absolute) {
        preferences_.useAbsolutePathsForPlaylists = absolute;
        preferences_.save();
        if (!M3U::write(tracks, path, absolute)) {
            QMessageBox::warning(this, tr("Save playlist"), tr("The playlist could not be written to %1.").arg(path));
        }
    });
}

void MainWindow::showWarning(const QString& text, const QString& details) {
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Sonvale"), text, QMessageBox::Ok, this);
    box->setDetailedText(details);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->open();
}

void MainWindow::showCannotPlay(const QString& path, const QString& reason) {
    statusBar()->showMessage(tr("Cannot play %1: %2").arg(path, reason));
}

void MainWindow::setAlwaysOnTop(bool onTop) {
    if (onTop == bool(windowFlags() & Qt::WindowStaysOnTopHint)) return;
    const bool shown = isVisible();
    setWindowFlag(Qt::WindowStaysOnTopHint, onTop);
    // Changing a window flag hides the window.
    if (shown) show();
}

void MainWindow::saveLayout() const {
    QSettings settings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale"));
    settings.setValue(kGeometryKey, saveGeometry());
    settings.setValue(kColumnsKey, table_->columnState());
}

void MainWindow::restoreLayout() {
    const QSettings settings(QStringLiteral("Sonvale"), QStringLiteral("Sonvale"));
    restoreGeometry(settings.value(kGeometryKey).toByteArray());
    table_->restoreColumnState(settings.value(kColumnsKey).toByteArray());
}

void MainWindow::closeEvent(QCloseEvent* event) {
    saveLayout();
    event->accept();
    emit closed();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (localPaths(event->mimeData()).isEmpty()) return;
    event->acceptProposedAction();
    emptyView_->setDragActive(true);
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent* event) {
    emptyView_->setDragActive(false);
    QMainWindow::dragLeaveEvent(event);
}

void MainWindow::dropEvent(QDropEvent* event) {
    emptyView_->setDragActive(false);
    const QStringList paths = localPaths(event->mimeData());
    if (paths.isEmpty()) return;
    event->acceptProposedAction();
    openUserPaths(paths);
}

}  // namespace sonvale
