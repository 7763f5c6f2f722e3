#include "sensors/sensor_history.h"

#include <cmath>
#include <utility>

namespace {

void DropNonFinite(std::optional<double>& value)
{
    if (value && !std::isfinite(*value))
        value.reset();
}

/// Half a millidegree, the sensors' resolution: "2 degrees below the highest"
/// must not miss by a rounding error of the decimal readings.
constexpr double TemperatureSlack = 0.0005;

}  // namespace

void SensorHistory::Add(SensorSample sample)
{
    if (!std::isfinite(sample.seconds))
        return;
    DropNonFinite(sample.celsius);
    DropNonFinite(sample.averageMhz);
    DropNonFinite(sample.lowestMhz);
    for (std::optional<double>& value : sample.sensors)
        DropNonFinite(value);
    m_samples.push_back(std::move(sample));
}

std::optional<double> SensorHistory::LatestCelsius() const
{
    if (m_samples.empty())
        return std::nullopt;
    return m_samples.back().celsius;
}

std::optional<double> SensorHistory::LatestAverageMhz() const
{
    if (m_samples.empty())
        return std::nullopt;
    return m_samples.back().averageMhz;
}

std::optional<double> SensorHistory::HighestCelsius() const
{
    std::optional<double> highest;
    for (const SensorSample& sample : m_samples)
        if (sample.celsius && (!highest || *sample.celsius > *highest))
            highest = sample.celsius;
    return highest;
}

std::optional<double> SensorHistory::LowestMhz() const
{
    std::optional<double> lowest;
    for (const SensorSample& sample : m_samples)
        if (sample.lowestMhz && (!lowest || *sample.lowestMhz < *lowest))
            lowest = sample.lowestMhz;
    return lowest;
}

std::optional<double> SensorHistory::FirstMinuteAverageMhz() const
{
    double sum = 0;
    std::size_t count = 0;
    for (const SensorSample& sample : m_samples)
        if (sample.seconds < 60 && sample.averageMhz) {
            sum += *sample.averageMhz;
            ++count;
        }
    if (count == 0)
        return std::nullopt;
    return sum / static_cast<double>(count);
}

std::vector<TemperaturePoint> SensorHistory::TemperatureCurve() const
{
    std::vector<TemperaturePoint> curve;
    curve.reserve(m_samples.size());
    for (const SensorSample& sample : m_samples)
        if (sample.celsius)
            curve.push_back({sample.seconds, *sample.celsius});
    return curve;
}

bool SensorHistory::Throttled() const
{
    // The first minute's mean as sum / count, compared without dividing:
    // mhz < 0.9 * sum / count  <=>  10 * count * mhz < 9 * sum.
    double sum = 0;
    double count = 0;
    for (const SensorSample& sample : m_samples)
        if (sample.seconds < 60 && sample.averageMhz) {
            sum += *sample.averageMhz;
            count += 1;
        }
    const std::optional<double> highest = HighestCelsius();
    if (count == 0 || !highest)
        return false;
    const double hot = *highest - 2.0 - TemperatureSlack;
    for (const SensorSample& sample : m_samples) {
        if (sample.seconds < 60 || !sample.averageMhz || !sample.celsius)
            continue;
        if (10.0 * count * *sample.averageMhz < 9.0 * sum && *sample.celsius >= hot)
            return true;
    }
    return false;
}
