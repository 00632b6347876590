#include "AudioDecoder.h"

#include "MediaFactory.h"
#include "SampleRing.h"
#include "StopFlag.h"

#include <gtest/gtest.h>

#include <QDirIterator>

#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

using sonvale::AudioDecoder;
using sonvale::SampleRing;
using sonvale::StopFlag;

namespace {

constexpr int kRate = 44100;
constexpr double kSeconds = 3.0;

// A two-channel sweep: no stretch of it repeats, so a misplaced block cannot look right.
QString sweep(MediaFactory& media, const QString& name, const QStringList& codec) {
    const QString path = media.path(name);
    QStringList args = {QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y"),
                        QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                        QStringLiteral("aevalsrc=0.5*sin(2*PI*(200+300*t)*t)|0.5*sin(2*PI*(900-200*t)*t)"
                                       ":s=%1:d=%2").arg(kRate).arg(kSeconds)};
    args << codec << path;
    return MediaFactory::run(QStringLiteral("ffmpeg"), args) ? path : QString();
}

// Everything the decoder delivers from `startFrame` to the end.
std::vector<float> decodeFrom(const QString& path, std::int64_t startFrame) {
    QString error;
    const std::unique_ptr<AudioDecoder> decoder = AudioDecoder::open(path, &error);
    EXPECT_TRUE(decoder) << error.toStdString();
    if (!decoder) return {};
    SampleRing ring(static_cast<std::size_t>(kRate * (kSeconds + 1)) * 2);
    const StopFlag stop;
    EXPECT_TRUE(decoder->run(startFrame, ring, stop));
    std::vector<float> out(ring.readable());
    ring.pop(out.data(), out.size());
    return out;
}

// The shift (in frames) of `part` against `whole` from `start` on that matches best.
int bestShift(const std::vector<float>& whole, const std::vector<float>& part, std::int64_t start) {
    constexpr int kReach = 3000;
    constexpr std::size_t kFrom = 4096;  // past the first block, which a lossy decoder primes
    constexpr std::size_t kLength = 8192;
    int best = 0;
    double bestError = INFINITY;
    for (int shift = -kReach; shift <= kReach; ++shift) {
        double error = 0;
        for (std::size_t i = kFrom; i < kFrom + kLength; ++i) {
            const std::int64_t at = (start + shift) * 2 + static_cast<std::int64_t>(i) * 2;
            if (at < 0 || at + 1 >= static_cast<std::int64_t>(whole.size()) || i * 2 + 1 >= part.size()) return 9999;
            const double d = whole[static_cast<std::size_t>(at)] - part[i * 2];
            error += d * d;
        }
        if (error < bestError) {
            bestError = error;
            best = shift;
        }
    }
    return best;
}

TEST(AudioDecoder, LosslessFilesStartAtExactlyTheAskedFrame) {
    MediaFactory media;
    for (const auto& [name, codec] : {std::pair{QStringLiteral("sweep.flac"), QStringList{"-c:a", "flac"}},
                                      std::pair{QStringLiteral("sweep.wav"), QStringList{"-c:a", "pcm_s16le"}}}) {
        SCOPED_TRACE(name.toStdString());
        const QString path = sweep(media, name, codec);
        ASSERT_FALSE(path.isEmpty());
        const std::vector<float> whole = decodeFrom(path, 0);
        ASSERT_EQ(whole.size(), static_cast<std::size_t>(kRate * kSeconds) * 2);
        EXPECT_EQ(AudioDecoder::open(path, nullptr)->lengthFrames(), kRate * kSeconds);
        for (const std::int64_t start : {std::int64_t{1}, std::int64_t{4095}, std::int64_t{4096}, std::int64_t{70001}}) {
            const std::vector<float> part = decodeFrom(path, start);
            ASSERT_EQ(part.size(), whole.size() - static_cast<std::size_t>(start) * 2) << start;
            EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + start * 2)) << start;
        }
    }
}

TEST(AudioDecoder, LossyFilesLineUpAfterASeekAndKeepTheirLength) {
    MediaFactory media;
    for (const auto& [name, codec] : {std::pair{QStringLiteral("sweep.mp3"), QStringList{"-c:a", "libmp3lame"}},
                                      std::pair{QStringLiteral("sweep.m4a"), QStringList{"-c:a", "aac"}}}) {
        SCOPED_TRACE(name.toStdString());
        const QString path = sweep(media, name, codec);
        ASSERT_FALSE(path.isEmpty());
        const std::vector<float> whole = decodeFrom(path, 0);
        // Encoder delay and padding are not heard.
        EXPECT_NEAR(static_cast<double>(whole.size()) / 2, kRate * kSeconds, 2);
        for (const std::int64_t start : {std::int64_t{30000}, std::int64_t{88200}}) {
            const std::vector<float> part = decodeFrom(path, start);
            EXPECT_NEAR(static_cast<double>(part.size()) / 2, kRate * kSeconds - static_cast<double>(start), 2) << start;
            EXPECT_EQ(bestShift(whole, part, start), 0) << start;
        }
    }
}

