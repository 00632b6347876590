#include "AIFFReader.h"
#include "FileBytes.h"
#include "RIFFReader.h"

#include "MediaFactory.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace sonvale;
using namespace Qt::StringLiterals;

namespace {

std::optional<AudioInfo> readInfo(const QString& path, qint64 offset = 0) {
    const auto file = FileBytes::open(path);
    return file ? RIFFReader::readInfo(*file, offset) : std::nullopt;
}

std::optional<QByteArray> readPicture(const QString& path, qint64 offset = 0) {
    const auto file = FileBytes::open(path);
    return file ? RIFFReader::readPicture(*file, offset) : std::nullopt;
}

QByteArray le(quint64 value, int bytes) {
    QByteArray out;
    for (int i = 0; i < bytes; ++i) out += char((value >> (8 * i)) & 0xFF);
    return out;
}

QByteArray be(quint64 value, int bytes) {
    QByteArray out;
    for (int i = bytes - 1; i >= 0; --i) out += char((value >> (8 * i)) & 0xFF);
    return out;
}

// A chunk with a little-endian size (or the one given), padded to an even length.
QByteArray riffChunk(const char* id, const QByteArray& body, std::optional<quint32> size = std::nullopt) {
    QByteArray out = QByteArray(id, 4) + le(size.value_or(body.size()), 4) + body;
    return body.size() % 2 ? out + '\0' : out;
}

QByteArray aiffChunk(const char* id, const QByteArray& body) {
    QByteArray out = QByteArray(id, 4) + be(body.size(), 4) + body;
    return body.size() % 2 ? out + '\0' : out;
}

QByteArray wave(const QByteArray& chunks, std::optional<quint32> formSize = std::nullopt) {
    return "RIFF" + le(formSize.value_or(4 + chunks.size()), 4) + "WAVE" + chunks;
}

QByteArray fmtChunk(int tag, int channels, int rate, int blockAlign, int bits, quint32 bytesPerSecond) {
    return riffChunk("fmt ", le(tag, 2) + le(channels, 2) + le(rate, 4) + le(bytesPerSecond, 4) +
                                 le(blockAlign, 2) + le(bits, 2));
}

// 16-bit stereo PCM at 8 kHz: 32000 bytes a second.
QByteArray pcmFmt() { return fmtChunk(1, 2, 8000, 4, 16, 32000); }

QByteArray infoList(const QList<QPair<const char*, QByteArray>>& entries) {
    QByteArray body = "INFO";
    for (const auto& [id, value] : entries) body += riffChunk(id, value);
    return riffChunk("LIST", body);
}

QByteArray id3Frame(const char* id, const QByteArray& body) { return QByteArray(id, 4) + be(body.size(), 4) + "\0\0"_ba + body; }

QByteArray id3Text(const char* id, const QByteArray& latin1) { return id3Frame(id, '\0' + latin1); }

// An ID3v2.3 tag around `frames`.
QByteArray id3Tag(const QByteArray& frames) {
    const int n = int(frames.size());
    return "ID3\x03\0\0"_ba + char((n >> 21) & 0x7F) + char((n >> 14) & 0x7F) + char((n >> 7) & 0x7F) +
           char(n & 0x7F) + frames;
}

// The 80-bit extended form of a sample rate that is a whole number.
QByteArray extended(quint64 rate) {
    int exponent = 63;
    while (!(rate & (1ULL << 63))) {
        rate <<= 1;
        --exponent;
    }
    return be(16383 + exponent, 2) + be(rate, 8);
}

}  // namespace

