#pragma once

#include "PlaybackMode.h"

#include <QObject>

#include <array>

class QAction;
class QActionGroup;
class QMenuBar;

namespace sonvale {

class Notifications;
class Player;

// The application's commands as actions with their shortcuts, the menu bar made of them, and the
// rules that keep them in step with the player: the transport items enabled by what can be done
// now (Space belongs to exactly one of Play and Pause), the playback-mode marks, and the commands
// that need a selection. Commands that concern the playlist view are posted as notifications for
// the main window; the rest go to the player. Main thread only; the player and the notifications
// must outlive the actions.
class AppActions : public QObject {
    Q_OBJECT
public:
    AppActions(Player& player, Notifications& notifications, QObject* parent = nullptr);

    // File, Edit, Playback, View and Help menus in `menuBar`.
    void fillMenuBar(QMenuBar* menuBar) const;
    // Every action, in menu order; a window adds them so that their shortcuts work in it.
    QList<QAction*> all() const;

    // Play and its menu item when not playing, Pause and seeking while playing, Next and
    // Previous when the playback mode has somewhere to go; Space moves to the enabled one of
    // Play and Pause.
    void refreshTransport();
    // Checks the item of the player's playback mode.
    void refreshModeMarks();
    // Copy Track Info needs one selected row or more, Show Info exactly one, Export Selection
    // two or more.
    void enableSelectionCommands(int selectedRows);

    QAction* const open;
    QAction* const exportPlaylist;
    QAction* const exportSelection;
    QAction* const quit;
    QAction* const selectAll;
    QAction* const copyTrackInfo;
    QAction* const find;
    QAction* const clearPlaylist;
    QAction* const showInfo;
    QAction* const preferences;
    QAction* const play;
    QAction* const pause;
    QAction* const playPause;
    QAction* const previous;
    QAction* const next;
    QAction* const seekBackward;
    QAction* const seekForward;
    std::array<QAction*, 5> modes;  // in raw-value order
    QAction* const cycleMode;
    QAction* const scrollToCurrent;
    QAction* const alwaysOnTop;
    QAction* const keyboardShortcuts;
    QAction* const about;

private:
    void connectCommands();

    Player& player_;
    Notifications& notifications_;
    QActionGroup* modeGroup_;
};

// The mode that follows `mode` when the user cycles through them.
PlaybackMode nextPlaybackMode(PlaybackMode mode);
// "Normal", "Repeat All", "Repeat One", "Shuffle" or "Single".
QString playbackModeTitle(PlaybackMode mode);

}  // namespace sonvale
