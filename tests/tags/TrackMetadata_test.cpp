#include "Track.h"
#include "TrackMetadata.h"

#include "MediaFactory.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <utime.h>

using namespace sonvale;

namespace {

const QStringList kTagged = {QStringLiteral("-metadata"), QStringLiteral("title=Song"),
                             QStringLiteral("-metadata"), QStringLiteral("artist=A"),
                             QStringLiteral("-metadata"), QStringLiteral("album=Record"),
                             QStringLiteral("-metadata"), QStringLiteral("track=4")};

void setModified(const QString& path, qint64 seconds) {
    struct utimbuf times {seconds, seconds};
    ASSERT_EQ(utime(QFile::encodeName(path).constData(), &times), 0);
}

Track freshlyLoaded(const QString& path) {
    Track track(path);
    const auto values = fileResourceValues(path);
    EXPECT_TRUE(values);
    if (values) reloadMetadata(track, *values);
    return track;
}

}  // namespace

TEST(TrackMetadata, ReloadCopiesWhatTheReaderFound) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("01 - x.flac"), kTagged, 1.5, 44100, 2);
    ASSERT_FALSE(path.isEmpty());
    setModified(path, 1700000000);
    const Track track = freshlyLoaded(path);
    EXPECT_EQ(track.status, TrackStatus::scanned);
    EXPECT_EQ(track.metaVersion, currentMetaVersion);
    EXPECT_EQ(track.title, QStringLiteral("Song"));
    EXPECT_EQ(track.artist, QStringLiteral("A"));
    EXPECT_EQ(track.album, QStringLiteral("Record"));
    EXPECT_EQ(track.track, QStringLiteral("4"));
    EXPECT_DOUBLE_EQ(track.duration, 1.5);
    EXPECT_EQ(track.sampleRate, 44100);
    EXPECT_EQ(track.channels, 2);
    EXPECT_EQ(track.size, QFileInfo(path).size());
    EXPECT_EQ(track.timestamp, 1700000000);
    EXPECT_FALSE(track.lyrics);
}

TEST(TrackMetadata, FallsBackToFileAndFolderNames) {
    MediaFactory media;
    ASSERT_TRUE(QDir(media.dir()).mkpath(QStringLiteral("Great Album")));
    const QString path = media.ffmpeg(QStringLiteral("Great Album/07 - Song.flac"), {});
    ASSERT_FALSE(path.isEmpty());
    const Track track = freshlyLoaded(path);
    EXPECT_EQ(track.title, QStringLiteral("07 - Song"));
    EXPECT_EQ(track.album, QStringLiteral("Great Album"));
    EXPECT_EQ(track.artist, QString());
    EXPECT_EQ(track.track, QStringLiteral("7"));
}

TEST(TrackMetadata, ProbesAnMP3WithoutTagForTechnicalValues) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("2020 Live.mp3"),
                                      {QStringLiteral("-id3v2_version"), QStringLiteral("0"), QStringLiteral("-b:a"),
                                       QStringLiteral("128k")},
                                      2.0, 44100, 1);
    ASSERT_FALSE(path.isEmpty());
    EXPECT_FALSE(readAudioInfo(path));  // no ID3v2 tag: not recognised by the readers
    const Track track = freshlyLoaded(path);
    EXPECT_EQ(track.title, QStringLiteral("2020 Live"));
    EXPECT_EQ(track.track, QString());
    EXPECT_EQ(track.sampleRate, 44100);
    EXPECT_EQ(track.channels, 1);
    EXPECT_NEAR(track.duration, 2.0, 0.06);
    EXPECT_EQ(track.bitRate, std::llround(double(track.size) * 8 / track.duration));
}

TEST(TrackMetadata, UnreadableContentStillGivesACompleteRecord) {
    MediaFactory media;
    const QString path = media.write(QStringLiteral("dir/3 notes.flac"), "not really audio at all");
    const Track track = freshlyLoaded(path);
    EXPECT_EQ(track.status, TrackStatus::scanned);
    EXPECT_EQ(track.title, QStringLiteral("3 notes"));
    EXPECT_EQ(track.album, QStringLiteral("dir"));
    EXPECT_EQ(track.track, QStringLiteral("3"));
    EXPECT_EQ(track.duration, 0);
    EXPECT_EQ(track.sampleRate, 0);
    EXPECT_EQ(track.size, 23);
}

