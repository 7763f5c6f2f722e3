#include "bench/workers.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {
std::atomic<std::uint32_t>& Count()
{
    static std::atomic<std::uint32_t> count{0};
    return count;
}
}  // namespace

LiveWorker::LiveWorker()
{
    Count().fetch_add(1, std::memory_order_relaxed);
}

LiveWorker::~LiveWorker()
{
    Count().fetch_sub(1, std::memory_order_release);
}

std::uint32_t LiveWorkerThreads()
{
    return Count().load(std::memory_order_acquire);
}

bool WaitForWorkerThreads(int milliseconds)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (LiveWorkerThreads() != 0) {
        if (std::chrono::steady_clock::now() >= until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
