// Counting the detached worker threads of the power and heat tests.
#pragma once

#include <cstdint>

/// Counts one worker thread for its lifetime (a member of each worker).
class LiveWorker {
public:
    LiveWorker();
    ~LiveWorker();
    LiveWorker(const LiveWorker&) = delete;
    LiveWorker& operator=(const LiveWorker&) = delete;
};

/// Worker threads made and not yet destroyed.
std::uint32_t LiveWorkerThreads();

/// Waits until every worker thread has been destroyed, for at most
/// `milliseconds`; false when some are still there. The tests' flags are
/// raised a moment before a worker is gone: whoever shuts the toolkit down
/// waits here first, so no worker outlives it.
bool WaitForWorkerThreads(int milliseconds);
