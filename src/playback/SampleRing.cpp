#include "SampleRing.h"

#include <algorithm>
#include <cstring>

namespace sonvale {

SampleRing::SampleRing(std::size_t capacity) : capacity_(std::max<std::size_t>(capacity, 1)),
                                               data_(new float[capacity_]) {}

std::size_t SampleRing::push(const float* samples, std::size_t count) {
    const std::uint64_t w = written_.load(std::memory_order_relaxed);
    const std::uint64_t r = read_.load(std::memory_order_acquire);
    const std::size_t n = std::min<std::size_t>(count, capacity_ - static_cast<std::size_t>(w - r));
    const std::size_t at = static_cast<std::size_t>(w % capacity_);
    const std::size_t first = std::min(n, capacity_ - at);
    std::memcpy(data_.get() + at, samples, first * sizeof(float));
    std::memcpy(data_.get(), samples + first, (n - first) * sizeof(float));
    written_.store(w + n, std::memory_order_release);
    return n;
}

std::size_t SampleRing::pop(float* out, std::size_t count) {
    const std::uint64_t r = read_.load(std::memory_order_relaxed);
    const std::uint64_t w = written_.load(std::memory_order_acquire);
    const std::size_t n = std::min<std::size_t>(count, static_cast<std::size_t>(w - r));
    const std::size_t at = static_cast<std::size_t>(r % capacity_);
    const std::size_t first = std::min(n, capacity_ - at);
    std::memcpy(out, data_.get() + at, first * sizeof(float));
    std::memcpy(out + first, data_.get(), (n - first) * sizeof(float));
    read_.store(r + n, std::memory_order_release);
    return n;
}

std::size_t SampleRing::readable() const {
    return static_cast<std::size_t>(written_.load(std::memory_order_acquire) - read_.load(std::memory_order_relaxed));
}

void SampleRing::reset() {
    written_.store(0, std::memory_order_relaxed);
    read_.store(0, std::memory_order_relaxed);
    boundary_.store(kNoBoundary, std::memory_order_relaxed);
    ended_.store(false, std::memory_order_release);
}

bool SampleRing::truncate(std::uint64_t position) {
    if (read_.load(std::memory_order_acquire) > position) return false;
    if (position < written_.load(std::memory_order_relaxed)) written_.store(position, std::memory_order_release);
    return true;
}

}  // namespace sonvale
