#include "AIFFReader.h"
#include "RIFFReader.h"

#include "TagFiles.h"
#include "TestBytes.h"

#include <gtest/gtest.h>

using namespace sonvale;
using namespace Qt::StringLiterals;
using namespace testbytes;

namespace {

std::optional<AudioInfo> readInfo(const QString& path) { return readFile(path, RIFFReader::readInfo); }

// A chunk padded to an even length; `size` overrides the size field of a WAVE chunk.
QByteArray chunk(const char* id, const QByteArray& body, std::optional<quint32> size = std::nullopt) {
    const QByteArray out = QByteArray(id, 4) + le(size.value_or(body.size()), 4) + body;
    return body.size() % 2 ? out + '\0' : out;
}

QByteArray aiffChunk(const char* id, const QByteArray& body) {
    const QByteArray out = QByteArray(id, 4) + be(body.size(), 4) + body;
    return body.size() % 2 ? out + '\0' : out;
}

QByteArray wave(const QByteArray& chunks, std::optional<quint32> formSize = std::nullopt) {
    return "RIFF" + le(formSize.value_or(4 + chunks.size()), 4) + "WAVE" + chunks;
}

QByteArray aiff(const char* type, const QByteArray& chunks) {
    return "FORM" + be(4 + chunks.size(), 4) + type + chunks;
}

QByteArray fmtChunk(int tag, int channels, int rate, int blockAlign, int bits, quint32 bytesPerSecond) {
    return chunk("fmt ", le(tag, 2) + le(channels, 2) + le(rate, 4) + le(bytesPerSecond, 4) + le(blockAlign, 2) +
                             le(bits, 2));
}

// 16-bit stereo PCM at 8 kHz: 32000 bytes a second.
QByteArray pcmFmt() { return fmtChunk(1, 2, 8000, 4, 16, 32000); }

QByteArray infoList(const QList<QPair<const char*, QByteArray>>& entries) {
    QByteArray body = "INFO";
    for (const auto& [id, value] : entries) body += chunk(id, value);
    return chunk("LIST", body);
}

QByteArray id3Text(const char* id, const QByteArray& latin1) { return id3Frame(3, id, '\0' + latin1); }

// The 80-bit extended form of a whole-number sample rate.
QByteArray extended(quint64 rate) {
    int exponent = 63;
    for (; !(rate & (1ULL << 63)); --exponent) rate <<= 1;
    return be(16383 + exponent, 2) + be(rate, 8);
}

}  // namespace

TEST(RIFFReader, ReadsUncompressedAndG711WAVEAndAIFFFromFFmpeg) {
    MediaFactory media;
    // Six channels make ffmpeg write WAVE_FORMAT_EXTENSIBLE; float and G.711 make it write AIFC,
    // where a-law declares 8-bit samples. G.711 WAVE is timed by its fact chunk.
    const struct { const char* codec; const char* format; int bits, channels; } cases[] = {
        {"pcm_u8", "wav", 8, 1},     {"pcm_s16le", "wav", 16, 2}, {"pcm_f64le", "wav", 64, 1},
        {"pcm_s24le", "wav", 24, 6}, {"pcm_alaw", "wav", 8, 2},   {"pcm_s24be", "aiff", 24, 2},
        {"pcm_f32be", "aiff", 32, 2}, {"pcm_alaw", "aiff", 8, 2}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.codec) + " " + c.format + " x" + std::to_string(c.channels));
        const auto info = readInfo(media.ffmpeg(u"t"_s, {"-c:a", c.codec, "-f", c.format}, 1.5, 22050, c.channels));
        EXPECT_EQ(info, (AudioInfo{{1.5, qint64(c.bits) * c.channels * 22050, 22050, c.channels}, {}, {}, false}));
    }
}

