#include "MediaFactory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

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

QList<QJsonObject> records(const QByteArray& out) {
    QList<QJsonObject> list;
    for (const QByteArray& line : out.split('\n')) {
        if (line.isEmpty()) continue;
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << line.constData();
        list.append(doc.object());
    }
    return list;
}

}  // namespace

TEST(TagsCommand, PrintsOneRecordPerFileWithEveryKey) {
    MediaFactory media;
    const QString flac = media.ffmpeg(QStringLiteral("05 song.flac"),
                                      {QStringLiteral("-metadata"), QStringLiteral("title=Quote \" and \\ back"),
                                       QStringLiteral("-metadata"), QStringLiteral("genre=Rock")},
                                      1.0, 22050, 1);
    const QString junk = media.write(QStringLiteral("junk.bin"), "junk");
    const Result result = cli({QStringLiteral("tags"), flac, junk});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const auto list = records(result.out);
    ASSERT_EQ(list.size(), 2);

    const QJsonObject& a = list[0];
    const QStringList keys = {"path", "fileType", "offset", "title", "artist", "album", "track",
                              "duration", "bitRate", "sampleRate", "channels", "size", "timestamp",
                              "metaVersion", "lyrics", "chapters", "genre", "hasArtwork", "artworkBytes"};
    EXPECT_EQ(a.keys().size(), keys.size());
    for (const QString& key : keys) EXPECT_TRUE(a.contains(key)) << qPrintable(key);
    EXPECT_EQ(a[QStringLiteral("path")].toString(), flac);
    EXPECT_EQ(a[QStringLiteral("fileType")].toString(), QStringLiteral("flac"));
    EXPECT_EQ(a[QStringLiteral("title")].toString(), QStringLiteral("Quote \" and \\ back"));
    EXPECT_EQ(a[QStringLiteral("track")].toString(), QStringLiteral("5"));
    EXPECT_EQ(a[QStringLiteral("genre")].toString(), QStringLiteral("Rock"));
    EXPECT_DOUBLE_EQ(a[QStringLiteral("duration")].toDouble(), 1.0);
    EXPECT_EQ(a[QStringLiteral("sampleRate")].toInt(), 22050);
    EXPECT_EQ(a[QStringLiteral("metaVersion")].toInt(), 3);
    EXPECT_TRUE(a[QStringLiteral("lyrics")].isNull());
    EXPECT_TRUE(a[QStringLiteral("chapters")].isArray());
    EXPECT_FALSE(a[QStringLiteral("hasArtwork")].toBool());
    EXPECT_TRUE(a[QStringLiteral("artworkBytes")].isNull());

    const QJsonObject& b = list[1];
    EXPECT_EQ(b[QStringLiteral("fileType")].toString(), QStringLiteral("unknown"));
    EXPECT_EQ(b[QStringLiteral("title")].toString(), QStringLiteral("junk"));
    EXPECT_EQ(b[QStringLiteral("size")].toInt(), 4);
    EXPECT_TRUE(b[QStringLiteral("genre")].isNull());
}

TEST(TagsCommand, MissingFileIsNamedAndTheOthersStillPrinted) {
    MediaFactory media;
    const QString junk = media.write(QStringLiteral("cover.jpg"), "jpeg bytes");
    const QString missing = media.path(QStringLiteral("gone.flac"));
    const Result result = cli({QStringLiteral("--data-dir"), media.dir(), QStringLiteral("tags"), missing, junk});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(missing.toUtf8()));
    const auto list = records(result.out);
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list[0][QStringLiteral("artworkBytes")].toInt(), 10);  // the folder image beside it
}

TEST(TagsCommand, UsageErrorsAndHelp) {
    const Result help = cli({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains("tags FILE..."));
    EXPECT_TRUE(help.out.contains("--data-dir"));
    EXPECT_EQ(cli({}).exitCode, 2);
    EXPECT_EQ(cli({QStringLiteral("frobnicate")}).exitCode, 2);
    EXPECT_EQ(cli({QStringLiteral("tags")}).exitCode, 2);
    EXPECT_EQ(cli({QStringLiteral("--data-dir")}).exitCode, 2);
    EXPECT_EQ(cli({QStringLiteral("--bogus"), QStringLiteral("tags")}).exitCode, 2);
}
