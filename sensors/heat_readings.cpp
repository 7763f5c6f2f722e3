#include "sensors/heat_readings.h"

#include "core/numbers.h"
#include "sensors/kernel_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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
    const int fd = ::open(SensorRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return std::strerror(errno);
    ::close(fd);
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

CpuBusyMeter::CpuBusyMeter(std::string root)
    : m_path((root.empty() || root.back() != '/' ? root + "/" : root) + "proc/stat")
{
    m_last = Read();
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> CpuBusyMeter::Read() const
{
    const int fd = OpenKernelFile(m_path.c_str());  // a FIFO in the tree must not hang the heat test
    if (fd < 0)
        return std::nullopt;
    char text[512] = {};
    const ssize_t n = ::read(fd, text, sizeof text - 1);
    ::close(fd);
    if (n <= 0)
        return std::nullopt;
    // "cpu  user nice system idle iowait irq softirq steal ..."
    unsigned long long field[8] = {};
    if (std::sscanf(text, "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &field[0], &field[1], &field[2], &field[3],
                    &field[4], &field[5], &field[6], &field[7]) < 4)
        return std::nullopt;
    const std::uint64_t idle = field[3] + field[4];
    const std::uint64_t busy = field[0] + field[1] + field[2] + field[5] + field[6] + field[7];
    return std::make_pair(busy, busy + idle);
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
