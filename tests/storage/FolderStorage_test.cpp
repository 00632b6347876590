#include "StorageTestSupport.h"

using sonvale::Folder;
using namespace Qt::StringLiterals;

namespace {

class FolderStorageTest : public StorageTest {
protected:
    void insert(const QStringList& paths) {
        for (const QString& path : paths) addTrack(path);
    }
    // The paths of the tracks of `folder`, or of no folder for 0.
    QStringList tracksOf(qint64 folder) {
        if (folder == 0) return column(db, u"SELECT path AS v FROM tracks WHERE folder IS NULL ORDER BY path"_s, {});
        return column(db, u"SELECT path AS v FROM tracks WHERE folder = ? ORDER BY path"_s,
                      {sonvale::SQLValue::integer(folder)});
    }
};

QDateTime utc(qint64 msecs) { return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC); }

}  // namespace

// Scan times keep whole seconds, truncated toward zero before 1970 too; 1970 itself is a date.
TEST_F(FolderStorageTest, FoldersRoundTripWithTheirScanTimeInWholeSeconds) {
    Folder a{std::nullopt, u"/m/Cafe\u0301"_s, utc(1700000000999)};
    Folder b{std::nullopt, u"/n"_s, std::nullopt};
    Folder c{std::nullopt, u"/o"_s, utc(-1500)};
    Folder d{std::nullopt, u"/p"_s, utc(5)};
    ASSERT_TRUE(db.addFolder(a) && db.addFolder(b) && db.addFolder(c) && db.addFolder(d));
    ASSERT_TRUE(a.pk && b.pk && *a.pk < *b.pk);
    b.root = u"/n2"_s;
    b.lastCompletedScan = utc(0);
    d.lastCompletedScan.reset();
    db.updateFolder(b);
    db.updateFolder(d);

    const auto loaded = db.loadFolders();
    ASSERT_EQ(loaded.size(), 4);
    EXPECT_EQ(loaded[0].pk, a.pk);
    EXPECT_EQ(loaded[0].root, u"/m/Caf\u00e9"_s);
    EXPECT_EQ(loaded[0].lastCompletedScan, utc(1700000000000));
    EXPECT_EQ(loaded[1].root, u"/n2"_s);
    EXPECT_EQ(loaded[1].lastCompletedScan, utc(0));
    EXPECT_EQ(loaded[2].lastCompletedScan, utc(-1000));
    EXPECT_FALSE(loaded[3].lastCompletedScan);
}

// The claim is `path LIKE root || '%'` as it stands: a prefix of characters, not of path
// components; ASCII letters without regard to case, other letters exactly; "_" and "%" in the
// root as wildcards; a later folder takes over the tracks it matches from an earlier one.
TEST_F(FolderStorageTest, AddedFolderClaimsTheTracksItsRootMatchesAsALikePrefix) {
    insert({u"/Music/A/1.flac"_s, u"/Music/AB/2.flac"_s, u"/music/a/3.flac"_s, u"/Musik/A/4.flac"_s,
            u"/Music/\u00c9t\u00e9/5.flac"_s, u"/Music/\u00e9t\u00e9/6.flac"_s, u"/Music/a_b/7.flac"_s,
            u"/Music/aXb/8.flac"_s, u"/Music/100%/9.flac"_s, u"/Music/100 Hits/10.flac"_s});

    const qint64 a = addFolder(u"/Music/A"_s);
    EXPECT_EQ(tracksOf(a), QStringList({u"/Music/A/1.flac"_s, u"/Music/AB/2.flac"_s, u"/Music/aXb/8.flac"_s,
                                        u"/Music/a_b/7.flac"_s, u"/music/a/3.flac"_s}));
    EXPECT_EQ(tracksOf(addFolder(u"/Music/AB"_s)), QStringList({u"/Music/AB/2.flac"_s}));
    EXPECT_EQ(tracksOf(addFolder(u"/Music/a_b"_s)), QStringList({u"/Music/aXb/8.flac"_s, u"/Music/a_b/7.flac"_s}));
    EXPECT_EQ(tracksOf(addFolder(u"/Music/100%/"_s)),
              QStringList({u"/Music/100 Hits/10.flac"_s, u"/Music/100%/9.flac"_s}));
    // Composed on both sides, yet É and é differ for LIKE.
    EXPECT_EQ(tracksOf(addFolder(u"/Music/E\u0301t\u00e9"_s)), QStringList({u"/Music/\u00c9t\u00e9/5.flac"_s}));

    EXPECT_EQ(tracksOf(a), QStringList({u"/Music/A/1.flac"_s, u"/music/a/3.flac"_s}));
    EXPECT_EQ(tracksOf(0), QStringList({u"/Music/\u00e9t\u00e9/6.flac"_s, u"/Musik/A/4.flac"_s}));
}

TEST_F(FolderStorageTest, RemovedFolderKeepsItsTracksButDropsTheirTokens) {
    insert({u"/m/1.flac"_s, u"/m/2.flac"_s, u"/n/3.flac"_s});
    const qint64 m = addFolder(u"/m/"_s);
    const qint64 n = addFolder(u"/n/"_s);
    ASSERT_TRUE(exec(db, u"INSERT INTO tokens (token) VALUES ('t'); INSERT INTO occurences SELECT 1, id FROM tracks;"_s));

    db.removeFolder(m);

    EXPECT_EQ(tracksOf(0), QStringList({u"/m/1.flac"_s, u"/m/2.flac"_s}));
    EXPECT_EQ(tracksOf(n), QStringList({u"/n/3.flac"_s}));
    EXPECT_EQ(column(db, u"SELECT path AS v FROM occurences JOIN tracks ON tracks.id = track_id"_s),
              QStringList{u"/n/3.flac"_s});
    const auto folders = db.loadFolders();
    ASSERT_EQ(folders.size(), 1);
    EXPECT_EQ(folders[0].pk, n);
}
