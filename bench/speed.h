// The speed test: one timed task on the calling thread.
#pragma once

/// Runs the speed test and returns its points.
double RunSpeedBenchmark();
