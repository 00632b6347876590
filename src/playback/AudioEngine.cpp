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

bool AudioEngine::open(const QString& path, QString* error, float gain) {
    stopNode();
    dropNext();
    std::unique_ptr<AudioDecoder> opened = AudioDecoder::open(path, error);
    if (!opened) return false;
    file = std::move(opened);
    path_ = path;
    gain_ = gain;
    schedule(0.0);
    return true;
}

bool AudioEngine::prepareNext(const QString& path, float gain) {
    if (nextFile && nextPath == path && nextGain == gain) return true;
    std::unique_ptr<AudioDecoder> opened;
    if (file) {
        QString error;
        opened = AudioDecoder::open(path, &error);
        if (!opened) qCInfo(lcPlayer, "Cannot prepare %s: %s", qUtf8Printable(path), qUtf8Printable(error));
        else if (opened->sampleRate() != file->sampleRate() || opened->channels() != file->channels()) opened.reset();
    }
    if (!opened) {
        clearNext();
        return false;
    }
    std::uint64_t boundary = 0;
    bool taken = false;
    {
        const std::lock_guard lock(nextLock);
        taken = handoff.taken;
        boundary = handoff.boundary;
        if (!taken) {
            nextFile = std::move(opened);
            nextPath = path;
            nextGain = gain;
            handoff = Handoff{nextFile.get(), gain, false, 0};
        }
    }
    // The decoder takes it at the end of the current file, unless it got there first.
    if (!taken) return !ring || !ring->endOfInput() || followAtEnd();
    // The decoder has gone on into the file prepared before: the new one takes its place at the
    // same boundary, unless the output has begun to take the samples after it.
    joinDecoder();
    if (!cutAt(boundary)) {
        resumeNext(boundary);
        return false;
    }
    // The file taken out may have ended the input already.
    if (output) output->reopenInput();
    else ring->clearEndOfInput();
    nextFile = std::move(opened);
    nextPath = path;
    nextGain = gain;
    continueAt(boundary);
    return true;
}

bool AudioEngine::followAtEnd() {
    joinDecoder();
    if (output && !output->reopenInput()) return false;
    ring->clearEndOfInput();
    continueAt(ring->written());
    return true;
}

void AudioEngine::continueAt(std::uint64_t boundary) {
    {
        const std::lock_guard lock(nextLock);
        handoff = Handoff{nextFile.get(), nextGain, true, boundary};
    }
    ring->setBoundary(boundary);
    startDecoder(nextFile.get(), 0, nextGain);
}

void AudioEngine::clearNext() {
    std::uint64_t boundary = 0;
    {
        const std::lock_guard lock(nextLock);
        if (!handoff.taken) {
            handoff = Handoff{};
            nextPath.clear();
            nextFile.reset();
            return;
        }
        boundary = handoff.boundary;
    }
    // The decoder has gone on into the prepared file: its samples are taken out again, so that
    // the current file ends where it ends, unless the output has begun to take them.
    joinDecoder();
    if (!cutAt(boundary)) {
        resumeNext(boundary);
        return;
    }
    ring->markEndOfInput();
    dropNext();
}

bool AudioEngine::cutAt(std::uint64_t boundary) {
    if (output) return output->truncateInput(boundary);
    if (!ring->truncate(boundary)) return false;
    ring->clearBoundary(boundary);
    return true;
}

void AudioEngine::resumeNext(std::uint64_t boundary) {
    const auto decodedFrames = static_cast<std::int64_t>((ring->written() - boundary) /
                                                         static_cast<std::uint64_t>(nextFile->channels()));
    startDecoder(nextFile.get(), decodedFrames, nextGain);
}

void AudioEngine::dropNext() {
    {
        const std::lock_guard lock(nextLock);
        handoff = Handoff{};
    }
    nextPath.clear();
    nextFile.reset();
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
        if (event == PulseOutput::Event::Finished || event == PulseOutput::Event::Boundary) {
            {
                std::lock_guard lock(stoppingLock);
                if (stopping_) return;
            }
            const std::uint64_t current = generation.load();
            if (event == PulseOutput::Event::Finished)
                QMetaObject::invokeMethod(target, [this, current] { finished(current); }, Qt::QueuedConnection);
            else
                QMetaObject::invokeMethod(target, [this, current] { advanced(current); }, Qt::QueuedConnection);
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
    dropNext();
    file.reset();
    path_.clear();
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

void AudioEngine::setGain(float gain) {
    if (gain == gain_) return;
    gain_ = gain;
    // The gain is applied as the samples are decoded.
    if (file && scheduled) seek(elapsed());
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
    {
        // A prepared file that the decoder had gone on into follows again at the new end.
        const std::lock_guard lock(nextLock);
        handoff.taken = false;
    }
    startDecoder(file.get(), s.startFrame, gain_);
    scheduled = true;
    anchor = start;
    lastElapsed = start;
    return true;
}

void AudioEngine::startDecoder(AudioDecoder* first, std::int64_t startFrame, float gain) {
    cancelDecoding.clear();
    decoder = std::thread([this, first, startFrame, gain] { decode(first, startFrame, gain); });
}

void AudioEngine::decode(AudioDecoder* current, std::int64_t startFrame, float gain) {
    while (current->run(startFrame, *ring, cancelDecoding, gain)) {
        const std::lock_guard lock(nextLock);
        if (!handoff.offered || handoff.taken) break;
        handoff.taken = true;
        handoff.boundary = ring->written();
        ring->setBoundary(handoff.boundary);
        current = handoff.offered;
        gain = handoff.gain;
        startFrame = 0;
    }
    if (!cancelDecoding.isSet()) ring->markEndOfInput();
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

void AudioEngine::advanced(std::uint64_t at) {
    if (at != generation.load() || !file) return;
    std::uint64_t boundary = 0;
    {
        const std::lock_guard lock(nextLock);
        if (!handoff.taken || !nextFile) return;
        boundary = handoff.boundary;
        handoff = Handoff{};
    }
    file = std::move(nextFile);
    path_ = std::move(nextPath);
    nextPath.clear();
    gain_ = nextGain;
    // The played time runs on from the stream's start: the new file's time starts at the boundary.
    anchor = -static_cast<double>(boundary / static_cast<std::uint64_t>(file->channels())) / file->sampleRate();
    lastElapsed = 0;
    reportUnderruns();
    if (onAdvanced) onAdvanced();
}

void AudioEngine::reportUnderruns() {
    const std::uint64_t count = output->underruns();
    if (count == reportedUnderruns) return;
    qCWarning(lcPlayer, "Audio output ran dry %llu time(s)", static_cast<unsigned long long>(count - reportedUnderruns));
    reportedUnderruns = count;
}

}  // namespace sonvale
