#include "DB.h"
#include "SQLiteDatabase.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::Folder;
using sonvale::Index;
using sonvale::TrackRef;

namespace {

struct Result {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Result cli(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral(SONVALE_CLI), args);
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

// A library folder /Music/ with three indexed tracks.
void makeLibrary(const QString& dataDir) {
    DB db(dataDir);
    Folder music{std::nullopt, QStringLiteral("/Music/"), std::nullopt};
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
    const Result both = cli({QStringLiteral("--data-dir"), dir.path(), QStringLiteral("search"), QStringLiteral("HUM"),
                             QStringLiteral("débu")});
    EXPECT_EQ(both.exitCode, 0) << both.err.constData();
    EXPECT_EQ(QString::fromUtf8(both.out), QStringLiteral("/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac\n"));
    EXPECT_TRUE(both.err.isEmpty()) << both.err.constData();

    const Result one = cli({QStringLiteral("--data-dir=") + dir.path(), QStringLiteral("search"), QStringLiteral("hum")});
    EXPECT_EQ(one.exitCode, 0);
    EXPECT_EQ(one.out, QByteArray("/Music/Kutriob/Début/01 Human Behaviour.flac\n/Music/Other/02 Humanity.flac\n"));

    const Result none = cli({QStringLiteral("--data-dir"), dir.path(), QStringLiteral("search"), QStringLiteral("zebra")});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_TRUE(none.out.isEmpty());
}

TEST(SearchCommand, MakesTheDatabaseInTheDataDirectoryOrSaysWhyNot) {
    QTemporaryDir dir;
    const QString fresh = dir.filePath(QStringLiteral("fresh"));
    const Result created = cli({QStringLiteral("--data-dir"), fresh, QStringLiteral("search"), QStringLiteral("x")});
    EXPECT_EQ(created.exitCode, 0);
    EXPECT_TRUE(created.out.isEmpty());
    auto file = sonvale::SQLiteDatabase::open(QDir(fresh).filePath(DB::fileName()));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->userVersion(), DB::kSchemaVersion);

    // Without --data-dir: the default data directory under the test's XDG_DATA_HOME.
    EXPECT_EQ(cli({QStringLiteral("search"), QStringLiteral("x")}).exitCode, 0);
    EXPECT_TRUE(QFile::exists(QDir(DB::defaultDataDirectory()).filePath(DB::fileName())));

    // A directory where the database file should be cannot be opened.
    const QString blocked = dir.filePath(QStringLiteral("blocked"));
    ASSERT_TRUE(QDir().mkpath(QDir(blocked).filePath(DB::fileName())));
    const Result failed = cli({QStringLiteral("--data-dir"), blocked, QStringLiteral("search"), QStringLiteral("x")});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.out.isEmpty());
    EXPECT_TRUE(failed.err.contains("sonvale-cli search: cannot open the database")) << failed.err.constData();

    EXPECT_EQ(cli({QStringLiteral("--data-dir"), dir.path(), QStringLiteral("search")}).exitCode, 2);
}
