#pragma once

#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

struct pa_context;
struct pa_mainloop_api;
struct pa_operation;
struct pa_stream;
struct pa_time_event;
struct timeval;

namespace sonvale {

class SampleRing;

// One playback stream on the sound server's default output (PulseAudio or anything speaking
// its protocol), fed from a SampleRing of interleaved floats. The stream is connected without
// a device name, so the server moves it when the default output changes.
//
// Threads: create, destroy and call every member on one thread (the engine's). The server's
// events are handled on the output's own audio thread; the write path there only copies from
// the ring, never allocates and never waits for a lock held by other work. The ring must
// outlive the output.
class PulseOutput {
public:
    enum class Event { Finished, Boundary, Moved, Lost };
    // Called on the audio thread: Finished when everything queued after the last flush has
    // been played out (the ring's end of input reached and the stream drained); Boundary when
    // the first sample after the ring's boundary is being heard (the played position reached
    // it; always before a Finished that follows it); Moved when the
    // server moved the stream to another output; Lost when the stream or the connection failed
    // or the output was suspended. Must not call back into the output.
    using Listener = std::function<void(Event)>;

    // Connects to the server and opens a corked stream; nullptr with the reason in `error`.
    static std::unique_ptr<PulseOutput> create(int sampleRate, int channels, float volume, SampleRing& ring,
                                               Listener listener, QString* error);
    // The version of the PulseAudio client library in use, read at run time.
    static QString libraryVersion();
    ~PulseOutput();
    PulseOutput(const PulseOutput&) = delete;
    PulseOutput& operator=(const PulseOutput&) = delete;

    bool matches(int sampleRate, int channels) const { return rate_ == sampleRate && channels_ == channels; }
    void setCorked(bool corked);
    // Cancels a pending drain, discards what the server still holds and empties the ring; the
    // played time starts again from zero. The ring's producer must be stopped.
    void flush();
    void setVolume(float volume);
    // Ends the input at `position` (samples since the last flush) if the stream has not taken
    // any sample from there on yet, and clears a boundary there; false when it has. The ring's
    // producer must be stopped.
    bool truncateInput(std::uint64_t position);
    // Takes the ring's end of input back, so that more input follows in the same stream; false
    // when the stream has already begun to play out its end.
    bool reopenInput();
    // Seconds of audio played out since the stream opened or was last flushed; the last known
    // value once the stream is gone.
    double playedSeconds();
    // Times the stream ran dry before the end of its input, since it opened.
    std::uint64_t underruns() const { return underruns_.load(std::memory_order_relaxed); }
    // Diagnostics: when samples were first handed to the server since the stream opened or was
    // last flushed, in nanoseconds of std::chrono::steady_clock; 0 before that. Any thread.
    std::int64_t firstWriteNs() const { return firstWriteNs_.load(std::memory_order_relaxed); }

private:
    struct Handles;
    PulseOutput(int sampleRate, int channels, SampleRing& ring, Listener listener);
    bool connect(float volume, QString* error);
    // Waits for the server to carry out `op` (taken over), at most the answer limit.
    bool waitFor(pa_operation* op);

    // Audio thread.
    void fill(std::size_t bytes);
    void notePlayed();
    // Reports a boundary whose time has come; otherwise how long until it will (0 for none due).
    std::uint64_t boundaryDueIn();
    static void onWrite(pa_stream* s, std::size_t bytes, void* self);
    static void onTimer(pa_mainloop_api* api, pa_time_event* e, const timeval* tv, void* self);
    static void onDrained(pa_stream* s, int success, void* self);
    static void onUnderflow(pa_stream* s, void* self);
    static void onStreamEvent(pa_stream* s, void* self);
    static void onMoved(pa_stream* s, void* self);
    static void onContextState(pa_context* c, void* self);

    std::unique_ptr<Handles> h_;
    const int rate_;
    const int channels_;
    SampleRing& ring_;
    const Listener listener_;
    std::int64_t baseUsec_ = 0;
    bool draining_ = false;
    bool starved_ = false;  // the last request was not met in full
    bool lost_ = false;
    std::atomic<std::int64_t> playedUsec_{0};
    std::atomic<std::uint64_t> underruns_{0};
    std::atomic<std::int64_t> firstWriteNs_{0};
};

}  // namespace sonvale
