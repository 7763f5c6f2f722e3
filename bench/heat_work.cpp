#include "bench/heat_work.h"

#include "core/numbers.h"
#include "core/state.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

HeatWorkHistory HeatWork;

namespace {
std::unique_ptr<HeatWorkerSlot[]> Slots;
std::uint32_t SlotCount = 0;

// Set only while no heat worker runs; each worker copies it as it starts.
std::optional<HeatFault> FaultInForce;

constexpr std::size_t KeptErrorLimit = 1000;

struct ErrorLog {
    std::mutex lock;
    std::vector<HeatCheckError> pending;  ///< recorded since the loop last read them
    std::size_t kept = 0;                 ///< in this test
};

ErrorLog& Errors()
{
    static ErrorLog log;
    return log;
}

// The processors this process may run on, in the kernel's numbering.
std::vector<std::int32_t> AllowedProcessors()
{
    const long configured = sysconf(_SC_NPROCESSORS_CONF);
    const int count = static_cast<int>(std::clamp(configured, 1024L, 65536L));
    cpu_set_t* set = CPU_ALLOC(count);
    if (set == nullptr)
        return {};
    const std::size_t size = CPU_ALLOC_SIZE(count);
    std::vector<std::int32_t> allowed;
    if (sched_getaffinity(0, size, set) == 0)
        for (int cpu = 0; cpu < count; ++cpu)
            if (CPU_ISSET_S(cpu, size, set))
                allowed.push_back(cpu);
    CPU_FREE(set);
    return allowed;
}

double BlockRate(std::uint32_t blocks, double millis)
{
    return double(blocks) * HeatBlockPasses * 1000.0 / millis;
}
}  // namespace

HeatWorkerSlot* HeatWorkerSlots()
{
    return Slots.get();
}

std::uint32_t HeatWorkerCount()
{
    return SlotCount;
}

void PrepareHeatWorkerSlots(std::uint32_t workers)
{
    Slots.reset(workers > 0 ? new HeatWorkerSlot[workers] : nullptr);
    SlotCount = Slots ? workers : 0;
    // One worker per processor this process may use keeps each on its own,
    // so a rate or an error belongs to one processor; with fewer processors
    // than workers the scheduler places them.
    const std::vector<std::int32_t> allowed = AllowedProcessors();
    if (allowed.size() >= SlotCount)
        for (std::uint32_t k = 0; k < SlotCount; ++k)
            Slots[k].wanted = allowed[k];
    const std::lock_guard<std::mutex> guard(Errors().lock);
    Errors().pending.clear();
    Errors().kept = 0;
}

void KeepWorkerOnItsProcessor(HeatWorkerSlot& slot)
{
    std::int32_t kept = -1;
    if (slot.wanted >= 0) {
        const int count = slot.wanted + 1;
        cpu_set_t* set = CPU_ALLOC(count);
        if (set != nullptr) {
            const std::size_t size = CPU_ALLOC_SIZE(count);
            CPU_ZERO_S(size, set);
            CPU_SET_S(slot.wanted, size, set);
            if (pthread_setaffinity_np(pthread_self(), size, set) == 0)
                kept = slot.wanted;
            CPU_FREE(set);
        }
    }
    slot.processor.store(kept, std::memory_order_relaxed);
}

void RecordHeatCheckError(HeatCheckError error)
{
    ErrorLog& log = Errors();
    const std::lock_guard<std::mutex> guard(log.lock);
    if (log.kept >= KeptErrorLimit)
        return;
    ++log.kept;
    log.pending.push_back(std::move(error));
}

std::vector<std::int32_t> HeatWorkerNumbers(std::uint32_t workers)
{
    std::vector<std::int32_t> numbers = AllowedProcessors();
    if (numbers.size() >= workers) {
        numbers.resize(workers);
        return numbers;
    }
    numbers.clear();
    for (std::uint32_t k = 0; k < workers; ++k)
        numbers.push_back(static_cast<std::int32_t>(k));
    return numbers;
}

