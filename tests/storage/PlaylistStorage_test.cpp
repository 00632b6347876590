#include "StorageTestSupport.h"

using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

class PlaylistStorageTest : public StorageTest {
protected:
    // The titles of the loaded records, in order.
    QStringList loaded() {
        QStringList titles;
        for (const TrackRef& track : db.loadPlaylist()) titles.append(track->title);
        return titles;
    }

    QList<TrackRef> tracks = {addTrack(u"/m/a.flac"_s, u"A"_s), addTrack(u"/m/b.flac"_s, u"B"_s),
                              addTrack(u"/m/c.flac"_s, u"C"_s)};
};

}  // namespace

TEST_F(PlaylistStorageTest, SavedOrderIsLoadedWithTheTrackRecords) {
    ASSERT_TRUE(db.savePlaylist({tracks[2], tracks[1], tracks[2], tracks[0]}));
    EXPECT_EQ(db.loadPlaylist().value(0)->pk, tracks[2]->pk);
    EXPECT_EQ(loaded(), QStringList({u"C"_s, u"B"_s, u"C"_s, u"A"_s}));
    ASSERT_TRUE(db.savePlaylist({}));
    EXPECT_TRUE(db.loadPlaylist().isEmpty());
}

TEST_F(PlaylistStorageTest, FailedSaveKeepsTheOldPlaylist) {
    ASSERT_TRUE(db.savePlaylist({tracks[0], tracks[1]}));
    auto unknown = std::make_shared<Track>(u"/m/unknown.flac"_s);
    unknown->pk = 999;
    LogCapture log;
    EXPECT_FALSE(db.savePlaylist({tracks[2], tracks[1], unknown, tracks[0]}));
    EXPECT_TRUE(log.contains(QtCriticalMsg, QStringLiteral("Error saving playlist item (999, 2), path=/m/unknown.flac: "
                                                           "FOREIGN KEY constraint failed")));
    EXPECT_EQ(loaded(), QStringList({u"A"_s, u"B"_s}));

    // A clear that fails as well.
    ASSERT_TRUE(exec(db, u"CREATE TRIGGER keep BEFORE DELETE ON playlist BEGIN SELECT RAISE(ABORT, 'kept'); END;"_s));
    EXPECT_FALSE(db.savePlaylist({tracks[2]}));
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"Failed to clear playlist before saving: kept"_s));
    EXPECT_EQ(loaded(), QStringList({u"A"_s, u"B"_s}));
}

// A row whose track is gone or has a status this version does not know is left out.
TEST_F(PlaylistStorageTest, EntriesWhoseTrackIsGoneAreLeftOut) {
    ASSERT_TRUE(db.savePlaylist({tracks[0], tracks[1], tracks[2]}));
    ASSERT_TRUE(exec(db, u"PRAGMA foreign_keys = OFF; DELETE FROM tracks WHERE path = '/m/b.flac';"
                         "UPDATE tracks SET status = 7 WHERE path = '/m/c.flac'; PRAGMA foreign_keys = ON;"_s));
    EXPECT_EQ(loaded(), QStringList{u"A"_s});
}
