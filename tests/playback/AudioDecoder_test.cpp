#include "AudioDecoder.h"

#include "MediaFactory.h"
#include "SampleRing.h"
#include "StopFlag.h"

#include <gtest/gtest.h>

#include <QDirIterator>

#include <atomic>
#include <cmath>
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
