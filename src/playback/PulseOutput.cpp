#include "PulseOutput.h"

#include "SampleRing.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <chrono>

namespace sonvale {

namespace {

constexpr pa_usec_t kTargetLatency = 150 * PA_USEC_PER_MSEC;
// The stream asks for data whenever the server's buffer has room. The tick feeds it besides:
// often while the ring came up short at the last request (the decoder is late), otherwise
// seldom, to notice the end of the input and keep the played time fresh.
constexpr pa_usec_t kTick = 10 * PA_USEC_PER_MSEC;
constexpr pa_usec_t kIdleTick = 100 * PA_USEC_PER_MSEC;
// The longest the caller's thread waits for the server to answer: one that accepted the
// connection but hangs must not hold the player for ever.
constexpr pa_usec_t kAnswerLimit = 2 * PA_USEC_PER_SEC;

struct MainloopFreer {
    void operator()(pa_threaded_mainloop* m) const {
        pa_threaded_mainloop_stop(m);
        pa_threaded_mainloop_free(m);
    }
};
struct ContextFreer {
    void operator()(pa_context* c) const {
        pa_context_set_state_callback(c, nullptr, nullptr);
        pa_context_disconnect(c);
        pa_context_unref(c);
    }
};
struct StreamFreer {
    void operator()(pa_stream* s) const {
        pa_stream_set_state_callback(s, nullptr, nullptr);
        pa_stream_set_suspended_callback(s, nullptr, nullptr);
        pa_stream_set_moved_callback(s, nullptr, nullptr);
        pa_stream_set_write_callback(s, nullptr, nullptr);
        pa_stream_set_underflow_callback(s, nullptr, nullptr);
        pa_stream_disconnect(s);
        pa_stream_unref(s);
    }
};

// The owner of an operation reference; cancel() first where the operation must not finish.
struct OperationUnref {
    void operator()(pa_operation* op) const { pa_operation_unref(op); }
};
using Operation = std::unique_ptr<pa_operation, OperationUnref>;

void cancel(Operation& op) {
    if (op) pa_operation_cancel(op.get());
    op.reset();
}

// The owner of a time event of one main loop.
struct TimeEventFreer {
    pa_mainloop_api* api = nullptr;
    void operator()(pa_time_event* e) const { api->time_free(e); }
};
using TimeEvent = std::unique_ptr<pa_time_event, TimeEventFreer>;

class MainloopLock {
public:
    explicit MainloopLock(pa_threaded_mainloop* m) : m_(m) { pa_threaded_mainloop_lock(m_); }
    ~MainloopLock() { pa_threaded_mainloop_unlock(m_); }
    MainloopLock(const MainloopLock&) = delete;
    MainloopLock& operator=(const MainloopLock&) = delete;

private:
    pa_threaded_mainloop* m_;
};

void signalDone(pa_stream*, int, void* mainloop) {
    pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(mainloop), 0);
}

// Set when a wait for the server has gone on too long; lives on the waiting thread's stack.
struct Deadline {
    pa_threaded_mainloop* mainloop;
    bool expired = false;
    TimeEvent event;

