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