TEST(RIFFReader, ReadsUncompressedWAVEFromFFmpeg) {
    MediaFactory media;
    const struct {
        const char* codec;
        int bits;
        int channels;
    } cases[] = {{"pcm_u8", 8, 1}, {"pcm_s16le", 16, 2}, {"pcm_s24le", 24, 2}, {"pcm_s32le", 32, 2},
                 {"pcm_f32le", 32, 2}, {"pcm_f64le", 64, 1}, {"pcm_s24le", 24, 6}, {"pcm_s16le", 16, 3}};
    for (const auto& c : cases) {
        SCOPED_TRACE(QStringLiteral("%1 x%2").arg(QLatin1String(c.codec)).arg(c.channels).toStdString());
        const QString path = media.ffmpeg(QStringLiteral("t.wav"), {QStringLiteral("-c:a"), QLatin1String(c.codec)},
                                          1.5, 22050, c.channels);
        const auto info = readInfo(path);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->properties.sampleRate, 22050);
        EXPECT_EQ(info->properties.channels, c.channels);
        EXPECT_DOUBLE_EQ(info->properties.duration, 1.5);
        EXPECT_EQ(info->properties.bitRate, qint64(c.bits) * c.channels * 22050);
        EXPECT_EQ(info->tags, AudioTags{});
        EXPECT_FALSE(info->hasArtwork);
    }
}

TEST(RIFFReader, ReadsCompressedWAVEThroughFactOrByteRate) {
    MediaFactory media;
    const QString alaw = media.ffmpeg(QStringLiteral("a.wav"), {QStringLiteral("-c:a"), QStringLiteral("pcm_alaw")},
                                      2.0, 8000, 2);
    const auto info = readInfo(alaw);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->properties, (AudioProperties{2.0, 128000, 8000, 2}));

    // IMA ADPCM: 1000 samples in the fact chunk; the data size alone would say 2 s.
    const QByteArray adpcmFmt = fmtChunk(0x11, 1, 8000, 256, 4, 4000);
    const QByteArray data = riffChunk("data", QByteArray(8000, '\0'));
    auto adpcm = readInfo(media.write(QStringLiteral("b.wav"), wave(adpcmFmt + riffChunk("fact", le(1000, 4)) + data)));
    ASSERT_TRUE(adpcm);
    EXPECT_DOUBLE_EQ(adpcm->properties.duration, 0.125);
    EXPECT_EQ(adpcm->properties.bitRate, 32000);
    adpcm = readInfo(media.write(QStringLiteral("c.wav"), wave(adpcmFmt + data)));
    ASSERT_TRUE(adpcm);
    EXPECT_DOUBLE_EQ(adpcm->properties.duration, 2.0);

    // PCM ignores a stale fact chunk; a zero byte rate leaves the bit rate to the data size.
    const auto pcm = readInfo(media.write(QStringLiteral("d.wav"),
                                          wave(fmtChunk(1, 2, 8000, 4, 16, 0) + riffChunk("fact", le(5, 4)) +
                                               riffChunk("data", QByteArray(16000, '\0')))));
    ASSERT_TRUE(pcm);
    EXPECT_DOUBLE_EQ(pcm->properties.duration, 0.5);
    EXPECT_EQ(pcm->properties.bitRate, 256000);
}

TEST(RIFFReader, ReadsRF64SizesFromDs64) {
    MediaFactory media;
    const QString made = media.ffmpeg(QStringLiteral("a.wav"), {QStringLiteral("-rf64"), QStringLiteral("always")}, 1.0,
                                      8000, 1);
    const auto info = readInfo(made);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->properties, (AudioProperties{1.0, 128000, 8000, 1}));

    // The 64-bit data size (8000 bytes, 0.25 s) wins over the bytes that follow.
    const QByteArray ds64 = riffChunk("ds64", le(0, 8) + le(8000, 8) + le(2000, 8) + le(0, 4));
    const QByteArray rf64 = "RF64" + le(0xFFFFFFFF, 4) + "WAVE" + ds64 + pcmFmt() +
                            riffChunk("data", QByteArray(9000, '\0'), 0xFFFFFFFF);
    const auto crafted = readInfo(media.write(QStringLiteral("b.wav"), rf64));
    ASSERT_TRUE(crafted);
    EXPECT_DOUBLE_EQ(crafted->properties.duration, 0.25);
}

