#include "bench/workers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {
std::atomic<std::uint32_t>& Count()
{
    static std::atomic<std::uint32_t> count{0};
    return count;
}

// The threads whose worker object is gone but which still run the toolkit's
// code after it; a thread has ended when the kernel no longer lists it.
std::mutex& EndingMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::vector<pid_t>& Ending()
{
    static std::vector<pid_t> ending;
    return ending;
}

bool ThreadRuns(pid_t thread)
{
    struct stat info {};
    return ::stat(("/proc/self/task/" + std::to_string(thread)).c_str(), &info) == 0;
}
}  // namespace

LiveWorker::LiveWorker() : m_creator(::gettid())
{
    Count().fetch_add(1, std::memory_order_relaxed);
}

LiveWorker::~LiveWorker()
{
    // A detached worker deletes itself on its own thread, then goes on in
    // the toolkit's code until the thread ends.
    if (const pid_t self = ::gettid(); self != m_creator) {
        const std::lock_guard<std::mutex> lock(EndingMutex());
        std::vector<pid_t>& ending = Ending();
        std::erase_if(ending, [](pid_t thread) { return !ThreadRuns(thread); });
        ending.push_back(self);
    }
    Count().fetch_sub(1, std::memory_order_release);
}

std::uint32_t LiveWorkerThreads()
{
    return Count().load(std::memory_order_acquire);
}

bool WaitForWorkerThreads(int milliseconds)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    const auto ended = [] {
        if (LiveWorkerThreads() != 0)
            return false;
        const std::lock_guard<std::mutex> lock(EndingMutex());
        std::erase_if(Ending(), [](pid_t thread) { return !ThreadRuns(thread); });
        return Ending().empty();
    };
    while (!ended()) {
        if (std::chrono::steady_clock::now() >= until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
