#include "AudioEngine.h"

#include "AudioDecoder.h"
#include "PlayerLog.h"
#include "PulseOutput.h"
#include "SampleRing.h"

#include <QElapsedTimer>
#include <QMetaObject>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace sonvale {

namespace {

// Decoded audio kept ahead of the output, in seconds.
constexpr double kBufferSeconds = 1.0;
constexpr double kMaxFrameCount = 4294967294.0;
// After the output was lost while playing, the server may be restarting: try again this often,
// this many times (10 s in all) before waiting for the user's next play.
constexpr int kRetryMs = 250;
constexpr int kRetries = 40;
constexpr qint64 kSlowAttemptMs = 500;

}  // namespace

AudioEngine::AudioEngine() : context(std::make_unique<QObject>()) {
    retryTimer = new QTimer(context.get());
    retryTimer->setInterval(kRetryMs);
    QObject::connect(retryTimer, &QTimer::timeout, context.get(), [this] { retryOutput(); });
}

AudioEngine::~AudioEngine() {
    joinDecoder();
    // The output's thread is gone after this, so nothing more is posted to `context`.
    output.reset();
}

std::optional<std::chrono::steady_clock::time_point> AudioEngine::firstOutputTime() const {
    const std::int64_t ns = output ? output->firstWriteNs() : 0;
    if (ns == 0) return std::nullopt;
    return std::chrono::steady_clock::time_point(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::nanoseconds(ns)));
}

void AudioEngine::setVolume(float volume) {
    volume_ = std::clamp(volume, 0.0f, 1.0f);
    if (outputConnected && output) output->setVolume(volume_);
}

double AudioEngine::elapsed() {
    if (output && outputConnected && shouldPlay && scheduled)
        lastElapsed = std::max(0.0, anchor + output->playedSeconds());
    return lastElapsed;
}

bool AudioEngine::open(const QString& path, QString* error) {
    stopNode();
    std::unique_ptr<AudioDecoder> opened = AudioDecoder::open(path, error);
    if (!opened) return false;
    file = std::move(opened);
    schedule(0.0);
    return true;
}

void AudioEngine::play() {
    if (!scheduled) return;
    shouldPlay = true;
    if (!outputConnected && !connectOutput(true)) return;
    output->setCorked(false);
}

bool AudioEngine::connectOutput(bool logFailure) {
    output.reset();
    const std::uint64_t id = ++outputId;
    QObject* target = context.get();
    auto listener = [this, id, target](PulseOutput::Event event) {
        // Audio thread: only the stop flag is read here; everything else happens on the
        // main thread.
        if (event == PulseOutput::Event::Finished) {
            {
                std::lock_guard lock(stoppingLock);
                if (stopping_) return;
            }
            const std::uint64_t current = generation.load();
            QMetaObject::invokeMethod(target, [this, current] { finished(current); }, Qt::QueuedConnection);
        } else if (event == PulseOutput::Event::Lost) {
            QMetaObject::invokeMethod(target, [this, id] { configurationChanged(id); }, Qt::QueuedConnection);
        } else {
            QMetaObject::invokeMethod(target, [] { qCInfo(lcPlayer, "Audio output moved"); }, Qt::QueuedConnection);
        }
    };
    QString error;
    output = PulseOutput::create(file->sampleRate(), file->channels(), volume_, *ring, listener, &error);
    if (!output) {
        if (logFailure) qCCritical(lcPlayer, "Audio engine failed to start: %s", qUtf8Printable(error));
        return false;
    }
    outputConnected = true;
    reportedUnderruns = 0;
    return true;
}

