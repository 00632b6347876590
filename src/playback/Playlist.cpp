#include "Playlist.h"

namespace sonvale {

void Playlist::setCurrent(PlaylistItemRef item) {
    PlaylistItemRef old = std::exchange(current_, std::move(item));
    if (old && (!current_ || *current_ != *old)) old->track()->resetArtwork();
}

std::optional<qsizetype> Playlist::indexOf(const PlaylistItem& item) const {
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (*items[i] == item) return i;
    }
    return std::nullopt;
}

std::optional<qsizetype> Playlist::currentIndex() const {
    if (!current_) return std::nullopt;
    return indexOf(*current_);
}

}  // namespace sonvale
