#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace sonvale {

// A stop request that a worker can both poll and sleep on: set() wakes a worker waiting in
// waitFor() at once, so workers can sleep long while idle and still stop quickly.
// Any thread; the flag is never set from an audio callback (set() takes a lock).
class StopFlag {
public:
    StopFlag() = default;
    StopFlag(const StopFlag&) = delete;
    StopFlag& operator=(const StopFlag&) = delete;

    void set();
    void clear() { set_.store(false, std::memory_order_relaxed); }
    bool isSet() const { return set_.load(std::memory_order_relaxed); }
    // Sleeps for `duration` or until set(); returns whether the flag is set.
    bool waitFor(std::chrono::milliseconds duration) const;

private:
    std::atomic<bool> set_{false};
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
};

}  // namespace sonvale
