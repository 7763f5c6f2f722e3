// Simulated time for the heat test, so that a test of several minutes runs in
// a moment. Only the waiting loop's one-second sleep moves the clock on. Once
// the heat time is over, that second lasts (in real time) until every worker
// has finished: each ends the block it is in, reads the clock and stops, so
// the workers' last readings and the loop's count of seconds are exact.
#pragma once

#include "core/state.h"
#include "bench/heat.h"

#include <wx/time.h>
#include <wx/utils.h>

#include <atomic>
#include <cstdint>

/// Puts the simulated clock and sleep in place of the real ones, the clock
/// at `start`, for the life of the object.
class SimulatedHeatTime {
public:
    explicit SimulatedHeatTime(std::int64_t start)
    {
        Now().store(start);
        SetHeatClock(Read);
        SetHeatSleep(Sleep);
    }
    ~SimulatedHeatTime()
    {
        SetHeatClock(nullptr);
        SetHeatSleep(nullptr);
    }
    SimulatedHeatTime(const SimulatedHeatTime&) = delete;
    SimulatedHeatTime& operator=(const SimulatedHeatTime&) = delete;

    /// The simulated clock now.
    static std::int64_t Read() { return Now().load(); }
    /// Puts the simulated clock at `millis`, as if that much time had passed.
    static void Set(std::int64_t millis) { Now().store(millis); }

private:
    static std::atomic<std::int64_t>& Now()
    {
        static std::atomic<std::int64_t> now{0};
        return now;
    }

    static bool EveryWorkerDone()
    {
        for (std::uint32_t k = 0; k < ThreadCount; ++k)
            if (ThreadDone[k].load() == 0)
                return false;
        return true;
    }

    static void Sleep(unsigned long milliseconds)
    {
        const std::int64_t now = Now().fetch_add(std::int64_t(milliseconds)) + std::int64_t(milliseconds);
        if (now - HeatStart.GetValue() < HeatTestMillis)
            return;
        const wxLongLong limit = wxGetLocalTimeMillis() + 30000;  // workers that never stop fail the test, later
        while (!EveryWorkerDone() && wxGetLocalTimeMillis() < limit)
            wxMilliSleep(1);
    }
};
