#pragma once

#include "PlaylistItem.h"

#include <QList>

#include <optional>

namespace sonvale {

// The ordered items and the current one. The current item is normally one of `items`, but an
// item removed while it plays stays current until the next move. Not thread-safe: the player
// guards `items` with its playlist lock and changes the current item on the main thread.
class Playlist {
public:
    QList<PlaylistItemRef> items;

    const PlaylistItemRef& current() const { return current_; }
    // Makes `item` (may be null) current. Moving away from an item releases what its track
    // loaded for display (the artwork); setting the same item again keeps it.
    void setCurrent(PlaylistItemRef item);

    // The position of the item with the identity of `item`, scanning from the front.
    std::optional<qsizetype> indexOf(const PlaylistItem& item) const;
    // The position of the current item; std::nullopt with no current item or when it is no
    // longer in `items`.
    std::optional<qsizetype> currentIndex() const;

private:
    PlaylistItemRef current_;
};

}  // namespace sonvale
