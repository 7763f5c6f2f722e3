// Counting the detached worker threads of the power and heat tests.
#pragma once

#include "core/state.h"

#include <wx/thread.h>

#include <sys/types.h>

#include <cstdint>

/// Counts one worker thread for its lifetime (a member of each worker).
class LiveWorker {
public:
    LiveWorker();
    ~LiveWorker();
    LiveWorker(const LiveWorker&) = delete;
    LiveWorker& operator=(const LiveWorker&) = delete;

private:
    pid_t m_creator;  ///< the thread that made the worker
};

/// Starts a detached worker thread T (with an `index` member) for slot
/// `index`, its ThreadDone flag cleared just before. A worker that cannot
/// start has its flag raised at once, so that nothing waits for it; the
/// result then tells the caller to count it as finished with nothing done.
template <class T>
bool StartWorker(std::uint32_t index)
{
    ThreadDone[index].store(0, std::memory_order_relaxed);
    auto* thread = new T;
    if (thread->Create() == wxTHREAD_NO_ERROR) {
        thread->index = index;
        if (thread->Run() == wxTHREAD_NO_ERROR)
            return true;
    }
    delete thread;
    ThreadDone[index].store(1, std::memory_order_release);
    return false;
}

/// Worker threads made and not yet destroyed.
std::uint32_t LiveWorkerThreads();

/// Waits until every worker thread has been destroyed and its thread has
/// ended, for at most `milliseconds`; false when some are still there. The
/// tests' flags are raised a moment before a worker is gone: whoever shuts
/// the toolkit down waits here first, so no worker outlives it.
bool WaitForWorkerThreads(int milliseconds);
