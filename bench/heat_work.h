// What the heat workers did: each publishes its count of blocks after every
// block, with the check counts and errors; the once-a-second loop reads them
// into a history from which the work rate, the sustained pace and the
// slowest processor follow.
#pragma once

#include "bench/heat_check.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Passes in one block of the heat test.
constexpr std::uint32_t HeatBlockPasses = 65536;

/// One worker's published counts, on a cache line of its own so that the
/// workers never share one. Written only by its worker, once per block.
struct alignas(64) HeatWorkerSlot {
    /// Blocks done (high 32 bits) and the end of the last one in milliseconds
    /// since HeatStart (low 32 bits): one store, so a reader sees a pair.
    std::atomic<std::uint64_t> progress{0};
    std::atomic<std::uint64_t> checks{0};
    std::atomic<std::uint32_t> errors{0};
    /// The processor the worker stays on (kernel numbering), or -1 when it
    /// is not kept on one; set by the worker before its first block.
    std::atomic<std::int32_t> processor{-1};
    /// Where StartHeatTest asked the worker to stay, or -1 for anywhere.
    std::int32_t wanted = -1;
};

static_assert(sizeof(HeatWorkerSlot) == 64 && alignof(HeatWorkerSlot) == 64,
              "each worker's counts fill one cache line of their own");

/// Packs blocks and milliseconds as HeatWorkerSlot::progress holds them.
inline std::uint64_t HeatProgress(std::uint32_t blocks, std::uint32_t millis)
{
    return (std::uint64_t(blocks) << 32) | millis;
}

/// The slots of the running or last heat test, one per worker; HeatWorkerCount
/// of them (0 before the first test).
HeatWorkerSlot* HeatWorkerSlots();
std::uint32_t HeatWorkerCount();

/// New slots for `workers` workers: worker k is asked to stay on the k-th
/// processor this process may use, when there are as many as workers.
void PrepareHeatWorkerSlots(std::uint32_t workers);

/// Keeps the calling worker on the processor its slot asks for and says in
/// the slot where it stays (-1: anywhere).
void KeepWorkerOnItsProcessor(HeatWorkerSlot& slot);

/// One check that failed.
struct HeatCheckError {
    std::uint32_t worker = 0;
    std::int32_t processor = 0;   ///< as shown: the kernel's number, or the worker's when not kept on one
    std::int64_t millis = 0;      ///< since HeatStart
    std::string check;            ///< "pass" or "slot"
    HeatCheckFailure failure;
};

/// Keeps the error (up to the first 1000 of a test; later ones are counted
/// in their worker's slot only). Called by the workers.
void RecordHeatCheckError(HeatCheckError error);

/// The deliberate fault TARNWICK_HEAT_FAULT asks for: from `seconds` after the
/// start on, the checks of `processor` (as shown) expect a wrong value.
struct HeatFault {
    std::int32_t processor = 0;
    std::int64_t seconds = 0;

    bool operator==(const HeatFault&) const = default;
};

/// The numbers `workers` heat workers go by: the processors they stay on
/// (the first this process may use), or 0 to workers - 1 when there are
/// fewer such processors than workers.
std::vector<std::int32_t> HeatWorkerNumbers(std::uint32_t workers);

/// Reads "PROCESSOR:SECONDS" (two whole numbers, 0 or more; the processor
/// one of `processors` when they are given, else up to 65535); a reason in
/// `problem` when the text is not that.
std::optional<HeatFault> ParseHeatFault(const std::string& text, std::string& problem,
                                        const std::vector<std::int32_t>& processors = {});

/// Sets the fault of the next heat tests of `workers` workers from
/// TARNWICK_HEAT_FAULT (none when it is unset or empty); false with a reason
/// when its value is not valid or names a processor no worker goes by (the
/// fault is then off).
bool TakeHeatFaultFromEnvironment(std::string& problem, std::uint32_t workers);

