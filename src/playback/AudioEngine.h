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
// file's own sample rate and channel count. A next file prepared ahead (prepareNext) of the
// same rate and channel count follows the current one in the same stream without a gap: its
// first sample comes right after the current file's last one, and onAdvanced is called when
// it is heard. Every file carries a gain, a linear factor applied to its samples as they are
// decoded.
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
    // to its end and nothing follows it; never for a part that was stopped, replaced by a seek
    // or by another open.
    std::function<void()> onFinished;
    // Called on the main thread when the first sample of the prepared next file is heard: that
    // file is now the current one (path(), elapsed() from 0) and nothing is prepared any more.
    // Instead of onFinished for the file before it.
    std::function<void()> onAdvanced;

    // 0.0 to 1.0, initially 1.0; applied at once to a connected output, otherwise on the next play.
    float volume() const { return volume_; }
    void setVolume(float volume);

    // The playing position in seconds: the position sound has reached while playing, otherwise
    // the last one known.
    double elapsed();

    // Replaces the file and makes it ready to play from its start, without starting sound; its
    // samples are multiplied by `gain`. Drops a prepared next file. On failure returns false
    // with the reason in `error`; the former file, if any, stays open but has nothing scheduled.
    bool open(const QString& path, QString* error = nullptr, float gain = 1.0f);
    // Opens `path` to follow the current file without a gap, its samples multiplied by `gain`
    // from its first one on; replaces what was prepared before, also when the decoder has
    // already gone on into that. True when it will follow (also when it was prepared already);
    // false without a current file, when it cannot be opened, when its sample rate or channel
    // count differs (it is then to be opened when the current file has finished: onFinished),
    // or when the current file's end has already been handed to the output followed by the
    // file prepared before, which then plays on (onAdvanced tells).
    bool prepareNext(const QString& path, float gain = 1.0f);
    // Forgets the prepared next file: the current one finishes (onFinished) at its end. When
    // the next file's samples already follow in the stream they are taken out again, unless
    // they have been handed to the output, in which case it plays on as in prepareNext.
    void clearNext();
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
    // Changes the current file's gain; what was decoded ahead is decoded again from the playing
    // position, so the change is heard at once.
    void setGain(float gain);

    bool isPlaying() const { return shouldPlay && outputConnected; }
    bool hasFile() const { return file != nullptr; }
    // The path of the file being played (the one elapsed() is about), empty without one.
    const QString& path() const { return path_; }

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
    // Starts the decoder thread on `first` from `startFrame`; it goes on into the prepared next
    // file, if any, when `first` ends.
    void startDecoder(AudioDecoder* first, std::int64_t startFrame, float gain);
    // Decoder thread.
    void decode(AudioDecoder* current, std::int64_t startFrame, float gain);
    // Forgets the prepared file; the decoder must be stopped or not into it.
    void dropNext();
    // With the decoder stopped after it went on into the prepared file: takes the samples from
    // `boundary` on out of the stream; false when the output has begun to take them.
    bool cutAt(std::uint64_t boundary);
    // Decodes the prepared file on from where it was stopped, when it could not be cut off.
    void resumeNext(std::uint64_t boundary);
    // The decoder reached the end of the current file before the next one was prepared: it
    // goes on with it at the end of the input; false when the output already plays that out.
    bool followAtEnd();
    // Starts decoding the prepared file into the ring from `boundary` on.
    void continueAt(std::uint64_t boundary);
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
    void advanced(std::uint64_t generation);
    void reportUnderruns();

    float volume_ = 1.0f;
    std::unique_ptr<SampleRing> ring;
    std::unique_ptr<PulseOutput> output;
    std::unique_ptr<AudioDecoder> file;
    QString path_;
    float gain_ = 1.0f;
    // The prepared next file: owned here, decoded by the decoder thread once offered and taken.
    std::unique_ptr<AudioDecoder> nextFile;
    QString nextPath;
    float nextGain = 1.0f;
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

    // What the decoder thread may go on with at the end of the current file.
    struct Handoff {
        AudioDecoder* offered = nullptr;  // nextFile, or none
        float gain = 1.0f;
        bool taken = false;        // the decoder has gone on into it
        std::uint64_t boundary = 0;  // where it begins in the ring, once taken
    };
    std::mutex nextLock;
    Handoff handoff;  // guarded by nextLock

    std::thread decoder;
    StopFlag cancelDecoding;
    // Counts schedules, so that an end reported for a replaced part is dropped.
    std::atomic<std::uint64_t> generation{0};
    std::uint64_t outputId = 0;
    std::uint64_t reportedUnderruns = 0;
};

}  // namespace sonvale
