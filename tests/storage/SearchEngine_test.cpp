#include "DB.h"

#include "StorageTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>

using sonvale::DB;
using sonvale::Folder;
using sonvale::Index;
using sonvale::Track;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

class SearchEngineTest : public testing::Test {
protected:
    void SetUp() override {
        Folder music{std::nullopt, u"/Music/"_s, std::nullopt};
        ASSERT_TRUE(db.addFolder(music));
        folder = *music.pk;
    }

    TrackRef add(const QString& path, const QString& title = {}, const QString& artist = {}) {
        TrackRef track = db.insertTrack(path);
        EXPECT_TRUE(track);
        if (!track) return std::make_shared<Track>(path);
        track->title = title;
        track->artist = artist;
        track->folder = path.startsWith(QLatin1String("/Music/")) ? folder : 0;
        db.updateTrack(*track);
        return track;
    }

    // `count` tracks /Music/NNNNN.flac with ids 1..count, in one statement.
    QList<TrackRef> addMany(int count) {
        EXPECT_TRUE(
            exec(db, QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                                    "INSERT INTO tracks (id, path, size, timestamp, duration, bitRate, folder) "
                                    "SELECT i, printf('/Music/%05d.flac', i), 0, 0, 0, 0, %2 FROM n;")
                         .arg(count)
                         .arg(folder)));
        QList<TrackRef> tracks;
        for (int i = 1; i <= count; ++i) {
            auto track = std::make_shared<Track>(u"/Music/%1.flac"_s.arg(i, 5, 10, QLatin1Char('0')));
            track->pk = i;
            tracks.append(track);
        }
        return tracks;
    }

    QTemporaryDir dir;
    DB db{dir.path()};
    qint64 folder = 0;
};

}  // namespace

TEST_F(SearchEngineTest, EveryWordMustBeginATokenOfTheTrack) {
    Index index;
    for (const TrackRef& track :
         {add(u"/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac"_s, u"Human Behaviour"_s, u"Kutriob"_s),
          add(u"/Music/Other/02 Humanity.flac"_s, u"Humanity"_s),
          add(u"/Music/Other/03 Don't Behave.flac"_s, u"Don't Behave"_s),
          add(u"/Elsewhere/04 Human Behaviour.flac"_s, u"Human Behaviour"_s)}) {
        index.add(track);
    }
    db.saveIndex(index);
    const QString human = u"/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac"_s;

    EXPECT_EQ(db.search(u"beh hum"_s), QStringList{human});
    EXPECT_EQ(db.search(u"HUM"_s), QStringList({human, u"/Music/Other/02 Humanity.flac"_s}));
    EXPECT_EQ(db.search(u"debut"_s), QStringList{human});
    EXPECT_EQ(db.search(u"D\u00e9b hum hum"_s), QStringList{human});
    EXPECT_EQ(db.search(u"dont"_s), QStringList{u"/Music/Other/03 Don't Behave.flac"_s});
    EXPECT_TRUE(db.search(u"hum zebra"_s).isEmpty());
    EXPECT_TRUE(db.search(u"umanity"_s).isEmpty());
    EXPECT_TRUE(db.search(u" - / "_s).isEmpty());

    // Indexing again without clearing doubles the rows, not the results.
    db.saveIndex(index);
    EXPECT_EQ(db.search(u"beh hum"_s), QStringList{human});

    // Tracks of a removed folder are found no more, even with their rows written again.
    db.removeFolder(folder);
    db.saveIndex(index);
    EXPECT_TRUE(db.search(u"hum"_s).isEmpty());
}

TEST_F(SearchEngineTest, ResultsStopAtTheFirstFiveThousandPaths) {
    const QList<TrackRef> tracks = addMany(5003);
    Index index;
    index.occurences[u"common"_s] = tracks;
    db.saveIndex(index);
    const QStringList found = db.search(u"comm"_s);
    ASSERT_EQ(found.size(), 5000);
    EXPECT_EQ(found.first(), u"/Music/00001.flac"_s);
    EXPECT_EQ(found.last(), u"/Music/05000.flac"_s);
}

// One word takes only 5000 of the tokens it begins (SQLite's choice; here the first 5000 stored);
// two or more words take all of theirs.
TEST_F(SearchEngineTest, OnlyALoneWordCapsTheTokensItMatches) {
    const QList<TrackRef> tracks = addMany(2);
    Index index;
    for (int i = 0; i < 5000; ++i) index.occurences[u"w%1"_s.arg(i, 4, 10, QLatin1Char('0'))] = {tracks[0]};
    db.saveIndex(index);
    index.occurences.clear();
    index.occurences[u"w5000"_s] = {tracks[1]};
    index.occurences[u"x"_s] = tracks;
    db.saveIndex(index);

    EXPECT_EQ(db.search(u"w"_s), QStringList{tracks[0]->path});
    EXPECT_EQ(db.search(u"w5"_s), QStringList{tracks[1]->path});
    EXPECT_EQ(db.search(u"w x"_s), QStringList({tracks[0]->path, tracks[1]->path}));
}

// One thread searches while a second writes the index batch by batch and a third saves the
// playlist over and over: every search sees whole batches, and every write is kept.
TEST_F(SearchEngineTest, SearchesIndexWritesAndPlaylistSavesInterleaveWithoutLoss) {
    constexpr int kBatches = 20;
    constexpr int kBatchSize = 100;
    const QList<TrackRef> tracks = addMany(kBatches * kBatchSize);

    std::atomic<bool> indexed = false;
    auto indexer = std::async(std::launch::async, [&] {
        for (int b = 0; b < kBatches; ++b) {
            Index index;
            index.occurences[u"song"_s] = tracks.mid(b * kBatchSize, kBatchSize);
            index.occurences[u"batch%1"_s.arg(b)] = tracks.mid(b * kBatchSize, kBatchSize);
            db.saveIndex(index);
        }
        indexed = true;
    });
    auto saver = std::async(std::launch::async, [&] {
        int saved = 0;
        for (int round = 0; round < 50; ++round) saved += db.savePlaylist(tracks.mid(round, 20)) ? 1 : 0;
        return saved;
    });
    auto searcher = std::async(std::launch::async, [&] {
        QList<qsizetype> seen;
        do { seen.append(db.search(u"so"_s).size()); } while (!indexed);
        return seen;
    });

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    for (std::future_status status :
         {indexer.wait_until(deadline), saver.wait_until(deadline), searcher.wait_until(deadline)}) {
        if (status != std::future_status::ready) {
            ADD_FAILURE() << "the database operations deadlocked";
            std::abort();
        }
    }
    EXPECT_EQ(saver.get(), 50);
    const QList<qsizetype> seen = searcher.get();
    for (qsizetype i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i] % kBatchSize, 0) << i;
        if (i > 0) { EXPECT_GE(seen[i], seen[i - 1]) << i; }
    }
    EXPECT_EQ(db.search(u"song"_s).size(), kBatches * kBatchSize);
    EXPECT_EQ(db.search(u"batch1"_s).size(), 11 * kBatchSize);
    EXPECT_EQ(columnOf(db, u"SELECT count(*) AS v FROM occurences"_s),
              QStringList{QString::number(2 * kBatches * kBatchSize)});
    QList<qint64> playlist;
    for (const TrackRef& track : db.loadPlaylist()) playlist.append(track->pk);
    QList<qint64> last;
    for (const TrackRef& track : tracks.mid(49, 20)) last.append(track->pk);
    EXPECT_EQ(playlist, last);
}
