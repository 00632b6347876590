#include "KillWorkload.h"
#include "MediaFactory.h"
#include "StorageTestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <chrono>
#include <random>
#include <thread>

using sonvale::DB;
using sonvale::SQLiteDatabase;
using namespace Qt::StringLiterals;
using std::chrono::microseconds;

namespace {

constexpr int kKills = 30;

QString integrity(const QString& path) {
    return query(path, u"SELECT integrity_check AS v FROM pragma_integrity_check"_s).join(u'\n');
}

// Runs storage_writer with `args`, kills it (SIGKILL) after `delay` unless it ended before, and
// waits for its end; the lines it printed.
QStringList runAndKill(const QStringList& args, microseconds delay) {
    QProcess writer;
    writer.start(QStringLiteral(STORAGE_WRITER), args);
    EXPECT_TRUE(writer.waitForStarted(10000));
    // Below a millisecond the wait for its end cannot time it.
    if (delay < std::chrono::milliseconds(1)) std::this_thread::sleep_for(delay);
    if (writer.state() != QProcess::NotRunning && !writer.waitForFinished(int(delay.count() / 1000))) {
        writer.kill();
        EXPECT_TRUE(writer.waitForFinished(10000));
    }
    return QString::fromUtf8(writer.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
}

std::mt19937& random() {
    static std::mt19937 generator(unsigned(testing::UnitTest::GetInstance()->random_seed()));
    return generator;
}

microseconds randomDelay(microseconds limit) {
    return microseconds(std::uniform_int_distribution<qint64>(0, limit.count())(random()));
}

// A file at schema version 12 with a track and a playlist entry.
QByteArray makeOldFile(const QString& dir) {
    { DB db(dir, 12); }
    const QString path = dbPathIn(dir);
    auto db = SQLiteDatabase::open(path);
    EXPECT_TRUE(db && db->executeStatements(u"INSERT INTO metadata (path, size, timestamp, duration, bitRate) VALUES "
                                            "('/m/a.flac', 1, 2, 3, 4); INSERT INTO playlist (metadata_id, \"order\") "
                                            "VALUES (1, 0);"_s));
    db.reset();
    return MediaFactory::readAll(path).value_or(QByteArray());
}

}  // namespace

TEST(DB, PlaylistSaveKilledAtAnyMomentKeepsTheLastCommittedPlaylist) {
    QTemporaryDir dir;
    // The playlist the file holds is KillWorkload::playlist(committed); 0 for none yet.
    int committed = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        SCOPED_TRACE(kill);
        const QStringList printed = runAndKill({u"playlists"_s, dir.path(), QString::number(committed + 1)},
                                               randomDelay(microseconds(250000)));
        const int last = printed.isEmpty() ? committed : printed.last().toInt();
        ASSERT_EQ(integrity(dbPathIn(dir.path())), u"ok"_s);
        DB db(dir.path());
        ASSERT_FALSE(db.recovery());
        QStringList saved;
        for (const sonvale::TrackRef& track : db.loadPlaylist()) saved.append(track->path);
        // The save under way when the writer was killed committed, or left the one before.
        if (saved == (last == 0 ? QStringList() : KillWorkload::playlist(last))) {
            committed = last;
        } else {
            ASSERT_EQ(saved, KillWorkload::playlist(last + 1)) << "after " << last;
            committed = last + 1;
        }
    }
    EXPECT_GT(committed, 0);
}

TEST(Migrations, ClimbKilledAtAnyMomentLeavesTheOldVersionOrTheNewOne) {
    // One whole run, to spread the kills over the time it takes.
    QElapsedTimer timer;
    {
        QTemporaryDir dir;
        makeOldFile(dir.path());
        timer.start();
        ASSERT_EQ(runAndKill({u"open"_s, dir.path()}, microseconds(10000000)), QStringList{u"open"_s});
    }
    const microseconds run(timer.nsecsElapsed() / 1000);
    for (int kill = 0; kill < kKills; ++kill) {
        SCOPED_TRACE(kill);
        QTemporaryDir dir;
        const QByteArray original = makeOldFile(dir.path());
        const QString path = dbPathIn(dir.path());
        runAndKill({u"open"_s, dir.path()}, randomDelay(run + run / 2));

        ASSERT_EQ(integrity(path), u"ok"_s);
        const QString version = query(path, u"SELECT user_version AS v FROM pragma_user_version"_s).value(0);
        if (version == u"12"_s) {
            EXPECT_EQ(query(path, u"SELECT path AS v FROM metadata"_s), QStringList{u"/m/a.flac"_s});
        } else {
            ASSERT_EQ(version, u"36"_s);
            EXPECT_EQ(query(path, u"SELECT path AS v FROM tracks"_s), QStringList{u"/m/a.flac"_s});
        }
        // The backup is whole or absent: it is copied under another name first.
        if (const auto backup = MediaFactory::readAll(path + u".bak.12"_s)) {
            EXPECT_EQ(*backup, original);
        }

        DB db(dir.path());
        EXPECT_FALSE(db.recovery());
        EXPECT_EQ(query(path, u"SELECT user_version AS v FROM pragma_user_version"_s), QStringList{u"36"_s});
        EXPECT_EQ(query(path, u"SELECT path AS v FROM playlist JOIN tracks ON tracks.id = track_id"_s),
                  QStringList{u"/m/a.flac"_s});
    }
}
