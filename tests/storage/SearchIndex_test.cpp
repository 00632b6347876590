#include "Index.h"
#include "StorageTestSupport.h"
#include "Tokenizer.h"

#include <random>

using sonvale::DB;
using sonvale::Index;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

// DB::search answers from its copy in memory; searchByStatement runs the SQL statement over the
// tables. Both must give the same paths in the same order, whatever the writes in between.
class SearchIndexTest : public StorageTest {
protected:
    QString word() {
        static const QStringList syllables = {u"la"_s, u"mor"_s, u"ka"_s, u"tri"_s, u"é"_s,  u"bo"_s,  u"sun"_s,
                                              u"dé"_s, u"ñu"_s,  u"ri"_s, u"an"_s,  u"ö"_s,  u"zel"_s, u"q"_s,
                                              // Above the surrogates in UTF-16, below them in UTF-8:
                                              // paths must sort by their bytes.
                                              u"\uff5a"_s, u"\U0001D11E"_s};
        QString text;
        const int count = 1 + int(random() % 3);
        for (int i = 0; i < count; ++i) text += syllables[qsizetype(random() % std::uint64_t(syllables.size()))];
        return text;
    }
    QString words(int max) {
        QStringList list;
        const int count = 1 + int(random() % std::uint64_t(max));
        for (int i = 0; i < count; ++i) list.append(word());
        return list.join(QLatin1Char(' '));
    }

    // A track under `root` with random words in its path and tags, indexed.
    TrackRef addRandomTrack(const QString& root, qint64 folder) {
        const QString artist = words(2);
        const QString album = words(2);
        const QString title = words(3);
        TrackRef track = addTrack(u"%1%2/%3/%4 %5.flac"_s.arg(root, artist, album).arg(serial++).arg(title), title, folder);
        track->artist = artist;
        track->album = album;
        db.updateTrack(*track);
        tracks.append(track);
        return track;
    }

    void index(const QList<TrackRef>& batch) {
        Index collector;
        for (const TrackRef& track : batch) collector.add(track);
        db.saveIndex(collector);
    }

    // Random prefixes of stored tokens, some typed in capitals or with unknown words, and the
    // queries without tokens.
    QStringList queries(int count) {
        QStringList stored = column(db, u"SELECT token AS v FROM tokens"_s);
        QStringList list = {QString(), u"  -/ "_s, u"zzzz"_s};
        while (list.size() < count) {
            QStringList typed;
            const int wordCount = 1 + int(random() % 4);
            for (int i = 0; i < wordCount; ++i) {
                const QString& token = stored[qsizetype(random() % std::uint64_t(stored.size()))];
                QString prefix = token.left(1 + qsizetype(random() % 4));
                if (random() % 5 == 0) prefix = prefix.toUpper();
                if (random() % 17 == 0) prefix += u"xq"_s;
                typed.append(prefix);
            }
            list.append(typed.join(random() % 2 ? u" "_s : u", "_s));
        }
        return list;
    }

    void expectSameAnswers(const char* when) {
        int compared = 0;
        for (const QString& query : queries(1500)) {
            const QStringList expected = db.searchByStatement(query);
            ASSERT_EQ(db.search(query), expected) << when << ": " << query.toStdString();
            compared += expected.isEmpty() ? 0 : 1;
        }
        EXPECT_GT(compared, 500) << when;
    }

    std::mt19937_64 random{20261124};
    int serial = 0;
    QList<TrackRef> tracks;
};

}  // namespace

TEST_F(SearchIndexTest, AnswersAsTheStatementThroughRescansAndFolderChanges) {
    const qint64 music = addFolder(u"/Music/"_s);
    const qint64 more = addFolder(u"/More/"_s);
    for (int i = 0; i < 1200; ++i) addRandomTrack(i % 3 ? u"/Music/"_s : u"/More/"_s, i % 3 ? music : more);
    addRandomTrack(u"/Elsewhere/"_s, 0);
    index(tracks);
    expectSameAnswers("first scan");

    // A rescan: tokens cleared, a third of the files changed, some moved, some deleted, new
    // ones added, everything indexed again in batches.
    db.clearIndex(music);
    QSet<QString> kept;
    for (const TrackRef& track : tracks) {
        if (track->folder != music) continue;
        if (random() % 10 == 0) continue;
        if (random() % 3 == 0) {
            track->title = words(3);
            db.updateTrack(*track);
        }
        kept.insert(track->path);
    }
    QHash<QString, qsizetype> positions;
    for (const QString& path : kept) positions.insert(path, positions.size());
    db.removeMissingTracks(music, positions);
    QList<TrackRef> rescanned;
    for (const TrackRef& track : tracks) {
        if (kept.contains(track->path)) rescanned.append(track);
    }
    for (int i = 0; i < 150; ++i) rescanned.append(addRandomTrack(u"/Music/moved/"_s, music));
    for (qsizetype first = 0; first < rescanned.size(); first += 400) {
        index(rescanned.mid(first, 400));
        EXPECT_EQ(db.search(u"la"_s), db.searchByStatement(u"la"_s));
    }
    expectSameAnswers("after a rescan");

    // A rescan in scan batches: a record whose texts changed has its tokens replaced, the
    // others keep theirs, and the tracks of another folder get theirs again on top.
    for (qsizetype first = 0; first < tracks.size(); first += 300) {
        sonvale::ScanBatch batch;
        for (const TrackRef& track : tracks.mid(first, 300)) {
            if (track->folder == more) {
                batch.index.add(track);
                batch.unknown.append(track->pk);
            } else if (track->folder == music && random() % 4 == 0 &&
                       (kept.contains(track->path) || track->path.startsWith(u"/Music/moved/"_s))) {
                track->album = words(2);
                batch.updated.append(track);
                batch.cleared.append(track->pk);
                batch.index.add(track);
                batch.indexed.append({track, sonvale::indexTextsDigest(*track)});
            }
        }
        ASSERT_TRUE(db.saveScanBatch(batch));
        EXPECT_EQ(db.search(u"bo"_s), db.searchByStatement(u"bo"_s));
    }
    expectSameAnswers("after a rescan in scan batches");

    // A folder added over existing tracks claims them by prefix; a removed one leaves the search.
    addFolder(u"/Elsewhere/"_s);
    expectSameAnswers("after a folder was added");
    db.removeFolder(more);
    expectSameAnswers("after a folder was removed");
}

// Another connection (a scan from the command line) writing the file is seen by the next search.
TEST_F(SearchIndexTest, SeesWhatAnotherConnectionCommitted) {
    const qint64 music = addFolder(u"/Music/"_s);
    index({addRandomTrack(u"/Music/"_s, music)});
    EXPECT_TRUE(db.search(u"unique"_s).isEmpty());

    DB other(dir.path());
    TrackRef track = other.insertTrack(u"/Music/Unique Song.flac"_s);
    ASSERT_TRUE(track);
    track->folder = music;
    other.updateTrack(*track);
    Index collector;
    collector.add(track);
    other.saveIndex(collector);

    EXPECT_EQ(db.search(u"uniq so"_s), QStringList{u"/Music/Unique Song.flac"_s});
    other.removeFolder(music);
    EXPECT_TRUE(db.search(u"uniq"_s).isEmpty());
}
