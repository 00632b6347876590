#include "AudioFileType.h"
#include "ID3Reader.h"
#include "ID3v1Tag.h"
#include "MP4Reader.h"
#include "RIFFReader.h"
#include "Track.h"
#include "TrackMetadata.h"

#include "TagFiles.h"

#include <QDirIterator>

#include <gtest/gtest.h>

#include <cmath>

using namespace sonvale;

namespace {

template <typename Result>
Result readPeer(const QString& corpus, const char* name, TagReader<Result> reader) {
    return readFile(corpus + QLatin1Char('/') + QLatin1String(name), reader).value_or(Result{});
}

}  // namespace

// Third-party media, many of them broken on purpose: every file goes through type detection, the
// ID3 reader, the artwork search and a full metadata load (the fuzz targets run every reader on
// these files too). Nothing may crash or hang (the sanitizer build turns memory errors into
// failures), and every record stays complete.
TEST(PeerCorpus, EveryFileLoadsWithoutCrashing) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus beside the repository";
    int files = 0;
    for (QDirIterator it(*corpus, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        const QString path = it.next();
        if (path.endsWith(QLatin1String(".md"))) continue;
        SCOPED_TRACE(path.toStdString());
        ++files;
        if (const auto file = FileBytes::open(path)) {
            const DetectedType detected = detectFileType(*file);
            EXPECT_GE(detected.offset, 0);
            EXPECT_LE(detected.offset, file->size());
            const auto tag = ID3Reader::readTag(*file, 0);
            EXPECT_EQ(ID3Reader::readInfo(*file, 0).has_value(), tag.has_value());
            EXPECT_TRUE(!ID3Reader::readPicture(*file, 0) || (tag && tag->hasPicture));
        }
        if (const auto info = readAudioInfo(path)) {
            const AudioProperties& p = info->properties;
            EXPECT_TRUE(std::isfinite(p.duration) && p.duration >= 0 && p.bitRate >= 0 && p.sampleRate >= 0);
            for (const Chapter& c : info->chapters) EXPECT_GE(c.start, 0);
        }
        (void)loadArtworkData(path);
        Track track(path);
        EXPECT_EQ(refreshMetadata(track, true), RefreshResult::updated);
        EXPECT_FALSE(track.title.isEmpty());
        EXPECT_EQ(track.status, TrackStatus::scanned);
    }
    EXPECT_GT(files, 100);
}

TEST(PeerCorpus, ID3TagsGiveTheirKnownValues) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus beside the repository";
    auto tagOf = [&](const char* name) { return readPeer(*corpus, name, ID3Reader::readTag); };
    const std::pair<const char*, const char*> titles[] = {
        {"taglib/005411.id3", "Sunshine Superman"},   {"taglib/unsynch24.id3", "Hi"},
        {"taglib/unsynch.id3", "My babe just cares for me"}, {"taglib/broken-tenc.id3", "Take On Me"},
        {"mutagen/issue_21.id3", "Punk To Funk"},     {"mutagen/id3v22-test.mp3", "cosmic american"}};
    for (const auto& [name, title] : titles) EXPECT_EQ(tagOf(name).tags.title, QString::fromUtf8(title)) << name;
    EXPECT_EQ(tagOf("taglib/rare_frames.mp3").tags.genre, "Pop");
    EXPECT_EQ(tagOf("mutagen/silence-44-s.mp3").tags.artists.size(), 2);
    EXPECT_TRUE(tagOf("mutagen/bad-TYER-frame.mp3").tags.title);
    const ID3Tag toc = tagOf("taglib/toc_many_children.mp3");
    EXPECT_EQ(toc.chapters.size(), 129);
    EXPECT_EQ(toc.chapters.value(0).title, "Marker 1");
    EXPECT_TRUE(readPeer(*corpus, "taglib/itunes10.mp3", ID3Reader::readPicture).startsWith("\x89PNG"));
    const auto v1File = FileBytes::open(*corpus + QStringLiteral("/mutagen/silence-44-s-v1.mp3"));
    ASSERT_TRUE(v1File);
    EXPECT_EQ(ID3v1Tag::read(*v1File), (AudioTags{"Silence", {"piman"}, "Quod Libet Test Data", "2", "Darkwave", {}}));
}

