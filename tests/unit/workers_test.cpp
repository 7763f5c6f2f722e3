// Waiting for the worker threads: a worker deletes itself on its own thread
// and then still runs the toolkit's code; the wait lasts until it has ended.
#include "bench/workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace {
// A worker deleted on a thread of its own, which then runs `after` and ends;
// returns once the worker object is gone.
void DeleteOnItsOwnThread(std::function<void()> after)
{
    auto* worker = new LiveWorker;
    std::thread([worker, after = std::move(after)] {
        delete worker;  // the object is gone, the thread runs on
        after();
    }).detach();
    while (LiveWorkerThreads() != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
}  // namespace

TEST(Workers, TheWaitLastsUntilTheThreadHasEndedNotOnlyItsObject)
{
    std::atomic<bool> finishing{false};
    DeleteOnItsOwnThread([&finishing] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        finishing.store(true);
    });
    ASSERT_TRUE(WaitForWorkerThreads(5000));
    EXPECT_TRUE(finishing.load());
}

TEST(Workers, AWorkerDeletedByItsMakerLeavesNothingToWaitFor)
{
    delete new LiveWorker;  // a thread that could not be started
    EXPECT_EQ(LiveWorkerThreads(), 0u);
    // Nothing to wait for: a wait that may not wait at all succeeds.
    EXPECT_TRUE(WaitForWorkerThreads(0));
}

TEST(Workers, AThreadThatDoesNotEndMakesTheWaitGiveUpAtItsTime)
{
    std::atomic<bool> release{false}, ended{false};
    DeleteOnItsOwnThread([&release, &ended] {
        while (!release.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ended.store(true);
    });
    EXPECT_FALSE(WaitForWorkerThreads(50));
    release.store(true);
    EXPECT_TRUE(WaitForWorkerThreads(5000));
    EXPECT_TRUE(ended.load());
}