namespace {
// "from 0 to 3", or "0, 2 or 5" when they are not one run.
std::string ProcessorRange(const std::vector<std::int32_t>& processors)
{
    if (processors.empty())
        return "from 0 to 65535";
    bool run = true;
    for (std::size_t k = 1; k < processors.size(); ++k)
        run = run && processors[k] == processors[k - 1] + 1;
    if (run)
        return "from " + std::to_string(processors.front()) + " to " + std::to_string(processors.back());
    std::string text;
    for (std::size_t k = 0; k < processors.size(); ++k)
        text += (k == 0 ? "" : k + 1 == processors.size() ? " or " : ", ") + std::to_string(processors[k]);
    return text;
}
}  // namespace

std::optional<HeatFault> ParseHeatFault(const std::string& text, std::string& problem,
                                        const std::vector<std::int32_t>& processors)
{
    const auto number = [](const std::string& part, std::int64_t limit) -> std::optional<std::int64_t> {
        if (part.empty() || part.size() > 9 || part.find_first_not_of("0123456789") != std::string::npos)
            return std::nullopt;
        const std::int64_t value = std::atoll(part.c_str());
        return value <= limit ? std::optional<std::int64_t>(value) : std::nullopt;
    };
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        problem = "TARNWICK_HEAT_FAULT must be PROCESSOR:SECONDS (two whole numbers), not \"" + text + "\"";
        return std::nullopt;
    }
    const std::optional<std::int64_t> processor = number(text.substr(0, colon), 65535);
    const std::optional<std::int64_t> seconds = number(text.substr(colon + 1), 100000000);
    const bool known = processor && (processors.empty() || std::find(processors.begin(), processors.end(),
                                                                      static_cast<std::int32_t>(*processor)) !=
                                                                processors.end());
    if (!known || !seconds) {
        problem = "TARNWICK_HEAT_FAULT must be PROCESSOR:SECONDS (a processor " + ProcessorRange(processors) +
                  " and whole seconds from 0), not \"" + text + "\"";
        return std::nullopt;
    }
    return HeatFault{static_cast<std::int32_t>(*processor), *seconds};
}

bool TakeHeatFaultFromEnvironment(std::string& problem, std::uint32_t workers)
{
    FaultInForce.reset();
    const char* text = std::getenv("TARNWICK_HEAT_FAULT");
    if (text == nullptr || *text == '\0')
        return true;
    std::string value(text);
    if (value.size() > 100)
        value.resize(100);
    FaultInForce = ParseHeatFault(value, problem, HeatWorkerNumbers(workers));
    return FaultInForce.has_value();
}

void SetHeatFault(std::optional<HeatFault> fault)
{
    FaultInForce = fault;
}

std::optional<HeatFault> CurrentHeatFault()
{
    return FaultInForce;
}

void HeatWorkHistory::Start(std::int32_t testMillis)
{
    m_testMillis = testMillis;
    m_samples.clear();
    m_rates.clear();
    m_lastRates.clear();
    m_errors.clear();
}

void HeatWorkHistory::Add(HeatWorkSample sample)
{
    const std::size_t workers = sample.workers.size();
    m_lastRates.resize(workers, 0.0);
    bool moved = false;
    double total = 0.0;
    for (std::size_t k = 0; k < workers; ++k) {
        const HeatWorkerReading& now = sample.workers[k];
        HeatWorkerReading before;
        if (!m_samples.empty() && k < m_samples.back().workers.size())
            before = m_samples.back().workers[k];
        if (now.blocks > before.blocks) {
            moved = true;
            if (now.endMillis > before.endMillis)
                m_lastRates[k] = BlockRate(now.blocks - before.blocks, double(now.endMillis - before.endMillis));
        } else if (now.done) {
            m_lastRates[k] = 0.0;
        }
        total += m_lastRates[k];
    }
    if (moved)
        m_rates.push_back({sample.seconds, total});
    m_samples.push_back(std::move(sample));
}

