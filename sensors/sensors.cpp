#include "sensors/sensors.h"

#include "sensors/kernel_files.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace {

// Plausible bounds: anything outside is a broken sensor, not a reading.
constexpr long long LowestMillidegrees = -50000;
constexpr long long HighestMillidegrees = 150000;
constexpr long long HighestKilohertz = 20000000;  // 20 GHz
constexpr double HighestMhz = 20000.0;

// /proc/cpuinfo of a very large machine stays far below this.
constexpr std::size_t CpuinfoLimit = 16u << 20;

/// One "cpu MHz" value: a plain decimal such as "2096.040".
std::optional<double> ParseMhz(std::string_view text)
{
    text = Trim(text);
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    // Written so that NaN fails the bounds too.
    if (error != std::errc() || ptr != end || !(value > 0.0 && value <= HighestMhz))
        return std::nullopt;
    return value;
}

/// A short text file (a chip's name, a label), trimmed, with control
/// characters made spaces so that it stays one line; nullopt when absent,
/// unreadable or empty. Longer text is cut at 255 bytes.
std::optional<std::string> ReadShortText(const std::string& path)
{
    std::array<char, 255> buffer;
    const ssize_t count = ReadSmallFile(path.c_str(), buffer, LongerFile::Cut);
    if (count <= 0)
        return std::nullopt;
    const std::string text = OneLine(Trim(std::string_view(buffer.data(), static_cast<std::size_t>(count))));
    if (text.empty())
        return std::nullopt;
    return text;
}

bool Exists(const fs::path& path)
{
    std::error_code error;
    return fs::exists(path, error);
}

bool IsProcessorChip(std::string_view chip)
{
    return chip == "k10temp" || chip == "coretemp" || chip == "zenpower" || chip == "cpu_thermal";
}

/// The sensors that speak for the whole processor rather than a part of it.
bool IsChipLevel(std::string_view chip, std::string_view label)
{
    if (chip == "k10temp" || chip == "zenpower")
        return label == "Tctl" || label == "Tdie";
    if (chip == "coretemp")
        return label.starts_with("Package id ");
    return false;
}

}  // namespace

std::optional<double> ParseMillidegrees(std::string_view text)
{
    const std::optional<long long> value = ParseWholeInteger(text);
    if (!value || *value < LowestMillidegrees || *value > HighestMillidegrees)
        return std::nullopt;
    return static_cast<double>(*value) / 1000.0;
}

std::optional<double> ParseKilohertz(std::string_view text)
{
    const std::optional<long long> value = ParseWholeInteger(text);
    if (!value || *value <= 0 || *value > HighestKilohertz)
        return std::nullopt;
    return static_cast<double>(*value) / 1000.0;
}

std::vector<double> ParseCpuinfoMhz(std::string_view text)
{
    std::vector<double> values;
    while (const std::optional<std::string_view> value = NextKeyValue(text, "cpu MHz"))
        if (const std::optional<double> mhz = ParseMhz(*value))
            values.push_back(*mhz);
    return values;
}

MachineSensors::MachineSensors(std::string root)
{
    if (root.empty())
        root.push_back('/');  // the machine itself
    FindHwmonTemperatures(root);
    if (m_temperatures.empty())
        FindThermalZones(root);
    FindFrequencies(root);
}

void MachineSensors::AddTemperature(std::string name, std::string path, bool headline)
{
    // Two sockets give two chips of one name: later ones get "#2", "#3".
    std::string unique = name;
    for (int copy = 2; std::find(m_names.begin(), m_names.end(), unique) != m_names.end(); ++copy)
        unique = name + "#" + std::to_string(copy);
    m_names.push_back(std::move(unique));
    m_temperatures.push_back({std::move(path), headline});
}

void MachineSensors::FindHwmonTemperatures(const std::string& root)
{
    const fs::path hwmon = fs::path(root) / "sys/class/hwmon";
    for (const auto& [index, entry] : NumberedEntries(hwmon.string(), "hwmon")) {
        // Older kernels keep the attributes in the device's directory.
        fs::path chipDir = hwmon / entry;
        if (!Exists(chipDir / "name") && Exists(chipDir / "device/name"))
            chipDir /= "device";
        const std::optional<std::string> chip = ReadShortText((chipDir / "name").string());
        if (!chip || !IsProcessorChip(*chip))
            continue;
        const std::size_t first = m_temperatures.size();
        bool chipHasLevel = false;
        for (const auto& [number, file] : NumberedEntries(chipDir.string(), "temp", "_input")) {
            const std::string stem = "temp" + std::to_string(number);
            const std::string label = ReadShortText((chipDir / (stem + "_label")).string()).value_or(stem);
            const bool level = IsChipLevel(*chip, label);
            chipHasLevel = chipHasLevel || level;
            AddTemperature(*chip + ":" + label, (chipDir / file).string(), level);
        }
        // A chip without processor-wide sensors (cpu_thermal) offers all of its own.
        if (!chipHasLevel)
            for (std::size_t i = first; i < m_temperatures.size(); ++i)
                m_temperatures[i].headline = true;
    }
}

