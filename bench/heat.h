// The heat test: one busy worker per logical processor for HeatTestMillis.
#pragma once

#include <wx/string.h>
#include "bench/heat_check.h"
#include "bench/workers.h"

#include <wx/thread.h>

#include <cstddef>
#include <cstdint>
#include <functional>

/// A detached worker of the heat test; deletes itself when done.
class HeatThread : public wxThread {
public:
    HeatThread() : wxThread(wxTHREAD_DETACHED) {}

    std::uint32_t index = 0;

protected:
    ExitCode Entry() override;

private:
    LiveWorker m_live;
};

/// Bytes of each worker's scratch buffer: 131072 slots of 80 bytes.
constexpr std::size_t HeatBufferSize = 10485760;

/// One heat worker's body: blocks of 65536 passes of clock readings
/// formatted into its buffer and integer and real arithmetic, until
/// HeatWorkNow - HeatStart reaches HeatTestMillis; then ThreadDone[index] = 1.
/// After each block it checks one kept pass and one slot, then publishes its
/// counts in its slot (HeatWorkerSlots).
/// Without memory for its buffer it leaves a message for the waiting loop
/// and returns with its flag down.
void RunHeatWork(std::uint32_t index);

/// One pass of the worker's arithmetic on `values`, with the clock readings
/// `t1` and `t2`: the worker's own code, for the checks' tests.
void HeatPass(HeatPassValues& values, std::int64_t t1, std::int64_t t2);

/// Sets the three heat clocks to now, prepares the workers' slots, empties
/// HeatWork, starts ThreadCount workers and sets HeatState to 2.
void StartHeatTest();

/// The product of the workers' flags, stored in DoneProduct: non-zero when
/// every worker has finished.
std::uint32_t HeatDoneProduct();

/// HeatState 1 and the flags freed.
void FinishHeatTest();

/// The heat test after its dialog: StartHeatTest, then once a second the
/// product of the flags, the one-second sleep and `eachSecond` (the repaint),
/// until the product taken before a sleep was non-zero (so one more second
/// follows the last worker); then FinishHeatTest.
void RunHeatLoop(const std::function<void()>& eachSecond);

/// The clock of the heat test, in milliseconds: its start, its workers and
/// its view read it. ReadClockMillis unless a test has put another in.
std::int64_t HeatClockMillis();

/// Replaces the heat test's clock and the loop's sleep (for tests that run
/// simulated time); null puts back ReadClockMillis and wxMilliSleep. Plain
/// function pointers: the workers read the clock twice a pass. Set them only
/// while no heat worker runs.
using HeatClock = std::int64_t (*)();
using HeatSleep = void (*)(unsigned long milliseconds);
void SetHeatClock(HeatClock clock);
void SetHeatSleep(HeatSleep sleep);

/// A message a worker left for the user (shown by the waiting loop on the
/// GUI thread), or an empty text; taking it clears it.
wxString TakeHeatMessage();

/// Replaces how workers get their buffer (for tests); null restores new.
using HeatBufferAllocator = std::function<char*(std::size_t)>;
void SetHeatBufferAllocator(HeatBufferAllocator allocator);

/// Whether workers started from now on check their blocks (on unless the
/// benchmark that measures what the checks cost turns them off).
void SetHeatChecks(bool on);
