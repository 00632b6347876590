#include "Index.h"
#include "Indexable.h"

#include <gtest/gtest.h>

#include <memory>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

TrackRef makeTrack(const char* path, const char* title, const char* artist = "", const char* album = "") {
    auto track = std::make_shared<Track>(QString::fromUtf8(path));
    track->title = QString::fromUtf8(title);
    track->artist = QString::fromUtf8(artist);
    track->album = QString::fromUtf8(album);
    return track;
}

}  // namespace

TEST(Index, TextsAreThePathAndTagsInOrderWithoutEmptyOnes) {
    EXPECT_EQ(indexTexts(*makeTrack("/m/a.flac", "T", "", "A")), u"/m/a.flac T A"_s.split(u' '));
    EXPECT_TRUE(indexTexts(Track()).isEmpty());
}

TEST(Index, ListsEachTrackOncePerTokenInTheOrderAdded) {
    const TrackRef c = makeTrack("/Love/love.mp3", "Love, LOVE, lóve", "The Lovers", "Love");
    const TrackRef a = makeTrack("/m/a.mp3", "Love songs");
    Index index;
    index.add(c);
    index.add(a);
    index.add(std::make_shared<Track>());
    EXPECT_EQ(index.occurences.size(), 6);
    EXPECT_EQ(index.occurences.value(u"love"_s), QList<TrackRef>({c, a}));
    EXPECT_EQ(index.occurences.value(u"lovers"_s), QList<TrackRef>({c}));
    EXPECT_EQ(index.occurences.value(u"songs"_s), QList<TrackRef>({a}));
}
