#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace sonvale {

// A bounded single-producer single-consumer queue of interleaved float samples. The producer
// (the decoder thread) and the consumer (the audio callback) never block or allocate; only
// the sizes are shared, through atomics.
//
// reset() and the constructor are for the owner while neither side is active. endOfInput is
// set by the producer after its last push and cleared by reset(). Positions count samples
// pushed or popped since the last reset().
//
// A boundary marks the position where one file's samples end and the next file's begin in the
// same stream: the producer sets it before pushing the next file, the consumer clears it once
// the boundary has been heard.
class SampleRing {
public:
    explicit SampleRing(std::size_t capacity);
    SampleRing(const SampleRing&) = delete;
    SampleRing& operator=(const SampleRing&) = delete;

    std::size_t capacity() const { return capacity_; }
    // Producer: copies up to `count` samples; returns how many fit.
    std::size_t push(const float* samples, std::size_t count);
    // Consumer: copies up to `count` samples out; returns how many there were.
    std::size_t pop(float* out, std::size_t count);
    // Consumer: samples ready to pop.
    std::size_t readable() const;

    void markEndOfInput() { ended_.store(true, std::memory_order_release); }
    // Takes the end of input back, for more input after all; the consumer must be held off.
    void clearEndOfInput() { ended_.store(false, std::memory_order_release); }
    bool endOfInput() const { return ended_.load(std::memory_order_acquire); }
    void reset();

    // Samples pushed since the last reset (producer) and popped (any thread).
    std::uint64_t written() const { return written_.load(std::memory_order_acquire); }
    std::uint64_t consumed() const { return read_.load(std::memory_order_acquire); }
    // Drops what was pushed from `position` on, as long as none of it was popped; false when
    // the consumer already passed `position`. For the owner while the producer is stopped and
    // the consumer held off.
    bool truncate(std::uint64_t position);

    static constexpr std::uint64_t kNoBoundary = UINT64_MAX;
    void setBoundary(std::uint64_t position) { boundary_.store(position, std::memory_order_release); }
    std::uint64_t boundary() const { return boundary_.load(std::memory_order_acquire); }
    // Clears the boundary if it still stands at `position`.
    void clearBoundary(std::uint64_t position) {
        boundary_.compare_exchange_strong(position, kNoBoundary, std::memory_order_acq_rel);
    }

private:
    const std::size_t capacity_;
    std::unique_ptr<float[]> data_;
    std::atomic<std::uint64_t> written_{0};
    std::atomic<std::uint64_t> read_{0};
    std::atomic<bool> ended_{false};
    std::atomic<std::uint64_t> boundary_{kNoBoundary};
};

}  // namespace sonvale
