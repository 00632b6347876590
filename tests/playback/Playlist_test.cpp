#include "Playlist.h"

#include "MediaFactory.h"

#include <QFile>
#include <QSet>

#include <gtest/gtest.h>

using sonvale::Playlist;
using sonvale::PlaylistItem;
using sonvale::Track;
using namespace Qt::StringLiterals;

TEST(Playlist, ItemsOfOneFileAreDistinctButShareAHash) {
    const auto track = std::make_shared<Track>(u"/music/a.flac"_s);
    const PlaylistItem first(track), second(track);
    EXPECT_NE(first, second);
    EXPECT_EQ(qHash(first), qHash(second));

    Playlist playlist;
    playlist.items = {std::make_shared<PlaylistItem>(first), std::make_shared<PlaylistItem>(second)};
    playlist.setCurrent(playlist.items[1]);
    EXPECT_EQ(playlist.currentIndex(), 1);
    playlist.items.removeFirst();
    EXPECT_EQ(playlist.currentIndex(), 0);
    playlist.items.clear();
    EXPECT_EQ(playlist.current()->uuid(), second.uuid());
    EXPECT_FALSE(playlist.currentIndex());
}

TEST(Playlist, LeavingAnItemReleasesItsArtworkButSettingItAgainKeepsIt) {
    MediaFactory media;
    ASSERT_FALSE(media.write(u"a.mp3"_s, "not audio").isEmpty());
    ASSERT_FALSE(media.write(u"cover.jpg"_s, "picture").isEmpty());
    Playlist playlist;
    playlist.items = {std::make_shared<PlaylistItem>(std::make_shared<Track>(media.path(u"a.mp3"_s))),
                      std::make_shared<PlaylistItem>(std::make_shared<Track>(media.path(u"b.mp3"_s)))};
    const auto& track = playlist.items[0]->track();
    playlist.setCurrent(playlist.items[0]);
    ASSERT_EQ(track->artwork(), QByteArray("picture"));
    ASSERT_TRUE(QFile::remove(media.path(u"cover.jpg"_s)));

    playlist.setCurrent(playlist.items[0]);
    EXPECT_EQ(track->artwork(), QByteArray("picture"));
    playlist.setCurrent(playlist.items[1]);
    EXPECT_FALSE(track->artwork());

    ASSERT_FALSE(media.write(u"cover.jpg"_s, "again").isEmpty());
    playlist.setCurrent(playlist.items[0]);
    EXPECT_FALSE(track->artwork());
    playlist.setCurrent(nullptr);
    EXPECT_EQ(track->artwork(), QByteArray("again"));
}
