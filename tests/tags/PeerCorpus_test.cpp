#include "AudioFileType.h"
#include "FileBytes.h"
#include "Track.h"
#include "TrackMetadata.h"

#include "MediaFactory.h"

#include <QDirIterator>

#include <gtest/gtest.h>

using namespace sonvale;

// Third-party media, many of them broken on purpose: every file goes through type detection,
// every reader, the artwork search and a full metadata load. Nothing may crash or hang (the
// sanitizer build turns memory errors into failures), and every record stays complete.
TEST(PeerCorpus, EveryFileLoadsWithoutCrashing) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus beside the repository";
    QDirIterator it(*corpus, QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        const QString path = it.next();
        if (path.endsWith(QLatin1String(".md"))) continue;
        SCOPED_TRACE(path.toStdString());
        ++files;
        if (const auto file = FileBytes::open(path)) {
            const DetectedType detected = detectFileType(*file);
            EXPECT_GE(detected.offset, 0);
            EXPECT_LE(detected.offset, file->size());
        }
        if (const auto info = readAudioInfo(path)) {
            EXPECT_GE(info->properties.duration, 0);
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
