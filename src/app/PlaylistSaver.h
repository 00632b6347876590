#pragma once

#include <QObject>
#include <QTimer>

namespace sonvale {

class Player;

// Saves the playlist and the current item a while after the playlist last changed (5 s unless
// changed), so a burst of edits costs one save. Main thread only; the player must outlive it.
class PlaylistSaver : public QObject {
    Q_OBJECT
public:
    explicit PlaylistSaver(Player& player, QObject* parent = nullptr);

    void setInterval(int milliseconds) { savePlaylistDebounceTimer_.setInterval(milliseconds); }
    bool pending() const { return savePlaylistDebounceTimer_.isActive(); }

signals:
    // After each save; false when the database or the preferences could not be written.
    void saved(bool ok);

private:
    Player& player_;
    QTimer savePlaylistDebounceTimer_;
};

}  // namespace sonvale
