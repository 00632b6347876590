#include "CliProcess.h"
#include "DB.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using namespace Qt::StringLiterals;

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