TEST(RIFFReader, TimesCompressedWAVEByFactChunkOrByteRate) {
    TagFiles files;
    // IMA ADPCM: the fact chunk counts 1000 samples, the byte rate would say 2 s.
    const QByteArray adpcm = fmtChunk(0x11, 1, 8000, 256, 4, 4000);
    const QByteArray data = chunk("data", QByteArray(8000, '\0'));
    EXPECT_EQ(files.value(wave(adpcm + chunk("fact", le(1000, 4)) + data), RIFFReader::readInfo).properties,
              (AudioProperties{0.125, 32000, 8000, 1}));
    // PCM ignores a stale fact chunk; without a byte rate the data size gives the bit rate.
    const QByteArray pcm = fmtChunk(1, 2, 8000, 4, 16, 0) + chunk("fact", le(5, 4)) + data;
    EXPECT_EQ(files.value(wave(pcm), RIFFReader::readInfo).properties, (AudioProperties{0.25, 256000, 8000, 2}));
    // RF64 takes the data size from ds64.
    const QByteArray ds64 = chunk("ds64", le(0, 8) + le(8000, 8) + le(2000, 8) + le(0, 4));
    const QByteArray rf64 =
        "RF64" + le(0xFFFFFFFF, 4) + "WAVE" + ds64 + pcmFmt() + chunk("data", QByteArray(9000, '\0'), 0xFFFFFFFF);
    EXPECT_EQ(files.value(rf64, RIFFReader::readInfo).properties.duration, 0.25);
}

TEST(RIFFReader, ReadsInfoListTexts) {
    TagFiles files;
    const auto made = readInfo(files.media.ffmpeg(
        u"a.wav"_s,
        metadata({u"title=Ünï Title"_s, u"artist=Art"_s, u"album=Alb"_s, u"track=03/12"_s, u"genre=Ambient"_s})));
    EXPECT_EQ(made.value_or(AudioInfo{}).tags,
              (AudioTags{u"Ünï Title"_s, {u"Art"_s}, u"Alb"_s, u"3"_s, u"Ambient"_s, std::nullopt}));

    // Latin-1 when not UTF-8, cut at the NUL, trimmed; an empty value does not hide a later one;
    // a second INFO list is not read.
    const QByteArray list = infoList({{"INAM", "  Caf\xe9\0junk"_ba}, {"IART", "A"}, {"IPRD", " \0"_ba},
                                      {"IPRD", "Album"}, {"ITRK", "0"}, {"IPRT", "007"}, {"IART", "B"}});
    EXPECT_EQ(files.value(wave(pcmFmt() + list + infoList({{"IGNR", "Late"}})), RIFFReader::readInfo).tags,
              (AudioTags{u"Café"_s, {u"A"_s, u"B"_s}, u"Album"_s, u"7"_s, std::nullopt, std::nullopt}));
}

TEST(RIFFReader, WalksOddEmptyCutAndOversizedChunks) {
    TagFiles files;
    auto info = [&](const QByteArray& bytes) { return files.value(bytes, RIFFReader::readInfo); };
    const QByteArray data = chunk("data", QByteArray(32000, '\0'));
    const QByteArray title = infoList({{"INAM", "T"}});
    const AudioInfo odd = info(wave(chunk("odd ", "abc") + chunk("zero", {}) + pcmFmt() + title + data));
    EXPECT_EQ(odd.properties.duration, 1.0);
    EXPECT_EQ(odd.tags.title, u"T"_s);
    // Sound data cut short keeps what the file holds.
    EXPECT_EQ(info(wave(pcmFmt() + chunk("data", QByteArray(16000, '\0'), 32000))).properties.duration, 0.5);
    // Nothing behind another chunk that claims ~4 GB, behind the declared form size or behind a
    // code that is no chunk code is read.
    const QByteArray form = pcmFmt() + data;
    const QByteArray noCode = QByteArray(4, '\x01') + le(0, 4);
    for (const QByteArray& bytes : {wave(pcmFmt() + chunk("LIST", "INFO", 0xFFFFFFF0) + title),
                                    wave(form + title, 4 + form.size()), wave(form + noCode + title)}) {
        const auto read = files.read(bytes, RIFFReader::readInfo);
        ASSERT_TRUE(read);
        EXPECT_FALSE(read->tags.title);
    }
}