TEST(RIFFReader, ReadsInfoListTexts) {
    MediaFactory media;
    const QString made = media.ffmpeg(
        QStringLiteral("a.wav"),
        {QStringLiteral("-metadata"), QStringLiteral("title=Ünïcode Title"), QStringLiteral("-metadata"),
         QStringLiteral("artist=The Artist"), QStringLiteral("-metadata"), QStringLiteral("album=The Album"),
         QStringLiteral("-metadata"), QStringLiteral("track=03/12"), QStringLiteral("-metadata"),
         QStringLiteral("genre=Ambient")});
    const auto info = readInfo(made);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags.title, QStringLiteral("Ünïcode Title"));
    EXPECT_EQ(info->tags.artists, QList<QString>{QStringLiteral("The Artist")});
    EXPECT_EQ(info->tags.album, QStringLiteral("The Album"));
    EXPECT_EQ(info->tags.trackNumber, QStringLiteral("3"));
    EXPECT_EQ(info->tags.genre, QStringLiteral("Ambient"));

    // Latin-1 when not UTF-8, cut at the NUL, trimmed; an empty value does not hide a later one;
    // only the first INFO list counts.
    const QByteArray list = infoList({{"INAM", "  Caf\xe9\0junk"_ba},
                                      {"IART", "A"},
                                      {"IPRD", " \0"_ba},
                                      {"IPRD", "Album"},
                                      {"ITRK", "0"},
                                      {"IPRT", "007"},
                                      {"IART", "B"}});
    const QByteArray later = infoList({{"IGNR", "Late"}});
    const auto crafted = readInfo(media.write(QStringLiteral("b.wav"), wave(pcmFmt() + list + later)));
    ASSERT_TRUE(crafted);
    EXPECT_EQ(crafted->tags.title, QStringLiteral("Café"));
    EXPECT_EQ(crafted->tags.artists, (QList<QString>{QStringLiteral("A"), QStringLiteral("B")}));
    EXPECT_EQ(crafted->tags.album, QStringLiteral("Album"));
    EXPECT_EQ(crafted->tags.trackNumber, QStringLiteral("7"));
    EXPECT_FALSE(crafted->tags.genre);
}

TEST(RIFFReader, WalksOddZeroAndOversizedChunks) {
    MediaFactory media;
    const QByteArray data = riffChunk("data", QByteArray(32000, '\0'));
    const QByteArray title = infoList({{"INAM", "T"}});
    // An odd chunk with its pad byte and an empty chunk before the format.
    auto info = readInfo(media.write(QStringLiteral("a.wav"),
                                     wave(riffChunk("junk", "abc") + riffChunk("zero", {}) + pcmFmt() + title + data)));
    ASSERT_TRUE(info);
    EXPECT_DOUBLE_EQ(info->properties.duration, 1.0);
    EXPECT_EQ(info->tags.title, QStringLiteral("T"));

    // Sound data cut short keeps the samples the file holds.
    info = readInfo(media.write(QStringLiteral("b.wav"),
                                wave(pcmFmt() + title + riffChunk("data", QByteArray(16000, '\0'), 32000))));
    ASSERT_TRUE(info);
    EXPECT_DOUBLE_EQ(info->properties.duration, 0.5);

    // Any other chunk that runs past the end (or claims ~4 GB) ends the walk.
    info = readInfo(media.write(QStringLiteral("c.wav"), wave(pcmFmt() + data + riffChunk("LIST", "INFO", 0xFFFFFFF0))));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags, AudioTags{});
    EXPECT_FALSE(readInfo(media.write(QStringLiteral("d.wav"), wave(riffChunk("big ", "x", 0xFFFFFFF0) + pcmFmt()))));

    // Chunks behind the declared form size, or behind an id that is no chunk code, are not read.
    const QByteArray form = pcmFmt() + data;
    info = readInfo(media.write(QStringLiteral("e.wav"), wave(form + title, 4 + form.size())));
    ASSERT_TRUE(info);
    EXPECT_FALSE(info->tags.title);
    info = readInfo(media.write(QStringLiteral("f.wav"), wave(form + QByteArray(8, '\x01') + title)));
    ASSERT_TRUE(info);
    EXPECT_FALSE(info->tags.title);
}

