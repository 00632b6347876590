#include "StorageTestSupport.h"

using sonvale::Index;
using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

class SearchEngineTest : public StorageTest {
protected:
    // `count` tracks /Music/NNNNN.flac with ids 1..count, in one statement.
    QList<TrackRef> addMany(int count) {
        EXPECT_TRUE(exec(db, QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                                            "INSERT INTO tracks (id, path, size, timestamp, duration, bitRate, folder) "
                                            "SELECT i, printf('/Music/%05d.flac', i), 0, 0, 0, 0, %2 FROM n;")
                                 .arg(count)
                                 .arg(folder)));
        QList<TrackRef> tracks;
        for (int i = 1; i <= count; ++i) {
            tracks.append(std::make_shared<Track>(u"/Music/%1.flac"_s.arg(i, 5, 10, QLatin1Char('0'))));
            tracks.last()->pk = i;
        }
        return tracks;
    }

    const qint64 folder = addFolder(u"/Music/"_s);
};

}  // namespace

TEST_F(SearchEngineTest, EveryWordMustBeginATokenOfTheTrack) {
    const QString human = u"/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac"_s;
    Index index;
    for (const TrackRef& track : {addTrack(human, u"Human Behaviour"_s, folder),
                                  addTrack(u"/Music/Other/02 Humanity.flac"_s, u"Humanity"_s, folder),
                                  addTrack(u"/Music/Other/03 Don't Behave.flac"_s, u"Don't Behave"_s, folder),
                                  addTrack(u"/Elsewhere/04 Human Behaviour.flac"_s, u"Human Behaviour"_s)}) {
        index.add(track);
    }
    db.saveIndex(index);

    EXPECT_EQ(db.search(u"beh hum"_s), QStringList{human});
    EXPECT_EQ(db.search(u"HUM"_s), QStringList({human, u"/Music/Other/02 Humanity.flac"_s}));
    EXPECT_EQ(db.search(u"debut"_s), QStringList{human});
    EXPECT_EQ(db.search(u"D\u00e9b hum hum"_s), QStringList{human});
    EXPECT_EQ(db.search(u"dont"_s), QStringList{u"/Music/Other/03 Don't Behave.flac"_s});
    for (const QString& none : {u"hum zebra"_s, u"umanity"_s, u" - / "_s}) {
        EXPECT_TRUE(db.search(none).isEmpty()) << none.toStdString();
    }

    // Indexing again without clearing doubles the rows, not the results.
    db.saveIndex(index);
    EXPECT_EQ(db.search(u"beh hum"_s), QStringList{human});

    // Tracks of a removed folder are found no more, even with their rows written again.
    db.removeFolder(folder);
    db.saveIndex(index);
    EXPECT_TRUE(db.search(u"hum"_s).isEmpty());
}

// At most 5000 paths come back, the first by path. One word takes only 5000 of the tokens it
// begins (SQLite's choice; here the first 5000 stored); two or more words take all of theirs.
TEST_F(SearchEngineTest, ResultsAndTheTokensOfALoneWordStopAtFiveThousand) {
    const QList<TrackRef> tracks = addMany(5003);
    Index index;
    index.occurences[u"common"_s] = tracks;
    for (int i = 0; i < 5000; ++i) index.occurences[u"w%1"_s.arg(i, 4, 10, QLatin1Char('0'))] = {tracks[0]};
    db.saveIndex(index);
    index.occurences.clear();
    index.occurences[u"w5000"_s] = {tracks[1]};
    index.occurences[u"x"_s] = tracks.mid(0, 2);
    db.saveIndex(index);

    const QStringList found = db.search(u"comm"_s);
    ASSERT_EQ(found.size(), 5000);
    EXPECT_EQ(found.first(), tracks[0]->path);
    EXPECT_EQ(found.last(), tracks[4999]->path);
    EXPECT_EQ(db.search(u"w"_s), QStringList{tracks[0]->path});
    EXPECT_EQ(db.search(u"w5"_s), QStringList{tracks[1]->path});
    EXPECT_EQ(db.search(u"w x"_s), QStringList({tracks[0]->path, tracks[1]->path}));
}
