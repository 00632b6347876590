#include "FLACReader.h"

#include "TagFiles.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;
using namespace testbytes;

namespace {

QByteArray block(uint8_t type, const QByteArray& body, bool last = false) {
    return char(type | (last ? 0x80 : 0)) + be(body.size(), 3) + body;
}

QByteArray streamInfo(uint32_t sampleRate, int channels, uint64_t totalSamples) {
    QByteArray body(34, '\0');
    body.replace(10, 8, be((quint64(sampleRate) << 44) | (quint64(channels - 1) << 41) | totalSamples, 8));
    return body;
}

QByteArray comments(const QList<QByteArray>& entries) {
    QByteArray body = le32(6) + "vendor" + le32(uint32_t(entries.size()));
    for (const QByteArray& e : entries) body += le32(uint32_t(e.size())) + e;
    return body;
}

QByteArray pictureBody(const QByteArray& data) {
    return be32(3) + be32(10) + "image/jpeg" + be32(4) + "desc" + be32(1) + be32(1) + be32(24) + be32(0) +
           be32(uint32_t(data.size())) + data;
}

const QByteArray kHead = "fLaC" + block(0, streamInfo(44100, 2, 10));

}  // namespace

TEST(FLACReader, ReadsAFileMadeByTheEncoderWithAPictureFromMetaflac) {
    MediaFactory media;
    const QString path = media.ffmpeg(
        "a.flac", metadata({"title= Hello ", "artist=Ann", "album=Best", "track=03/12", "genre=Jazz"}), 2.0, 48000, 1);
    const QString jpeg = media.jpeg("cover.jpg");
    const auto info = readFile(path, FLACReader::readInfo);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags, (AudioTags{"Hello", {"Ann"}, "Best", "3", "Jazz", std::nullopt}));
    EXPECT_EQ(std::tuple(info->properties.duration, info->properties.sampleRate, info->properties.channels),
              std::tuple(2.0, 48000, 1));
    EXPECT_GT(info->properties.bitRate, 0);
    EXPECT_FALSE(info->hasArtwork);
    EXPECT_FALSE(readFile(path, FLACReader::readPicture));

    ASSERT_TRUE(MediaFactory::run("metaflac", {"--import-picture-from=" + jpeg, path}));
    EXPECT_TRUE(readFile(path, FLACReader::readInfo).value_or(AudioInfo{}).hasArtwork);
    EXPECT_EQ(readFile(path, FLACReader::readPicture), MediaFactory::readAll(jpeg));
}

TEST(FLACReader, ComputesPropertiesFromStreamInfoWhereverItStands) {
    TagFiles files;
    const QByteArray audio(1000, 'x');
    const QByteArray bytes =
        "fLaC" + block(1, QByteArray(8, '\0')) + block(0, streamInfo(44100, 2, 441000), true) + audio;
    // 1000 audio bytes over 10 s, metadata excluded; an unknown length gives neither duration
    // nor bit rate.
    EXPECT_EQ(files.value(bytes, FLACReader::readInfo).properties, (AudioProperties{10.0, 800, 44100, 2}));
    EXPECT_EQ(files.value("fLaC" + block(0, streamInfo(8000, 1, 0), true) + audio, FLACReader::readInfo).properties,
              (AudioProperties{0, 0, 8000, 1}));
    EXPECT_FALSE(files.read("fLaX" + block(0, streamInfo(44100, 2, 10), true), FLACReader::readInfo));
    for (const QByteArray& first : {block(4, comments({}), true), block(0, QByteArray(17, '\0'), true),
                                    block(0, streamInfo(0, 2, 10), true)}) {
        EXPECT_FALSE(files.read("fLaC" + first, FLACReader::readInfo));
    }
}

TEST(FLACReader, BlockWalkEndsAtABlockRunningPastTheEndOrAfter128Headers) {
    TagFiles files;
    // A PICTURE block claiming 4096 bytes.
    auto file = files.open(kHead + block(4, comments({"TITLE=x"})) + QByteArray("\x06\x00\x10\x00", 4) + "short");
    ASSERT_TRUE(file);
    const auto blocks = FLACReader::readBlocks(*file, 0);
    ASSERT_EQ(blocks.size(), 2);
    EXPECT_EQ(blocks[0], (FLACReader::Block{0, 8, 34}));
    EXPECT_EQ(blocks[1].type, 4);
    EXPECT_FALSE(FLACReader::readInfo(*file, 0)->hasArtwork);

    file = files.open(kHead + block(1, {}).repeated(200));
    ASSERT_TRUE(file);
    EXPECT_EQ(FLACReader::readBlocks(*file, 0).size(), 128);
}

TEST(FLACReader, MapsCommentKeysWhateverTheirCase) {
    const QByteArray vc = comments({"artist=A", "ARTIST=B", "ARTIST=  ", "TRACKNUMBER=0", "TRACKNUMBER=5",
                                    "TRACKNUMBER=6", "Title=First", "TITLE=Second", "UNSYNCEDLYRICS=la la",
                                    "LYRICS=other", "no equals sign", "ALBUM=a=b"});
    TagFiles files;
    EXPECT_EQ(files.value(kHead + block(4, vc, true), FLACReader::readInfo).tags,
              (AudioTags{"First", {"A", "B"}, "a=b", "5", std::nullopt, "la la"}));
}

TEST(FLACReader, InvalidUtf8EndsTheCommentList) {
    const QByteArray body = comments({"TITLE=ok", QByteArray("ARTIST=\xff\xfe", 9), "ALBUM=never"});
    EXPECT_EQ(FLACReader::readVorbisComments(ByteView(body)), (QList<QPair<QString, QString>>{{"TITLE", "ok"}}));
    // A count far beyond the body ends at the first missing length.
    const QByteArray lying = le32(0) + le32(0xFFFFFFFF) + le32(3) + "A=b";
    EXPECT_EQ(FLACReader::readVorbisComments(ByteView(lying)).size(), 1);
    EXPECT_TRUE(FLACReader::readVorbisComments(ByteView(QByteArray("\x01\x00", 2))).isEmpty());
}

TEST(FLACReader, PictureComesFromABlockOrABase64Comment) {
    TagFiles files;
    const QByteArray encoded = "METADATA_BLOCK_PICTURE=" + pictureBody("PNGDATA").toBase64();
    const QByteArray withComment = kHead + block(4, comments({encoded}), true);
    EXPECT_TRUE(files.value(withComment, FLACReader::readInfo).hasArtwork);
    EXPECT_EQ(files.read(withComment, FLACReader::readPicture), "PNGDATA");

    // A broken picture block is skipped for the next candidate; strict base64 rejects junk.
    const QByteArray broken = pictureBody("JPEG").chopped(2);
    const QByteArray mixed =
        kHead + block(6, broken) + block(4, comments({"METADATA_BLOCK_PICTURE=!!!!", encoded}), true);
    EXPECT_EQ(files.read(mixed, FLACReader::readPicture), "PNGDATA");
}
