#include "Track.h"
#include "TrackMetadata.h"

#include "TagFiles.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <utime.h>

using namespace sonvale;

namespace {

const QStringList kTagged = metadata({"title=Song", "artist=A", "album=Record", "track=4"});

void setModified(const QString& path, qint64 seconds) {
    struct utimbuf times {seconds, seconds};
    ASSERT_EQ(utime(QFile::encodeName(path).constData(), &times), 0);
}

}  // namespace

TEST(TrackMetadata, RefreshCopiesWhatTheReaderFoundWhenTheFileChangedOrWasNeverRead) {
    MediaFactory media;
    const QString path = media.ffmpeg("01 - x.flac", kTagged, 1.5, 44100, 2);
    setModified(path, 1600000000);
    Track track(path);
    EXPECT_EQ(refreshMetadata(track, false), RefreshResult::updated);
    EXPECT_EQ(track.status, TrackStatus::scanned);
    EXPECT_EQ(track.metaVersion, currentMetaVersion);
    EXPECT_EQ(QStringList({track.title, track.artist, track.album, track.track}),
              QStringList({"Song", "A", "Record", "4"}));
    EXPECT_EQ(std::tuple(track.duration, track.sampleRate, track.channels, track.size, track.timestamp),
              std::tuple(1.5, 44100, 2, QFileInfo(path).size(), 1600000000));
    EXPECT_FALSE(track.lyrics);

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

    // Without both resource values the old size and time stay.
    Track kept(path);
    kept.size = 5;
    kept.timestamp = 6;
    reloadMetadata(kept, ResourceValues{std::nullopt, 100});
    EXPECT_EQ(std::tuple(kept.size, kept.timestamp, kept.title), std::tuple(5, 6, "Song"));

    // A vanished file is unreadable only when a read is forced; a record never read stays as it is.
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_EQ(refreshMetadata(track, false), RefreshResult::unchanged);
    EXPECT_EQ(refreshMetadata(track, true), RefreshResult::unreadable);
    Track never(path);
    EXPECT_EQ(refreshMetadata(never, true), RefreshResult::unchanged);
    EXPECT_EQ(never.status, TrackStatus::none);
}

TEST(TrackMetadata, FallsBackToNamesAndTheProbeForWhatTheReadersLack) {
    MediaFactory media;
    // No reader takes an MP3 without ID3v2 tag; libavformat gives its technical values.
    const QString path =
        media.ffmpeg("Great Album/07 - Song.mp3", {"-id3v2_version", "0", "-b:a", "128k"}, 2.0, 44100, 1);
    EXPECT_FALSE(readAudioInfo(path));
    Track track(path);
    reloadMetadata(track, fileResourceValues(path).value_or(ResourceValues{}));
    EXPECT_EQ(QStringList({track.title, track.album, track.artist, track.track}),
              QStringList({"07 - Song", "Great Album", "", "7"}));
    EXPECT_EQ(std::tuple(track.sampleRate, track.channels), std::tuple(44100, 1));
    EXPECT_NEAR(track.duration, 2.0, 0.06);
    EXPECT_EQ(track.bitRate, std::llround(double(track.size) * 8 / track.duration));
}

// Embedded pictures come first; then exact JPEG names beside the file, searched once per track.
TEST(TrackMetadata, ArtworkComesFromTheFileBeforeTheFolder) {
    MediaFactory media;
    const QString jpeg = media.jpeg("picture.jpg");
    const QString embedded = media.ffmpeg("e.flac", {});
    ASSERT_TRUE(MediaFactory::run("metaflac", {"--import-picture-from=" + jpeg, embedded}));
    const QString plain = media.ffmpeg("p.flac", {});
    media.write("cover.png", "png");
    media.write("COVER.JPG", "upper");
    EXPECT_FALSE(loadArtworkData(plain));
    EXPECT_FALSE(folderArtworkPath(plain));
    media.write("Cover.jpeg", "jpeg");
    EXPECT_EQ(loadArtworkData(embedded), MediaFactory::readAll(jpeg));
    EXPECT_EQ(loadArtworkData(plain), QByteArray("jpeg"));
    EXPECT_EQ(loadArtworkData(media.path("missing.flac")), QByteArray("jpeg"));
    media.write("Front.jpg", "front image");
    EXPECT_EQ(loadArtworkData(plain), QByteArray("front image"));
    // The folder's image is named whether or not the file has its own.
    EXPECT_EQ(folderArtworkPath(plain), media.path("Front.jpg"));
    EXPECT_EQ(folderArtworkPath(embedded), media.path("Front.jpg"));

    Track track(plain);
    EXPECT_EQ(track.artwork(), QByteArray("front image"));
    QFile::remove(media.path("Front.jpg"));
    EXPECT_EQ(track.artwork(), QByteArray("front image"));  // searched once, then kept
}
