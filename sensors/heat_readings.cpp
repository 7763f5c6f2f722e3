#include "sensors/heat_readings.h"

#include "core/numbers.h"
#include "files/descriptor.h"
#include "sensors/kernel_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

std::string SensorRoot = "/";

void TakeSensorRootFromEnvironment()
{
    if (const char* root = std::getenv("TARNWICK_SENSOR_ROOT"); root != nullptr && *root != '\0')
        SensorRoot = root;
}

std::string SensorRootProblem()
{
    struct stat info {};
    if (::stat(SensorRoot.c_str(), &info) != 0)
        return std::strerror(errno);
    if (!S_ISDIR(info.st_mode))
        return "it is not a folder";
    const Descriptor folder(::open(SensorRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.Valid())
        return std::strerror(errno);
    return {};
}

SensorHistory HeatReadings;

namespace {
std::unique_ptr<MachineSensors>& Sensors()
{
    static std::unique_ptr<MachineSensors> sensors;
    return sensors;
}

std::unique_ptr<CpuBusyMeter>& Busy()
{
    static std::unique_ptr<CpuBusyMeter> meter;
    return meter;
}


// A CSV cell: quoted when it holds a separator, a quote or a line end.
std::string Cell(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    quoted += '"';
    return quoted;
}
}  // namespace

void StartHeatReadings()
{
    Sensors() = std::make_unique<MachineSensors>(SensorRoot);
    Busy() = std::make_unique<CpuBusyMeter>(SensorRoot);
    HeatReadings.Clear();
}

HeatSample SampleHeatReadings(double seconds)
{
    HeatSample sample;
    sample.sensors.seconds = seconds;
    if (Sensors()) {
        const MachineSensors::Reading reading = Sensors()->Read();
        sample.sensors.celsius = reading.headlineCelsius;
        sample.sensors.averageMhz = reading.averageMhz;
        sample.sensors.lowestMhz = reading.lowestMhz;
        sample.sensors.sensors = reading.celsius;
    }
    if (Busy())
        sample.busyPercent = Busy()->Sample();
    HeatReadings.Add(sample.sensors);
    return sample;
}

const std::vector<std::string>& HeatSensorNames()
{
    static const std::vector<std::string> none;
    return Sensors() ? Sensors()->TemperatureNames() : none;
}

bool HeatSensorsFound()
{
    return Sensors() && Sensors()->Any();
}

CpuBusyMeter::CpuBusyMeter(std::string root) : m_root(std::move(root))
{
    m_last = Read();
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> CpuBusyMeter::Read() const
{
    // Steal is left out of both: the share is of the time the processors ran.
    const ProcessorTimes times = ReadProcessorTimes(m_root);
    const std::optional<std::uint64_t> total = AddCounts(times.busy, times.idle);
    if (!total)
        return std::nullopt;
    return std::make_pair(*times.busy, *total);
}

std::optional<double> CpuBusyMeter::Sample()
{
    const auto now = Read();
    std::optional<double> share;
    if (now && m_last && now->second > m_last->second && now->first >= m_last->first)
        share = 100.0 * double(now->first - m_last->first) / double(now->second - m_last->second);
    if (now)
        m_last = now;
    return share;
}

std::string HeatLogHeader(const std::vector<std::string>& names)
{
    std::string header = "seconds,busy %";
    for (const std::string& name : names) {
        header += ',';
        header += Cell(name);
    }
    return header + ",average MHz,lowest MHz";
}

std::string HeatLogRow(const HeatSample& sample, std::size_t sensorCount)
{
    const auto optional = [](int decimals, const std::optional<double>& value) {
        return value ? FormatFixed(*value, decimals) : std::string();
    };
    std::string row = FormatFixed(sample.sensors.seconds, 0);
    const auto add = [&row](const std::string& cell) {
        row += ',';
        row += cell;
    };
    add(optional(1, sample.busyPercent));
    for (std::size_t k = 0; k < sensorCount; ++k)
        add(optional(1, k < sample.sensors.sensors.size() ? sample.sensors.sensors[k] : std::nullopt));
    add(optional(0, sample.sensors.averageMhz));
    add(optional(0, sample.sensors.lowestMhz));
    return row;
}
