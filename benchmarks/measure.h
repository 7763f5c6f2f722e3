// What the benchmarks measure with: processor time and medians.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

/// Processor time, user and system, in milliseconds, of this process
/// (RUSAGE_SELF) or of its ended children (RUSAGE_CHILDREN).
inline double CpuMilliseconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

/// Processor time of a shell command and everything it starts; -1 when it
/// failed.
inline double CommandCpuMilliseconds(const std::string& command)
{
    const double before = CpuMilliseconds(RUSAGE_CHILDREN);
    if (std::system(command.c_str()) != 0)
        return -1;
    return CpuMilliseconds(RUSAGE_CHILDREN) - before;
}

/// The middle value (the upper of the two middle ones for an even count).
template <typename T>
T Median(std::vector<T> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}
