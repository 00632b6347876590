#include "PlaylistSaver.h"

#include "Player.h"

namespace sonvale {

PlaylistSaver::PlaylistSaver(Player& player, QObject* parent) : QObject(parent), player_(player) {
    savePlaylistDebounceTimer_.setSingleShot(true);
    savePlaylistDebounceTimer_.setInterval(5000);
    connect(&player_, &Player::playlistUpdated, this, [this] { savePlaylistDebounceTimer_.start(); });
    connect(&savePlaylistDebounceTimer_, &QTimer::timeout, this, [this] { emit saved(player_.savePlaylist()); });
}

}  // namespace sonvale
