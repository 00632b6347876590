#include "CliProcess.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

TEST(RemoveCommand, RemovesTheFolderWithThatRootAndTakesItsTracksOutOfSearch) {
    QTemporaryDir dir;
    makeLibrary(dir.path(), {u"/Music"_s, u"/Talk"_s}, {u"/Music/Glacier.flac"_s});
    const auto cli = [&](const QStringList& args) { return runCli(QStringList{u"--data-dir"_s, dir.path()} + args); };
    ASSERT_EQ(cli({u"search"_s, u"glacier"_s}).out, QByteArray("/Music/Glacier.flac\n"));

    // A trailing slash does not matter: the stored root is what is compared.
    const CliResult removed = cli({u"remove"_s, u"/Music/"_s});
    EXPECT_EQ(removed.exitCode, 0) << removed.err.constData();
    EXPECT_EQ(cli({u"folders"_s}).out, QByteArray("2\t/Talk\tnever\n"));
    EXPECT_TRUE(cli({u"search"_s, u"glacier"_s}).out.isEmpty());

    const CliResult again = cli({u"remove"_s, u"/Music"_s});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.err.contains("/Music is not a library folder")) << again.err.constData();
    EXPECT_EQ(cli({u"remove"_s}).exitCode, 2);
}
