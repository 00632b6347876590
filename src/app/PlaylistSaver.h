#pragma once

#include "OperationQueue.h"

#include <QObject>
#include <QTimer>

namespace sonvale {

class Player;

// Saves the playlist and the current item a while after the playlist last changed (5 s unless
// changed), so a burst of edits costs one save. The database is written on a queue of the
// saver's own, so a large playlist never holds the window; restoring the saved playlist at start
// is no change and saves nothing. Main thread only; the player must outlive the saver, whose
// destruction waits for a save under way.
class PlaylistSaver : public QObject {
    Q_OBJECT
public:
    explicit PlaylistSaver(Player& player, QObject* parent = nullptr);

    void setInterval(int milliseconds) { savePlaylistDebounceTimer_.setInterval(milliseconds); }
    bool pending() const { return savePlaylistDebounceTimer_.isActive(); }
    // Drops a save still to come and waits for one under way, before a last save of the
    // playlist that must not be overtaken by an older one.
    void finish();

signals:
    // After each save; false when the database or the preferences could not be written.
    void saved(bool ok);

private:
    void savePlaylistDebounced();

    Player& player_;
    QTimer savePlaylistDebounceTimer_;
    quint64 savedRevision_;
    OperationQueue queue_{OperationQueue::Priority::background};
};

}  // namespace sonvale