    explicit Deadline(pa_threaded_mainloop* m) : mainloop(m), event(nullptr, {pa_threaded_mainloop_get_api(m)}) {
        pa_mainloop_api* api = pa_threaded_mainloop_get_api(m);
        timeval tv;
        pa_timeval_add(pa_gettimeofday(&tv), kAnswerLimit);
        event.reset(api->time_new(api, &tv, &Deadline::expire, this));
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

    static void expire(pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
        auto* d = static_cast<Deadline*>(self);
        d->expired = true;
        pa_threaded_mainloop_signal(d->mainloop, 0);
    }
};

QString contextError(pa_context* c) {
    return QString::fromUtf8(pa_strerror(c ? pa_context_errno(c) : PA_ERR_INTERNAL));
}

}  // namespace

struct PulseOutput::Handles {
    std::unique_ptr<pa_threaded_mainloop, MainloopFreer> mainloop;
    std::unique_ptr<pa_context, ContextFreer> context;
    std::unique_ptr<pa_stream, StreamFreer> stream;
    TimeEvent timer;
    Operation drain;
    bool ready = false;
};

PulseOutput::PulseOutput(int sampleRate, int channels, SampleRing& ring, Listener listener)
    : h_(std::make_unique<Handles>()), rate_(sampleRate), channels_(channels), ring_(ring),
      listener_(std::move(listener)) {}

PulseOutput::~PulseOutput() {
    if (!h_->mainloop) return;
    {
        MainloopLock lock(h_->mainloop.get());
        h_->ready = false;
        cancel(h_->drain);
        h_->timer.reset();
        h_->stream.reset();
        h_->context.reset();
    }
    h_->mainloop.reset();
}

QString PulseOutput::libraryVersion() { return QString::fromUtf8(pa_get_library_version()); }

std::unique_ptr<PulseOutput> PulseOutput::create(int sampleRate, int channels, float volume, SampleRing& ring,
                                                 Listener listener, QString* error) {
    std::unique_ptr<PulseOutput> out(new PulseOutput(sampleRate, channels, ring, std::move(listener)));
    if (!out->connect(volume, error)) return nullptr;
    return out;
}

bool PulseOutput::connect(float volume, QString* error) {
    auto fail = [&](const QString& why) {
        if (error) *error = why;
        return false;
    };
    pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, static_cast<std::uint32_t>(rate_), static_cast<std::uint8_t>(channels_)};
    pa_channel_map map;
    if (channels_ > static_cast<int>(PA_CHANNELS_MAX) || !pa_sample_spec_valid(&spec) ||
        !pa_channel_map_init_extend(&map, spec.channels, PA_CHANNEL_MAP_WAVEEX))
        return fail(QString::fromUtf8(pa_strerror(PA_ERR_NOTSUPPORTED)));
    h_->mainloop.reset(pa_threaded_mainloop_new());
    if (!h_->mainloop || pa_threaded_mainloop_start(h_->mainloop.get()) < 0)
        return fail(QString::fromUtf8(pa_strerror(PA_ERR_INTERNAL)));
    pa_threaded_mainloop* m = h_->mainloop.get();
    MainloopLock lock(m);
    h_->context.reset(pa_context_new(pa_threaded_mainloop_get_api(m), "Sonvale"));
    pa_context* c = h_->context.get();
    if (!c) return fail(contextError(nullptr));
    pa_context_set_state_callback(c, &PulseOutput::onContextState, this);
    if (pa_context_connect(c, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return fail(contextError(c));
    Deadline deadline(m);
    const QString timeout = QString::fromUtf8(pa_strerror(PA_ERR_TIMEOUT));
    for (pa_context_state_t st; (st = pa_context_get_state(c)) != PA_CONTEXT_READY;) {
        if (!PA_CONTEXT_IS_GOOD(st)) return fail(contextError(c));
        if (deadline.expired) return fail(timeout);
        pa_threaded_mainloop_wait(m);
    }

    h_->stream.reset(pa_stream_new(c, "Playback", &spec, &map));
    pa_stream* s = h_->stream.get();
    if (!s) return fail(contextError(c));
    pa_stream_set_state_callback(s, &PulseOutput::onStreamEvent, this);
    pa_stream_set_suspended_callback(s, &PulseOutput::onStreamEvent, this);
    pa_stream_set_moved_callback(s, &PulseOutput::onMoved, this);
    pa_stream_set_write_callback(s, &PulseOutput::onWrite, this);
    pa_stream_set_underflow_callback(s, &PulseOutput::onUnderflow, this);
    pa_buffer_attr attr{static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(pa_usec_to_bytes(kTargetLatency, &spec)),
                        static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1)};
    pa_cvolume cv;
    pa_cvolume_set(&cv, spec.channels, pa_sw_volume_from_linear(std::clamp(volume, 0.0f, 1.0f)));
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_INTERPOLATE_TIMING |
                                                      PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_ADJUST_LATENCY);
    if (pa_stream_connect_playback(s, nullptr, &attr, flags, &cv, nullptr) < 0) return fail(contextError(c));
    for (pa_stream_state_t st; (st = pa_stream_get_state(s)) != PA_STREAM_READY;) {
        if (!PA_STREAM_IS_GOOD(st)) return fail(contextError(c));
        if (deadline.expired) return fail(timeout);
        pa_threaded_mainloop_wait(m);
    }
    h_->timer = TimeEvent(pa_context_rttime_new(c, pa_rtclock_now() + kTick, &PulseOutput::onTimer, this),
                          {pa_threaded_mainloop_get_api(m)});
    h_->ready = true;
    return true;
}

