#include "SearchIndex.h"

#include <algorithm>
#include <bit>

namespace sonvale {

namespace {

std::size_t wordsFor(std::size_t bits) {
    return (bits + 63) / 64;
}

}  // namespace

void SearchIndex::clear() {
    *this = SearchIndex();
}

void SearchIndex::setTrack(qint64 id, std::string_view path, bool hasFolder) {
    ++changes_;
    const auto [entry, added] = slotOfTrack_.try_emplace(id, std::uint32_t(tracks_.size()));
    if (added) {
        // Appending keeps the slots in path order only when the new path sorts last.
        if (!tracks_.empty() && std::string_view(tracks_.back().path) >= path) ordered_ = false;
        tracks_.push_back(Track{id, std::string(path)});
        hasFolder_.resize(wordsFor(tracks_.size()));
    } else if (tracks_[entry->second].path != path) {
        tracks_[entry->second].path = path;
        ordered_ = false;
    }
    setFolderBit(entry->second, hasFolder);
}

void SearchIndex::setHasFolder(qint64 id, bool hasFolder) {
    const auto entry = slotOfTrack_.find(id);
    if (entry == slotOfTrack_.end()) return;
    ++changes_;
    setFolderBit(entry->second, hasFolder);
}

void SearchIndex::removeTrack(qint64 id) {
    const auto entry = slotOfTrack_.find(id);
    if (entry == slotOfTrack_.end()) return;
    ++changes_;
    retire(entry->second);
    setFolderBit(entry->second, false);
    tracks_[entry->second].alive = false;
    slotOfTrack_.erase(entry);
}

void SearchIndex::clearOccurrences(qint64 id) {
    const auto entry = slotOfTrack_.find(id);
    if (entry == slotOfTrack_.end()) return;
    ++changes_;
    retire(entry->second);
}

void SearchIndex::addToken(qint64 id, std::string_view text) {
    if (tokenById_.contains(id)) return;
    ++changes_;
    const auto slot = std::uint32_t(postings_.size());
    postings_.emplace_back();
    tokenById_.emplace(id, slot);
    tokenByText_.emplace(std::string(text), slot);
}

void SearchIndex::addOccurrence(qint64 tokenId, qint64 trackId) {
    const auto token = tokenById_.find(tokenId);
    const auto track = slotOfTrack_.find(trackId);
    if (token == tokenById_.end() || track == slotOfTrack_.end()) return;
    ++changes_;
    Track& entry = tracks_[track->second];
    postings_[token->second].push_back(Posting{track->second, entry.generation});
    ++entry.postings;
}

void SearchIndex::setFolderBit(std::uint32_t slot, bool on) {
    const std::uint64_t bit = std::uint64_t(1) << (slot % 64);
    if (on) {
        hasFolder_[slot / 64] |= bit;
    } else {
        hasFolder_[slot / 64] &= ~bit;
    }
}

void SearchIndex::retire(std::uint32_t slot) {
    Track& track = tracks_[slot];
    ++track.generation;
    deadPostings_ += track.postings;
    track.postings = 0;
}

QStringList SearchIndex::search(const std::vector<std::string>& words, std::size_t limit) {
    // A burst of writes (a scan) would pay for a renumbering per search: wait for a quiet spell.
    if ((!ordered_ || deadPostings_ > 0) && changes_ == changesAtLastSearch_) reorganize();
    changesAtLastSearch_ = changes_;

    // The statement's asymmetry: only a lone word caps the tokens it takes.
    const std::size_t tokenLimit = words.size() == 1 ? limit : std::size_t(-1);
    Bitmap found = hasFolder_;
    for (const std::string& word : words) {
        const Bitmap matches = matching(word, tokenLimit);
        bool any = false;
        for (std::size_t i = 0; i < found.size(); ++i) {
            found[i] &= matches[i];
            any = any || found[i] != 0;
        }
        if (!any) return {};
    }
    return ordered_ ? pathsInSlotOrder(found, limit) : pathsSorted(found, limit);
}

SearchIndex::Bitmap SearchIndex::matching(const std::string& word, std::size_t tokenLimit) const {
    Bitmap bits(wordsFor(tracks_.size()));
    const bool checkGenerations = deadPostings_ > 0;
    std::size_t taken = 0;
    for (auto token = tokenByText_.lower_bound(word);
         token != tokenByText_.end() && token->first.starts_with(word) && taken < tokenLimit; ++token, ++taken) {
        for (const Posting& posting : postings_[token->second]) {
            if (checkGenerations && !isLive(posting)) continue;
            bits[posting.slot / 64] |= std::uint64_t(1) << (posting.slot % 64);
        }
    }
    return bits;
}

QStringList SearchIndex::pathsInSlotOrder(const Bitmap& found, std::size_t limit) const {
    QStringList paths;
    for (std::size_t i = 0; i < found.size() && std::size_t(paths.size()) < limit; ++i) {
        for (std::uint64_t bits = found[i]; bits != 0 && std::size_t(paths.size()) < limit; bits &= bits - 1) {
            const std::string& path = tracks_[i * 64 + std::size_t(std::countr_zero(bits))].path;
            paths.append(QString::fromUtf8(path.data(), qsizetype(path.size())));
        }
    }
    return paths;
}

QStringList SearchIndex::pathsSorted(const Bitmap& found, std::size_t limit) const {
    std::vector<const std::string*> matches;
    for (std::size_t i = 0; i < found.size(); ++i) {
        for (std::uint64_t bits = found[i]; bits != 0; bits &= bits - 1) {
            matches.push_back(&tracks_[i * 64 + std::size_t(std::countr_zero(bits))].path);
        }
    }
    // Bytewise, as SQLite's binary collation: char_traits<char> compares bytes unsigned.
    const auto shown = matches.begin() + std::ptrdiff_t(std::min(limit, matches.size()));
    std::partial_sort(matches.begin(), shown, matches.end(),
                      [](const std::string* a, const std::string* b) { return *a < *b; });
    QStringList paths;
    paths.reserve(qsizetype(shown - matches.begin()));
    for (auto match = matches.begin(); match != shown; ++match) {
        paths.append(QString::fromUtf8((*match)->data(), qsizetype((*match)->size())));
    }
    return paths;
}

void SearchIndex::reorganize() {
    std::vector<std::uint32_t> order;
    order.reserve(slotOfTrack_.size());
    for (std::uint32_t slot = 0; slot < tracks_.size(); ++slot) {
        if (tracks_[slot].alive) order.push_back(slot);
    }
    std::sort(order.begin(), order.end(),
              [this](std::uint32_t a, std::uint32_t b) { return tracks_[a].path < tracks_[b].path; });

    constexpr std::uint32_t kGone = std::uint32_t(-1);
    std::vector<std::uint32_t> renumbered(tracks_.size(), kGone);
    std::vector<Track> tracks;
    tracks.reserve(order.size());
    Bitmap hasFolder(wordsFor(order.size()));
    for (const std::uint32_t slot : order) {
        const auto next = std::uint32_t(tracks.size());
        renumbered[slot] = next;
        if (hasFolder_[slot / 64] & (std::uint64_t(1) << (slot % 64))) {
            hasFolder[next / 64] |= std::uint64_t(1) << (next % 64);
        }
        tracks.push_back(Track{tracks_[slot].id, std::move(tracks_[slot].path)});
        slotOfTrack_[tracks.back().id] = next;
    }
    for (std::vector<Posting>& list : postings_) {
        std::vector<Posting> kept;
        kept.reserve(list.size());
        for (const Posting& posting : list) {
            if (!isLive(posting) || renumbered[posting.slot] == kGone) continue;
            kept.push_back(Posting{renumbered[posting.slot], 0});
            ++tracks[renumbered[posting.slot]].postings;
        }
        list = std::move(kept);
    }
    tracks_ = std::move(tracks);
    hasFolder_ = std::move(hasFolder);
    ordered_ = true;
    deadPostings_ = 0;
}

}  // namespace sonvale
