#include "bench/speed.h"

// The timed work loop arrives with the benchmark work; until then no points.
double RunSpeedBenchmark()
{
    return 0.0;
}
