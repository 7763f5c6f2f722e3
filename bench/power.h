// The power test: the speed test's timed work in N threads at once, with a
// per-core reference and the Hyper-Threading efficiency.
#pragma once

#include "bench/workers.h"

#include <wx/thread.h>

#include <cstdint>
#include <functional>

/// A detached worker of the power test; deletes itself when done.
class PowerThread : public wxThread {
public:
    PowerThread() : wxThread(wxTHREAD_DETACHED) {}

    std::uint32_t index = 0;

protected:
    ExitCode Entry() override;

private:
    LiveWorker m_live;
};

/// One power thread's body: the timed block loop for PowerTestMillis, then
/// ThreadPoints[index] = its points and, last, ThreadDone[index] = 1.
void RunPowerWork(std::uint32_t index);

/// The power test after its dialog: ThreadCount threads, the wait on their
/// flags, the per-thread average, the per-core reference (from a second run
/// with half the threads, or HttOffResult) and the HTT efficiency. Returns
/// the points of all threads, or -2.0 when ThreadCount is 0.
double RunPowerTest();

struct PowerFigures {
    double average = 0.0;
    double reference = 0.0;
    double efficiency = 0.0;
};

/// The figures of a run of `threads` threads that made `sum` points. With
/// `httOption` and a half run (`halfCount` threads making `halfSum`) the
/// reference is the half run's average, or `httOffResult` when typed; with
/// `httOption` but no half run it stays `previousReference`; without
/// `httOption` it is the average and the efficiency is 0.
PowerFigures ComputePowerFigures(double sum, std::uint32_t threads, std::uint32_t httOption,
                                 std::uint32_t halfCount, std::uint32_t httOffResult, double halfSum,
                                 double previousReference);

/// Called about fifty times a second while the power test waits for its
/// threads, in place of one long sleep (the window answers its events
/// there); without one the test sleeps the whole while. It runs on the
/// thread that runs the test, never in a worker.
using PowerWaitHook = std::function<void()>;
void SetPowerWaitHook(PowerWaitHook hook);

struct TimedRun;

/// Called by every power worker when it has finished, with its index and its
/// run (start, blocks, points). For measurements and tests; it runs on the
/// worker threads.
using PowerWorkObserver = std::function<void(std::uint32_t index, const TimedRun& run)>;
void SetPowerWorkObserver(PowerWorkObserver observer);
