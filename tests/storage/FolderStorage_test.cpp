#include "DB.h"

#include "StorageTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::Folder;
using namespace Qt::StringLiterals;

namespace {

class FolderStorageTest : public testing::Test {
protected:
    void insert(const QStringList& paths) {
        for (const QString& path : paths) ASSERT_TRUE(db.insertTrack(path));
    }

    // The tracks of folder `pk`, by path.
    QStringList tracksOf(qint64 pk) {
        return columnOf(db, u"SELECT path AS v FROM tracks WHERE folder = %1 ORDER BY path"_s.arg(pk));
    }

    Folder add(const QString& root) {
        Folder folder{std::nullopt, root, std::nullopt};
        EXPECT_TRUE(db.addFolder(folder));
        return folder;
    }

    QTemporaryDir dir;
    DB db{dir.path()};
};

}  // namespace

TEST_F(FolderStorageTest, FoldersRoundTripWithTheirScanTimeInWholeSeconds) {
    Folder a{std::nullopt, u"/m/Cafe\u0301"_s, QDateTime::fromMSecsSinceEpoch(1700000000999, Qt::UTC)};
    Folder b{std::nullopt, u"/n"_s, std::nullopt};
    // Before 1970 the seconds are truncated toward zero as well.
    Folder c{std::nullopt, u"/o"_s, QDateTime::fromMSecsSinceEpoch(-1500, Qt::UTC)};
    ASSERT_TRUE(db.addFolder(a) && db.addFolder(b) && db.addFolder(c));
    ASSERT_TRUE(a.pk && b.pk && c.pk);
    EXPECT_LT(*a.pk, *b.pk);

    auto loaded = db.loadFolders();
    ASSERT_EQ(loaded.size(), 3);
    EXPECT_EQ(loaded[0].pk, a.pk);
    EXPECT_EQ(loaded[0].root, u"/m/Caf\u00e9"_s);
    EXPECT_EQ(loaded[0].lastCompletedScan, QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC));
    EXPECT_EQ(loaded[1].root, u"/n"_s);
    EXPECT_FALSE(loaded[1].lastCompletedScan);
    EXPECT_EQ(loaded[2].lastCompletedScan, QDateTime::fromSecsSinceEpoch(-1, Qt::UTC));

    // A scan time of exactly 1970 is a date, not an absent one.
    a.lastCompletedScan.reset();
    b.root = u"/n2"_s;
    b.lastCompletedScan = QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
    db.updateFolder(a);
    db.updateFolder(b);
    loaded = db.loadFolders();
    ASSERT_EQ(loaded.size(), 3);
    EXPECT_FALSE(loaded[0].lastCompletedScan);
    EXPECT_EQ(loaded[1].root, u"/n2"_s);
    EXPECT_EQ(loaded[1].lastCompletedScan, QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
}

// The claim is `path LIKE root || '%'` as it stands: a prefix of characters, not of path
// components; ASCII letters without regard to case, other letters exactly; "_" and "%" in the
// root as wildcards; a later folder takes over the tracks it matches from an earlier one.
TEST_F(FolderStorageTest, AddedFolderClaimsTheTracksItsRootMatchesAsALikePrefix) {
    insert({u"/Music/A/1.flac"_s, u"/Music/AB/2.flac"_s, u"/music/a/3.flac"_s, u"/Musik/A/4.flac"_s,
            u"/Music/\u00c9t\u00e9/5.flac"_s, u"/Music/\u00e9t\u00e9/6.flac"_s, u"/Music/a_b/7.flac"_s,
            u"/Music/aXb/8.flac"_s, u"/Music/100%/9.flac"_s, u"/Music/100 Hits/10.flac"_s});

    const Folder a = add(u"/Music/A"_s);
    EXPECT_EQ(tracksOf(*a.pk), QStringList({u"/Music/A/1.flac"_s, u"/Music/AB/2.flac"_s, u"/Music/aXb/8.flac"_s,
                                            u"/Music/a_b/7.flac"_s, u"/music/a/3.flac"_s}));

    const Folder ab = add(u"/Music/AB"_s);
    EXPECT_EQ(tracksOf(*ab.pk), QStringList({u"/Music/AB/2.flac"_s}));

    const Folder wildcard = add(u"/Music/a_b"_s);
    EXPECT_EQ(tracksOf(*wildcard.pk), QStringList({u"/Music/aXb/8.flac"_s, u"/Music/a_b/7.flac"_s}));

    const Folder percent = add(u"/Music/100%/"_s);
    EXPECT_EQ(tracksOf(*percent.pk), QStringList({u"/Music/100 Hits/10.flac"_s, u"/Music/100%/9.flac"_s}));

    // Composed on both sides, yet É and é differ for LIKE.
    const Folder accented = add(u"/Music/E\u0301t\u00e9"_s);
    EXPECT_EQ(tracksOf(*accented.pk), QStringList({u"/Music/\u00c9t\u00e9/5.flac"_s}));

    EXPECT_EQ(tracksOf(*a.pk), QStringList({u"/Music/A/1.flac"_s, u"/music/a/3.flac"_s}));
    EXPECT_EQ(columnOf(db, u"SELECT path AS v FROM tracks WHERE folder IS NULL ORDER BY path"_s),
              QStringList({u"/Music/\u00e9t\u00e9/6.flac"_s, u"/Musik/A/4.flac"_s}));
}

TEST_F(FolderStorageTest, RemovedFolderKeepsItsTracksButDropsTheirTokens) {
    insert({u"/m/1.flac"_s, u"/m/2.flac"_s, u"/n/3.flac"_s});
    const Folder m = add(u"/m/"_s);
    const Folder n = add(u"/n/"_s);
    ASSERT_TRUE(exec(db, QStringLiteral("INSERT INTO tokens (token) VALUES ('t');"
                                        "INSERT INTO occurences SELECT 1, id FROM tracks;")));

    db.removeFolder(*m.pk);

    EXPECT_EQ(columnOf(db, u"SELECT path || ' ' || ifnull(folder, 'NULL') AS v FROM tracks ORDER BY path"_s),
              QStringList({u"/m/1.flac NULL"_s, u"/m/2.flac NULL"_s, u"/n/3.flac %1"_s.arg(*n.pk)}));
    EXPECT_EQ(columnOf(db, u"SELECT path AS v FROM occurences JOIN tracks ON tracks.id = track_id"_s),
              QStringList{u"/n/3.flac"_s});
    const auto folders = db.loadFolders();
    ASSERT_EQ(folders.size(), 1);
    EXPECT_EQ(folders[0].pk, n.pk);
}
