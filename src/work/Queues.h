#pragma once

#include "OperationQueue.h"

namespace sonvale {

// The program's shared serial work queues, made together at start-up. Destroying them cancels
// every queue, waits for the operations running and drops the waiting ones.
class Queues {
public:
    Queues();
    ~Queues();
    Queues(const Queues&) = delete;
    Queues& operator=(const Queues&) = delete;

    OperationQueue scan{OperationQueue::Priority::background};     // directory walks, stale records
    OperationQueue index{OperationQueue::Priority::background};    // per-file pass, token index
    OperationQueue search{OperationQueue::Priority::interactive};  // search operations
    OperationQueue artwork{OperationQueue::Priority::background};  // cover-art loading
};

}  // namespace sonvale
