#include "DB.h"

#include "StorageTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

class PlaylistStorageTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* path : {"/m/a.flac", "/m/b.flac", "/m/c.flac"}) {
            TrackRef track = db.insertTrack(QString::fromLatin1(path));
            ASSERT_TRUE(track);
            tracks.append(track);
        }
    }

    QStringList loadedPaths() {
        QStringList paths;
        for (const TrackRef& track : db.loadPlaylist()) paths.append(track->path);
        return paths;
    }

    QTemporaryDir dir;
    DB db{dir.path()};
    QList<TrackRef> tracks;
};

}  // namespace

TEST_F(PlaylistStorageTest, SavedOrderIsLoadedWithTheTrackRecords) {
    Track scanned = *tracks[1];
    scanned.title = u"B"_s;
    db.updateTrack(scanned);
    ASSERT_TRUE(db.savePlaylist({tracks[2], tracks[1], tracks[2], tracks[0]}));
    const QList<TrackRef> loaded = db.loadPlaylist();
    ASSERT_EQ(loaded.size(), 4);
    EXPECT_EQ(loaded[0]->pk, tracks[2]->pk);
    EXPECT_EQ(loaded[1]->title, u"B"_s);
    EXPECT_EQ(loadedPaths(), QStringList({u"/m/c.flac"_s, u"/m/b.flac"_s, u"/m/c.flac"_s, u"/m/a.flac"_s}));

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
    EXPECT_EQ(loadedPaths(), QStringList({u"/m/a.flac"_s, u"/m/b.flac"_s}));

    // A clear that fails as well.
    ASSERT_TRUE(exec(db, QStringLiteral("CREATE TRIGGER keep BEFORE DELETE ON playlist BEGIN "
                                        "SELECT RAISE(ABORT, 'kept'); END;")));
    EXPECT_FALSE(db.savePlaylist({tracks[2]}));
    EXPECT_TRUE(log.contains(QtCriticalMsg, u"Failed to clear playlist before saving: kept"_s));
    EXPECT_EQ(loadedPaths(), QStringList({u"/m/a.flac"_s, u"/m/b.flac"_s}));
}

TEST_F(PlaylistStorageTest, EntriesWhoseTrackIsGoneAreLeftOut) {
    ASSERT_TRUE(db.savePlaylist({tracks[0], tracks[1], tracks[2]}));
    ASSERT_TRUE(
        exec(db, QStringLiteral("PRAGMA foreign_keys = OFF; DELETE FROM tracks WHERE path = '/m/b.flac';"
                                "UPDATE tracks SET status = 7 WHERE path = '/m/c.flac'; PRAGMA foreign_keys = ON;")));
    EXPECT_EQ(loadedPaths(), QStringList({u"/m/a.flac"_s}));
}
