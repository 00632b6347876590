#pragma once

#include "StopFlag.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

class QObject;
class QTimer;

namespace sonvale {

class AudioDecoder;
class PulseOutput;
class SampleRing;

// Plays one audio file at a time on the sound server's default output: the file is decoded
// from a start time to its end on a decoder thread and played through one stream, at the
// file's own sample rate and channel count.
//
// States: empty (no file), loaded (file open, sound off), playing, paused, ended (everything
// played out; onFinished called). open() moves any state to loaded, stop() to empty; seek()
// keeps playing or paused. When the output goes away (its device removed, the server
// restarted, the stream suspended) playback goes on from the same position on whatever is the
// default output then, and a paused engine stays paused. A server that is gone is tried again
// for 10 s; after that sound waits for the next play().
//
// Threads: make the engine and call every member on the main thread (the QCoreApplication's),
// whose event loop must run for onFinished and the output changes to be handled.
class AudioEngine {
public:
    AudioEngine();
    ~AudioEngine();
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    // Called on the main thread once the part played since the last open or seek has been heard
    // to its end; never for a part that was stopped, replaced by a seek or by another open.
    std::function<void()> onFinished;

    // 0.0 to 1.0, initially 1.0; applied at once to a connected output, otherwise on the next play.
    float volume() const { return volume_; }
    void setVolume(float volume);

    // The playing position in seconds: the position sound has reached while playing, otherwise
    // the last one known.
    double elapsed();

    // Replaces the file and makes it ready to play from its start, without starting sound. On
    // failure returns false with the reason in `error`; the former file, if any, stays open but
    // has nothing scheduled.
    bool open(const QString& path, QString* error = nullptr);
    // Starts or resumes sound; nothing when nothing is scheduled. When the sound server cannot
    // be reached, logs "Audio engine failed to start: ..." and stays silent until the next play.
    void play();
    // Keeps the position, stops sound.
    void pause();
    // Forgets the file and the position.
    void stop();
    // Moves to `seconds` in the current file, playing on if it was playing. Nothing happens
    // without a file or when the position is at or past the end.
    void seek(double seconds);

    bool isPlaying() const { return shouldPlay && outputConnected; }
    bool hasFile() const { return file != nullptr; }

    // Diagnostics (latency measurements): when the first samples of the part scheduled by the
    // last open or seek were handed to the output; nullopt until then or without an output.
    std::optional<std::chrono::steady_clock::time_point> firstOutputTime() const;

private:
    struct Segment {
        std::int64_t startFrame = 0;
        std::uint32_t frameCount = 0;
    };
    Segment segment(double start) const;
    bool schedule(double start);
    // Stops the decoder and silences and empties the output; no onFinished comes from it.
    void stopNode();
    // Opens a stream on the default output for the current file; false (logged when asked)
    // when the server cannot be reached.
    bool connectOutput(bool logFailure);
    // One more attempt to reach the output after it was lost while playing.
    void retryOutput();
    void joinDecoder();
    // The output went away or changed (main thread, through the event loop).
    void configurationChanged(std::uint64_t outputId);
    void finished(std::uint64_t generation);
    void reportUnderruns();

    float volume_ = 1.0f;
    std::unique_ptr<SampleRing> ring;
    std::unique_ptr<PulseOutput> output;
    std::unique_ptr<AudioDecoder> file;
    bool outputConnected = false;
    bool scheduled = false;
    bool shouldPlay = false;
    double anchor = 0;
    double lastElapsed = 0;
    // Lives on the main thread; the audio thread posts its events to it.
    std::unique_ptr<QObject> context;
    QTimer* retryTimer = nullptr;  // owned by `context`
    int retriesLeft = 0;
    std::mutex stoppingLock;
    bool stopping_ = false;

    std::thread decoder;
    StopFlag cancelDecoding;
    // Counts schedules, so that an end reported for a replaced part is dropped.
    std::atomic<std::uint64_t> generation{0};
    std::uint64_t outputId = 0;
    std::uint64_t reportedUnderruns = 0;
};

}  // namespace sonvale
