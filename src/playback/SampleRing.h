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
// set by the producer after its last push and cleared by reset().
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
    bool endOfInput() const { return ended_.load(std::memory_order_acquire); }
    void reset();

private:
    const std::size_t capacity_;
    std::unique_ptr<float[]> data_;
    std::atomic<std::uint64_t> written_{0};
    std::atomic<std::uint64_t> read_{0};
    std::atomic<bool> ended_{false};
};

}  // namespace sonvale
