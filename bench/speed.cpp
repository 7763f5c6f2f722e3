#include "bench/speed.h"

#include "app/state.h"
#include "bench/work_cycle.h"

double RunSpeedBenchmark()
{
    return RunTimedBlocks(SpeedTestMillis).points;
}
