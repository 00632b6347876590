#include "AudioFileType.h"

#include "TagFiles.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;

TEST(AudioFileType, ClassifiesByMagicBehindAnyID3TagAndTakesBrokenTagsForMPEG) {
    // An ID3v2.4 tag of `padding` zero bytes.
    auto tag = [](int padding, uint8_t flags = 0) { return testbytes::id3Tag(4, {}, flags, padding); };
    const QByteArray mpeg("\xff\xfb\x90\x00", 4);
    const std::pair<QByteArray, DetectedType> cases[] = {
        {"fLaC\0\0\0\x22", {AudioFileType::flac, 0}},
        {"RIFF\0\0\0\0WAVE", {AudioFileType::riff, 0}},
        {"FORM\0\0\0\0AIFF", {AudioFileType::aiff, 0}},
        {QByteArray("\0\0\0\x20" "ftypM4A ", 12), {AudioFileType::mp4, 0}},
        {"fLa", {AudioFileType::unknown, 0}},
        {mpeg, {AudioFileType::unknown, 0}},
        {tag(20) + "fLaC\0\0\0\0", {AudioFileType::flac, 30}},
        {tag(20, 0x10) + "RIFF....", {AudioFileType::riff, 40}},
        {tag(20) + mpeg, {AudioFileType::id3, 0}},
        {"ID3\x04", {AudioFileType::id3, 0}},
        {QByteArray("ID3\x04\0\0\x80\0\0\0fLaC", 14), {AudioFileType::id3, 0}},
        {QByteArray("ID3\xff\0\0\0\0\0\0fLaC", 14), {AudioFileType::id3, 0}},
        {tag(20) + "fLa", {AudioFileType::id3, 0}},
        {tag(200).left(50), {AudioFileType::id3, 0}},
    };
    TagFiles files;
    for (const auto& [bytes, expected] : cases) {
        SCOPED_TRACE(bytes.toHex().toStdString());
        const auto file = files.open(bytes);
        ASSERT_TRUE(file);
        EXPECT_EQ(detectFileType(*file), expected);
    }
}