TEST(RIFFReader, RejectsFilesWithoutUsableForm) {
    TagFiles files;
    const QByteArray data = chunk("data", QByteArray(100, '\0'));
    for (const QByteArray& bytes :
         {"RIFF" + le(100, 4) + "AVI " + pcmFmt() + data, "RIFF" + le(4, 4) + "WAV",
          wave(chunk("big ", "x", 0xFFFFFFF0) + pcmFmt()), wave(data + infoList({{"INAM", "no format"}})),
          wave(chunk("fmt ", QByteArray(12, '\x01')) + data), wave(fmtChunk(1, 0, 8000, 4, 16, 32000) + data),
          wave(fmtChunk(1, 2, 0, 4, 16, 32000) + data), aiff("AIFF", aiffChunk("COMM", QByteArray(18, '\0')))}) {
        EXPECT_FALSE(files.read(bytes, RIFFReader::readInfo));
    }
}

TEST(RIFFReader, ReadsAIFFNameAndAuthorChunks) {
    TagFiles files;
    const QByteArray comm = aiffChunk("COMM", be(1, 2) + be(22050, 4) + be(16, 2) + extended(44100));
    const QByteArray ssnd = aiffChunk("SSND", be(0, 4) + be(0, 4) + QByteArray(44100, '\0'));
    const QByteArray texts = aiffChunk("NAME", "  Odd title") + aiffChunk("AUTH", "Auth\xf6r");
    EXPECT_EQ(files.read(aiff("AIFF", texts + comm + ssnd), RIFFReader::readInfo),
              (AudioInfo{{0.5, 705600, 44100, 1}, {u"Odd title"_s, {u"Authör"_s}, {}, {}, {}, {}}, {}, false}));
}

TEST(RIFFReader, DecodesExtendedSampleRates) {
    auto rate = [](const QByteArray& bytes) { return AIFFReader::sampleRate(ByteView(bytes)); };
    EXPECT_EQ(rate(extended(1)), 1.0);
    EXPECT_EQ(rate(be(0x400D, 2) + be(0xADDD1745D1745D17, 8)), double(0xADDD1745D1745D17) / double(1ULL << 49));
    EXPECT_FALSE(rate(be(0xC00E, 2) + be(0xAC44000000000000, 8)));  // negative
    EXPECT_FALSE(rate(be(0x7FFF, 2) + be(0x8000000000000000, 8)));  // infinity
    EXPECT_FALSE(rate(be(0x4017, 2) + be(0xFFFFFFFFFFFFFFFF, 8)));  // beyond 2^24
    EXPECT_FALSE(rate(be(0x400E, 2) + be(0, 8)));
}

TEST(RIFFReader, LetsID3ChunkWinOverNativeTextsFieldByField) {
    TagFiles files;
    const QByteArray picture = "\xff\xd8\xff\xe0 jpeg"_ba;
    // A chapter without an end runs to the end of the one second of sound.
    const QByteArray tag = id3Tag(3, id3Text("TIT2", "ID3 title") + id3Text("TPE1", "ID3 artist") +
                                         id3Text("TRCK", "5/9") + id3Picture(3, 3, picture) +
                                         id3Chapter(3, "ch1", 0, 0, "Intro"));
    const QByteArray info = infoList({{"INAM", "Info title"}, {"IART", "Info artist"}, {"IPRD", "Info album"}});
    // Of two ID3 chunks, in either spelling, the first wins.
    const QByteArray second = chunk("ID3 ", id3Tag(3, id3Text("TIT2", "Second")));
    const QString path =
        files.write(wave(pcmFmt() + info + chunk("data", QByteArray(32000, '\0')) + chunk("id3 ", tag) + second));
    const auto read = readInfo(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags, (AudioTags{u"ID3 title"_s, {u"ID3 artist"_s}, u"Info album"_s, u"5"_s, {}, {}}));
    EXPECT_EQ(read->chapters, QList<Chapter>{(Chapter{0, 1.0, u"Intro"_s})});
    EXPECT_TRUE(read->hasArtwork);
    EXPECT_EQ(readFile(path, RIFFReader::readPicture), picture);

    // A tag in front of the form only fills what the form left empty.
    const QByteArray front = id3Tag(3, id3Text("TIT2", "Front title") + id3Text("TCON", "Front genre"));
    const auto withFront = files.read(front + wave(pcmFmt() + info), RIFFReader::readInfo, front.size());
    ASSERT_TRUE(withFront);
    EXPECT_EQ(withFront->tags.title, u"Info title"_s);
    EXPECT_EQ(withFront->tags.genre, u"Front genre"_s);
}
