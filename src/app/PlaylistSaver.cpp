#include "PlaylistSaver.h"

#include "Player.h"

#include <QPointer>

namespace sonvale {

PlaylistSaver::PlaylistSaver(Player& player, QObject* parent)
    : QObject(parent), player_(player), savedRevision_(player.playlistRevision()) {
    savePlaylistDebounceTimer_.setSingleShot(true);
    savePlaylistDebounceTimer_.setInterval(5000);
    connect(&player_, &Player::playlistUpdated, this, [this] {
        if (player_.playlistRevision() != savedRevision_) savePlaylistDebounceTimer_.start();
    });
    connect(&savePlaylistDebounceTimer_, &QTimer::timeout, this, &PlaylistSaver::savePlaylistDebounced);
}

void PlaylistSaver::savePlaylistDebounced() {
    savedRevision_ = player_.playlistRevision();
    const QPointer<PlaylistSaver> guard(this);
    player_.savePlaylistInBackground(queue_, [guard](bool ok) {
        if (guard) emit guard->saved(ok);
    });
}

void PlaylistSaver::finish() {
    savePlaylistDebounceTimer_.stop();
    queue_.waitUntilAllOperationsAreFinished();
}

}  // namespace sonvale
