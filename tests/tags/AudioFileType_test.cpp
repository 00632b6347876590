#include "AudioFileType.h"
#include "FileBytes.h"

#include "MediaFactory.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;

namespace {

DetectedType detect(MediaFactory& media, const QByteArray& bytes) {
    static int n = 0;
    const auto file = FileBytes::open(media.write(QStringLiteral("f%1").arg(n++), bytes));
    return file ? detectFileType(*file) : DetectedType{AudioFileType::unknown, -1};
}

// An ID3v2.4 tag of `padding` zero bytes.
QByteArray paddingTag(int padding, uint8_t flags = 0) { return testbytes::id3Tag(4, {}, flags, padding); }

}  // namespace

TEST(AudioFileType, ClassifiesByLeadingMagic) {
    MediaFactory media;
    EXPECT_EQ(detect(media, "fLaC\0\0\0\x22"), (DetectedType{AudioFileType::flac, 0}));
    EXPECT_EQ(detect(media, "RIFF\0\0\0\0WAVE"), (DetectedType{AudioFileType::riff, 0}));
    EXPECT_EQ(detect(media, "FORM\0\0\0\0AIFF"), (DetectedType{AudioFileType::aiff, 0}));
    EXPECT_EQ(detect(media, QByteArray("\0\0\0\x20" "ftypM4A ", 12)), (DetectedType{AudioFileType::mp4, 0}));
    for (const QByteArray& unknown : {QByteArray("flac"), QByteArray("fLa"), QByteArray("\xff\xfb\x90\x00", 4)}) {
        EXPECT_EQ(detect(media, unknown), (DetectedType{AudioFileType::unknown, 0}));
    }
}

TEST(AudioFileType, SkipsAnID3TagInFrontOfAnotherContainer) {
    MediaFactory media;
    EXPECT_EQ(detect(media, paddingTag(20) + "fLaC\0\0\0\0"), (DetectedType{AudioFileType::flac, 30}));
    EXPECT_EQ(detect(media, paddingTag(20, 0x10) + "RIFF...."), (DetectedType{AudioFileType::riff, 40}));
    EXPECT_EQ(detect(media, paddingTag(20) + QByteArray("\xff\xfb\x90\x00", 4)), (DetectedType{AudioFileType::id3, 0}));
}

TEST(AudioFileType, TreatsABrokenOrShortID3TagAsMPEG) {
    MediaFactory media;
    for (const QByteArray& bytes : {QByteArray("ID3\x04"), QByteArray("ID3\x04\0\0\x80\0\0\0fLaC", 14),
                                    QByteArray("ID3\xff\0\0\0\0\0\0fLaC", 14), paddingTag(20) + "fLa",
                                    paddingTag(200).left(50)}) {
        EXPECT_EQ(detect(media, bytes), (DetectedType{AudioFileType::id3, 0}));
    }
}
