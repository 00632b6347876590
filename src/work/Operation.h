#pragma once

#include <atomic>
#include <functional>
#include <memory>

namespace sonvale {

// One unit of work for an OperationQueue. Cancellation is cooperative: cancel() only sets a
// flag, which the queue tests before starting the operation and the operation may test while
// it runs. cancel() and isCancelled() may be called from any thread.
class Operation {
public:
    virtual ~Operation() = default;

    // The work; run once, on the queue's thread, unless cancelled before it started.
    virtual void main() = 0;

    void cancel() { cancelled_.store(true, std::memory_order_relaxed); }
    bool isCancelled() const { return cancelled_.load(std::memory_order_relaxed); }

    // An operation that runs `block`, which receives the operation to ask about cancellation.
    static std::shared_ptr<Operation> fromBlock(std::function<void(const Operation&)> block);

private:
    std::atomic<bool> cancelled_{false};
};

}  // namespace sonvale