TEST(RIFFReader, RejectsWhatIsNoUsableForm) {
    MediaFactory media;
    const QByteArray data = riffChunk("data", QByteArray(100, '\0'));
    for (const QByteArray& bytes : {"RIFF" + le(100, 4) + "AVI " + pcmFmt() + data,
                                    "RIFF" + le(4, 4) + "WAV",
                                    wave(data + infoList({{"INAM", "no format"}})),
                                    wave(riffChunk("fmt ", QByteArray(12, '\x01')) + data),
                                    wave(fmtChunk(1, 0, 8000, 4, 16, 32000) + data),
                                    wave(fmtChunk(1, 2, 0, 4, 16, 32000) + data),
                                    "FORM" + be(4, 4) + "AIFF" + aiffChunk("COMM", QByteArray(10, '\0'))}) {
        EXPECT_FALSE(readInfo(media.write(QStringLiteral("x"), bytes)));
    }
    EXPECT_FALSE(readInfo(media.write(QStringLiteral("y"), wave(pcmFmt() + data)), 3));
}

TEST(RIFFReader, ReadsAIFFAndAIFCFromFFmpeg) {
    MediaFactory media;
    const QStringList aiff = {QStringLiteral("-f"), QStringLiteral("aiff")};
    const struct {
        const char* codec;
        qint64 bitRate;
    } cases[] = {{"pcm_s16be", 16 * 2 * 11025}, {"pcm_s24be", 24 * 2 * 11025}, {"pcm_f32be", 32 * 2 * 11025},
                 {"pcm_alaw", 8 * 2 * 11025}, {"pcm_mulaw", 8 * 2 * 11025}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.codec);
        const QString path = media.ffmpeg(QStringLiteral("t.aif"), QStringList{QStringLiteral("-c:a"), QLatin1String(c.codec)} + aiff,
                                          2.0, 11025, 2);
        const auto info = readInfo(path);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->properties, (AudioProperties{2.0, c.bitRate, 11025, 2}));
    }
    // ffmpeg writes the title into NAME.
    const QString named = media.ffmpeg(QStringLiteral("n.aif"), QStringList{QStringLiteral("-metadata"), QStringLiteral("title=Name")} + aiff);
    const auto info = readInfo(named);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->tags.title, QStringLiteral("Name"));
}

TEST(RIFFReader, ReadsCraftedAIFFChunks) {
    MediaFactory media;
    const QByteArray comm = aiffChunk("COMM", be(1, 2) + be(22050, 4) + be(16, 2) + extended(44100));
    const QByteArray ssnd = aiffChunk("SSND", be(0, 4) + be(0, 4) + QByteArray(44100, '\0'));
    const QByteArray chunks = aiffChunk("NAME", "  Odd title") + aiffChunk("AUTH", "Auth\xf6r") + comm + ssnd;
    const auto info = readInfo(media.write(QStringLiteral("a.aif"), "FORM" + be(4 + chunks.size(), 4) + "AIFF" + chunks));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->properties, (AudioProperties{0.5, 705600, 44100, 1}));
    EXPECT_EQ(info->tags.title, QStringLiteral("Odd title"));
    EXPECT_EQ(info->tags.artists, QList<QString>{QStringLiteral("Authör")});

    // A compressed AIFC measures its bit rate from the sound data behind the SSND offset.
    const QByteArray ima = aiffChunk("COMM", be(1, 2) + be(22050, 4) + be(16, 2) + extended(44100) + "ima4" + "\0\0"_ba);
    const QByteArray packed = aiffChunk("SSND", be(100, 4) + be(0, 4) + QByteArray(100 + 11025, '\0'));
    const QByteArray aifc = ima + packed;
    const auto compressed = readInfo(media.write(QStringLiteral("b.aifc"), "FORM" + be(4 + aifc.size(), 4) + "AIFC" + aifc));
    ASSERT_TRUE(compressed);
    EXPECT_EQ(compressed->properties, (AudioProperties{0.5, 176400, 44100, 1}));
}

