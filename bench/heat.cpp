#include "bench/heat.h"

#include "core/state.h"
#include "bench/heat_work.h"
#include "bench/work_cycle.h"

#include <wx/time.h>
#include <wx/utils.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <limits>
#include <memory>
#include <mutex>
#include <new>

namespace {
std::mutex& MessageLock()
{
    static std::mutex lock;
    return lock;
}

wxString& PendingMessage()
{
    static wxString message;
    return message;
}

HeatBufferAllocator& Allocator()
{
    static HeatBufferAllocator allocator;
    return allocator;
}

void SleepMillis(unsigned long milliseconds)
{
    wxMilliSleep(milliseconds);
}

std::atomic<HeatClock> ClockInUse{ReadClockMillis};
std::atomic<bool> ChecksOn{true};
std::atomic<HeatSleep> SleepInUse{SleepMillis};

void LeaveMessage(const wxString& text)
{
    const std::lock_guard<std::mutex> guard(MessageLock());
    PendingMessage() = text;
}

std::int64_t WrappingProduct(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

std::int32_t WrappingProduct32(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

std::int32_t Add32(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t Subtract32(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// The arithmetic of one pass on any storage of its values: the worker's
// (volatile, so every result is a real store) and HeatPass's (plain).
template <class Values>
void Pass(Values& v, std::int64_t t1, std::int64_t t2)
{
    v.c2 = Add32(v.c2, 1);
    v.c1 = Add32(v.c1, 1);
    v.d1 = v.d1 + 1.0;
    v.d2 = v.d2 + 1.0;
    if (v.c1 == 0 || v.d2 == 0.0)
        return;
    v.m = Add32(v.c2, v.c1);
    v.n = Subtract32(v.c2, v.c1);
    v.product = WrappingProduct(t1, t2);
    v.m = WrappingProduct32(v.c2, v.c1);
    // The counters restart each block, so c1 is never -1 here; were it, the
    // quotient would wrap as the processor's would.
    v.n = v.c1 == -1 ? Subtract32(0, v.c2) : v.c2 / v.c1;
    v.sum = static_cast<std::int64_t>(static_cast<std::uint64_t>(t1) + static_cast<std::uint64_t>(t2));
    // A clock at the epoch would make the sum 0; skip rather than divide by it.
    if (v.sum != 0 && !(v.sum == -1 && v.product == std::numeric_limits<std::int64_t>::min()))
        v.quotient = v.product / v.sum;
    v.e1 = static_cast<double>(WrappingProduct32(v.m, v.n)) / v.d2;
    v.e2 = v.e1 / v.d2;
    v.d1 = v.e1 * v.e2;
    v.d2 = v.d1 / v.d2;
}

struct WorkerValues {
    volatile std::int32_t c1 = 0, c2 = 0, m = 0, n = 0;
    volatile std::int64_t product = 0, sum = 0, quotient = 0;
    volatile double d1 = 0.0, d2 = 0.0, e1 = 0.0, e2 = 0.0;

    HeatPassValues Copy() const
    {
        HeatPassValues v;
        v.c1 = c1;
        v.c2 = c2;
        v.m = m;
        v.n = n;
        v.product = product;
        v.sum = sum;
        v.quotient = quotient;
        v.d1 = d1;
        v.d2 = d2;
        v.e1 = e1;
        v.e2 = e2;
        return v;
    }
};

// One pass as the worker runs it: two clock readings formatted into their
// slots, then the arithmetic.
inline __attribute__((always_inline)) void WorkerPass(char* buffer, std::int32_t slotA, std::int32_t slotB,
                                                      WorkerValues& values, std::int64_t& t1, std::int64_t& t2)
{
    t1 = HeatClockMillis();
    std::snprintf(buffer + std::size_t(slotA) * 80, 80, "%f", static_cast<double>(t1));
    t2 = HeatClockMillis();
    std::snprintf(buffer + std::size_t(slotB) * 80, 80, "%f", static_cast<double>(t2));
    Pass(values, t1, t2);
}

// This worker's checks of one block: the kept pass recomputed, and one of
// its two slots read back (the first half's in even blocks, the second's in
// odd ones).
void CheckBlock(std::uint32_t index, std::uint32_t block, const HeatPassRecord& record, const char* buffer,
                std::int64_t start, const std::optional<HeatFault>& fault, HeatWorkerSlot& slot)
{
    const std::int32_t processor = ShownProcessor(slot.processor.load(std::memory_order_relaxed), index);
    const std::int64_t at = record.t1 - start;
    const bool faulty = fault && fault->processor == processor && at >= fault->seconds * 1000;
    const std::int32_t pass = CheckedPass(block);
    const bool second = (block & 1u) != 0;
    const char* const written = buffer + std::size_t(second ? 65536 + pass : pass) * 80;
    std::uint32_t errors = 0;
    if (std::optional<HeatCheckFailure> failure = CheckHeatPass(record, faulty)) {
        ++errors;
        RecordHeatCheckError({index, processor, at, "pass", std::move(*failure)});
    }
    if (std::optional<HeatCheckFailure> failure = CheckHeatSlot(written, second ? record.t2 : record.t1)) {
        ++errors;
        RecordHeatCheckError({index, processor, at, "slot", std::move(*failure)});
    }
    slot.checks.store(slot.checks.load(std::memory_order_relaxed) + 2, std::memory_order_relaxed);
    if (errors > 0)
        slot.errors.store(slot.errors.load(std::memory_order_relaxed) + errors, std::memory_order_relaxed);
}

// The slot of a worker that StartHeatTest did not prepare (one run alone).
HeatWorkerSlot& SlotOf(std::uint32_t index, HeatWorkerSlot& own)
{
    return index < HeatWorkerCount() ? HeatWorkerSlots()[index] : own;
}
}  // namespace

wxThread::ExitCode HeatThread::Entry()
{
    RunHeatWork(index);
    return nullptr;
}

void RunHeatWork(std::uint32_t index)
{
    char* const raw = Allocator() ? Allocator()(HeatBufferSize) : new (std::nothrow) char[HeatBufferSize];
    if (raw == nullptr) {
        LeaveMessage(wxString::FromUTF8("M1 - Memorie insuficient\xC3\xA3"));
        return;
    }
    const std::unique_ptr<char[]> buffer(raw);
    HeatWorkerSlot own;
    HeatWorkerSlot& slot = SlotOf(index, own);
    KeepWorkerOnItsProcessor(slot);
    const std::optional<HeatFault> fault = CurrentHeatFault();
    const bool checking = ChecksOn.load(std::memory_order_relaxed);
    WorkerValues values;
    HeatPassRecord record;
    std::int64_t t1 = 0, t2 = 0;
    std::uint32_t blocks = 0;
    const std::int64_t start = HeatStart.GetValue();
    while (HeatWorkNow.load(std::memory_order_relaxed) - start < HeatTestMillis) {
        std::int32_t slotA = 0, slotB = 65536;
        values.c1 = 0;
        values.c2 = 0;
        // The passes in their order; one of them with its values kept
        // before and after, for the checks once the block is done.
        const std::int32_t kept = CheckedPass(blocks);
        for (; slotA < kept; ++slotA, ++slotB)
            WorkerPass(buffer.get(), slotA, slotB, values, t1, t2);
        record.before = values.Copy();
        WorkerPass(buffer.get(), slotA, slotB, values, t1, t2);
        record.after = values.Copy();
        record.t1 = t1;
        record.t2 = t2;
        for (++slotA, ++slotB; slotA < 65536; ++slotA, ++slotB)
            WorkerPass(buffer.get(), slotA, slotB, values, t1, t2);
        if (checking)
            CheckBlock(index, blocks, record, buffer.get(), start, fault, slot);
        const std::int64_t now = HeatClockMillis();
        HeatWorkNow.store(now, std::memory_order_relaxed);
        ++blocks;
        slot.progress.store(HeatProgress(blocks, static_cast<std::uint32_t>(std::clamp<std::int64_t>(
                                                     now - start, 0, std::numeric_limits<std::uint32_t>::max()))),
                            std::memory_order_relaxed);
    }
    ThreadDone[index].store(1, std::memory_order_release);
}

void HeatPass(HeatPassValues& values, std::int64_t t1, std::int64_t t2)
{
    Pass(values, t1, t2);
}

void StartHeatTest()
{
    const wxLongLong now = HeatClockMillis();
    HeatStart = now;
    HeatWorkNow.store(now.GetValue(), std::memory_order_relaxed);
    HeatViewNow = now;
    const std::uint32_t threads = ThreadCount;
    PrepareHeatWorkerSlots(threads);
    StartHeatWork();
    ThreadDone.reset(new std::atomic<std::uint32_t>[threads]);
    for (std::uint32_t k = 0; k < threads; ++k)
        StartWorker<HeatThread>(k);
    HeatState = 2;
}

std::uint32_t HeatDoneProduct()
{
    DoneProduct = 1;
    for (std::uint32_t k = 0; k < ThreadCount; ++k)
        DoneProduct = DoneProduct * ThreadDone[k].load(std::memory_order_acquire);
    return DoneProduct;
}

void FinishHeatTest()
{
    HeatState = 1;
    ThreadDone.reset();
}

void RunHeatLoop(const std::function<void()>& eachSecond)
{
    StartHeatTest();
    std::uint32_t done;
    do {
        done = HeatDoneProduct();  // taken before the sleep: one more second follows the last worker
        SleepInUse.load(std::memory_order_relaxed)(1000);
        eachSecond();
    } while (done == 0);
    FinishHeatTest();
}

std::int64_t HeatClockMillis()
{
    return ClockInUse.load(std::memory_order_relaxed)();
}

void SetHeatClock(HeatClock clock)
{
    ClockInUse.store(clock != nullptr ? clock : ReadClockMillis, std::memory_order_relaxed);
}

void SetHeatSleep(HeatSleep sleep)
{
    SleepInUse.store(sleep != nullptr ? sleep : SleepMillis, std::memory_order_relaxed);
}

wxString TakeHeatMessage()
{
    const std::lock_guard<std::mutex> guard(MessageLock());
    wxString message;
    message.swap(PendingMessage());
    return message;
}

void SetHeatChecks(bool on)
{
    ChecksOn.store(on, std::memory_order_relaxed);
}

void SetHeatBufferAllocator(HeatBufferAllocator allocator)
{
    Allocator() = std::move(allocator);
}
