#pragma once

#include <QObject>

namespace sonvale {

// The application's named notifications that are not the player's own: the commands the menus
// post for the main window, and the changes of preferences that windows react to. One object is
// shared by the whole application; every notification is posted queued, so a receiver runs on
// the main thread after the poster has returned. Main thread only.
class Notifications : public QObject {
    Q_OBJECT
public:
    using Signal = void (Notifications::*)();

    // Emits `signal` from the event loop.
    void post(Signal signal);
    // Emits selectionChanged(count) from the event loop.
    void postSelectionChanged(int count);

signals:
    void selectAll();
    void selectCurrent();
    void copySelection();
    void openFiles();
    void findFiles();
    void exportSelection();
    void exportPlaylist();
    void labelsChanged();
    void winampKeysChanged();
    // One of the ReplayGain preferences changed: a file opened from now on plays with the new
    // gain; a receiver may apply it to the file that is playing.
    void replayGainChanged();
    // The number of selected playlist rows changed.
    void selectionChanged(int count);
};

}  // namespace sonvale