TEST(RIFFReader, DecodesExtendedSampleRates) {
    auto rate = [](const QByteArray& bytes) { return AIFFReader::sampleRate(ByteView(bytes)); };
    EXPECT_EQ(rate(extended(44100)), 44100.0);
    EXPECT_EQ(rate(extended(8000)), 8000.0);
    EXPECT_EQ(rate(extended(1)), 1.0);
    EXPECT_EQ(rate(be(0x400D, 2) + be(0xADDD1745D1745D17ULL, 8)).value_or(0), 0xADDD1745D1745D17ULL / double(1ULL << 49));
    EXPECT_FALSE(rate(be(0xC00E, 2) + be(0xAC44000000000000ULL, 8)));  // negative
    EXPECT_FALSE(rate(be(0x7FFF, 2) + be(0x8000000000000000ULL, 8)));  // infinity
    EXPECT_FALSE(rate(be(0x0000, 2) + be(0x8000000000000000ULL, 8)));  // denormal range
    EXPECT_FALSE(rate(be(0x401F, 2) + be(0xFFFFFFFFFFFFFFFFULL, 8)));  // beyond 2^31
    EXPECT_FALSE(rate(be(0x400E, 2) + be(0, 8)));
    EXPECT_FALSE(rate(extended(44100).left(9)));
}

TEST(RIFFReader, ID3ChunkWinsOverNativeTextsFieldByField) {
    MediaFactory media;
    const QByteArray picture = "\xff\xd8\xff\xe0 fake jpeg"_ba;
    const QByteArray tag = id3Tag(id3Text("TIT2", "ID3 title") + id3Text("TPE1", "ID3 artist") + id3Text("TRCK", "5/9") +
                                  id3Frame("APIC", "\0image/jpeg\0\x03\0"_ba + picture));
    const QByteArray info = infoList({{"INAM", "Info title"}, {"IART", "Info artist"}, {"IPRD", "Info album"}});
    const QString path = media.write(QStringLiteral("a.wav"), wave(pcmFmt() + info + riffChunk("data", QByteArray(320, '\0')) +
                                                                  riffChunk("id3 ", tag) + riffChunk("ID3 ", id3Tag(id3Text("TIT2", "Second")))));
    const auto read = readInfo(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->tags.title, QStringLiteral("ID3 title"));
    EXPECT_EQ(read->tags.artists, QList<QString>{QStringLiteral("ID3 artist")});
    EXPECT_EQ(read->tags.album, QStringLiteral("Info album"));
    EXPECT_EQ(read->tags.trackNumber, QStringLiteral("5"));
    EXPECT_TRUE(read->hasArtwork);
    EXPECT_EQ(readPicture(path), picture);

    // A tag in front of the form only fills what the form left empty.
    const QByteArray front = id3Tag(id3Text("TIT2", "Front title") + id3Text("TCON", "Front genre"));
    const QString fronted = media.write(QStringLiteral("b.wav"), front + wave(pcmFmt() + info));
    const auto withFront = readInfo(fronted, front.size());
    ASSERT_TRUE(withFront);
    EXPECT_EQ(withFront->tags.title, QStringLiteral("Info title"));
    EXPECT_EQ(withFront->tags.genre, QStringLiteral("Front genre"));
    EXPECT_FALSE(readPicture(fronted, front.size()));
}

TEST(RIFFReader, ReadsID3ChunkAndCoverOfFFmpegAIFF) {
    MediaFactory media;
    const QString cover = media.jpeg(QStringLiteral("cover.jpg"));
    const QString path = media.ffmpeg(
        QStringLiteral("a.aiff"),
        {QStringLiteral("-i"), cover, QStringLiteral("-map"), QStringLiteral("0:a"), QStringLiteral("-map"),
         QStringLiteral("1:v"), QStringLiteral("-c:v"), QStringLiteral("copy"), QStringLiteral("-disposition:v"),
         QStringLiteral("attached_pic"), QStringLiteral("-write_id3v2"), QStringLiteral("1"),
         QStringLiteral("-id3v2_version"), QStringLiteral("3"), QStringLiteral("-metadata"),
         QStringLiteral("artist=Tagged Artist"), QStringLiteral("-metadata"), QStringLiteral("album=Tagged Album"),
         QStringLiteral("-metadata"), QStringLiteral("track=2"), QStringLiteral("-f"), QStringLiteral("aiff")},
        1.0, 44100, 1);
    const auto info = readInfo(path);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->properties, (AudioProperties{1.0, 705600, 44100, 1}));
    EXPECT_EQ(info->tags.artists, QList<QString>{QStringLiteral("Tagged Artist")});
    EXPECT_EQ(info->tags.album, QStringLiteral("Tagged Album"));
    EXPECT_EQ(info->tags.trackNumber, QStringLiteral("2"));
    EXPECT_TRUE(info->hasArtwork);
    EXPECT_EQ(readPicture(path), MediaFactory::readAll(cover));
}

