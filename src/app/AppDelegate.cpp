#include "AppDelegate.h"

#include "AppActions.h"
#include "Appearance.h"
#include "AudioFiles.h"
#include "DB.h"
#include "Library.h"
#include "MainWindow.h"
#include "MprisService.h"
#include "OpenBatch.h"
#include "PlaylistSaver.h"
#include "Player.h"
#include "Preferences.h"
#include "Queues.h"
#include "SignalWatcher.h"
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
    window_->saver()->finish();
    preferences_->volume = player_->volume();
    // Saves the playlist in the database and the current item and the rest of the preferences.
    player_->savePlaylist();
}

}  // namespace sonvale
