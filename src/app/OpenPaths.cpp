#include "OpenPaths.h"

#include "Player.h"

namespace sonvale {

qsizetype openPaths(Player& player, const QStringList& paths, bool enqueue) {
    const QList<PlaylistItemRef> items = player.open(paths, enqueue);
    if (!enqueue && !items.isEmpty()) player.playItem(items.front(), true);
    return items.size();
}

}  // namespace sonvale