TEST(RIFFReader, ReadsPeerCorpusWithoutFault) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus";
    const QStringList filters = {QStringLiteral("*.wav"), QStringLiteral("*.aif"), QStringLiteral("*.aiff"),
                                 QStringLiteral("*.aifc")};
    int seen = 0;
    for (const QString& sub : {QStringLiteral("taglib"), QStringLiteral("mutagen")}) {
        for (const QString& name : QDir(*corpus + QLatin1Char('/') + sub).entryList(filters, QDir::Files)) {
            const QString path = *corpus + QLatin1Char('/') + sub + QLatin1Char('/') + name;
            (void)readInfo(path);
            (void)readPicture(path);
            ++seen;
        }
    }
    EXPECT_GT(seen, 20);

    auto props = [&](const char* name) {
        return readInfo(*corpus + QLatin1Char('/') + QLatin1String(name)).value_or(AudioInfo{}).properties;
    };
    EXPECT_EQ(props("mutagen/11k-1ch-2s-silence.aif"), (AudioProperties{2.0, 176400, 11025, 1}));
    EXPECT_EQ(props("mutagen/48k-2ch-s16-silence.aif"), (AudioProperties{0.1, 1536000, 48000, 2}));
    EXPECT_EQ(props("mutagen/8k-4ch-1s-silence.aif").channels, 4);
    EXPECT_EQ(props("mutagen/8k-1ch-3.5s-silence.aif").duration, 3.5);
    EXPECT_EQ(props("mutagen/silence-2s-PCM-16000-08-notags.wav").sampleRate, 16000);
    EXPECT_EQ(props("taglib/alaw.wav").sampleRate, 8000);
    EXPECT_EQ(props("taglib/empty.wav").sampleRate, 1000);
    EXPECT_EQ(props("taglib/rf64.wav").sampleRate, 48000);
    EXPECT_EQ(props("taglib/noise_odd.aif"), props("taglib/noise.aif"));
    EXPECT_EQ(props("taglib/uint8we.wav").bitRate, 8 * 2 * 8000);

    const auto alaw = readInfo(*corpus + QStringLiteral("/taglib/alaw.aifc"));
    ASSERT_TRUE(alaw);
    EXPECT_EQ(alaw->tags.title, QStringLiteral("woodblock"));
    EXPECT_EQ(alaw->tags.artists, QList<QString>{QStringLiteral("Prosonus")});
    const auto duplicateWav = readInfo(*corpus + QStringLiteral("/taglib/duplicate_tags.wav"));
    ASSERT_TRUE(duplicateWav);
    EXPECT_EQ(duplicateWav->tags.title, QStringLiteral("Title1"));
}

TEST(RIFFReader, ReadsFirstID3ChunkOfPeerCorpus) {
    const auto corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no peer corpus";
    auto tags = [&](const char* name) {
        return readInfo(*corpus + QLatin1Char('/') + QLatin1String(name)).value_or(AudioInfo{}).tags;
    };
    const AudioTags duplicate = tags("taglib/duplicate_id3v2.aiff");
    EXPECT_EQ(duplicate.title, QStringLiteral("Title1"));
    EXPECT_EQ(duplicate.artists, QList<QString>{QStringLiteral("Artist1")});
    EXPECT_EQ(tags("mutagen/with-id3.aif").title, QStringLiteral("AIFF title"));

    const QString withCover = *corpus + QStringLiteral("/mutagen/silence-2s-PCM-16000-08-ID3v23.wav");
    const auto info = readInfo(withCover);
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->hasArtwork);
    EXPECT_FALSE(readPicture(withCover).value_or(QByteArray()).isEmpty());
}
