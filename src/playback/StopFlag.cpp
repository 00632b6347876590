#include "StopFlag.h"

namespace sonvale {

void StopFlag::set() {
    {
        // Under the lock, so that a waiter between its test and its sleep cannot miss it.
        const std::lock_guard lock(mutex_);
        set_.store(true, std::memory_order_relaxed);
    }
    changed_.notify_all();
}

bool StopFlag::waitFor(std::chrono::milliseconds duration) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, duration, [this] { return isSet(); });
}

}  // namespace sonvale