TEST(TrackMetadata, MissingResourceValuesKeepSizeAndTimestamp) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("a.flac"), kTagged);
    Track track(path);
    track.size = 5;
    track.timestamp = 6;
    reloadMetadata(track, ResourceValues{std::nullopt, 100});
    EXPECT_EQ(track.size, 5);
    EXPECT_EQ(track.timestamp, 6);
    EXPECT_EQ(track.title, QStringLiteral("Song"));
}

TEST(TrackMetadata, RefreshReadsOnlyWhatChangedOrWasNeverRead) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("a.flac"), kTagged);
    setModified(path, 1600000000);
    Track track(path);
    EXPECT_EQ(refreshMetadata(track, false), RefreshResult::updated);
    EXPECT_EQ(track.title, QStringLiteral("Song"));

    track.title = QStringLiteral("kept");
    EXPECT_EQ(refreshMetadata(track, false), RefreshResult::unchanged);
    EXPECT_EQ(refreshMetadata(track, true), RefreshResult::unchanged);
    EXPECT_EQ(track.title, QStringLiteral("kept"));

    setModified(path, 1600000001);
    EXPECT_EQ(refreshMetadata(track, true), RefreshResult::updated);
    EXPECT_EQ(track.title, QStringLiteral("Song"));
    EXPECT_EQ(track.timestamp, 1600000001);

    track.metaVersion = 2;  // read by older rules: read again although unchanged
    track.title = QStringLiteral("old rules");
    EXPECT_EQ(refreshMetadata(track, false), RefreshResult::updated);
    EXPECT_EQ(track.title, QStringLiteral("Song"));
}

TEST(TrackMetadata, RefreshOfAVanishedFile) {
    MediaFactory media;
    const QString path = media.ffmpeg(QStringLiteral("a.flac"), kTagged);
    Track track(path);
    EXPECT_EQ(refreshMetadata(track, true), RefreshResult::updated);
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_EQ(refreshMetadata(track, false), RefreshResult::unchanged);
    EXPECT_EQ(refreshMetadata(track, true), RefreshResult::unreadable);

    Track never(path);
    EXPECT_EQ(refreshMetadata(never, true), RefreshResult::unchanged);
    EXPECT_EQ(never.status, TrackStatus::none);
}

TEST(TrackMetadata, ArtworkComesFromTheFileBeforeTheFolder) {
    MediaFactory media;
    const QString jpeg = media.jpeg(QStringLiteral("picture.jpg"));
    const QString embedded = media.ffmpeg(QStringLiteral("e.flac"), {});
    ASSERT_TRUE(MediaFactory::run(QStringLiteral("metaflac"), {QStringLiteral("--import-picture-from=") + jpeg, embedded}));
    media.write(QStringLiteral("cover.jpg"), "folder image");
    EXPECT_EQ(loadArtworkData(embedded), MediaFactory::readAll(jpeg));

    const QString plain = media.ffmpeg(QStringLiteral("p.flac"), {});
    EXPECT_EQ(loadArtworkData(plain), QByteArray("folder image"));
    media.write(QStringLiteral("Front.jpg"), "front image");
    EXPECT_EQ(loadArtworkData(plain), QByteArray("front image"));
}

TEST(TrackMetadata, FolderArtworkNamesAreExactJpegNames) {
    MediaFactory media;
    const QString plain = media.ffmpeg(QStringLiteral("p.flac"), {});
    media.write(QStringLiteral("cover.png"), "png");
    media.write(QStringLiteral("COVER.JPG"), "upper");
    EXPECT_FALSE(loadArtworkData(plain));
    media.write(QStringLiteral("Cover.jpeg"), "jpeg");
    EXPECT_EQ(loadArtworkData(plain), QByteArray("jpeg"));
    EXPECT_EQ(loadArtworkData(media.path(QStringLiteral("missing.flac"))), QByteArray("jpeg"));

    Track track(plain);
    EXPECT_EQ(track.artwork(), QByteArray("jpeg"));
    QFile::remove(media.path(QStringLiteral("Cover.jpeg")));
    EXPECT_EQ(track.artwork(), QByteArray("jpeg"));  // searched once, then kept
}
