#include "AppDelegate.h"

#include "AboutDialog.h"
#include "AppActions.h"
#include "Appearance.h"
#include "AudioFiles.h"
#include "DB.h"
#include "KeyboardShortcutsWindow.h"
#include "Library.h"
#include "LibraryFoldersModel.h"
#include "MainWindow.h"
#include "MprisService.h"
#include "OpenBatch.h"
#include "PlaylistSaver.h"
#include "PlaylistView.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"
#include "SearchBox.h"
#include "SignalWatcher.h"
#include "TrackInfoWindow.h"
#include "TrackPanel.h"
#include "TrayIcon.h"

#include <QApplication>
#include <QMenuBar>

namespace sonvale {

AppDelegate::AppDelegate()
    : preferences_(std::make_unique<Preferences>()),
      db_(openDatabase(*preferences_)),
      queues_(std::make_unique<Queues>()),
      library_(std::make_unique<Library>(db_, *queues_)),
      player_(std::make_unique<Player>(db_, *preferences_, *queues_)),
      window_(std::make_unique<MainWindow>(*player_, *preferences_, notifications_, queues_->artwork)),
      actions_(new AppActions(*player_, notifications_, this)),
      tray_(new TrayIcon(*player_, *actions_, this)),
      batch_(new OpenBatch(this)),
      signals_(new SignalWatcher(this)) {
    folders_ = std::make_unique<LibraryFoldersModel>(*library_);
    actions_->fillMenuBar(window_->menuBar());
    window_->addActions(actions_->all());
    connectCommands();
}

AppDelegate::~AppDelegate() { terminate(); }

bool AppDelegate::isUsable() const { return db_->isOpen(); }

std::shared_ptr<DB> AppDelegate::openDatabase(Preferences& preferences) {
    auto db = std::make_shared<DB>();
    if (const std::optional<DatabaseRecovery>& recovery = db->recovery()) {
        preferences.currentPlaylistItem = recovery->positionOf(preferences.currentPlaylistItem);
        preferences.save();
    }
    return db;
}

void AppDelegate::launch() {
    AppearanceStyle::apply(preferences_->appearance);
    registerObservers();
    library_->loadFolders();
    folders_->reload();
    actions_->enableSelectionCommands(0);
    actions_->refreshTransport();
    actions_->refreshModeMarks();
    actions_->alwaysOnTop->setChecked(preferences_->alwaysOnTop);
    window_->setAlwaysOnTop(preferences_->alwaysOnTop);
    window_->restoreLayout();
    window_->show();
    tray_->refreshStatusLine();
    reportRecovery();
}

void AppDelegate::reportRecovery() {
    const std::optional<DatabaseRecovery>& recovery = db_->recovery();
    if (!recovery) return;
    QStringList roots;
    for (const FolderRef& folder : library_->folders()) {
        roots.append(folder->root);
        library_->scanFolder(folder, supportedExtensions());
    }
    QString text = tr("The library database was damaged and has been replaced. The damaged file is kept as %1.")
                       .arg(recovery->damagedCopy);
    if (!recovery->playlistOrigins.isEmpty() || recovery->playlistLost > 0) {
        text += QLatin1Char(' ') + tr("The playlist was carried over (%1 entries; %2 could not be read).")
                                       .arg(recovery->playlistOrigins.size())
                                       .arg(recovery->playlistLost);
    }
    if (!roots.isEmpty()) text += QLatin1Char(' ') + tr("The library folders are being scanned again.");
    window_->showWarning(text, tr("Damage found: %1\nFolders scanned again:\n%2")
                                   .arg(recovery->problem, roots.join(QLatin1Char('\n'))));
}

void AppDelegate::registerObservers() {
    const auto transport = [this] { actions_->refreshTransport(); };
    const auto queued = Qt::QueuedConnection;
    connect(player_.get(), &Player::playbackStarted, actions_, transport, queued);
    connect(player_.get(), &Player::playbackStopped, actions_, transport, queued);
    connect(player_.get(), &Player::playbackPaused, actions_, transport, queued);
    connect(player_.get(), &Player::trackChanged, actions_, transport, queued);
    connect(player_.get(), &Player::playbackModeChanged, actions_, [this] { actions_->refreshModeMarks(); }, queued);
    connect(player_.get(), &Player::trackSetup, tray_, [this] { tray_->refreshStatusLine(); }, queued);
    connect(&notifications_, &Notifications::selectionChanged, actions_,
            [this](int count) { actions_->enableSelectionCommands(count); }, queued);
    connect(player_.get(), &Player::playlistUpdated, actions_, transport, queued);
    // The status line also goes when playback stops, and names the track once its tags are read.
    connect(player_.get(), &Player::playbackStopped, tray_, [this] { tray_->refreshStatusLine(); }, queued);
    connect(player_.get(), &Player::metaLoaded, tray_, [this](const PlaylistItemRef& item) {
        if (item == player_->current()) tray_->refreshStatusLine();
    }, queued);
    connect(&notifications_, &Notifications::replayGainChanged, player_.get(), &Player::applyReplayGain, queued);
}

void AppDelegate::connectCommands() {
    connect(actions_->quit, &QAction::triggered, qApp, &QApplication::quit, Qt::QueuedConnection);
    connect(window_.get(), &MainWindow::closed, qApp, &QApplication::quit, Qt::QueuedConnection);
    connect(signals_, &SignalWatcher::terminationRequested, qApp, &QApplication::quit);
    connect(qApp, &QApplication::aboutToQuit, this, &AppDelegate::terminate);
    // The session manager asks before the session ends; the state is saved then, in case the
    // program gets no chance later.
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this] { terminate(); }, Qt::DirectConnection);
    connect(actions_->alwaysOnTop, &QAction::toggled, this, [this](bool on) {
        preferences_->alwaysOnTop = on;
        preferences_->save();
        window_->setAlwaysOnTop(on);
    });
    connect(tray_, &TrayIcon::toggleWindowRequested, this, [this] {
        if (window_->isVisible() && window_->isActiveWindow()) {
            window_->hide();
        } else {
            activateWindow();
        }
    });
    connect(batch_, &OpenBatch::ready, window_.get(), &MainWindow::openUserPaths);
    connect(actions_->preferences, &QAction::triggered, this,
            [this] { showPreferences(preferencesWindow().currentPane()); });
    connect(actions_->showInfo, &QAction::triggered, this, [this] {
        const QList<PlaylistItemRef> selected = window_->table()->selectedItems();
        if (selected.size() == 1) showTrackInfo(selected.front());
    });
    connect(window_.get(), &MainWindow::showInfoRequested, this, &AppDelegate::showTrackInfo);
    connect(&notifications_, &Notifications::findFiles, this, &AppDelegate::showSearch);
    connect(actions_->about, &QAction::triggered, this, &AppDelegate::showAbout);
    connect(actions_->keyboardShortcuts, &QAction::triggered, this, &AppDelegate::showKeyboardShortcuts);
}

