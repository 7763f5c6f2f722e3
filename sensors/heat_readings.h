// What the machine's sensors said during the heat test: one sample a
// second, taken by the loop that waits for the heat workers.
#pragma once

#include "sensors/sensor_history.h"
#include "sensors/sensors.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The directory the sensors are read under: "/" for the machine; tests put
/// a tree of their own there.
extern std::string SensorRoot;

/// Sets SensorRoot from TARNWICK_SENSOR_ROOT when that is set and not empty:
/// another machine's /sys and /proc, as a container mounts the host's.
void TakeSensorRootFromEnvironment();

/// Why SensorRoot cannot be read from (it is missing, not a folder, a loop
/// of links, unreadable), or an empty text when it can.
std::string SensorRootProblem();

/// The samples of the running or the last heat test.
extern SensorHistory HeatReadings;

/// Finds the sensors under SensorRoot and empties HeatReadings: done as the
/// heat test starts.
void StartHeatReadings();

/// Reads every sensor once and adds the sample, `seconds` after the start.
/// Returns it (busy share included, for a log).
struct HeatSample {
    SensorSample sensors;
    std::optional<double> busyPercent;  ///< of all processors since the last sample
};
HeatSample SampleHeatReadings(double seconds);

/// "chip:label" of each temperature sensor found at the start.
const std::vector<std::string>& HeatSensorNames();

/// Whether any sensor was found at the start.
bool HeatSensorsFound();

/// The busy share of all processors between two readings of the kernel's
/// counters (ReadProcessorTimes), in per cent: busy time over busy and idle
/// time, so that what a virtual machine's host took counts as neither.
class CpuBusyMeter {
public:
    explicit CpuBusyMeter(std::string root);
    /// The share since the last call (or since construction); nullopt when
    /// the counters cannot be read or did not move.
    std::optional<double> Sample();

private:
    std::optional<std::pair<std::uint64_t, std::uint64_t>> Read() const;

    std::string m_root;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> m_last;  ///< busy, total
};

/// The heat log's header: seconds, busy per cent, each sensor as chip:label (in degrees),
/// the average and lowest frequency in MHz.
std::string HeatLogHeader(const std::vector<std::string>& names);

/// One row of the heat log; empty cells for what did not answer.
std::string HeatLogRow(const HeatSample& sample, std::size_t sensorCount);
