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

namespace {

class SearchEngineTest : public testing::Test {
protected:
    void SetUp() override {
        Folder music{std::nullopt, QStringLiteral("/Music/"), std::nullopt};
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
        EXPECT_TRUE(exec(db, QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                                            "INSERT INTO tracks (id, path, size, timestamp, duration, bitRate, folder) "
                                            "SELECT i, printf('/Music/%05d.flac', i), 0, 0, 0, 0, %2 FROM n;")
                                 .arg(count)
                                 .arg(folder)));
        QList<TrackRef> tracks;
        for (int i = 1; i <= count; ++i) {
            auto track = std::make_shared<Track>(QStringLiteral("/Music/%1.flac").arg(i, 5, 10, QLatin1Char('0')));
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
         {add(QStringLiteral("/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac"), QStringLiteral("Human Behaviour"),
              QStringLiteral("Kutriob")),
          add(QStringLiteral("/Music/Other/02 Humanity.flac"), QStringLiteral("Humanity")),
          add(QStringLiteral("/Music/Other/03 Don't Behave.flac"), QStringLiteral("Don't Behave")),
          add(QStringLiteral("/Elsewhere/04 Human Behaviour.flac"), QStringLiteral("Human Behaviour"))}) {
        index.add(track);
    }
    db.saveIndex(index);
    const QString human = QStringLiteral("/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac");

    EXPECT_EQ(db.search(QStringLiteral("beh hum")), QStringList{human});
    EXPECT_EQ(db.search(QStringLiteral("HUM")), QStringList({human, QStringLiteral("/Music/Other/02 Humanity.flac")}));
    EXPECT_EQ(db.search(QStringLiteral("behave")), QStringList{QStringLiteral("/Music/Other/03 Don't Behave.flac")});
    EXPECT_EQ(db.search(QStringLiteral("debut")), QStringList{human});
    EXPECT_EQ(db.search(QStringLiteral("D\u00e9b hum hum")), QStringList{human});
    EXPECT_EQ(db.search(QStringLiteral("dont")), QStringList{QStringLiteral("/Music/Other/03 Don't Behave.flac")});
    EXPECT_TRUE(db.search(QStringLiteral("hum zebra")).isEmpty());
    EXPECT_TRUE(db.search(QStringLiteral("umanity")).isEmpty());
    EXPECT_TRUE(db.search(QString()).isEmpty());
    EXPECT_TRUE(db.search(QStringLiteral(" - / ")).isEmpty());

    // Indexing again without clearing doubles the rows, not the results.
    db.saveIndex(index);
    EXPECT_EQ(db.search(QStringLiteral("beh hum")), QStringList{human});

    // Tracks of a removed folder are found no more, even with their rows written again.
    db.removeFolder(folder);
    db.saveIndex(index);
    EXPECT_TRUE(db.search(QStringLiteral("hum")).isEmpty());
}

TEST_F(SearchEngineTest, ResultsStopAtTheFirstFiveThousandPaths) {
    const QList<TrackRef> tracks = addMany(5003);
    Index index;
    index.occurences[QStringLiteral("common")] = tracks;
    db.saveIndex(index);
    const QStringList found = db.search(QStringLiteral("comm"));
    ASSERT_EQ(found.size(), 5000);
    EXPECT_EQ(found.first(), QStringLiteral("/Music/00001.flac"));
    EXPECT_EQ(found.last(), QStringLiteral("/Music/05000.flac"));
}

// One word takes only 5000 of the tokens it begins (SQLite's choice; here the first 5000 stored);
// two or more words take all of theirs.
TEST_F(SearchEngineTest, OnlyALoneWordCapsTheTokensItMatches) {
    const QList<TrackRef> tracks = addMany(2);
    Index index;
    for (int i = 0; i < 5000; ++i) index.occurences[QStringLiteral("w%1").arg(i, 4, 10, QLatin1Char('0'))] = {tracks[0]};
    db.saveIndex(index);
    index.occurences.clear();
    index.occurences[QStringLiteral("w5000")] = {tracks[1]};
    index.occurences[QStringLiteral("x")] = tracks;
    db.saveIndex(index);

    EXPECT_EQ(db.search(QStringLiteral("w")), QStringList{tracks[0]->path});
    EXPECT_EQ(db.search(QStringLiteral("w5")), QStringList{tracks[1]->path});
    EXPECT_EQ(db.search(QStringLiteral("w x")), QStringList({tracks[0]->path, tracks[1]->path}));
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
            index.occurences[QStringLiteral("song")] = tracks.mid(b * kBatchSize, kBatchSize);
            index.occurences[QStringLiteral("batch%1").arg(b)] = tracks.mid(b * kBatchSize, kBatchSize);
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
        do {
            seen.append(db.search(QStringLiteral("so")).size());
        } while (!indexed);
        return seen;
    });

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    for (std::future_status status : {indexer.wait_until(deadline), saver.wait_until(deadline),
                                      searcher.wait_until(deadline)}) {
        if (status != std::future_status::ready) {
            ADD_FAILURE() << "the database operations deadlocked";
            std::abort();
        }
    }
    EXPECT_EQ(saver.get(), 50);
    const QList<qsizetype> seen = searcher.get();
    for (qsizetype i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i] % kBatchSize, 0) << i;
        if (i > 0) {
            EXPECT_GE(seen[i], seen[i - 1]) << i;
        }
    }
    EXPECT_EQ(db.search(QStringLiteral("song")).size(), kBatches * kBatchSize);
    EXPECT_EQ(db.search(QStringLiteral("batch1")).size(), 11 * kBatchSize);
    EXPECT_EQ(columnOf(db, QStringLiteral("SELECT count(*) AS v FROM occurences")),
              QStringList{QString::number(2 * kBatches * kBatchSize)});
    QList<qint64> playlist;
    for (const TrackRef& track : db.loadPlaylist()) playlist.append(track->pk);
    QList<qint64> last;
    for (const TrackRef& track : tracks.mid(49, 20)) last.append(track->pk);
    EXPECT_EQ(playlist, last);
}
