// Waiting for the worker threads: a worker deletes itself on its own thread
// and then still runs the toolkit's code; the wait lasts until it has ended.
#include "bench/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

TEST(Workers, TheWaitLastsUntilTheThreadHasEndedNotOnlyItsObject)
{
    auto* worker = new LiveWorker;
    std::atomic<bool> finishing{false};
    std::thread([worker, &finishing] {
        delete worker;  // the object is gone, the thread runs on
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        finishing.store(true);
    }).detach();
    while (LiveWorkerThreads() != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(WaitForWorkerThreads(5000));
    EXPECT_TRUE(finishing.load());
}

TEST(Workers, AWorkerDeletedByItsMakerLeavesNothingToWaitFor)
{
    delete new LiveWorker;  // a thread that could not be started
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(WaitForWorkerThreads(5000));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST(Workers, AThreadThatDoesNotEndMakesTheWaitGiveUpAtItsTime)
{
    auto* worker = new LiveWorker;
    std::atomic<bool> release{false}, ended{false};
    std::thread([worker, &release, &ended] {
        delete worker;
        while (!release.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ended.store(true);
    }).detach();
    while (LiveWorkerThreads() != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(WaitForWorkerThreads(50));
    release.store(true);
    EXPECT_TRUE(WaitForWorkerThreads(5000));
    EXPECT_TRUE(ended.load());
}
