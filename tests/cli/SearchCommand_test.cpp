#include "CliProcess.h"
#include "DB.h"
#include "SQLiteDatabase.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::Folder;
using sonvale::Index;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

namespace {

// A library folder /Music/ with three indexed tracks.
void makeLibrary(const QString& dataDir) {
    DB db(dataDir);
    Folder music{std::nullopt, u"/Music/"_s, std::nullopt};
    ASSERT_TRUE(db.addFolder(music));
    Index index;
    for (const char* path : {"/Music/Kutriob/Début/01 Human Behaviour.flac", "/Music/Other/02 Humanity.flac",
                             "/Music/Other/03 Venus.flac"}) {
        TrackRef track = db.insertTrack(QString::fromUtf8(path));
        ASSERT_TRUE(track);
        track->folder = *music.pk;
        db.updateTrack(*track);
        index.add(track);
    }
    db.saveIndex(index);
}

}  // namespace

TEST(SearchCommand, PrintsTheFoundPathsOfTheWordsJoinedAsOneQuery) {
    QTemporaryDir dir;
    makeLibrary(dir.path());
    const CliResult both = runCli({u"--data-dir"_s, dir.path(), u"search"_s, u"HUM"_s, u"débu"_s});
    EXPECT_EQ(both.exitCode, 0) << both.err.constData();
    EXPECT_EQ(QString::fromUtf8(both.out), u"/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac\n"_s);
    EXPECT_TRUE(both.err.isEmpty()) << both.err.constData();

    const CliResult one = runCli({u"--data-dir="_s + dir.path(), u"search"_s, u"hum"_s});
    EXPECT_EQ(one.exitCode, 0);
    EXPECT_EQ(one.out, QByteArray("/Music/Kutriob/Début/01 Human Behaviour.flac\n/Music/Other/02 Humanity.flac\n"));

    const CliResult none = runCli({u"--data-dir"_s, dir.path(), u"search"_s, u"zebra"_s});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_TRUE(none.out.isEmpty());
}

TEST(SearchCommand, MakesTheDatabaseInTheDataDirectoryOrSaysWhyNot) {
    QTemporaryDir dir;
    const QString fresh = dir.filePath(u"fresh"_s);
    const CliResult created = runCli({u"--data-dir"_s, fresh, u"search"_s, u"x"_s});
    EXPECT_EQ(created.exitCode, 0);
    EXPECT_TRUE(created.out.isEmpty());
    auto file = sonvale::SQLiteDatabase::open(QDir(fresh).filePath(DB::fileName()));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->userVersion(), DB::kSchemaVersion);

    // Without --data-dir: the default data directory under the test's XDG_DATA_HOME.
    EXPECT_EQ(runCli({u"search"_s, u"x"_s}).exitCode, 0);
    EXPECT_TRUE(QFile::exists(QDir(DB::defaultDataDirectory()).filePath(DB::fileName())));

    // A directory where the database file should be cannot be opened.
    const QString blocked = dir.filePath(u"blocked"_s);
    ASSERT_TRUE(QDir().mkpath(QDir(blocked).filePath(DB::fileName())));
    const CliResult failed = runCli({u"--data-dir"_s, blocked, u"search"_s, u"x"_s});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.out.isEmpty());
    EXPECT_TRUE(failed.err.contains("sonvale-cli search: cannot open the database")) << failed.err.constData();

    EXPECT_EQ(runCli({u"--data-dir"_s, dir.path(), u"search"_s}).exitCode, 2);
}
