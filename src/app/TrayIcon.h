#pragma once

#include <QObject>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace sonvale {

class AppActions;
class Player;

// The icon in the desktop's tray, where it offers one: a click shows or hides the main window,
// and its menu starts with what is playing (a status line and a separator under it, both only
// while there is a current item), followed by Play/Pause, Previous, Next and Quit. Main thread
// only; the player and the actions must outlive it.
class TrayIcon : public QObject {
    Q_OBJECT
public:
    TrayIcon(Player& player, AppActions& actions, QObject* parent = nullptr);
    ~TrayIcon() override;

    QMenu* menu() const { return menu_.get(); }
    // Puts the current item's one-line description at the top of the menu, or takes the status
    // line and its separator away when nothing is current.
    void refreshStatusLine();
    // Takes the status line and its separator out for good, at the end of the run.
    void dropStatusLine();

signals:
    // The icon was clicked: the window should appear, or go away when it is shown.
    void toggleWindowRequested();

private:
    Player& player_;
    std::unique_ptr<QMenu> menu_;
    QAction* statusMenuItem_;
    QAction* statusMenuItemSeparator_;
    QSystemTrayIcon* icon_ = nullptr;
};

}  // namespace sonvale
