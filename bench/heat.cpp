#include "bench/heat.h"

#include "app/state.h"
#include "bench/work_cycle.h"

#include <wx/time.h>
#include <wx/utils.h>

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

// The arithmetic of one pass; every result is a real store.
struct HeatArithmetic {
    volatile std::int32_t c1 = 0, c2 = 0, m = 0, n = 0;
    volatile std::int64_t product = 0, sum = 0, quotient = 0;
    volatile double d1 = 0.0, d2 = 0.0, e1 = 0.0, e2 = 0.0;

    void Pass(std::int64_t t1, std::int64_t t2)
    {
        c2 = Add32(c2, 1);
        c1 = Add32(c1, 1);
        d1 = d1 + 1.0;
        d2 = d2 + 1.0;
        if (c1 == 0 || d2 == 0.0)
            return;
        m = Add32(c2, c1);
        n = Subtract32(c2, c1);
        product = WrappingProduct(t1, t2);
        m = WrappingProduct32(c2, c1);
        n = c2 / c1;
        sum = t1 + t2;
        // A clock at the epoch would make the sum 0; skip rather than divide by it.
        if (sum != 0 && !(sum == -1 && product == std::numeric_limits<std::int64_t>::min()))
            quotient = product / sum;
        e1 = static_cast<double>(WrappingProduct32(m, n)) / d2;
        e2 = e1 / d2;
        d1 = e1 * e2;
        d2 = d1 / d2;
    }
};
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
    HeatArithmetic arithmetic;
    const std::int64_t start = HeatStart.GetValue();
    while (HeatWorkNow.load(std::memory_order_relaxed) - start < HeatTestMillis) {
        std::int32_t slotA = 0, slotB = 65536;
        arithmetic.c1 = 0;
        arithmetic.c2 = 0;
        for (std::int32_t pass = 0; pass < 65536; ++pass) {
            const std::int64_t t1 = HeatClockMillis();
            std::snprintf(buffer.get() + std::size_t(slotA) * 80, 80, "%f", static_cast<double>(t1));
            const std::int64_t t2 = HeatClockMillis();
            std::snprintf(buffer.get() + std::size_t(slotB) * 80, 80, "%f", static_cast<double>(t2));
            arithmetic.Pass(t1, t2);
            ++slotA;
            ++slotB;
        }
        HeatWorkNow.store(HeatClockMillis(), std::memory_order_relaxed);
    }
    ThreadDone[index].store(1, std::memory_order_release);
}

void StartHeatTest()
{
    const wxLongLong now = HeatClockMillis();
    HeatStart = now;
    HeatWorkNow.store(now.GetValue(), std::memory_order_relaxed);
    HeatViewNow = now;
    const std::uint32_t threads = ThreadCount;
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

void SetHeatBufferAllocator(HeatBufferAllocator allocator)
{
    Allocator() = std::move(allocator);
}
