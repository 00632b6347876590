#pragma once

#include "KeyBinding.h"
#include "PlaylistItem.h"

#include <QObject>

#include <functional>

class QKeyEvent;
class QWidget;

namespace sonvale {

class Player;
class Preferences;

// Reads the keys typed while the main window is the active window, before its widgets do:
// Delete (or Backspace) removes the selected rows; Return plays the selected row when exactly
// one is selected; and, when the "winampKeys" preference is on and no command-like modifier
// (Ctrl, Alt, Meta) is held, z previous, x play, c pause, v stop and b next. Every other key
// passes on unchanged, as do all keys while another window is active.
// Main thread only; installs itself on the application and removes itself when destroyed.
class KeyMonitor : public QObject {
    Q_OBJECT
public:
    using Selection = std::function<QList<PlaylistItemRef>()>;

    enum Command { remove, playSelected, previous, play, pause, stop, next };

    KeyMonitor(QWidget& window, Player& player, const Preferences& preferences, Selection selection);
    ~KeyMonitor() override;

    // The playlist's keys, always read.
    static const QList<KeyBinding>& playlistKeys();
    // The single-key transport keys, read while the "winampKeys" preference is on.
    static const QList<KeyBinding>& winampKeys();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // True when the key was used.
    bool handle(const QKeyEvent& key);
    bool run(Command command);

    QWidget& window_;
    Player& player_;
    const Preferences& preferences_;
    Selection selection_;
};

}  // namespace sonvale
