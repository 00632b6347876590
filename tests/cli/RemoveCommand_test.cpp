#include "CliProcess.h"
#include "DB.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using sonvale::DB;
using sonvale::Folder;
using sonvale::TrackRef;
using namespace Qt::StringLiterals;

TEST(RemoveCommand, RemovesTheFolderWithThatRootAndTakesItsTracksOutOfSearch) {
    QTemporaryDir dir;
    {
        DB db(dir.path());
        Folder music{std::nullopt, u"/Music"_s, std::nullopt};
        Folder talk{std::nullopt, u"/Talk"_s, std::nullopt};
        ASSERT_TRUE(db.addFolder(music) && db.addFolder(talk));
        sonvale::Index index;
        TrackRef track = db.insertTrack(u"/Music/Glacier.flac"_s);
        ASSERT_TRUE(track);
        track->folder = *music.pk;
        db.updateTrack(*track);
        index.add(track);
        db.saveIndex(index);
    }
    const auto cli = [&](const QStringList& args) { return runCli(QStringList{u"--data-dir"_s, dir.path()} + args); };

    // Neither the folder nor a trailing slash matters: the stored root is what is compared.
    const CliResult removed = cli({u"remove"_s, u"/Music/"_s});
    EXPECT_EQ(removed.exitCode, 0) << removed.err.constData();
    EXPECT_EQ(cli({u"folders"_s}).out, QByteArray("2\t/Talk\tnever\n"));
    EXPECT_TRUE(cli({u"search"_s, u"glacier"_s}).out.isEmpty());

    const CliResult again = cli({u"remove"_s, u"/Music"_s});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.err.contains("/Music is not a library folder")) << again.err.constData();
    EXPECT_EQ(cli({u"remove"_s}).exitCode, 2);
}
