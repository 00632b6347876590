#pragma once

#include "Track.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace sonvale {
class DB;
}

// A synthetic music library for the search benchmark: /home/user/Music/Artist/Album/NN Title.ext
// with the same artist, album and title in the tags. Words come from a fixed list of common
// song words followed by made-up syllable words (a few with diacritics), drawn with a
// Zipf-like skew, so that the token counts resemble a real collection (about 30,000 distinct
// tokens and 11 per track at 100,000 tracks). Deterministic: the first N tracks are the same
// for every library size and on every machine.
class LibraryGenerator {
public:
    explicit LibraryGenerator(std::uint64_t seed = 20240611);

    // Tracks 1..count (pk = position), status scanned; folder left 0.
    QList<sonvale::TrackRef> tracks(int count);
    // Stores `tracks` with their tokens in `db` under a new library folder at `root`, in
    // batches of 1000 as a scan does.
    static void store(sonvale::DB& db, const QList<sonvale::TrackRef>& tracks, const QString& root);
    // The tokens of a track's title, artist and album, sorted: the words a person types (path
    // tokens such as "home" and "music" are not).
    static QStringList tagTokens(const sonvale::Track& track);
    // A number in [0, n) from the sequence kept in `state`, for drawing queries: the same
    // queries in every run and on every machine.
    static qsizetype draw(std::uint64_t& state, qsizetype n);

private:
    std::uint64_t next();
    int uniform(int n) { return int(next() % std::uint64_t(n)); }
    // Rank in [0, n) with probability falling roughly as 1 / (rank + 1).
    int skewed(int n);
    QString words(int min, int max, bool capitalise);

    std::uint64_t state_;
    QStringList vocabulary_;
};
