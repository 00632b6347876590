#include "CliProcess.h"

#include <QDir>
#include <QTemporaryDir>

using sonvale::DB;
using namespace Qt::StringLiterals;

// The words are one query; both spellings of the data directory option work.
TEST(SearchCommand, PrintsThePathsTheWordsFindTogether) {
    QTemporaryDir dir;
    makeLibrary(dir.path(), {u"/Music/"_s},
                {u"/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac"_s, u"/Music/Other/02 Humanity.flac"_s,
                 u"/Music/Other/03 Venus.flac"_s});
    const CliResult both = runCli({u"--data-dir"_s, dir.path(), u"search"_s, u"HUM"_s, u"d\u00e9bu"_s});
    EXPECT_EQ(both.exitCode, 0) << both.err.constData();
    EXPECT_EQ(QString::fromUtf8(both.out), u"/Music/Kutriob/D\u00e9but/01 Human Behaviour.flac\n"_s);
    EXPECT_TRUE(both.err.isEmpty()) << both.err.constData();

    const CliResult one = runCli({u"--data-dir="_s + dir.path(), u"search"_s, u"hum"_s});
    EXPECT_EQ(one.out, QByteArray("/Music/Kutriob/Début/01 Human Behaviour.flac\n/Music/Other/02 Humanity.flac\n"));

    const CliResult none = runCli({u"--data-dir"_s, dir.path(), u"search"_s, u"zebra"_s});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_TRUE(none.out.isEmpty());
}

TEST(SearchCommand, MakesTheDatabaseInTheDataDirectoryOrSaysWhyNot) {
    // Without --data-dir: the default data directory under the test's XDG_DATA_HOME.
    const CliResult created = runCli({u"search"_s, u"x"_s});
    EXPECT_EQ(created.exitCode, 0);
    EXPECT_TRUE(created.out.isEmpty());
    EXPECT_TRUE(QFile::exists(QDir(DB::defaultDataDirectory()).filePath(DB::fileName())));

    // A directory where the database file should be cannot be opened.
    QTemporaryDir dir;
    const QString blocked = dir.filePath(u"blocked"_s);
    ASSERT_TRUE(QDir().mkpath(QDir(blocked).filePath(DB::fileName())));
    const CliResult failed = runCli({u"--data-dir"_s, blocked, u"search"_s, u"x"_s});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.out.isEmpty());
    EXPECT_TRUE(failed.err.contains("sonvale-cli search: cannot open the database")) << failed.err.constData();

    EXPECT_EQ(runCli({u"--data-dir"_s, dir.path(), u"search"_s}).exitCode, 2);
}