void HeatWorkHistory::AddErrors(const std::vector<HeatCheckError>& errors)
{
    m_errors.insert(m_errors.end(), errors.begin(), errors.end());
}

std::int32_t HeatWorkHistory::Processor(std::uint32_t worker) const
{
    const std::int32_t processor =
        !m_samples.empty() && worker < m_samples.back().workers.size() ? m_samples.back().workers[worker].processor : -1;
    return ShownProcessor(processor, worker);
}

bool HeatWorkHistory::Kept(std::uint32_t worker) const
{
    return !m_samples.empty() && worker < m_samples.back().workers.size() &&
           m_samples.back().workers[worker].processor >= 0;
}

std::optional<double> HeatWorkHistory::CurrentRate() const
{
    if (m_rates.empty())
        return std::nullopt;
    return m_rates.back().passesPerSecond;
}

std::vector<std::optional<double>> HeatWorkHistory::ProcessorRates() const
{
    std::vector<std::optional<double>> rates;
    if (m_samples.empty())
        return rates;
    for (const HeatWorkerReading& worker : m_samples.back().workers)
        rates.push_back(worker.blocks > 0 && worker.endMillis > 0
                            ? std::optional<double>(BlockRate(worker.blocks, worker.endMillis))
                            : std::nullopt);
    return rates;
}

std::optional<double> HeatWorkHistory::SlowestPercent() const
{
    const std::vector<std::optional<double>> rates = ProcessorRates();
    if (rates.size() < 2)
        return std::nullopt;
    double slowest = 0.0, fastest = 0.0;
    for (std::size_t k = 0; k < rates.size(); ++k) {
        if (!rates[k])
            return std::nullopt;
        slowest = k == 0 ? *rates[k] : std::min(slowest, *rates[k]);
        fastest = std::max(fastest, *rates[k]);
    }
    return fastest > 0.0 ? std::optional<double>(100.0 * slowest / fastest) : std::nullopt;
}

std::optional<HeatPace> HeatWorkHistory::SustainedPace() const
{
    if (m_testMillis <= 0 || m_rates.empty())
        return std::nullopt;
    const double testSeconds = m_testMillis / 1000.0;
    const double firstWindow = std::min(30.0, testSeconds / 5.0);
    const double lastWindow = std::min(60.0, testSeconds / 5.0);
    // The last sample in which work was done ends the last window.
    std::size_t last = m_samples.size();
    while (last > 0 && m_samples[last - 1].seconds > m_rates.back().seconds)
        --last;
    if (last == 0)
        return std::nullopt;
    --last;
    // The first window: from the start to its last sample, which may be up
    // to half a second late (samples come about once a second and drift).
    // The last window: from the latest sample that leaves it its whole
    // length (a few hundredths of a second short at most) to `last`.
    std::optional<std::size_t> first;
    for (std::size_t k = 0; k <= last && m_samples[k].seconds <= firstWindow + 0.5; ++k)
        first = k;
    std::optional<std::size_t> start;
    for (std::size_t k = 0; k < last && m_samples[k].seconds <= m_samples[last].seconds - lastWindow + 0.05; ++k)
        start = k;
    // The windows may touch but not overlap.
    if (!first || !start || *start < *first)
        return std::nullopt;
    const std::size_t from = *start;

    double firstRate = 0.0, lastRate = 0.0;
    const std::vector<HeatWorkerReading>& a = m_samples[*first].workers;
    const std::vector<HeatWorkerReading>& b = m_samples[from].workers;
    const std::vector<HeatWorkerReading>& e = m_samples[last].workers;
    if (a.size() != e.size() || b.size() != e.size())
        return std::nullopt;
    for (std::size_t k = 0; k < e.size(); ++k) {
        if (a[k].blocks == 0 || a[k].endMillis == 0)
            return std::nullopt;  // a worker that finished no block in the first window: no rate to compare with
        firstRate += BlockRate(a[k].blocks, a[k].endMillis);
        if (e[k].blocks > b[k].blocks) {
            if (e[k].endMillis <= b[k].endMillis)
                return std::nullopt;
            lastRate += BlockRate(e[k].blocks - b[k].blocks, double(e[k].endMillis - b[k].endMillis));
        }
    }
    return HeatPace{100.0 * lastRate / firstRate, m_samples[*first].seconds,
                    m_samples[last].seconds - m_samples[from].seconds};
}

