#pragma once

#include "Notifications.h"
#include "PlaylistItem.h"
#include "PreferencesWindow.h"

#include <QObject>
#include <QStringList>

#include <memory>

namespace sonvale {

class AboutDialog;
class AppActions;
class DB;
class KeyboardShortcutsWindow;
class Library;
class LibraryFoldersModel;
class MainWindow;
class MprisService;
class OpenBatch;
class Player;
class Preferences;
class Queues;
class SearchBox;
class SignalWatcher;
class TrackInfoWindow;
class TrayIcon;

// The desktop program's shell: makes the shared objects in their order (preferences, database,
// queues, library, player), then the main window, the menus and the tray icon (the search window,
// the About box and the shortcuts window when first asked for); keeps the menus, the tray's
// status line and the transport controls in step with the player; turns paths handed to the
// program into one batch for the player; and saves the player's state and the
// preferences on every way out (Quit, closing the window, SIGTERM/SIGINT/SIGHUP, the session
// ending). Main thread only, after the QApplication exists.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    ~AppDelegate() override;

    // False when the database cannot be opened; nothing else can work then.
    bool isUsable() const;
    // The launch sequence: appearance, observers, library folders (no scan), menu states; then
    // shows the window.
    void launch();
    // Paths handed over (the command line, a file manager): collected for 0.25 s, then opened or
    // enqueued ("alwaysEnqueue") as one sorted batch.
    void openFiles(const QStringList& paths);
    // Publishes the player's media controls (MPRIS): under the program's own name, or under a
    // name of this process's own when another copy of the program runs.
    void publishMediaControls(bool secondCopy);
    // Shows the main window above the others.
    void activateWindow();
    // The library search window, made on first use (which starts loading the search's index).
    SearchBox& searchBox();
    // Shows the search window above the others, its field focused.
    void showSearch();
    void showAbout();
    void showKeyboardShortcuts();
    // The termination sequence; runs once, whatever asked for it first.
    void terminate();
    // Shows the preferences window on `pane` (the search window asks for the library pane).
    void showPreferences(PreferencesWindow::Pane pane);
    // Shows the track information window for `item`'s file.
    void showTrackInfo(const PlaylistItemRef& item);

    Preferences& preferences() { return *preferences_; }
    Player& player() { return *player_; }
    Notifications& notifications() { return notifications_; }
    MainWindow& window() { return *window_; }
    AppActions& actions() { return *actions_; }
    TrayIcon& tray() { return *tray_; }
    OpenBatch& batch() { return *batch_; }
    Library& library() { return *library_; }
    LibraryFoldersModel& folders() { return *folders_; }
    // The two secondary windows, made on first use and then kept.
    PreferencesWindow& preferencesWindow();
    TrackInfoWindow& infoWindow();

private:
    // The library database, with the saved current playlist item made to follow its entry when
    // the file was found damaged and rebuilt.
    static std::shared_ptr<DB> openDatabase(Preferences& preferences);
    // After a damaged database was rebuilt: scans the folders carried over and tells the user.
    void reportRecovery();
    void registerObservers();
    void connectCommands();

    std::unique_ptr<Preferences> preferences_;
    std::shared_ptr<DB> db_;
    std::unique_ptr<Queues> queues_;
    // Before the library: a listener outlives the library that calls it.
    std::unique_ptr<LibraryFoldersModel> folders_;
    std::unique_ptr<Library> library_;
    std::unique_ptr<Player> player_;
    Notifications notifications_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<MprisService> mpris_;
    // Made on first use; the search window goes before the library it listens to.
    std::unique_ptr<SearchBox> search_;
    AboutDialog* about_ = nullptr;
    KeyboardShortcutsWindow* shortcuts_ = nullptr;
    AppActions* actions_ = nullptr;
    TrayIcon* tray_ = nullptr;
    OpenBatch* batch_ = nullptr;
    SignalWatcher* signals_ = nullptr;
    // Children of the main window, so they go with it.
    PreferencesWindow* preferencesWindow_ = nullptr;
    TrackInfoWindow* infoWindow_ = nullptr;
    bool terminated_ = false;
};

}  // namespace sonvale
