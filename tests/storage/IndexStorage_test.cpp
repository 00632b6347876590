#include "StorageTestSupport.h"

using sonvale::DB;
using sonvale::Index;
using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

class IndexStorageTest : public StorageTest {
protected:
    QStringList occurrences() {
        return column(db, u"SELECT token || ' ' || path AS v FROM occurences JOIN tokens ON tokens.id = token_id "
                          "JOIN tracks ON tracks.id = track_id ORDER BY token, path"_s);
    }
};

}  // namespace

TEST_F(IndexStorageTest, TokenIdIsCreatedOnceForEitherSpelling) {
    const auto id = db.tokenId(u"e\u0301te\u0301"_s);
    ASSERT_TRUE(id);
    EXPECT_EQ(db.tokenId(u"\u00e9t\u00e9"_s), id);
    EXPECT_NE(db.tokenId(u"ete"_s), id);
    // A second connection finds the stored token instead of making one.
    DB other(dir.path());
    EXPECT_EQ(other.tokenId(u"\u00e9t\u00e9"_s), id);
    EXPECT_EQ(column(db, u"SELECT token AS v FROM tokens ORDER BY id"_s), QStringList({u"\u00e9t\u00e9"_s, u"ete"_s}));
}

TEST_F(IndexStorageTest, SaveWritesOneRowPerTokenAndTrackAndClearTakesOneFolder) {
    const qint64 m = addFolder(u"/m/"_s);
    const TrackRef a = addTrack(u"/m/a.flac"_s, u"Blue Sky"_s, m);
    const TrackRef b = addTrack(u"/n/b.flac"_s, u"Blue"_s, addFolder(u"/n/"_s));
    Index index;
    index.add(a);
    index.add(b);
    // The same record given twice counts once.
    index.occurences[u"blue"_s].append(a);
    db.saveIndex(index);
    EXPECT_EQ(occurrences(), QStringList({"a /m/a.flac", "b /n/b.flac", "blue /m/a.flac", "blue /n/b.flac",
                                          "m /m/a.flac", "n /n/b.flac", "sky /m/a.flac"}));
    db.clearIndex(m);
    EXPECT_EQ(occurrences(), QStringList({"b /n/b.flac", "blue /n/b.flac", "n /n/b.flac"}));
}

TEST_F(IndexStorageTest, RowThatCannotBeWrittenIsLoggedAndTheRestCommitted) {
    const TrackRef a = addTrack(u"/m/a.flac"_s, u"Blue"_s);
    auto unknown = std::make_shared<Track>(u"/m/unknown.flac"_s);
    unknown->pk = 999;
    Index index;
    index.occurences[u"blue"_s] = {unknown, a};
    LogCapture log;
    db.saveIndex(index);
    EXPECT_EQ(occurrences(), QStringList{u"blue /m/a.flac"_s});
    EXPECT_EQ(log.lines(), QStringList{u"DB Error: 19 \"FOREIGN KEY constraint failed\""_s});
}

// A scan batch records the digest of the texts a track was indexed from (not for a track whose
// rows could not all be written); the folder's records come back with it; every other write of
// tokens forgets it.
TEST_F(IndexStorageTest, DigestOfIndexedTextsIsKeptOnlyByScanBatches) {
    const qint64 m = addFolder(u"/m/"_s);
    const TrackRef a = addTrack(u"/m/a.flac"_s, u"Blue"_s, m);
    const TrackRef b = addTrack(u"/m/b.flac"_s, u"Green"_s, m);
    auto unknown = std::make_shared<Track>(u"/m/unknown.flac"_s);
    unknown->pk = 999;
    const auto digests = [&] {
        const sonvale::FolderRecords records = db.removeMissingTracks(m, {{a->path, 0}, {b->path, 1}});
        return QList<qint64>({qint64(records.files.value(0).indexed.value_or(0)),
                              qint64(records.files.value(1).indexed.value_or(0))});
    };
    const auto scan = [&](const QList<TrackRef>& tracks) {
        sonvale::ScanBatch batch;
        for (const TrackRef& track : tracks) {
            batch.cleared.append(track->pk);
            batch.index.add(track);
            batch.indexed.append({track, sonvale::indexTextsDigest(*track)});
        }
        ASSERT_TRUE(db.saveScanBatch(batch));
    };
    const qint64 digestA = qint64(sonvale::indexTextsDigest(*a));
    const qint64 digestB = qint64(sonvale::indexTextsDigest(*b));
    ASSERT_NE(digestA, digestB);

    scan({a, b, unknown});
    EXPECT_EQ(digests(), QList<qint64>({digestA, digestB}));
    EXPECT_EQ(column(db, u"SELECT count(*) AS v FROM indexed_texts"_s), QStringList{u"2"_s});
    Index more;
    more.add(a);
    db.saveIndex(more);
    EXPECT_EQ(digests(), QList<qint64>({0, digestB}));
    scan({a});
    db.clearIndex(m);
    EXPECT_EQ(digests(), QList<qint64>({0, 0}));
    scan({a, b});
    db.removeFolder(m);
    EXPECT_EQ(column(db, u"SELECT count(*) AS v FROM indexed_texts"_s), QStringList{u"0"_s});
}
