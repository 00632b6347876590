#include "SearchIndex.h"

#include <algorithm>
#include <bit>

namespace sonvale {

namespace {

std::size_t wordsFor(std::size_t bits) {
    return (bits + 63) / 64;
}

// UTF-16 code units moved so that they compare in code point order, which is the byte order
// of UTF-8: the surrogates go above the rest of the basic plane.
char32_t orderOf(char16_t unit) {
    if (unit >= 0xE000) return unit - 0x800;
    if (unit >= 0xD800) return unit + 0x2000;
    return unit;
}

bool pathLess(const QString& a, const QString& b) {
    const qsizetype common = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < common; ++i) {
        const char16_t x = a[i].unicode();
        const char16_t y = b[i].unicode();
        if (x != y) return orderOf(x) < orderOf(y);
    }
    return a.size() < b.size();
}

// The length in bytes of the first UTF-8 character of `text`.
std::size_t firstCharacterBytes(const std::string& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    return lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

}  // namespace

void SearchIndex::clear() {
    *this = SearchIndex();
}

void SearchIndex::setTrack(qint64 id, const QString& path, bool hasFolder) {
    ++changes_;
    const auto [entry, added] = slotOfTrack_.try_emplace(id, std::uint32_t(tracks_.size()));
    if (added) {
        // Appending keeps the slots in path order only when the new path sorts last.
        if (!tracks_.empty() && !pathLess(tracks_.back().path, path)) ordered_ = false;
        tracks_.push_back(Track{id, path});
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
        const bool oneCharacter = firstCharacterBytes(word) >= word.size();
        if (!oneCharacter) uncached_ = matching(word, tokenLimit);
        const Bitmap& matches = oneCharacter ? matchingOneCharacter(word, tokenLimit) : uncached_;
        bool any = false;
        for (std::size_t i = 0; i < found.size(); ++i) {
            found[i] &= matches[i];
            any = any || found[i] != 0;
        }
        if (!any) return {};
    }
    return ordered_ ? pathsInSlotOrder(found, limit) : pathsSorted(found, limit);
}

SearchIndex::Bitmap SearchIndex::matching(const std::string& word, std::size_t tokenLimit) {
    Bitmap bits(wordsFor(tracks_.size()));
    // Past this many tracks a token's bitmap is cheaper to OR in than its tracks to set.
    const std::size_t denseFrom = std::max<std::size_t>(bits.size() * 2, 2);
    const bool checkGenerations = deadPostings_ > 0;
    std::size_t taken = 0;
    for (auto token = tokenByText_.lower_bound(word);
         token != tokenByText_.end() && token->first.starts_with(word) && taken < tokenLimit; ++token, ++taken) {
        const std::vector<Posting>& list = postings_[token->second];
        if (list.size() >= denseFrom) {
            const Bitmap& dense = denseBits(token->second);
            for (std::size_t i = 0; i < bits.size(); ++i) bits[i] |= dense[i];
            continue;
        }
        for (const Posting& posting : list) {
            if (checkGenerations && !isLive(posting)) continue;
            bits[posting.slot / 64] |= std::uint64_t(1) << (posting.slot % 64);
        }
    }
    return bits;
}

const SearchIndex::Bitmap& SearchIndex::denseBits(std::uint32_t slot) {
    Dense& dense = dense_[slot];
    if (dense.changes == changes_ && !dense.bits.empty()) return dense.bits;
    dense.bits.assign(wordsFor(tracks_.size()), 0);
    const bool checkGenerations = deadPostings_ > 0;
    for (const Posting& posting : postings_[slot]) {
        if (checkGenerations && !isLive(posting)) continue;
        dense.bits[posting.slot / 64] |= std::uint64_t(1) << (posting.slot % 64);
    }
    dense.changes = changes_;
    return dense.bits;
}

const SearchIndex::Bitmap& SearchIndex::matchingOneCharacter(const std::string& word, std::size_t tokenLimit) {
    Prefix& prefix = oneCharacter_[word];
    if (prefix.changes != changes_ || prefix.bits.empty()) {
        prefix.bits = matching(word, std::size_t(-1));
        prefix.tokens = 0;
        for (auto token = tokenByText_.lower_bound(word); token != tokenByText_.end() && token->first.starts_with(word);
             ++token) {
            ++prefix.tokens;
        }
        prefix.changes = changes_;
    }
    // A lone word over the token limit takes only some of its tokens: not what is cached.
    if (prefix.tokens <= tokenLimit) return prefix.bits;
    uncached_ = matching(word, tokenLimit);
    return uncached_;
}

QStringList SearchIndex::pathsInSlotOrder(const Bitmap& found, std::size_t limit) const {
    QStringList paths;
    for (std::size_t i = 0; i < found.size() && std::size_t(paths.size()) < limit; ++i) {
        for (std::uint64_t bits = found[i]; bits != 0 && std::size_t(paths.size()) < limit; bits &= bits - 1) {
            paths.append(tracks_[i * 64 + std::size_t(std::countr_zero(bits))].path);
        }
    }
    return paths;
}

QStringList SearchIndex::pathsSorted(const Bitmap& found, std::size_t limit) const {
    std::vector<const QString*> matches;
    for (std::size_t i = 0; i < found.size(); ++i) {
        for (std::uint64_t bits = found[i]; bits != 0; bits &= bits - 1) {
            matches.push_back(&tracks_[i * 64 + std::size_t(std::countr_zero(bits))].path);
        }
    }
    const auto shown = matches.begin() + std::ptrdiff_t(std::min(limit, matches.size()));
    std::partial_sort(matches.begin(), shown, matches.end(),
                      [](const QString* a, const QString* b) { return pathLess(*a, *b); });
    QStringList paths;
    paths.reserve(qsizetype(shown - matches.begin()));
    for (auto match = matches.begin(); match != shown; ++match) paths.append(**match);
    return paths;
}

void SearchIndex::reorganize() {
    std::vector<std::uint32_t> order;
    order.reserve(slotOfTrack_.size());
    for (std::uint32_t slot = 0; slot < tracks_.size(); ++slot) {
        if (tracks_[slot].alive) order.push_back(slot);
    }
    std::sort(order.begin(), order.end(),
              [this](std::uint32_t a, std::uint32_t b) { return pathLess(tracks_[a].path, tracks_[b].path); });

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
    // The slots moved: what was cached by slot is stale.
    ++changes_;
}

}  // namespace sonvale