void AudioEngine::retryOutput() {
    if (outputConnected || !shouldPlay || !scheduled) {
        retryTimer->stop();
        return;
    }
    QElapsedTimer attempt;
    attempt.start();
    if (connectOutput(false)) {
        retryTimer->stop();
        qCInfo(lcPlayer, "Audio output back at %.3f s", lastElapsed);
        output->setCorked(false);
        return;
    }
    // A server that is there but does not answer holds each attempt for its time limit: the
    // main thread must not be held again and again.
    if (--retriesLeft <= 0 || attempt.elapsed() > kSlowAttemptMs) {
        retryTimer->stop();
        qCWarning(lcPlayer, "Audio output still unavailable; waiting for the next play");
    }
}

void AudioEngine::pause() {
    lastElapsed = elapsed();
    shouldPlay = false;
    if (output) output->setCorked(true);
}

void AudioEngine::stop() {
    stopNode();
    file.reset();
    shouldPlay = false;
    anchor = 0;
    lastElapsed = 0;
}

void AudioEngine::seek(double seconds) {
    if (!file || segment(std::max(0.0, seconds)).frameCount == 0) return;
    const bool wasPlaying = shouldPlay;
    stopNode();
    schedule(seconds);
    if (wasPlaying) play();
}

AudioEngine::Segment AudioEngine::segment(double start) const {
    const double rate = file->sampleRate();
    const double fileSeconds = rate > 0 ? static_cast<double>(file->lengthFrames()) / rate : 0.0;
    const double remaining = std::max(0.0, fileSeconds - start);
    Segment s;
    s.startFrame = static_cast<std::int64_t>(rate * start);
    s.frameCount = static_cast<std::uint32_t>(std::min(rate * remaining, kMaxFrameCount));
    return s;
}

bool AudioEngine::schedule(double start) {
    start = std::max(0.0, start);
    if (!file || !std::isfinite(start)) return false;
    const Segment s = segment(start);
    if (s.frameCount == 0) return false;
    const int rate = file->sampleRate();
    const int channels = file->channels();
    if (output && !output->matches(rate, channels)) {
        output.reset();
        outputConnected = false;
    }
    const auto capacity = static_cast<std::size_t>(rate * kBufferSeconds) * static_cast<std::size_t>(channels);
    if (!ring || ring->capacity() != capacity) {
        output.reset();
        outputConnected = false;
        ring = std::make_unique<SampleRing>(capacity);
    }
    ++generation;
    cancelDecoding.clear();
    decoder = std::thread([this, startFrame = s.startFrame] { file->run(startFrame, *ring, cancelDecoding); });
    scheduled = true;
    anchor = start;
    lastElapsed = start;
    return true;
}

void AudioEngine::stopNode() {
    {
        std::lock_guard lock(stoppingLock);
        stopping_ = true;
    }
    joinDecoder();
    if (output) {
        output->setCorked(true);
        output->flush();
        reportUnderruns();
    } else if (ring) {
        ring->reset();
    }
    ++generation;
    {
        std::lock_guard lock(stoppingLock);
        stopping_ = false;
    }
    scheduled = false;
}

void AudioEngine::joinDecoder() {
    cancelDecoding.set();
    if (decoder.joinable()) decoder.join();
}

void AudioEngine::configurationChanged(std::uint64_t id) {
    if (id != outputId || !file) return;
    const double position = elapsed();
    const bool wasPlaying = shouldPlay;
    qCInfo(lcPlayer, "Audio output lost at %.3f s; reconnecting", position);
    outputConnected = false;
    stopNode();
    output.reset();
    schedule(position);
    if (!wasPlaying) return;
    play();
    if (!outputConnected) {
        retriesLeft = kRetries;
        retryTimer->start();
    }
}

void AudioEngine::finished(std::uint64_t ended) {
    if (ended != generation.load()) return;
    reportUnderruns();
    if (onFinished) onFinished();
}

void AudioEngine::reportUnderruns() {
    const std::uint64_t count = output->underruns();
    if (count == reportedUnderruns) return;
    qCWarning(lcPlayer, "Audio output ran dry %llu time(s)", static_cast<unsigned long long>(count - reportedUnderruns));
    reportedUnderruns = count;
}

}  // namespace sonvale