// The largest phase error, in degrees, of a 440 Hz sine of phase 0 in Hann-windowed stretches
// of the left channel of `samples` from frame `from` on, skipping those that overlap `skip`.
double largestPhaseError(const std::vector<float>& samples, std::size_t from, std::pair<std::size_t, std::size_t> skip) {
    constexpr std::size_t kWindow = 2048;
    const double w = 2 * std::numbers::pi * 440 / kRate;
    double largest = 0;
    for (std::size_t start = from; start + kWindow <= samples.size() / 2; start += kWindow / 2) {
        if (start < skip.second && start + kWindow > skip.first) continue;
        double re = 0;
        double im = 0;
        for (std::size_t i = 0; i < kWindow; ++i) {
            const double hann = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / kWindow);
            re += hann * samples[(start + i) * 2] * std::sin(w * static_cast<double>(start + i));
            im += hann * samples[(start + i) * 2] * std::cos(w * static_cast<double>(start + i));
        }
        largest = std::max(largest, std::abs(std::atan2(im, re)) * 180 / std::numbers::pi);
    }
    return largest;
}

TEST(AudioDecoder, TheHalvesOfASineDecodeToTheWholeInEveryFormat) {
    // Cut at a sample that is no block boundary of any codec; each half encoded on its own.
    constexpr std::size_t kSplit = 52919;
    struct Format {
        const char* extension;
        QStringList codec;
        bool lossless;
        double length;  // how far the container's stated length may miss the cut, in frames
    };
    // The MP4 muxer keeps the edit list in milliseconds unless told otherwise, and a length in
    // milliseconds states no sample exactly: iTunes and the like count in samples.
    const Format formats[] = {
        {"flac", {"-c:a", "flac"}, true, 0},
        {"wav", {"-c:a", "pcm_s16le"}, true, 0},
        {"mp3", {"-c:a", "libmp3lame", "-b:a", "192k"}, false, 0},
        {"m4a", {"-c:a", "aac", "-b:a", "256k", "-movie_timescale", "44100"}, false, 0},
    };
    MediaFactory media;
    for (const Format& format : formats) {
        SCOPED_TRACE(format.extension);
        const QStringList parts = media.splitSine(QStringLiteral("sine"), QString::fromLatin1(format.extension),
                                                  format.codec, 2.0, kSplit);
        ASSERT_EQ(parts.size(), 2);
        std::vector<float> joined = decodeFrom(parts[0], 0);
        EXPECT_NEAR(static_cast<double>(joined.size()) / 2, kSplit, format.length);
        const std::vector<float> second = decodeFrom(parts[1], 0);
        joined.insert(joined.end(), second.begin(), second.end());
        ASSERT_EQ(joined.size(), static_cast<std::size_t>(2 * kRate) * 2);
        if (format.lossless) {
            double largest = 0;
            for (std::size_t i = 0; i < joined.size() / 2; ++i)
                largest = std::max(largest, std::abs(joined[i * 2] - 0.5 * std::sin(2 * std::numbers::pi * 440 *
                                                                                     static_cast<double>(i) / kRate)));
            EXPECT_LT(largest, 1.0 / 32768);
        }
        // A lost or doubled sample shifts what follows by 3.6 degrees. The lossy encoders smear
        // a tone that sets in or stops at full strength: a few blocks around each file's ends
        // are not compared.
        const std::size_t smear = format.lossless ? 0 : 2048;
        EXPECT_LT(largestPhaseError(joined, smear, {kSplit - smear, kSplit + smear}), 0.5);
        EXPECT_LT(largestPhaseError(joined, 0, {0, 0}), format.lossless ? 0.5 : 10.0);
    }
}

TEST(AudioDecoder, OddAndBrokenFilesDecodeToTheirEndOrFailToOpen) {
    const std::optional<QString> corpus = MediaFactory::peerCorpus();
    if (!corpus) GTEST_SKIP() << "no third-party media";
    int opened = 0;
    QDirIterator files(*corpus, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        SCOPED_TRACE(path.toStdString());
        const std::unique_ptr<AudioDecoder> decoder = AudioDecoder::open(path, nullptr);
        if (!decoder) continue;
        ++opened;
        EXPECT_GT(decoder->sampleRate(), 0);
        EXPECT_GT(decoder->channels(), 0);
        for (const std::int64_t start : {std::int64_t{0}, decoder->lengthFrames() / 2}) {
            // A small ring, emptied as the output would, so that a long file runs through too.
            SampleRing ring(4096 * static_cast<std::size_t>(decoder->channels()));
            StopFlag stop;
            std::thread producer([&] {
                if (decoder->run(start, ring, stop)) ring.markEndOfInput();
            });
            std::vector<float> block(ring.capacity());
            std::size_t total = 0;
            const std::size_t limit = static_cast<std::size_t>(decoder->sampleRate()) * 3600 * decoder->channels();
            while (!(ring.endOfInput() && ring.readable() == 0) && total < limit) {
                total += ring.pop(block.data(), block.size());
                std::this_thread::yield();
            }
            stop.set();
            producer.join();
            EXPECT_LT(total, limit);
        }
    }
    EXPECT_GT(opened, 10);
}

}  // namespace
