#include "Index.h"

#include <gtest/gtest.h>

#include <memory>

using namespace sonvale;
using namespace Qt::StringLiterals;

// The tokens come from the path, title, artist and album.
TEST(Index, ListsEachTrackOncePerTokenInTheOrderAdded) {
    const auto c = std::make_shared<Track>(u"/Love/love.mp3"_s);
    c->title = u"Love, LOVE, l\u00f3ve"_s;
    c->artist = u"The Lovers"_s;
    c->album = u"Hits"_s;
    const auto a = std::make_shared<Track>(u"/m/a.mp3"_s);
    a->title = u"Love songs"_s;
    Index index;
    index.add(c);
    index.add(a);
    index.add(std::make_shared<Track>());
    EXPECT_EQ(index.occurences.size(), 7);
    EXPECT_EQ(index.occurences.value(u"love"_s), QList<TrackRef>({c, a}));
    EXPECT_EQ(index.occurences.value(u"lovers"_s), QList<TrackRef>({c}));
    EXPECT_EQ(index.occurences.value(u"hits"_s), QList<TrackRef>({c}));
    EXPECT_EQ(index.occurences.value(u"m"_s), QList<TrackRef>({a}));
}

// The digest follows every indexed text, where each one ends, and nothing else; its value is
// kept in databases, so it must not change from build to build.
TEST(Index, DigestFollowsTheIndexedTextsOnly) {
    Track track(u"/m/Caf\u00e9 Song.flac"_s);
    track.title = u"ab"_s;
    track.artist = u"c"_s;
    const quint64 digest = indexTextsDigest(track);
    EXPECT_EQ(digest, 259595746159700630ULL);

    Track same = track;
    same.track = u"7"_s;
    same.size = 99;
    EXPECT_EQ(indexTextsDigest(same), digest);
    Track moved = track;
    moved.title = u"a"_s;
    moved.artist = u"bc"_s;
    EXPECT_NE(indexTextsDigest(moved), digest);
    // One unit changed inside a whole word of four, and in the tail.
    for (const qsizetype at : {qsizetype(1), track.path.size() - 1}) {
        Track changed = track;
        changed.path[at] = u'x';
        EXPECT_NE(indexTextsDigest(changed), digest) << at;
    }
    Track emptyAlbum = track;
    emptyAlbum.album = u""_s;
    EXPECT_EQ(indexTextsDigest(emptyAlbum), digest);
    emptyAlbum.album = u"Hits"_s;
    EXPECT_NE(indexTextsDigest(emptyAlbum), digest);
}
