#pragma once

#include <QStringList>

namespace sonvale {

class Player;

// Hands paths chosen or dropped by the user to the player: enqueued after the playlist, which
// never interrupts what plays, or opened in its place, which starts the first opened item.
// Returns the number of items added. Main thread only.
qsizetype openPaths(Player& player, const QStringList& paths, bool enqueue);

}  // namespace sonvale
