#include "DB.h"

#include "StorageTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::Folder;

namespace {

class FolderStorageTest : public testing::Test {
protected:
    void insert(const QStringList& paths) {
        for (const QString& path : paths) ASSERT_TRUE(db.insertTrack(path));
    }

    // The tracks of folder `pk`, by path.
    QStringList tracksOf(qint64 pk) {
        return columnOf(db, QStringLiteral("SELECT path AS v FROM tracks WHERE folder = %1 ORDER BY path").arg(pk));
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
    Folder a{std::nullopt, QStringLiteral("/m/Cafe\u0301"), QDateTime::fromMSecsSinceEpoch(1700000000999, Qt::UTC)};
    Folder b{std::nullopt, QStringLiteral("/n"), std::nullopt};
    // Before 1970 the seconds are truncated toward zero as well.
    Folder c{std::nullopt, QStringLiteral("/o"), QDateTime::fromMSecsSinceEpoch(-1500, Qt::UTC)};
    ASSERT_TRUE(db.addFolder(a) && db.addFolder(b) && db.addFolder(c));
    ASSERT_TRUE(a.pk && b.pk && c.pk);
    EXPECT_LT(*a.pk, *b.pk);

    auto loaded = db.loadFolders();
    ASSERT_EQ(loaded.size(), 3);
    EXPECT_EQ(loaded[0].pk, a.pk);
    EXPECT_EQ(loaded[0].root, QStringLiteral("/m/Caf\u00e9"));
    EXPECT_EQ(loaded[0].lastCompletedScan, QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC));
    EXPECT_EQ(loaded[1].root, QStringLiteral("/n"));
    EXPECT_FALSE(loaded[1].lastCompletedScan);
    EXPECT_EQ(loaded[2].lastCompletedScan, QDateTime::fromSecsSinceEpoch(-1, Qt::UTC));

    // A scan time of exactly 1970 is a date, not an absent one.
    a.lastCompletedScan.reset();
    b.root = QStringLiteral("/n2");
    b.lastCompletedScan = QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
    db.updateFolder(a);
    db.updateFolder(b);
    loaded = db.loadFolders();
    ASSERT_EQ(loaded.size(), 3);
    EXPECT_FALSE(loaded[0].lastCompletedScan);
    EXPECT_EQ(loaded[1].root, QStringLiteral("/n2"));
    EXPECT_EQ(loaded[1].lastCompletedScan, QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
}

// The claim is `path LIKE root || '%'` as it stands: a prefix of characters, not of path
// components; ASCII letters without regard to case, other letters exactly; "_" and "%" in the
// root as wildcards; a later folder takes over the tracks it matches from an earlier one.
TEST_F(FolderStorageTest, AddedFolderClaimsTheTracksItsRootMatchesAsALikePrefix) {
    insert({QStringLiteral("/Music/A/1.flac"), QStringLiteral("/Music/AB/2.flac"), QStringLiteral("/music/a/3.flac"),
            QStringLiteral("/Musik/A/4.flac"), QStringLiteral("/Music/\u00c9t\u00e9/5.flac"),
            QStringLiteral("/Music/\u00e9t\u00e9/6.flac"), QStringLiteral("/Music/a_b/7.flac"),
            QStringLiteral("/Music/aXb/8.flac"), QStringLiteral("/Music/100%/9.flac"),
            QStringLiteral("/Music/100 Hits/10.flac")});

    const Folder a = add(QStringLiteral("/Music/A"));
    EXPECT_EQ(tracksOf(*a.pk), QStringList({QStringLiteral("/Music/A/1.flac"), QStringLiteral("/Music/AB/2.flac"),
                                            QStringLiteral("/Music/aXb/8.flac"), QStringLiteral("/Music/a_b/7.flac"),
                                            QStringLiteral("/music/a/3.flac")}));

    const Folder ab = add(QStringLiteral("/Music/AB"));
    EXPECT_EQ(tracksOf(*ab.pk), QStringList({QStringLiteral("/Music/AB/2.flac")}));

    const Folder wildcard = add(QStringLiteral("/Music/a_b"));
    EXPECT_EQ(tracksOf(*wildcard.pk),
              QStringList({QStringLiteral("/Music/aXb/8.flac"), QStringLiteral("/Music/a_b/7.flac")}));

    const Folder percent = add(QStringLiteral("/Music/100%/"));
    EXPECT_EQ(tracksOf(*percent.pk),
              QStringList({QStringLiteral("/Music/100 Hits/10.flac"), QStringLiteral("/Music/100%/9.flac")}));

    // Composed on both sides, yet É and é differ for LIKE.
    const Folder accented = add(QStringLiteral("/Music/E\u0301t\u00e9"));
    EXPECT_EQ(tracksOf(*accented.pk), QStringList({QStringLiteral("/Music/\u00c9t\u00e9/5.flac")}));

    EXPECT_EQ(tracksOf(*a.pk), QStringList({QStringLiteral("/Music/A/1.flac"), QStringLiteral("/music/a/3.flac")}));
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT path AS v FROM tracks WHERE folder IS NULL ORDER BY path")),
              QStringList({QStringLiteral("/Music/\u00e9t\u00e9/6.flac"), QStringLiteral("/Musik/A/4.flac")}));
}

TEST_F(FolderStorageTest, RemovedFolderKeepsItsTracksButDropsTheirTokens) {
    insert({QStringLiteral("/m/1.flac"), QStringLiteral("/m/2.flac"), QStringLiteral("/n/3.flac")});
    const Folder m = add(QStringLiteral("/m/"));
    const Folder n = add(QStringLiteral("/n/"));
    ASSERT_TRUE(exec(db, QStringLiteral("INSERT INTO tokens (token) VALUES ('t');"
                                        "INSERT INTO occurences SELECT 1, id FROM tracks;")));

    db.removeFolder(*m.pk);

    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT path || ' ' || ifnull(folder, 'NULL') AS v FROM tracks ORDER BY path")),
              QStringList({QStringLiteral("/m/1.flac NULL"), QStringLiteral("/m/2.flac NULL"),
                           QStringLiteral("/n/3.flac %1").arg(*n.pk)}));
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT path AS v FROM occurences JOIN tracks ON tracks.id = track_id")),
              QStringList{QStringLiteral("/n/3.flac")});
    const auto folders = db.loadFolders();
    ASSERT_EQ(folders.size(), 1);
    EXPECT_EQ(folders[0].pk, n.pk);
}
