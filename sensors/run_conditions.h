// What else the machine was doing while a test ran, and what it is: read
// from the kernel's files under a root directory ("/" on the machine, a
// tree in tests), just before and just after each test.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The processors this process may use, and its control group's hold on it.
struct ProcessLimits {
    /// Online processors in ROOT/proc/self/status's Cpus_allowed_list (its
    /// affinity); nullopt when it cannot be read.
    std::optional<std::uint32_t> affinity;
    std::string affinityList;  ///< that list as the kernel writes it ("0-3,8"); empty when too long
    /// The CPU limit of the process's control group in processors (cgroup
    /// v2 cpu.max, v1 cpu.cfs_quota_us / cpu.cfs_period_us): the lowest of
    /// the group and the groups above it; nullopt without a limit.
    std::optional<double> cpuLimit;
    /// The limiting group's throttle counters (its own without a limit):
    /// periods throttled, and the time throttled in microseconds.
    std::optional<std::uint64_t> groupThrottles;
    std::optional<std::uint64_t> groupThrottledMicros;
    std::string groupPath;  ///< the directory of the group those counters are of
};

/// Reads the limits under `root`; what cannot be read stays empty.
ProcessLimits ReadProcessLimits(const std::string& root);

/// The processors this process may keep busy: its affinity and its
/// group's limit rounded down, at least 1; `logicalProcessors` when neither
/// can be read.
std::uint32_t UsableProcessors(const ProcessLimits& limits, std::uint32_t logicalProcessors);

/// The processor numbers of a list such as "0-3,8" (at most `most` of them
/// counted); nullopt when it is no such list.
std::optional<std::vector<std::uint32_t>> ParseProcessorList(std::string_view text, std::size_t most = 1u << 20);

/// The kernel's counters and states at one moment.
struct ConditionsSnapshot {
    std::int64_t steadyNanos = 0;  ///< when it was taken (steady clock)
    /// The busy time and the steal of all processors, from ROOT/proc/stat
    /// by ReadProcessorTimes (kernel_files.h), in clock ticks (USER_HZ).
    std::optional<std::uint64_t> busyTicks;
    std::optional<std::uint64_t> stealTicks;
    /// This process's own user and system time (ROOT/proc/self/stat fields
    /// 14 and 15), in the same ticks.
    std::optional<std::uint64_t> ownTicks;
    /// The sum of every thermal_throttle/*_throttle_count under
    /// ROOT/sys/devices/system/cpu/cpu*/; nullopt when there are none.
    std::optional<std::uint64_t> throttleCount;
    /// ROOT/sys/class/power_supply: a Mains supply with online 0, or a
    /// Battery with status Discharging.
    bool onBattery = false;
    /// The sensors that exist (MachineSensors under the same root).
    std::optional<double> highestCelsius;
    std::optional<double> lowestMhz;
    ProcessLimits limits;
};

/// Reads every counter once; what cannot be read stays empty. Cheap: a few
/// small files, no sleeping.
ConditionsSnapshot ReadConditionsSnapshot(const std::string& root);

/// Facts of the machine that do not change during a run.
struct MachineTopology {
    /// Online cpuN directories with a topology; without any topology, the
    /// online cpuN directories (0: none found).
    std::uint32_t logicalProcessors = 0;
    std::uint32_t packages = 0;           ///< distinct physical_package_id
    std::uint32_t cores = 0;              ///< distinct (package, core_id)
    std::uint32_t threadsPerCore = 0;     ///< most logical processors sharing one core; 0 unknown
    /// scaling_governor of each processor that has one, "cpuN" order, as
    /// written ("performance", "powersave", "schedutil", ...).
    std::vector<std::string> governors;
    /// cpufreq base_frequency (else nothing) and cpuinfo_max_freq of cpu0,
    /// in MHz; without either, the first "cpu MHz" of /proc/cpuinfo as the
    /// base (the clock of the moment: no maximum can be told from it).
    std::optional<double> baseMhz;
    std::optional<double> maxMhz;
};

MachineTopology ReadMachineTopology(const std::string& root);

/// The machine as a result document names it.
struct MachineFacts {
    std::string modelName;  ///< the first "model name" of ROOT/proc/cpuinfo
    std::string kernel;     ///< ROOT/proc/sys/kernel/osrelease, trimmed
    std::string osName;     ///< NAME of ROOT/etc/os-release ("Debian GNU/Linux")
    std::string osVersion;  ///< VERSION_ID ("12"), else VERSION
    std::string osPretty;   ///< PRETTY_NAME
};

MachineFacts ReadMachineFacts(const std::string& root);

/// The conditions of one run, from the snapshots before and after it.
struct RunConditions {
    double wallSeconds = 0.0;
    /// Processor time other programs used during the run, in per cent of
    /// one processor (all processors' busy time minus this process's own,
    /// over the wall time); nullopt when the counters could not be read.
    std::optional<double> otherPercent;
    std::optional<double> stealPercent;  ///< likewise, the steal time
    std::optional<std::uint64_t> throttleBefore;
    std::optional<std::uint64_t> throttleAfter;
    bool onBattery = false;  ///< at the start or at the end
    std::optional<double> highestCelsiusStart, highestCelsiusEnd;
    std::optional<double> lowestMhzStart, lowestMhzEnd;
    std::vector<std::string> governors;
    std::uint32_t threadsPerCore = 0;
    std::uint32_t logicalProcessors = 0;
    std::uint32_t threads = 0;  ///< threads the test ran
    /// The processors the process might use (the fewer of start and end),
    /// and their list at the start; nullopt when not known.
    std::optional<std::uint32_t> affinity;
    std::string affinityList;
    /// The control group's CPU limit in processors at the start and the end.
    std::optional<double> cpuLimitStart, cpuLimitEnd;
    /// The control group's throttle counters before and after.
    std::optional<std::uint64_t> groupThrottlesBefore, groupThrottlesAfter;
    std::optional<std::uint64_t> groupThrottledMicrosBefore, groupThrottledMicrosAfter;

    /// How often the throttle counters moved (0 without counters).
    std::uint64_t Throttles() const;
    /// How many periods the control group throttled the run (0 without counters).
    std::uint64_t GroupThrottles() const;
    /// The time it was throttled, in microseconds (0 without counters).
    std::uint64_t GroupThrottledMicros() const;
    /// The lower of the limits at the start and the end; nullopt without one.
    std::optional<double> CpuLimit() const;
};

/// Combines two snapshots of one run. `ticksPerSecond` is USER_HZ
/// (sysconf(_SC_CLK_TCK) on the machine).
RunConditions CompareConditions(const ConditionsSnapshot& before, const ConditionsSnapshot& after,
                                const MachineTopology& topology, std::uint32_t threads, long ticksPerSecond);