bool PulseOutput::waitFor(pa_operation* started) {
    Operation op(started);
    if (!op) return false;
    Deadline deadline(h_->mainloop.get());
    while (pa_operation_get_state(op.get()) == PA_OPERATION_RUNNING && !deadline.expired)
        pa_threaded_mainloop_wait(h_->mainloop.get());
    if (pa_operation_get_state(op.get()) == PA_OPERATION_RUNNING) pa_operation_cancel(op.get());
    return pa_operation_get_state(op.get()) == PA_OPERATION_DONE;
}

void PulseOutput::setCorked(bool corked) {
    MainloopLock lock(h_->mainloop.get());
    if (!h_->ready || lost_) return;
    waitFor(pa_stream_cork(h_->stream.get(), corked ? 1 : 0, &signalDone, h_->mainloop.get()));
}

void PulseOutput::flush() {
    MainloopLock lock(h_->mainloop.get());
    cancel(h_->drain);
    draining_ = false;
    ring_.reset();
    playedUsec_.store(0, std::memory_order_relaxed);
    firstWriteNs_.store(0, std::memory_order_relaxed);
    if (!h_->ready || lost_) return;
    pa_stream* s = h_->stream.get();
    waitFor(pa_stream_flush(s, &signalDone, h_->mainloop.get()));
    waitFor(pa_stream_update_timing_info(s, &signalDone, h_->mainloop.get()));
    // New audio starts where the server's read position now stands.
    pa_usec_t now = 0;
    baseUsec_ = pa_stream_get_time(s, &now) == 0 ? static_cast<std::int64_t>(now) : 0;
}

void PulseOutput::setVolume(float volume) {
    MainloopLock lock(h_->mainloop.get());
    if (!h_->ready || lost_) return;
    pa_cvolume cv;
    pa_cvolume_set(&cv, static_cast<std::uint8_t>(channels_), pa_sw_volume_from_linear(std::clamp(volume, 0.0f, 1.0f)));
    // Nobody waits for the answer: the reference is let go at once.
    Operation(pa_context_set_sink_input_volume(h_->context.get(), pa_stream_get_index(h_->stream.get()), &cv, nullptr,
                                               nullptr));
}

bool PulseOutput::reopenInput() {
    MainloopLock lock(h_->mainloop.get());
    if (draining_) return false;
    ring_.clearEndOfInput();
    return true;
}

bool PulseOutput::truncateInput(std::uint64_t position) {
    MainloopLock lock(h_->mainloop.get());
    if (!ring_.truncate(position)) return false;
    ring_.clearBoundary(position);
    return true;
}

double PulseOutput::playedSeconds() {
    MainloopLock lock(h_->mainloop.get());
    notePlayed();
    return static_cast<double>(playedUsec_.load(std::memory_order_relaxed)) / 1e6;
}

void PulseOutput::notePlayed() {
    pa_usec_t now = 0;
    if (!h_->ready || lost_ || pa_stream_get_time(h_->stream.get(), &now) != 0) return;
    playedUsec_.store(std::max<std::int64_t>(0, static_cast<std::int64_t>(now) - baseUsec_), std::memory_order_relaxed);
}

std::uint64_t PulseOutput::boundaryDueIn() {
    const std::uint64_t at = ring_.boundary();
    if (at == SampleRing::kNoBoundary || ring_.consumed() < at) return 0;
    notePlayed();
    const auto atUsec = static_cast<std::int64_t>(at / static_cast<std::uint64_t>(channels_) * PA_USEC_PER_SEC /
                                                  static_cast<std::uint64_t>(rate_));
    const std::int64_t left = atUsec - playedUsec_.load(std::memory_order_relaxed);
    if (left > 0) return static_cast<std::uint64_t>(left);
    ring_.clearBoundary(at);
    listener_(Event::Boundary);
    return 0;
}