namespace {
// One count of every worker, summed over the last sample.
template <class Count>
std::uint64_t LastTotal(const std::vector<HeatWorkSample>& samples, Count HeatWorkerReading::*count)
{
    std::uint64_t total = 0;
    if (!samples.empty())
        for (const HeatWorkerReading& worker : samples.back().workers)
            total += worker.*count;
    return total;
}
}  // namespace

std::uint64_t HeatWorkHistory::Checks() const
{
    return LastTotal(m_samples, &HeatWorkerReading::checks);
}

std::uint64_t HeatWorkHistory::Errors() const
{
    return LastTotal(m_samples, &HeatWorkerReading::errors);
}

void StartHeatWork()
{
    HeatWork.Start(HeatTestMillis);
}

void SampleHeatWork(double seconds)
{
    HeatWorkSample sample;
    sample.seconds = seconds;
    const HeatWorkerSlot* slots = HeatWorkerSlots();
    for (std::uint32_t k = 0; k < HeatWorkerCount(); ++k) {
        HeatWorkerReading reading;
        const std::uint64_t progress = slots[k].progress.load(std::memory_order_relaxed);
        reading.blocks = static_cast<std::uint32_t>(progress >> 32);
        reading.endMillis = static_cast<std::uint32_t>(progress);
        reading.checks = slots[k].checks.load(std::memory_order_relaxed);
        reading.errors = slots[k].errors.load(std::memory_order_relaxed);
        reading.processor = slots[k].processor.load(std::memory_order_relaxed);
        reading.done = ThreadDone != nullptr && k < ThreadCount && ThreadDone[k].load(std::memory_order_acquire) != 0;
        sample.workers.push_back(reading);
    }
    HeatWork.Add(std::move(sample));
    std::vector<HeatCheckError> errors;
    {
        const std::lock_guard<std::mutex> guard(Errors().lock);
        errors.swap(Errors().pending);
    }
    HeatWork.AddErrors(errors);
}

std::string FormatPassRate(double passesPerSecond)
{
    if (!(passesPerSecond > 0.0) || !std::isfinite(passesPerSecond))
        return "0 passes/s";
    // Three significant digits first, then the unit of what is left, so
    // 999,600 reads "1.00 M" and not "1000 k".
    const double scale = std::pow(10.0, std::floor(std::log10(passesPerSecond)) - 2.0);
    const double rounded = std::round(passesPerSecond / scale) * scale;
    static const struct {
        double size;
        const char* name;
    } units[] = {{1e9, " G"}, {1e6, " M"}, {1e3, " k"}};
    for (const auto& unit : units)
        if (rounded >= unit.size) {
            const double value = rounded / unit.size;
            return FormatFixed(value, value < 10.0 ? 2 : value < 100.0 ? 1 : 0) + unit.name + " passes/s";
        }
    return FormatFixed(rounded, 0) + " passes/s";
}

std::string GroupedNumber(std::uint64_t value)
{
    const std::string digits = std::to_string(value);
    std::string grouped;
    for (std::size_t k = 0; k < digits.size(); ++k) {
        if (k > 0 && (digits.size() - k) % 3 == 0)
            grouped += ',';
        grouped += digits[k];
    }
    return grouped;
}

std::string ElapsedClock(std::int64_t millis)
{
    const std::int64_t seconds = std::max<std::int64_t>(millis, 0) / 1000;
    char text[40];
    if (seconds >= 3600)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                      static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
    else
        std::snprintf(text, sizeof text, "%02lld:%02lld", static_cast<long long>(seconds / 60),
                      static_cast<long long>(seconds % 60));
    return text;
}
