// What else the machine was doing while a test ran, and what it is: read
// from the kernel's files under a root directory ("/" on the machine, a
// tree in tests), just before and just after each test.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The kernel's counters and states at one moment.
struct ConditionsSnapshot {
    std::int64_t steadyNanos = 0;  ///< when it was taken (steady clock)
    /// From the first line of ROOT/proc/stat, in clock ticks (USER_HZ): user,
    /// nice, system, irq and softirq of all processors; and steal.
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

    /// How often the throttle counters moved (0 without counters).
    std::uint64_t Throttles() const;
};

/// Combines two snapshots of one run. `ticksPerSecond` is USER_HZ
/// (sysconf(_SC_CLK_TCK) on the machine).
RunConditions CompareConditions(const ConditionsSnapshot& before, const ConditionsSnapshot& after,
                                const MachineTopology& topology, std::uint32_t threads, long ticksPerSecond);