void PulseOutput::fill(std::size_t bytes) {
    pa_stream* s = h_->stream.get();
    const std::size_t frameBytes = sizeof(float) * static_cast<std::size_t>(channels_);
    while (bytes >= frameBytes) {
        const std::size_t available = ring_.readable() / static_cast<std::size_t>(channels_) * frameBytes;
        if (available == 0) break;
        void* data = nullptr;
        std::size_t size = std::min(bytes, available);
        if (pa_stream_begin_write(s, &data, &size) < 0 || !data) break;
        size = std::min(size, available) / frameBytes * frameBytes;
        if (size == 0) {
            pa_stream_cancel_write(s);
            break;
        }
        ring_.pop(static_cast<float*>(data), size / sizeof(float));
        if (pa_stream_write(s, data, size, nullptr, 0, PA_SEEK_RELATIVE) < 0) break;
        if (firstWriteNs_.load(std::memory_order_relaxed) == 0)
            firstWriteNs_.store(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                   std::chrono::steady_clock::now().time_since_epoch())
                                   .count(),
                               std::memory_order_relaxed);
        bytes -= size;
    }
    const bool wasStarved = starved_;
    starved_ = bytes >= frameBytes && !ring_.endOfInput();
    // A request the ring could not meet (just after a seek, or the decoder late): come back soon.
    if (starved_ && !wasStarved && h_->timer)
        pa_context_rttime_restart(h_->context.get(), h_->timer.get(), pa_rtclock_now() + kTick);
    // The tick comes back when the next file's first sample is due, so that the change of
    // track is reported when it is heard rather than up to an idle tick later.
    if (const std::uint64_t due = boundaryDueIn(); due > 0 && !starved_ && due < kIdleTick && h_->timer)
        pa_context_rttime_restart(h_->context.get(), h_->timer.get(), pa_rtclock_now() + due);
    if (!draining_ && ring_.endOfInput() && ring_.readable() < static_cast<std::size_t>(channels_)) {
        draining_ = true;
        h_->drain.reset(pa_stream_drain(s, &PulseOutput::onDrained, this));
    }
}

void PulseOutput::onWrite(pa_stream*, std::size_t bytes, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    if (out->h_->ready && !out->lost_) out->fill(bytes);
}

void PulseOutput::onTimer(pa_mainloop_api*, pa_time_event* e, const timeval*, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    if (out->h_->ready && !out->lost_) {
        const std::size_t writable = pa_stream_writable_size(out->h_->stream.get());
        if (writable != static_cast<std::size_t>(-1)) out->fill(writable);
        out->notePlayed();
    }
    pa_usec_t delay = out->starved_ ? kTick : kIdleTick;
    if (out->h_->ready && !out->lost_)
        if (const std::uint64_t due = out->boundaryDueIn(); due > 0) delay = std::min<pa_usec_t>(delay, due);
    pa_context_rttime_restart(out->h_->context.get(), e, pa_rtclock_now() + delay);
}

void PulseOutput::onDrained(pa_stream*, int success, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    out->h_->drain.reset();
    if (!success || !out->h_->ready) return;
    // A file shorter than a tick may have ended before its beginning was reported.
    if (const std::uint64_t at = out->ring_.boundary(); at != SampleRing::kNoBoundary) {
        out->ring_.clearBoundary(at);
        out->listener_(Event::Boundary);
    }
    out->listener_(Event::Finished);
}

void PulseOutput::onUnderflow(pa_stream*, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    if (!out->ring_.endOfInput()) out->underruns_.fetch_add(1, std::memory_order_relaxed);
}

void PulseOutput::onStreamEvent(pa_stream* s, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    pa_threaded_mainloop_signal(out->h_->mainloop.get(), 0);
    const pa_stream_state_t state = pa_stream_get_state(s);
    const bool gone = !PA_STREAM_IS_GOOD(state) || (state == PA_STREAM_READY && pa_stream_is_suspended(s) == 1);
    if (gone && out->h_->ready && !out->lost_) {
        out->lost_ = true;
        out->listener_(Event::Lost);
    }
}

void PulseOutput::onMoved(pa_stream*, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    if (out->h_->ready && !out->lost_) out->listener_(Event::Moved);
}

void PulseOutput::onContextState(pa_context* c, void* self) {
    auto* out = static_cast<PulseOutput*>(self);
    pa_threaded_mainloop_signal(out->h_->mainloop.get(), 0);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(c)) && out->h_->ready && !out->lost_) {
        out->lost_ = true;
        out->listener_(Event::Lost);
    }
}

}  // namespace sonvale
