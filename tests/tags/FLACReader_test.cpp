#include "FLACReader.h"

#include "MediaFactory.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;

using namespace testbytes;

namespace {

QByteArray bytesOf(std::initializer_list<char> list) { return QByteArray(list.begin(), qsizetype(list.size())); }

QByteArray block(uint8_t type, const QByteArray& body, bool last = false) {
    const auto n = uint32_t(body.size());
    return bytesOf({char(type | (last ? 0x80 : 0)), char(n >> 16), char(n >> 8), char(n)}) + body;
}

QByteArray streamInfo(uint32_t sampleRate, int channels, uint64_t totalSamples) {
    QByteArray body(34, '\0');
    body[10] = char(sampleRate >> 12);
    body[11] = char(sampleRate >> 4);
    body[12] = char(((sampleRate & 0x0F) << 4) | ((channels - 1) << 1));
    body[13] = char((totalSamples >> 32) & 0x0F);
    body.replace(14, 4, be32(uint32_t(totalSamples)));
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

std::optional<AudioInfo> readBytes(MediaFactory& media, const QByteArray& bytes, qint64 offset = 0) {
    const auto file = FileBytes::open(media.write(QStringLiteral("t.flac"), bytes));
    return file ? FLACReader::readInfo(*file, offset) : std::nullopt;
}

}  // namespace

TEST(FLACReader, ReadsAFileMadeByTheEncoderWithAPictureFromMetaflac) {
    MediaFactory media;
    const QString path = media.ffmpeg("a.flac",
                                      {"-metadata", "title= Hello ", "-metadata", "artist=Ann", "-metadata",
                                       "album=Best", "-metadata", "track=03/12", "-metadata", "genre=Jazz"},
                                      2.0, 48000, 1);
    const QString jpeg = media.jpeg("cover.jpg");
    ASSERT_FALSE(path.isEmpty() || jpeg.isEmpty());
    auto file = FileBytes::open(path);
    ASSERT_TRUE(file);
    auto info = FLACReader::readInfo(*file, 0);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags, (AudioTags{"Hello", {"Ann"}, "Best", "3", "Jazz", std::nullopt}));
    EXPECT_EQ(info->properties.sampleRate, 48000);
    EXPECT_EQ(info->properties.channels, 1);
    EXPECT_DOUBLE_EQ(info->properties.duration, 2.0);
    EXPECT_GT(info->properties.bitRate, 0);
    EXPECT_FALSE(info->hasArtwork);
    EXPECT_FALSE(FLACReader::readPicture(*file, 0));

    ASSERT_TRUE(MediaFactory::run("metaflac", {"--import-picture-from=" + jpeg, path}));
    file = FileBytes::open(path);
    ASSERT_TRUE(file);
    EXPECT_TRUE(FLACReader::readInfo(*file, 0).value_or(AudioInfo{}).hasArtwork);
    EXPECT_EQ(FLACReader::readPicture(*file, 0), MediaFactory::readAll(jpeg));
}

TEST(FLACReader, ComputesPropertiesFromStreamInfoWhereverItStands) {
    MediaFactory media;
    const QByteArray audio(1000, 'x');
    const QByteArray bytes = "fLaC" + block(1, QByteArray(8, '\0')) + block(0, streamInfo(44100, 2, 441000), true) + audio;
    const auto info = readBytes(media, bytes);
    ASSERT_TRUE(info);
    // 1000 audio bytes over 10 s, metadata excluded.
    EXPECT_EQ(info->properties, (AudioProperties{10.0, 800, 44100, 2}));
    // An unknown length gives neither duration nor bit rate.
    const auto unknown = readBytes(media, "fLaC" + block(0, streamInfo(8000, 1, 0), true) + QByteArray(100, 'x'));
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->properties, (AudioProperties{0, 0, 8000, 1}));

    EXPECT_FALSE(readBytes(media, "fLaX" + block(0, streamInfo(44100, 2, 10), true)));
    EXPECT_FALSE(readBytes(media, "fLaC" + block(4, comments({}), true)));
    EXPECT_FALSE(readBytes(media, "fLaC" + block(0, QByteArray(17, '\0'), true)));
    EXPECT_FALSE(readBytes(media, "fLaC" + block(0, streamInfo(0, 2, 10), true)));
}

