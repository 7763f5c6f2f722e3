#include "bench/speed.h"

#include "core/state.h"
#include "bench/evidence.h"
#include "bench/work_cycle.h"

#include <utility>

double RunSpeedBenchmark()
{
    const ConditionsSnapshot before = ConditionsBeforeRun();
    TimedRun run = RunTimedBlocks(SpeedTestMillis);
    TestEvidence evidence;
    evidence.measured = true;
    evidence.test = "speed";
    evidence.millis = SpeedTestMillis;
    evidence.points = run.points;
    evidence.threadPoints = {run.points};
    evidence.threads.push_back(std::move(run.samples));
    evidence.conditions = ConditionsAfterRun(before, 1);
    CompleteEvidence(evidence);
    LastSpeedEvidence = std::move(evidence);
    return run.points;
}