PreferencesWindow& AppDelegate::preferencesWindow() {
    if (!preferencesWindow_) {
        const PreferencesWindow::Parts parts{
            .preferences = *preferences_,
            .notifications = notifications_,
            .player = *player_,
            .library = *library_,
            .folders = *folders_,
            .folderStorage = db_,
            .countQueue = queues_->artwork,
            .alwaysOnTop = actions_->alwaysOnTop,
        };
        preferencesWindow_ = new PreferencesWindow(parts, window_.get());
        connect(preferencesWindow_, &PreferencesWindow::timeDisplayChanged, window_->panel(), &TrackPanel::refreshTime);
    }
    return *preferencesWindow_;
}

TrackInfoWindow& AppDelegate::infoWindow() {
    if (!infoWindow_) infoWindow_ = new TrackInfoWindow(*player_, queues_->artwork, window_.get());
    return *infoWindow_;
}

void AppDelegate::showPreferences(PreferencesWindow::Pane pane) { preferencesWindow().showPane(pane); }

void AppDelegate::showTrackInfo(const PlaylistItemRef& item) {
    if (item) infoWindow().showTrack(item->track()->path);
}

SearchBox& AppDelegate::searchBox() {
    if (!search_) {
        search_ = std::make_unique<SearchBox>(*player_, db_, *library_, *queues_);
        connect(search_.get(), &SearchBox::libraryPreferencesRequested, this,
                [this] { showPreferences(PreferencesWindow::Pane::Library); });
    }
    return *search_;
}

void AppDelegate::showSearch() { searchBox().present(); }

void AppDelegate::showAbout() {
    if (!about_) about_ = new AboutDialog(window_.get());
    about_->show();
    about_->raise();
    about_->activateWindow();
}

void AppDelegate::showKeyboardShortcuts() {
    if (!shortcuts_) shortcuts_ = new KeyboardShortcutsWindow(actions_->all(), *preferences_, window_.get());
    shortcuts_->show();
    shortcuts_->raise();
    shortcuts_->activateWindow();
}

void AppDelegate::publishMediaControls(bool secondCopy) {
    MprisHooks hooks{
        .raise = [this] { activateWindow(); },
        .quit = [] { QApplication::quit(); },
    };
    mpris_ = std::make_unique<MprisService>(*player_, std::move(hooks),
                                            secondCopy ? MprisService::instanceBusName() : MprisService::defaultBusName());
}

void AppDelegate::activateWindow() {
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void AppDelegate::openFiles(const QStringList& paths) { batch_->add(paths); }


void AppDelegate::terminate() {
    if (terminated_) return;
    terminated_ = true;
    tray_->dropStatusLine();
    window_->saveLayout();
    if (search_) search_->saveGeometryToSettings();
    window_->saver()->finish();
    preferences_->volume = player_->volume();
    // Saves the playlist in the database and the current item and the rest of the preferences.
    player_->savePlaylist();
}

}  // namespace sonvale