TEST(FLACReader, BlockWalkEndsAtABlockRunningPastTheEndOrAfter128Headers) {
    MediaFactory media;
    const QByteArray head = "fLaC" + block(0, streamInfo(44100, 2, 10));
    // A PICTURE block claiming 4096 bytes.
    const QByteArray bytes = head + block(4, comments({"TITLE=x"})) + QByteArray("\x06\x00\x10\x00", 4) + "short";
    auto file = FileBytes::open(media.write("b.flac", bytes));
    ASSERT_TRUE(file);
    const auto blocks = FLACReader::readBlocks(*file, 0);
    ASSERT_EQ(blocks.size(), 2);
    EXPECT_EQ(blocks[0], (FLACReader::Block{0, 8, 34}));
    EXPECT_EQ(blocks[1].type, 4);
    EXPECT_FALSE(FLACReader::readInfo(*file, 0)->hasArtwork);

    file = FileBytes::open(media.write("many.flac", head + block(1, {}).repeated(200)));
    ASSERT_TRUE(file);
    EXPECT_EQ(FLACReader::readBlocks(*file, 0).size(), 128);
}

TEST(FLACReader, MapsCommentKeysWhateverTheirCase) {
    MediaFactory media;
    const QByteArray vc = comments({"artist=A", "ARTIST=B", "ARTIST=  ", "TRACKNUMBER=0", "TRACKNUMBER=5",
                                    "TRACKNUMBER=6", "Title=First", "TITLE=Second", "UNSYNCEDLYRICS=la la",
                                    "LYRICS=other", "no equals sign", "ALBUM=a=b"});
    const auto info = readBytes(media, "fLaC" + block(0, streamInfo(44100, 2, 10)) + block(4, vc, true));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags, (AudioTags{"First", {"A", "B"}, "a=b", "5", std::nullopt, "la la"}));
}

TEST(FLACReader, InvalidUtf8EndsTheCommentList) {
    const QByteArray body = comments({"TITLE=ok", QByteArray("ARTIST=\xff\xfe", 9), "ALBUM=never"});
    const auto pairs = FLACReader::readVorbisComments(ByteView(body));
    ASSERT_EQ(pairs.size(), 1);
    EXPECT_EQ(pairs[0], (QPair<QString, QString>("TITLE", "ok")));
    // A count far beyond the body ends at the first missing length.
    const QByteArray lying = le32(0) + le32(0xFFFFFFFF) + le32(3) + "A=b";
    EXPECT_EQ(FLACReader::readVorbisComments(ByteView(lying)).size(), 1);
    EXPECT_TRUE(FLACReader::readVorbisComments(ByteView(QByteArray("\x01\x00", 2))).isEmpty());
}

TEST(FLACReader, PictureComesFromABlockOrABase64Comment) {
    MediaFactory media;
    const QByteArray head = "fLaC" + block(0, streamInfo(44100, 2, 10));
    const QByteArray encoded = "METADATA_BLOCK_PICTURE=" + pictureBody("PNGDATA").toBase64();
    const QByteArray withComment = head + block(4, comments({encoded}), true);
    const auto file = FileBytes::open(media.write("c.flac", withComment));
    ASSERT_TRUE(file);
    EXPECT_TRUE(FLACReader::readInfo(*file, 0)->hasArtwork);
    EXPECT_EQ(FLACReader::readPicture(*file, 0), QByteArray("PNGDATA"));

    // A broken picture block is skipped for the next candidate; strict base64 rejects junk.
    QByteArray broken = pictureBody("JPEG");
    broken.chop(2);
    const QByteArray mixed = head + block(6, broken) + block(4, comments({"METADATA_BLOCK_PICTURE=!!!!", encoded}), true);
    const auto file2 = FileBytes::open(media.write("d.flac", mixed));
    ASSERT_TRUE(file2);
    EXPECT_EQ(FLACReader::readPicture(*file2, 0), QByteArray("PNGDATA"));
}
