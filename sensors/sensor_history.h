// The sensor readings of one heat test run, one sample a second, and the
// throttling rule drawn from them. No I/O.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

struct SensorSample {
    double seconds = 0;                            ///< since the run's start
    std::optional<double> celsius;                 ///< the headline temperature
    std::optional<double> averageMhz;              ///< over the processors
    std::optional<double> lowestMhz;               ///< the slowest processor
    std::vector<std::optional<double>> sensors;    ///< per sensor, as MachineSensors::Reading::celsius
};

struct TemperaturePoint {
    double seconds;
    double celsius;
};

class SensorHistory {
public:
    /// Appends a sample; values that are not finite count as absent.
    void Add(SensorSample sample);
    void Clear() { m_samples.clear(); }

    const std::vector<SensorSample>& Samples() const { return m_samples; }

    /// The last sample's values: nullopt when it had none (a sensor that
    /// stopped answering shows nothing rather than an old value).
    std::optional<double> LatestCelsius() const;
    std::optional<double> LatestAverageMhz() const;

    /// Over the whole run so far.
    std::optional<double> HighestCelsius() const;
    std::optional<double> LowestMhz() const;

    /// The mean of the average frequencies of the samples before 60 s.
    std::optional<double> FirstMinuteAverageMhz() const;

    /// The samples that have a headline temperature, in order.
    std::vector<TemperaturePoint> TemperatureCurve() const;

    /// True when a sample at 60 s or later has an average frequency more than
    /// 10 % below FirstMinuteAverageMhz() while its temperature is within
    /// 2 degrees of HighestCelsius() (2 degrees below still counts).
    bool Throttled() const;

private:
    std::vector<SensorSample> m_samples;
};
