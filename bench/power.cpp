#include "bench/power.h"

#include "core/notify.h"
#include "core/state.h"
#include "bench/evidence.h"
#include "bench/work_cycle.h"

#include <wx/time.h>
#include <wx/utils.h>

#include <memory>
#include <new>

namespace {
// Each worker's samples, stored by the worker itself before its flag.
std::unique_ptr<RunSamples[]> ThreadSamples;

PowerWorkObserver& Observer()
{
    static PowerWorkObserver observer;
    return observer;
}

PowerWaitHook& WaitHook()
{
    static PowerWaitHook hook;
    return hook;
}

// The sleep through most of the run: PowerTestMillis / 1000 + 1 whole
// seconds, in one piece or in short naps around the hook.
void SleepThroughTheRun()
{
    const int seconds = PowerTestMillis / 1000 + 1;
    const PowerWaitHook& hook = WaitHook();
    if (!hook) {
        wxSleep(seconds);
        return;
    }
    const wxLongLong end = wxGetLocalTimeMillis() + wxLongLong(seconds) * 1000;
    for (;;) {
        hook();
        const wxLongLong left = end - wxGetLocalTimeMillis();
        if (left <= 0)
            return;
        wxMilliSleep(left < 20 ? static_cast<unsigned long>(left.GetValue()) : 20);
    }
}

// Starts workers 0 .. count-1 one after the other, nothing but the flag
// store between them. A thread that cannot start counts with no points.
void StartWorkers(std::uint32_t count)
{
    for (std::uint32_t k = 0; k < count; ++k)
        if (!StartWorker<PowerThread>(k))
            ThreadPoints[k] = 0.0;
}

// Sleeps through most of the run, then spins until every flag is raised.
void WaitForWorkers(std::uint32_t count)
{
    SleepThroughTheRun();
    do {
        DoneProduct = 1;
        for (std::uint32_t k = 0; k < count; ++k)
            DoneProduct = DoneProduct * ThreadDone[k].load(std::memory_order_acquire);
    } while (DoneProduct == 0);
}

// One run of `count` threads; returns the sum of their points in index order.
double RunWorkers(std::uint32_t count)
{
    StartWorkers(count);
    WaitForWorkers(count);
    PointsSum = 0.0;
    for (std::uint32_t k = 0; k < count; ++k)
        PointsSum = PointsSum + ThreadPoints[k];
    return PointsSum;
}
}  // namespace

wxThread::ExitCode PowerThread::Entry()
{
    RunPowerWork(index);
    return nullptr;
}

void RunPowerWork(std::uint32_t index)
{
    TimedRun run = RunTimedBlocks(PowerTestMillis);
    ThreadPoints[index] = run.points;
    if (const PowerWorkObserver& observer = Observer())
        observer(index, run);
    if (ThreadSamples)
        ThreadSamples[index] = std::move(run.samples);
    ThreadDone[index].store(1, std::memory_order_release);
}

PowerFigures ComputePowerFigures(double sum, std::uint32_t threads, std::uint32_t httOption,
                                 std::uint32_t halfCount, std::uint32_t httOffResult, double halfSum,
                                 double previousReference)
{
    PowerFigures figures;
    figures.average = sum / threads;
    figures.reference = previousReference;
    if (httOption != 0 && halfCount != 0)
        figures.reference = httOffResult != 0 ? static_cast<double>(httOffResult) : halfSum / halfCount;
    double gain;
    if (httOption != 0) {
        // What a core's second hardware thread adds: two threads on a core
        // make twice the per-thread average, against one thread alone.
        gain = 2.0 * figures.average - figures.reference;
    } else {
        figures.reference = figures.average;
        gain = figures.average - figures.reference;
    }
    figures.efficiency = gain / figures.reference * 100.0;
    return figures;
}

double RunPowerTest()
{
    const std::uint32_t threads = ThreadCount;
    LastPowerEvidence = {};  // a run that does not happen leaves no evidence
    if (threads == 0)
        return -2.0;
    ThreadPoints.reset(new (std::nothrow) double[threads]);
    ThreadDone.reset(new (std::nothrow) std::atomic<std::uint32_t>[threads]);
    ThreadSamples.reset(new (std::nothrow) RunSamples[threads]);
    if (!ThreadPoints || !ThreadDone || !ThreadSamples) {
        ThreadPoints.reset();
        ThreadDone.reset();
        ThreadSamples.reset();
        NotifyUser(wxString::Format(wxS("There is not enough memory to run %u threads."), threads),
                   wxS("Tarnwick Benchmark"));
        return -2.0;
    }
    if (HttOption != 0)
        HalfThreadCount = threads >> 1;

    const ConditionsSnapshot before = ConditionsBeforeRun();
    const double sum = RunWorkers(threads);
    TestEvidence evidence;
    evidence.measured = true;
    evidence.test = "power";
    evidence.millis = PowerTestMillis;
    evidence.points = sum;
    evidence.htt = HttOption != 0;
    evidence.conditions = ConditionsAfterRun(before, threads);
    try {
        for (std::uint32_t k = 0; k < threads; ++k) {
            evidence.threadPoints.push_back(ThreadPoints[k]);
            evidence.threads.push_back(std::move(ThreadSamples[k]));
        }
        CompleteEvidence(evidence);
        LastPowerEvidence = std::move(evidence);
    } catch (const std::bad_alloc&) {
        LastPowerEvidence = {};  // the points stand; the evidence is lost
    }

    double halfSum = 0.0;
    const bool halfRun = HttOption != 0 && HalfThreadCount != 0;
    if (halfRun && HttOffResult == 0)
        halfSum = RunWorkers(HalfThreadCount);

    const PowerFigures figures = ComputePowerFigures(sum, threads, HttOption, halfRun ? HalfThreadCount : 0,
                                                     HttOffResult, halfSum, ReferenceCorePoints);
    AverageThreadPoints = figures.average;
    ReferenceCorePoints = figures.reference;
    HttEfficiency = figures.efficiency;

    ThreadPoints.reset();
    ThreadDone.reset();
    ThreadSamples.reset();
    PointsSum = sum;
    return sum;
}

void SetPowerWorkObserver(PowerWorkObserver observer)
{
    Observer() = std::move(observer);
}

void SetPowerWaitHook(PowerWaitHook hook)
{
    WaitHook() = std::move(hook);
}
