#include "AudioFileType.h"
#include "FileBytes.h"

#include "MediaFactory.h"

#include <gtest/gtest.h>

using namespace sonvale;

namespace {

DetectedType detect(MediaFactory& media, const QByteArray& bytes) {
    static int n = 0;
    const auto file = FileBytes::open(media.write(QStringLiteral("f%1").arg(n++), bytes));
    return file ? detectFileType(*file) : DetectedType{AudioFileType::unknown, -1};
}

// An ID3v2.4 header whose syncsafe size is `size`, followed by `size` bytes of padding.
QByteArray id3Tag(int size, uint8_t flags = 0) {
    QByteArray tag("ID3\x04\x00", 5);
    tag += char(flags);
    tag += char((size >> 21) & 0x7F);
    tag += char((size >> 14) & 0x7F);
    tag += char((size >> 7) & 0x7F);
    tag += char(size & 0x7F);
    return tag + QByteArray(size, '\0');
}

}  // namespace

TEST(AudioFileType, ClassifiesByLeadingMagic) {
    MediaFactory media;
    EXPECT_EQ(detect(media, "fLaC\0\0\0\x22"), (DetectedType{AudioFileType::flac, 0}));
    EXPECT_EQ(detect(media, "RIFF\0\0\0\0WAVE"), (DetectedType{AudioFileType::riff, 0}));
    EXPECT_EQ(detect(media, "FORM\0\0\0\0AIFF"), (DetectedType{AudioFileType::aiff, 0}));
    EXPECT_EQ(detect(media, QByteArray("\0\0\0\x20" "ftypM4A ", 12)), (DetectedType{AudioFileType::mp4, 0}));
    EXPECT_EQ(detect(media, "flac"), (DetectedType{AudioFileType::unknown, 0}));
    EXPECT_EQ(detect(media, "fLa"), (DetectedType{AudioFileType::unknown, 0}));
    EXPECT_EQ(detect(media, QByteArray("\xff\xfb\x90\x00", 4)), (DetectedType{AudioFileType::unknown, 0}));
}

TEST(AudioFileType, SkipsAnID3TagInFrontOfAnotherContainer) {
    MediaFactory media;
    EXPECT_EQ(detect(media, id3Tag(20) + "fLaC\0\0\0\0"), (DetectedType{AudioFileType::flac, 30}));
    EXPECT_EQ(detect(media, id3Tag(20, 0x10) + QByteArray(10, 'F') + "RIFF...."), (DetectedType{AudioFileType::riff, 40}));
    EXPECT_EQ(detect(media, id3Tag(20) + QByteArray("\xff\xfb\x90\x00", 4)), (DetectedType{AudioFileType::id3, 0}));
}

TEST(AudioFileType, TreatsABrokenOrShortID3TagAsMPEG) {
    MediaFactory media;
    EXPECT_EQ(detect(media, "ID3\x04"), (DetectedType{AudioFileType::id3, 0}));
    EXPECT_EQ(detect(media, QByteArray("ID3\x04\0\0\x80\0\0\0fLaC", 14)), (DetectedType{AudioFileType::id3, 0}));
    EXPECT_EQ(detect(media, QByteArray("ID3\xff\0\0\0\0\0\0fLaC", 14)), (DetectedType{AudioFileType::id3, 0}));
    EXPECT_EQ(detect(media, id3Tag(20) + "fLa"), (DetectedType{AudioFileType::id3, 0}));
    EXPECT_EQ(detect(media, id3Tag(200).left(50)), (DetectedType{AudioFileType::id3, 0}));
}