/// The fault in force (tests set it directly).
void SetHeatFault(std::optional<HeatFault> fault);
std::optional<HeatFault> CurrentHeatFault();

/// One worker as the loop read it.
struct HeatWorkerReading {
    std::uint32_t blocks = 0;
    std::uint32_t endMillis = 0;  ///< of its last block, since HeatStart
    bool done = false;
    std::uint64_t checks = 0;
    std::uint32_t errors = 0;
    std::int32_t processor = -1;  ///< the one it stays on, or -1
};

/// The number a worker goes by in messages: the processor it stays on, or
/// its own index when it is not kept on one.
inline std::int32_t ShownProcessor(std::int32_t processor, std::uint32_t worker)
{
    return processor >= 0 ? processor : static_cast<std::int32_t>(worker);
}

struct HeatWorkSample {
    double seconds = 0;  ///< since HeatStart, when it was read
    std::vector<HeatWorkerReading> workers;
};

struct HeatRatePoint {
    double seconds;
    double passesPerSecond;  ///< all processors
};

/// The sustained pace: the rate of the last window as a per cent of the rate
/// of the first, and how long each window was.
struct HeatPace {
    double percent;
    double firstSeconds;
    double lastSeconds;
};

class HeatWorkHistory {
public:
    /// Empties the history for a test of `testMillis`.
    void Start(std::int32_t testMillis);
    void Add(HeatWorkSample sample);
    void AddErrors(const std::vector<HeatCheckError>& errors);

    const std::vector<HeatWorkSample>& Samples() const { return m_samples; }
    /// Worker k's number as shown, from the latest sample.
    std::int32_t Processor(std::uint32_t worker) const;
    /// Whether worker k stays on one processor.
    bool Kept(std::uint32_t worker) const;
    std::int32_t TestMillis() const { return m_testMillis; }

    /// The rate of all processors at each sample in which some worker
    /// finished a block. Each worker counts with the blocks it finished
    /// since the sample before, over their own clock readings; a worker whose
    /// block outlasts a second keeps its last rate, one that has finished
    /// counts nothing.
    const std::vector<HeatRatePoint>& Rates() const { return m_rates; }
    std::optional<double> CurrentRate() const;

    /// Each worker's rate over the whole test; nullopt for one that finished
    /// no block.
    std::vector<std::optional<double>> ProcessorRates() const;

    /// The slowest worker's rate as a per cent of the fastest's.
    std::optional<double> SlowestPercent() const;

    /// The rate of the last minute (or the last fifth of a shorter test) as a
    /// per cent of the rate of the first 30 s (or its first fifth), windows
    /// in whole samples; nullopt until the windows no longer overlap.
    std::optional<HeatPace> SustainedPace() const;

    std::uint64_t Checks() const;
    std::uint64_t Errors() const;
    /// The errors kept, in the order the loop read them.
    const std::vector<HeatCheckError>& ErrorList() const { return m_errors; }

private:
    std::int32_t m_testMillis = 0;
    std::vector<HeatWorkSample> m_samples;
    std::vector<HeatRatePoint> m_rates;
    std::vector<double> m_lastRates;  ///< per worker, for blocks longer than a second
    std::vector<HeatCheckError> m_errors;
};

/// The history of the running or last heat test, read by the heat view and
/// the runner.
extern HeatWorkHistory HeatWork;

/// Empties HeatWork for the test StartHeatTest has just started.
void StartHeatWork();

/// Reads every worker's slot once and adds the sample to HeatWork, `seconds`
/// after the start, with the errors recorded since the last sample.
void SampleHeatWork(double seconds);

/// "1.82 M passes/s": three significant digits, the same in every locale.
std::string FormatPassRate(double passesPerSecond);

/// 41208 as "41,208".
std::string GroupedNumber(std::uint64_t value);

/// Milliseconds since the start as "04:12" (or "1:04:12" past an hour).
std::string ElapsedClock(std::int64_t millis);
