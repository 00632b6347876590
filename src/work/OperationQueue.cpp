#include "OperationQueue.h"

namespace sonvale {

OperationQueue::OperationQueue(Priority priority) {
    thread_.reset(QThread::create([this] { run(); }));
    // On Linux only the idle/normal distinction of the scheduler takes effect for ordinary
    // users; the priority is a hint.
    thread_->start(priority == Priority::background ? QThread::LowPriority : QThread::HighPriority);
}

OperationQueue::~OperationQueue() {
    cancelAllOperations();
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_->wait();
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
    {
        std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(operation));
    }
    changed_.notify_all();
}

void OperationQueue::addOperation(std::function<void(const Operation&)> block) {
    addOperation(Operation::fromBlock(std::move(block)));
}

void OperationQueue::cancelAllOperations() {
    std::lock_guard lock(mutex_);
    for (const auto& operation : waiting_) operation->cancel();
    if (running_) running_->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.empty() && !busy_; });
}

void OperationQueue::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
        if (stopping_) break;
        std::shared_ptr<Operation> operation = std::move(waiting_.front());
        waiting_.pop_front();
        busy_ = true;
        if (!operation->isCancelled()) {
            running_ = operation;
            lock.unlock();
            operation->main();
            lock.lock();
            running_.reset();
        }
        lock.unlock();
        // Released outside the lock: an operation's captures may own anything.
        operation.reset();
        lock.lock();
        busy_ = false;
        changed_.notify_all();
    }
    std::deque<std::shared_ptr<Operation>> dropped;
    dropped.swap(waiting_);
    lock.unlock();
    dropped.clear();
}

}  // namespace sonvale
