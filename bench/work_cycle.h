// The unit of benchmark work, and the timed loop that counts it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <new>
#include <vector>

/// The storage of one run. The arrays are volatile: every element access of
/// the array phases is a real load or store. The scalars are worked in
/// registers (each step pinned by an opaque use, so none can be dropped,
/// merged or vectorised) and their last values are stored here for tests.
/// The block is page-aligned, so every access of the cycle falls at the same
/// place within a page in every thread and process: where a stack starts
/// cannot change the score.
struct alignas(4096) WorkState {
    // Phase 1 scalars: loop-varying values, then results.
    volatile std::int32_t A, B, K, D, E, F, G, H;
    volatile std::int32_t M, N, O, P, Q, R, S, T, U, V;
    volatile double x, u, v;
    volatile double p, q, r, s, t, w, z;
    // Phases 2 and 3: indices and pass counters, then the arrays.
    volatile std::int32_t i, j;
    volatile double y, counter;
    volatile std::int8_t bytesA[1000], bytesB[1000], bytesC[1000];
    volatile double valuesA[1001], valuesB[1001], valuesC[1001];
};

/// One work cycle: the three phases below, in this order.
void RunWorkCycle(WorkState& state);

/// Phase 1: 32-bit integer and real arithmetic, logic and shifts, 1000 passes.
void RunScalarMix(WorkState& state);
/// Phase 1 stopped after `passes` passes (for tests: the values of the first
/// passes); the same code as RunScalarMix.
void RunScalarMixPasses(WorkState& state, double passes);
/// Phase 2: signed bytes compared, multiplied and divided, 255 passes.
void RunByteArrays(WorkState& state);
/// Phase 3: doubles compared, multiplied and divided, 1000 passes.
void RunDoubleArrays(WorkState& state);

/// A clock reading in milliseconds.
using MillisClock = std::function<std::int64_t()>;

/// The program's clock: wxGetLocalTimeMillis().
std::int64_t ReadClockMillis();

/// The blocks one timed loop completed in each whole second of its run,
/// counted from the clock readings the loop makes between blocks anyway.
struct RunSamples {
    std::vector<std::uint32_t> perSecond;  ///< whole seconds 0 .. millis/1000 - 1
    std::uint32_t after = 0;               ///< completed past them (the last block's overrun)

    /// Every block counted: the run's block count.
    std::uint64_t Blocks() const;
};

struct TimedRun {
    double blocks = 0.0;  ///< completed blocks of 100 cycles
    double points = 0.0;  ///< 10 x blocks / (millis / 1000)
    double startMillis = 0.0;
    double endMillis = 0.0;
    std::int64_t startNanos = 0;  ///< steady-clock start, for measuring thread starts
    RunSamples samples;           ///< the blocks of each second
};

/// Runs blocks of 100 cycles until `millis` milliseconds have passed (the
/// clock is read only between blocks, so the last block always completes)
/// on storage of the calling thread's stack. `millis` is at least 1000: the
/// points divide by whole seconds. Each block is also counted in the second
/// the reading after it falls in; the counts live on this thread alone.
TimedRun RunTimedBlocks(std::int32_t millis, const MillisClock& clock = ReadClockMillis);

/// The loop of RunTimedBlocks with `cycle(state)` as the cycle (RunTimedBlocks
/// passes RunWorkCycle, inlined as if written there; tests pass one that
/// counts).
template <class Cycle>
[[gnu::always_inline]] inline TimedRun RunTimedBlocksOf(std::int32_t millis, const MillisClock& clock, Cycle&& cycle)
{
    WorkState state;
    state.bytesC[0] = 0;
    state.valuesC[0] = 0.0;

    TimedRun run;
    // One counter a whole second and one for the blocks past them, made
    // before the clock starts. Without the memory for them the run goes on
    // unsampled: every block counts past the seconds.
    const std::size_t seconds = millis > 0 ? static_cast<std::size_t>(millis / 1000) : 0;
    std::uint32_t unsampled = 0;
    std::uint32_t* slot = &unsampled;
    std::uint32_t* lastSlot = slot;
    try {
        run.samples.perSecond.assign(seconds + 1, 0);
        slot = run.samples.perSecond.data();
        lastSlot = slot + seconds;
    } catch (const std::bad_alloc&) {
        run.samples.perSecond.clear();
    }
    run.startNanos = std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::steady_clock::now().time_since_epoch())
                         .count();
    run.startMillis = static_cast<double>(clock());
    double now = run.startMillis;
    const double limit = static_cast<double>(millis);
    volatile double blocks = 0.0;
    double boundary = run.startMillis + 1000.0;
    while (limit > now - run.startMillis) {
        volatile double cycles = 0.0;
        while (cycles < 100.0) {
            cycle(state);
            cycles = cycles + 1.0;
        }
        now = static_cast<double>(clock());
        blocks = blocks + 1.0;
        // The second this reading falls in; a clock set back stays put.
        while (now >= boundary && slot != lastSlot) {
            ++slot;
            boundary += 1000.0;
        }
        ++*slot;
    }
    if (run.samples.perSecond.empty()) {
        run.samples.after = unsampled;
    } else {
        run.samples.after = run.samples.perSecond.back();
        run.samples.perSecond.pop_back();
    }
    run.blocks = blocks;
    run.endMillis = now;
    run.points = 10.0 * run.blocks / static_cast<double>(millis / 1000);
    return run;
}
