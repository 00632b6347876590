#include "CliProcess.h"
#include "DB.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(RemoveCommand, RemovesTheFolderWithThatRootAndTakesItsTracksOutOfSearch) {
    QTemporaryDir dir;
    {
        sonvale::DB db(dir.path());
        const sonvale::TrackRef track = db.insertTrack(u"/Music/Glacier.flac"_s);
        ASSERT_TRUE(track);
        sonvale::Index index;
        index.add(track);
        db.saveIndex(index);
        // The first folder claims the track.
        sonvale::Folder music{std::nullopt, u"/Music"_s, std::nullopt};
        sonvale::Folder talk{std::nullopt, u"/Talk"_s, std::nullopt};
        ASSERT_TRUE(db.addFolder(music) && db.addFolder(talk));
    }
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
