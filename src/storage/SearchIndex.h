#pragma once

#include <QStringList>
#include <QtGlobal>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sonvale {

// A copy in memory of what the prefix search reads: every track's path and whether it has a
// folder, every token, and the occurrence rows. It answers exactly what the search statement
// over those tables answers (the paths of the tracks with a folder that have, for every word, a
// token beginning with it; bytewise by path; at most `limit`; a lone word taking at most
// `limit` of its tokens), without going through SQLite.
//
// Texts are in normalization form C, as stored; tokens and words are compared as UTF-8 bytes and
// paths ordered as SQLite orders their UTF-8 bytes. The owner mirrors into it every change it
// commits to those tables, from the same lock that guards the tables, and calls nothing else
// concurrently: the index has no lock of its own. A plain value otherwise.
class SearchIndex {
public:
    // Forgets everything; load again with the setters below.
    void clear();

    // Adds track `id` or changes its path and folder flag; its occurrences stay.
    void setTrack(qint64 id, const QString& path, bool hasFolder);
    void setHasFolder(qint64 id, bool hasFolder);
    // Removes track `id` with its occurrences.
    void removeTrack(qint64 id);
    // Removes the occurrences of track `id`; the track stays.
    void clearOccurrences(qint64 id);
    // Adds token `id` (ids and texts never change once given).
    void addToken(qint64 id, std::string_view text);
    // Adds one occurrence row; ignored when the token or the track is unknown.
    void addOccurrence(qint64 tokenId, qint64 trackId);

    // The matching paths; `words` must not be empty.
    QStringList search(const std::vector<std::string>& words, std::size_t limit);

private:
    struct Track {
        qint64 id = 0;
        // Kept as the QString handed out, so that a result shares it instead of converting it.
        QString path;
        std::uint32_t generation = 0;
        // Occurrences added since the generation last moved on.
        std::uint32_t postings = 0;
        bool alive = true;
    };
    // An occurrence holds while its generation is the track's current one: clearing a track's
    // occurrences or removing the track only moves its generation on.
    struct Posting {
        std::uint32_t slot;
        std::uint32_t generation;
    };
    using Bitmap = std::vector<std::uint64_t>;
    // The tracks of one token as a bitmap, as of change `changes`.
    struct Dense {
        Bitmap bits;
        std::uint64_t changes = 0;
    };
    // What a word of one character matches, all its tokens taken, as of change `changes`.
    struct Prefix {
        Bitmap bits;
        std::size_t tokens = 0;
        std::uint64_t changes = 0;
    };

    bool isLive(const Posting& posting) const { return tracks_[posting.slot].generation == posting.generation; }
    void setFolderBit(std::uint32_t slot, bool on);
    void retire(std::uint32_t slot);
    // The slots of the tracks that have a token beginning with `word`, at most `tokenLimit`
    // tokens of it taken.
    Bitmap matching(const std::string& word, std::size_t tokenLimit);
    // The bitmap of token `slot`, from the cache when it is current.
    const Bitmap& denseBits(std::uint32_t slot);
    // matching() for a word of one character, from the cache when it is current.
    const Bitmap& matchingOneCharacter(const std::string& word, std::size_t tokenLimit);
    QStringList pathsInSlotOrder(const Bitmap& found, std::size_t limit) const;
    QStringList pathsSorted(const Bitmap& found, std::size_t limit) const;
    // Renumbers the live tracks in path order and drops the dead occurrences.
    void reorganize();

    std::vector<Track> tracks_;
    std::unordered_map<qint64, std::uint32_t> slotOfTrack_;
    Bitmap hasFolder_;
    // Token text -> its slot in postings_, in byte order so that a prefix is one range.
    std::map<std::string, std::uint32_t, std::less<>> tokenByText_;
    std::unordered_map<qint64, std::uint32_t> tokenById_;
    std::vector<std::vector<Posting>> postings_;
    // The words of one character are the most costly (they take the most tracks) and the
    // fewest: each one's matches are kept until the next change.
    std::unordered_map<std::string, Prefix> oneCharacter_;
    // A token in a large share of the tracks ("music" of every path) costs a bit per track;
    // its bitmap, kept until the next change, costs one OR per 64 tracks.
    std::unordered_map<std::uint32_t, Dense> dense_;
    Bitmap uncached_;

    // True while the slots are in path order, so the results need no sort.
    bool ordered_ = true;
    std::size_t deadPostings_ = 0;
    // Changes so far, and their count at the previous search: the slots are renumbered only
    // when nothing changed between two searches, not during a scan's stream of writes.
    std::uint64_t changes_ = 0;
    std::uint64_t changesAtLastSearch_ = 0;
};

}  // namespace sonvale