TEST(PeerCorpus, MP4FilesGiveTheirKnownValues) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus beside the repository";
    auto info = [&](const char* name) { return readPeer(*corpus, name, MP4Reader::readInfo); };
    auto picture = [&](const char* name) { return readPeer(*corpus, name, MP4Reader::readPicture); };
    EXPECT_EQ(info("taglib/gnre.m4a").tags.genre, "Ska");
    EXPECT_EQ(info("taglib/non-full-meta.m4a").tags.artists, QStringList{"Test Artist!!!!"});
    EXPECT_EQ(info("mutagen/truncated-64bit.mp4").tags.artists, QStringList{"Foobarella"});
    EXPECT_EQ(info("taglib/zero-length-mdat.m4a").tags.title, "Sine wave 440Hz");
    // The PNG comes before the JPEG; an empty cover value is no artwork.
    EXPECT_EQ(picture("taglib/has-tags.m4a").size(), 79);
    EXPECT_TRUE(picture("taglib/covr-junk.m4a").startsWith("\x89PNG"));
    const AudioInfo last = info("taglib/ilst-is-last.m4a");
    EXPECT_FALSE(last.hasArtwork);
    EXPECT_EQ(last.tags.trackNumber, "1");

    EXPECT_EQ(info("mutagen/alac.m4a").properties.bitRate, 2764);
    EXPECT_EQ(info("taglib/flac96.m4a").properties.sampleRate, 96000);
    const AudioProperties ac3 = info("taglib/ac3.m4a").properties;
    EXPECT_EQ(std::tuple(ac3.sampleRate, ac3.channels), std::tuple(48000, 2));
    EXPECT_NEAR(info("taglib/no-tags.3g2").properties.duration, 15.0, 0.01);

    // 112 Nero chapters: the chapter track's samples lie in the stubbed-out media data.
    const AudioInfo nero = info("mutagen/nero-chapters.m4b");
    EXPECT_EQ(nero.chapters.size(), 112);
    EXPECT_NEAR(nero.properties.duration, 169022.69, 0.01);
    EXPECT_TRUE(nero.hasArtwork);
    EXPECT_EQ(info("mutagen/ep7.m4b").chapters, (QList<Chapter>{{0, 2, "Chapter 1"}}));
}

TEST(PeerCorpus, WaveAndAIFFFilesGiveTheirKnownValues) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus beside the repository";
    auto info = [&](const char* name) { return readPeer(*corpus, name, RIFFReader::readInfo); };
    EXPECT_EQ(info("mutagen/11k-1ch-2s-silence.aif").properties, (AudioProperties{2.0, 176400, 11025, 1}));
    EXPECT_EQ(info("mutagen/8k-4ch-1s-silence.aif").properties.channels, 4);
    EXPECT_EQ(info("taglib/rf64.wav").properties.sampleRate, 48000);
    EXPECT_EQ(info("taglib/uint8we.wav").properties.bitRate, 8 * 2 * 8000);
    EXPECT_EQ(info("taglib/noise_odd.aif").properties, info("taglib/noise.aif").properties);
    EXPECT_EQ(info("taglib/alaw.aifc").tags.title, "woodblock");
    EXPECT_EQ(info("taglib/alaw.aifc").tags.artists, QStringList{"Prosonus"});
    EXPECT_EQ(info("taglib/duplicate_tags.wav").tags.title, "Title1");
    // The first ID3 chunk wins.
    EXPECT_EQ(info("taglib/duplicate_id3v2.aiff").tags.title, "Title1");
    EXPECT_EQ(info("taglib/duplicate_id3v2.aiff").tags.artists, QStringList{"Artist1"});
    EXPECT_EQ(info("mutagen/with-id3.aif").tags.title, "AIFF title");
    EXPECT_TRUE(info("mutagen/silence-2s-PCM-16000-08-ID3v23.wav").hasArtwork);
    EXPECT_FALSE(readPeer(*corpus, "mutagen/silence-2s-PCM-16000-08-ID3v23.wav", RIFFReader::readPicture).isEmpty());
}
