#include "CliProcess.h"
#include "MediaFactory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// One object per line; a line that is not JSON gives an empty one.
QList<QJsonObject> records(const QByteArray& out) {
    QList<QJsonObject> list;
    for (const QByteArray& line : out.split('\n')) {
        if (!line.isEmpty()) list.append(QJsonDocument::fromJson(line).object());
    }
    return list;
}

}  // namespace

TEST(TagsCommand, PrintsOneRecordPerFileWithEveryKey) {
    MediaFactory media;
    const QString flac =
        media.ffmpeg(u"05 song.flac"_s,
                     {u"-metadata"_s, u"title=Quote \" and \\ back"_s, u"-metadata"_s, u"genre=Rock"_s}, 1.0, 22050, 1);
    const QString junk = media.write(u"junk.bin"_s, "junk");
    const CliResult result = runCli({u"tags"_s, flac, junk});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const auto list = records(result.out);
    ASSERT_EQ(list.size(), 2);

    const QJsonObject& a = list[0];
    EXPECT_EQ(a.keys(), QStringList({"album", "artist", "artworkBytes", "bitRate", "channels", "chapters",
                                     "duration", "fileType", "genre", "hasArtwork", "lyrics", "metaVersion",
                                     "offset", "path", "sampleRate", "size", "timestamp", "title", "track"}));
    EXPECT_EQ(a[u"path"_s].toString(), flac);
    EXPECT_EQ(a[u"fileType"_s].toString(), u"flac"_s);
    EXPECT_EQ(a[u"title"_s].toString(), u"Quote \" and \\ back"_s);
    EXPECT_EQ(a[u"genre"_s].toString(), u"Rock"_s);
    EXPECT_DOUBLE_EQ(a[u"duration"_s].toDouble(), 1.0);
    EXPECT_EQ(a[u"sampleRate"_s].toInt(), 22050);
    EXPECT_TRUE(a[u"lyrics"_s].isNull() && a[u"artworkBytes"_s].isNull());
    EXPECT_TRUE(a[u"chapters"_s].isArray());
    EXPECT_FALSE(a[u"hasArtwork"_s].toBool());

    const QJsonObject& b = list[1];
    EXPECT_EQ(b[u"fileType"_s].toString(), u"unknown"_s);
    EXPECT_EQ(b[u"title"_s].toString(), u"junk"_s);
    EXPECT_EQ(b[u"size"_s].toInt(), 4);
    EXPECT_TRUE(b[u"genre"_s].isNull());
}

TEST(TagsCommand, MissingFileIsNamedAndTheOthersStillPrinted) {
    MediaFactory media;
    const QString junk = media.write(u"cover.jpg"_s, "jpeg bytes");
    const QString missing = media.path(u"gone.flac"_s);
    const CliResult result = runCli({u"--data-dir"_s, media.dir(), u"tags"_s, missing, junk});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(missing.toUtf8()));
    const auto list = records(result.out);
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list[0][u"artworkBytes"_s].toInt(), 10);  // the folder image beside it
}

TEST(TagsCommand, UsageErrorsAndHelp) {
    const CliResult help = runCli({u"--help"_s});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains("tags FILE...") && help.out.contains("--data-dir"));
    for (const QStringList& args : {QStringList(), QStringList{u"frobnicate"_s}, QStringList{u"tags"_s},
                                    QStringList{u"--data-dir"_s}, QStringList{u"--bogus"_s, u"tags"_s}}) {
        EXPECT_EQ(runCli(args).exitCode, 2) << args.join(u' ').toStdString();
    }
}
