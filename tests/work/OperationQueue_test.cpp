#include "OperationQueue.h"
#include "Queues.h"

#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <vector>

using sonvale::Operation;
using sonvale::OperationQueue;

// One thread that is not the caller's runs them all, so none overlaps another.
TEST(OperationQueue, RunsOperationsOneAtATimeInOrderOnItsOwnThread) {
    OperationQueue queue(OperationQueue::Priority::background);
    std::vector<int> order;
    std::vector<QThread*> threads;
    for (int i = 0; i < 20; ++i) {
        queue.addOperation([&, i](const Operation&) {
            QThread::usleep(200);
            order.push_back(i);
            threads.push_back(QThread::currentThread());
        });
    }
    queue.waitUntilAllOperationsAreFinished();
    std::vector<int> expected(20);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()), 20);
    EXPECT_NE(threads.front(), QThread::currentThread());
}

// The running operation sees its flag; the waiting ones never start; the queue takes new work
// afterwards.
TEST(OperationQueue, CancelAllStopsWaitingOperationsAndFlagsTheRunningOne) {
    OperationQueue queue(OperationQueue::Priority::interactive);
    std::atomic<bool> started{false};
    std::atomic<bool> sawCancel{false};
    std::atomic<int> laterRuns{0};
    queue.addOperation([&](const Operation& self) {
        started = true;
        while (!self.isCancelled()) QThread::usleep(100);
        sawCancel = true;
    });
    for (int i = 0; i < 5; ++i) queue.addOperation([&](const Operation&) { ++laterRuns; });
    while (!started) QThread::usleep(100);
    queue.cancelAllOperations();
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(sawCancel);
    EXPECT_EQ(laterRuns, 0);

    queue.addOperation([&](const Operation&) { ++laterRuns; });
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(laterRuns, 1);
}

TEST(OperationQueue, DestroyingQueuesDropsWaitingWorkAndReleasesIt) {
    auto token = std::make_shared<int>(0);
    std::atomic<int> runs{0};
    {
        sonvale::Queues queues;
        std::atomic<bool> release{false};
        queues.scan.addOperation([&](const Operation&) {
            while (!release) QThread::usleep(100);
        });
        for (int i = 0; i < 3; ++i) queues.scan.addOperation([&, token](const Operation&) { ++runs; });
        EXPECT_EQ(token.use_count(), 4);
        queues.scan.cancelAllOperations();
        release = true;
    }
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(token.use_count(), 1);
}
