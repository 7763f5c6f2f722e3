// The processor's temperature and frequency sensors, as the kernel reports
// them under a root directory ("/" on the real machine, a tree in tests).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The sensors of one machine: found once when constructed, then read on
/// demand. Temperatures come from the processor's hwmon chip (k10temp,
/// coretemp, zenpower, cpu_thermal), else from the thermal zones of type
/// x86_pkg_temp, else from those of type acpitz; frequencies from cpufreq's
/// scaling_cur_freq, else from the "cpu MHz" lines of /proc/cpuinfo.
/// A file that is absent, unreadable, empty or not a plausible number gives
/// no value; a sensor whose file disappears has no value from then on.
class MachineSensors {
public:
    explicit MachineSensors(std::string root = "/");

    /// "chip:label" of each temperature sensor ("k10temp:Tctl",
    /// "x86_pkg_temp:thermal_zone1"), unique, in a stable order: hwmon index,
    /// then temperature index, numerically (temp2 before temp10).
    const std::vector<std::string>& TemperatureNames() const { return m_names; }

    bool HasTemperatures() const { return !m_temperatures.empty(); }
    bool HasFrequencies() const { return m_frequencySource != FrequencySource::None; }
    bool Any() const { return HasTemperatures() || HasFrequencies(); }

    struct Reading {
        std::vector<std::optional<double>> celsius;  ///< one per TemperatureNames(); nullopt: no answer
        std::optional<double> headlineCelsius;       ///< the highest of the chip-level sensors
        std::optional<double> averageMhz;            ///< over the processors that answered
        std::optional<double> lowestMhz;
    };

    /// Reads every sensor once.
    Reading Read() const;

private:
    struct Temperature {
        std::string path;  ///< tempN_input or the zone's temp
        bool headline;     ///< counts towards the headline temperature
    };
    enum class FrequencySource { None, Cpufreq, Cpuinfo };

    void FindHwmonTemperatures(const std::string& root);
    void FindThermalZones(const std::string& root);
    void FindFrequencies(const std::string& root);
    void AddTemperature(std::string name, std::string path, bool headline);

    std::vector<std::string> m_names;
    std::vector<Temperature> m_temperatures;
    FrequencySource m_frequencySource = FrequencySource::None;
    std::vector<std::string> m_frequencyPaths;  ///< scaling_cur_freq per processor
    std::string m_cpuinfoPath;
};

// The parsers behind Read(), locale-independent. Each takes a file's whole
// text; white space around the number is allowed, anything else is not.

/// Millidegrees Celsius as an integer, in degrees; nullopt outside -50..150.
std::optional<double> ParseMillidegrees(std::string_view text);

/// A frequency in kHz as an integer, in MHz; nullopt unless above 0 and at
/// most 20 GHz.
std::optional<double> ParseKilohertz(std::string_view text);

/// The plausible values of the "cpu MHz" lines of /proc/cpuinfo (the same
/// bounds as ParseKilohertz), in order.
std::vector<double> ParseCpuinfoMhz(std::string_view text);
