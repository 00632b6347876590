#pragma once

#include "PlaylistItem.h"

#include <QMainWindow>
#include <QTimer>

class QStackedWidget;

namespace sonvale {

class EmptyPlaylistView;
class Notifications;
class OperationQueue;
class Player;
class PlaylistModel;
class PlaylistSaver;
class PlaylistView;
class Preferences;
class TrackPanel;

// The player's one permanent window: the current track at the top (TrackPanel), the playlist
// table below (or an invitation to drop music while it is empty), and a status line for what
// could not be played. It handles the playlist commands the application posts (select all,
// select current, copy, open, export), saves the playlist a while after it last changed, and
// reads the single-key transport keys. It keeps no state of its own beyond the view: every
// change goes to the player. Main thread only; player, preferences, notifications and queue
// must outlive it.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow(Player& player, Preferences& preferences, Notifications& notifications,
               OperationQueue& artworkQueue, QWidget* parent = nullptr);
    ~MainWindow() override;

    void setAlwaysOnTop(bool onTop);
    // The geometry and the playlist's column widths, kept in the settings store.
    void saveLayout() const;
    void restoreLayout();

    // Opens or enqueues `paths` ("alwaysEnqueue" decides) as a drop or a file dialog does.
    void openUserPaths(const QStringList& paths);
    // A warning over the window that does not hold the caller up (window-modal, closed by the
    // user); `details` behind its details button.
    void showWarning(const QString& text, const QString& details);

    TrackPanel* panel() const { return panel_; }
    PlaylistModel* model() const { return model_; }
    PlaylistView* table() const { return table_; }
    PlaylistSaver* saver() const { return saver_; }

signals:
    // The user closed the window, which ends the program.
    void closed();
    // Show Info on a playlist row or on the current track's title.
    void showInfoRequested(sonvale::PlaylistItemRef item);

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void connectPlayer();
    void connectNotifications();
    void refreshPlaylistPage();
    void refreshWindowTitle();
    void copySelection();
    void exportTracks(bool selectionOnly);
    void showCannotPlay(const QString& path, const QString& reason);

    Player& player_;
    Preferences& preferences_;
    Notifications& notifications_;
    TrackPanel* panel_;
    PlaylistModel* model_;
    PlaylistView* table_;
    EmptyPlaylistView* emptyView_;
    QStackedWidget* stack_;
    PlaylistSaver* saver_;
    QTimer updateTimer_;
};

}  // namespace sonvale