void MachineSensors::FindThermalZones(const std::string& root)
{
    const fs::path thermal = fs::path(root) / "sys/class/thermal";
    std::vector<std::pair<std::string, fs::path>> package, acpi;  // (name, temp file)
    for (const auto& [index, entry] : NumberedEntries(thermal.string(), "thermal_zone")) {
        const std::optional<std::string> type = ReadShortText((thermal / entry / "type").string());
        if (type == "x86_pkg_temp")
            package.emplace_back(*type + ":" + entry, thermal / entry / "temp");
        else if (type == "acpitz")
            acpi.emplace_back(*type + ":" + entry, thermal / entry / "temp");
    }
    for (auto& [name, path] : package.empty() ? acpi : package)
        AddTemperature(std::move(name), path.string(), true);
}

void MachineSensors::FindFrequencies(const std::string& root)
{
    const fs::path cpus = fs::path(root) / "sys/devices/system/cpu";
    bool anyAnswered = false;
    for (const auto& [index, entry] : NumberedEntries(cpus.string(), "cpu")) {
        const fs::path path = cpus / entry / "cpufreq/scaling_cur_freq";
        if (!Exists(path))
            continue;
        m_frequencyPaths.push_back(path.string());
        std::array<char, 32> buffer;
        const ssize_t count = ReadSmallFile(m_frequencyPaths.back().c_str(), buffer);
        if (count > 0 && ParseKilohertz(std::string_view(buffer.data(), static_cast<std::size_t>(count))))
            anyAnswered = true;
    }
    m_cpuinfoPath = (fs::path(root) / "proc/cpuinfo").string();
    // cpufreq when it answers; else /proc/cpuinfo when it has "cpu MHz";
    // else cpufreq files that may answer later.
    if (anyAnswered) {
        m_frequencySource = FrequencySource::Cpufreq;
        return;
    }
    const std::optional<std::string> cpuinfo = ReadBoundedFile(m_cpuinfoPath.c_str(), CpuinfoLimit);
    if (cpuinfo && !ParseCpuinfoMhz(*cpuinfo).empty()) {
        m_frequencySource = FrequencySource::Cpuinfo;
        m_frequencyPaths.clear();
    } else if (!m_frequencyPaths.empty()) {
        m_frequencySource = FrequencySource::Cpufreq;
    }
}

MachineSensors::Reading MachineSensors::Read() const
{
    Reading reading;
    reading.celsius.reserve(m_temperatures.size());
    std::array<char, 32> buffer;
    for (const Temperature& sensor : m_temperatures) {
        const ssize_t count = ReadSmallFile(sensor.path.c_str(), buffer);
        std::optional<double> celsius;
        if (count > 0)
            celsius = ParseMillidegrees(std::string_view(buffer.data(), static_cast<std::size_t>(count)));
        if (celsius && sensor.headline && (!reading.headlineCelsius || *celsius > *reading.headlineCelsius))
            reading.headlineCelsius = celsius;
        reading.celsius.push_back(celsius);
    }

    double sum = 0;
    std::size_t count = 0;
    auto add = [&](double mhz) {
        sum += mhz;
        ++count;
        if (!reading.lowestMhz || mhz < *reading.lowestMhz)
            reading.lowestMhz = mhz;
    };
    if (m_frequencySource == FrequencySource::Cpufreq) {
        for (const std::string& path : m_frequencyPaths) {
            const ssize_t bytes = ReadSmallFile(path.c_str(), buffer);
            if (bytes <= 0)
                continue;
            if (const std::optional<double> mhz =
                    ParseKilohertz(std::string_view(buffer.data(), static_cast<std::size_t>(bytes))))
                add(*mhz);
        }
    } else if (m_frequencySource == FrequencySource::Cpuinfo) {
        if (const std::optional<std::string> text = ReadBoundedFile(m_cpuinfoPath.c_str(), CpuinfoLimit))
            for (const double mhz : ParseCpuinfoMhz(*text))
                add(mhz);
    }
    if (count > 0)
        reading.averageMhz = sum / static_cast<double>(count);
    return reading;
}
