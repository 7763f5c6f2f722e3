// Display mode 3: the heat test's title, progress bar and heat time, and
// below them what the machine's sensors said.
#pragma once

#include "views/layout.h"

#include <cstdint>

class HeatWorkHistory;
class SensorHistory;

/// The heat view as the clock reads `nowMillis` (used while the test runs),
/// with the readings of HeatReadings below it while the test runs and after.
ViewLayout LayoutHeatView(std::int64_t nowMillis);

/// The readings from y 144 down: "Temperature:" (latest and highest),
/// "Frequency:" (latest average and lowest), when `finished` and the
/// processor slowed down at its highest temperature a line saying so, and
/// the temperature curve over the test's `testMillis`; nothing for what no
/// sensor answered.
ViewLayout LayoutHeatReadings(const SensorHistory& history, bool finished, std::int32_t testMillis);

/// The readings as LayoutHeatReadings draws them, then what the workers did:
/// "Work rate:" (the rate of all processors and, once the test has run long
/// enough, its sustained pace), "Checked:" (checks and errors) and a line in
/// red for each processor that computed a wrong result; the rate as a blue
/// curve in the temperature plot, or in a plot of its own below these lines
/// when there is none. Without readings the lines start at y 144.
ViewLayout LayoutHeatWork(const SensorHistory& readings, const HeatWorkHistory& work, bool finished,
                          std::int32_t testMillis);
