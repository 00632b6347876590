#include "PlaybackOrder.h"

#include <QRandomGenerator>

#include <algorithm>

namespace sonvale {

namespace {

// How many of the latest history entries a shuffle draw avoids at most.
constexpr qsizetype shuffleMemory = 5;

}  // namespace

PlaybackOrder::PlaybackOrder() : PlaybackOrder([] { return QRandomGenerator::system()->generate(); }) {}

PlaybackOrder::PlaybackOrder(RandomSource random) : random_(std::move(random)) {}

Move PlaybackOrder::next(const Playlist& playlist, PlaybackMode mode) const {
    switch (mode) {
    case PlaybackMode::Normal:
    case PlaybackMode::RepeatOne: return advanceNormal(playlist);
    case PlaybackMode::RepeatAll: return advanceRepeatAll(playlist);
    case PlaybackMode::Shuffle: return advanceShuffle(playlist);
    case PlaybackMode::Single: return Move::stop();
    }
    return Move::stop();
}

Move PlaybackOrder::finished(const Playlist& playlist, PlaybackMode mode) const {
    if (mode == PlaybackMode::RepeatOne) return Move::restart();
    return next(playlist, mode);
}

Move PlaybackOrder::previous(const Playlist& playlist, PlaybackMode mode) {
    if (!playlist.current()) return Move::nothing();
    if (mode == PlaybackMode::Shuffle) {
        if (recent_.size() < 2) return Move::nothing();
        PlaylistItemRef target = recent_[recent_.size() - 2];
        recent_.removeLast();
        return Move::goTo(std::move(target), false);
    }
    const std::optional<qsizetype> index = playlist.currentIndex();
    if (!index || *index == 0) return Move::nothing();
    return Move::goTo(playlist.items[*index - 1], true);
}

Move PlaybackOrder::advanceNormal(const Playlist& playlist) const {
    const std::optional<qsizetype> index = playlist.currentIndex();
    if (!index || *index >= playlist.items.size() - 1) return Move::stop();
    return Move::goTo(playlist.items[*index + 1], true);
}

Move PlaybackOrder::advanceRepeatAll(const Playlist& playlist) const {
    const std::optional<qsizetype> index = playlist.currentIndex();
    if (!index) return Move::stop();
    return Move::goTo(playlist.items[(*index + 1) % playlist.items.size()], true);
}

Move PlaybackOrder::advanceShuffle(const Playlist& playlist) const {
    if (playlist.items.isEmpty()) return Move::stop();
    const qsizetype memory = std::min({playlist.items.size() - 1, recent_.size(), shuffleMemory});
    const auto excluded = recent_.cend() - std::max<qsizetype>(memory, 0);
    QList<PlaylistItemRef> candidates;
    candidates.reserve(playlist.items.size());
    for (const PlaylistItemRef& item : playlist.items) {
        const bool remembered = std::any_of(excluded, recent_.cend(),
                                            [&](const PlaylistItemRef& entry) { return *entry == *item; });
        if (!remembered) candidates.append(item);
    }
    // Only history entries that left the playlist without being forgotten could exhaust it.
    if (candidates.isEmpty()) return Move::stop();
    const quint32 draw = random_();
    return Move::goTo(candidates[qsizetype(draw % quint32(candidates.size()))], true);
}

bool PlaybackOrder::hasNext(const Playlist& playlist) {
    if (!playlist.current()) return false;
    if (playlist.items.isEmpty()) return true;
    return *playlist.items.last() != *playlist.current();
}

bool PlaybackOrder::hasPrevious(const Playlist& playlist) {
    if (!playlist.current()) return false;
    if (playlist.items.isEmpty()) return true;
    return *playlist.items.first() != *playlist.current();
}

SeekStep PlaybackOrder::seek(bool relative, double seconds, double elapsed, double duration) {
    if (!relative) return {SeekStep::Kind::SeekTo, seconds};
    const double target = elapsed + seconds;
    if (target < 0) return {SeekStep::Kind::Previous, target};
    if (target >= duration) return {SeekStep::Kind::Finished, target};
    return {SeekStep::Kind::SeekTo, target};
}

void PlaybackOrder::remember(PlaylistItemRef item) {
    recent_.append(std::move(item));
}

void PlaybackOrder::forget(const PlaylistItem& item) {
    recent_.removeIf([&](const PlaylistItemRef& entry) { return *entry == item; });
}

void PlaybackOrder::clearHistory() {
    recent_.clear();
}

}  // namespace sonvale
