#pragma once

#include "Operation.h"

#include <QThread>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace sonvale {

// A strictly serial work queue: operations run one at a time, in the order they were added,
// on the queue's own thread. Every member may be called from any thread except the queue's
// own (waitUntilAllOperationsAreFinished from inside an operation would never return).
// Destroying the queue cancels everything, waits for the running operation and drops the rest.
class OperationQueue {
public:
    enum class Priority { background, interactive };

    explicit OperationQueue(Priority priority);
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    void addOperation(std::shared_ptr<Operation> operation);
    void addOperation(std::function<void(const Operation&)> block);

    // Cancels the waiting operations (they will not start) and the running one (which stops
    // only if it looks at its flag).
    void cancelAllOperations();
    // Blocks until nothing waits or runs.
    void waitUntilAllOperationsAreFinished();

private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::shared_ptr<Operation>> waiting_;
    std::shared_ptr<Operation> running_;  // while its main() runs
    bool busy_ = false;                    // from taking an operation until it is released
    bool stopping_ = false;
    std::unique_ptr<QThread> thread_;
};

}  // namespace sonvale
