// The conditions of a run read from directory trees laid out as the kernel
// lays out /proc and /sys, and the comparison of two snapshots.
#include "sensors/heat_readings.h"
#include "sensors/run_conditions.h"
#include "../support/sensor_tree.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

using Ticks = std::optional<std::uint64_t>;
using Mhz = std::optional<double>;

constexpr std::int64_t Second = 1000000000;

/// A line of /proc/self/stat with the given command name and times.
std::string SelfStat(const std::string& comm, const std::string& utime, const std::string& stime)
{
    return "4242 (" + comm + ") R 4200 4242 4100 34816 4242 4194304 1200 0 3 0 " + utime + " " + stime +
           " 0 0 20 0 3 0 893954 6184960 408 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 1 0 0 0 0 0\n";
}

class RunConditionsTree : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override { ASSERT_TRUE(Create()); }
    void TearDown() override { Destroy(); }

    std::string Root() const { return root.string(); }

    /// cpuN with a topology directory.
    void Processor(int number, int package, int core) const
    {
        const std::string dir = "sys/devices/system/cpu/cpu" + std::to_string(number) + "/topology/";
        Write(dir + "physical_package_id", std::to_string(package) + "\n");
        Write(dir + "core_id", std::to_string(core) + "\n");
    }

    void Governor(int number, const std::string& governor) const
    {
        Write("sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpufreq/scaling_governor", governor + "\n");
    }

    void Throttle(int number, const std::string& file, const std::string& text) const
    {
        Write("sys/devices/system/cpu/cpu" + std::to_string(number) + "/thermal_throttle/" + file, text);
    }

    void Supply(const std::string& name, const std::string& type,
                const std::vector<std::pair<std::string, std::string>>& attributes) const
    {
        const std::string dir = "sys/class/power_supply/" + name + "/";
        Write(dir + "type", type + "\n");
        for (const auto& [file, text] : attributes)
            Write(dir + file, text);
    }

    bool OnBattery() const { return ReadConditionsSnapshot(Root()).onBattery; }
};

// ---------------------------------------------------------------- snapshots

TEST_F(RunConditionsTree, BareMachineGivesEmptiesWithoutCrashing)
{
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_GT(snapshot.steadyNanos, 0);
    EXPECT_EQ(snapshot.busyTicks, std::nullopt);
    EXPECT_EQ(snapshot.stealTicks, std::nullopt);
    EXPECT_EQ(snapshot.ownTicks, std::nullopt);
    EXPECT_EQ(snapshot.throttleCount, std::nullopt);
    EXPECT_FALSE(snapshot.onBattery);
    EXPECT_EQ(snapshot.highestCelsius, std::nullopt);
    EXPECT_EQ(snapshot.lowestMhz, std::nullopt);

    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 0u);
    EXPECT_EQ(topology.packages, 0u);
    EXPECT_EQ(topology.cores, 0u);
    EXPECT_EQ(topology.threadsPerCore, 0u);
    EXPECT_TRUE(topology.governors.empty());
    EXPECT_EQ(topology.baseMhz, std::nullopt);
    EXPECT_EQ(topology.maxMhz, std::nullopt);

    const MachineFacts facts = ReadMachineFacts(Root());
    EXPECT_EQ(facts.modelName, "");
    EXPECT_EQ(facts.kernel, "");
    EXPECT_EQ(facts.osName, "");
    EXPECT_EQ(facts.osVersion, "");
    EXPECT_EQ(facts.osPretty, "");
}

TEST_F(RunConditionsTree, VirtualMachineWithoutSysUsesProcOnly)
{
    Write("proc/stat", "cpu  100 5 50 9000 10 1 2 30 0 0\ncpu0 50 2 25 4500 5 0 1 15 0 0\n");
    Write("proc/self/stat", SelfStat("tarnwick", "40", "2"));
    Cpuinfo({"2596.132", "2596.132"});
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.busyTicks, Ticks(158));
    EXPECT_EQ(snapshot.stealTicks, Ticks(30));
    EXPECT_EQ(snapshot.ownTicks, Ticks(42));
    EXPECT_EQ(snapshot.throttleCount, std::nullopt);
    EXPECT_EQ(snapshot.lowestMhz, Mhz(2596.132));

    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 0u);
    EXPECT_EQ(topology.threadsPerCore, 0u);
    EXPECT_TRUE(topology.governors.empty());
    EXPECT_EQ(topology.baseMhz, Mhz(2596.132));
    EXPECT_EQ(topology.maxMhz, std::nullopt);
}

TEST_F(RunConditionsTree, ProcStatSumsTheBusyColumns)
{
    // user nice system idle iowait irq softirq steal guest guest_nice
    Write("proc/stat", "cpu  734864 7 181557 853484 9643 11 2520 697 5 3\nintr 1 2 3\n");
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.busyTicks, Ticks(734864 + 7 + 181557 + 11 + 2520));
    EXPECT_EQ(snapshot.stealTicks, Ticks(697));
}

TEST_F(RunConditionsTree, ProcStatOfAnOldKernelHasNoSteal)
{
    Write("proc/stat", "cpu  100 0 50 9000 10 4 6\n");
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.busyTicks, Ticks(160));
    EXPECT_EQ(snapshot.stealTicks, std::nullopt);

    Write("proc/stat", "cpu  100 0 50 9000\n");  // older still: no irq, no softirq
    const ConditionsSnapshot older = ReadConditionsSnapshot(Root());
    EXPECT_EQ(older.busyTicks, std::nullopt);
    EXPECT_EQ(older.stealTicks, std::nullopt);
}

TEST_F(RunConditionsTree, MalformedProcStatGivesNothing)
{
    for (const char* text : {
             "cpu  100 0 x50 9000 10 4 6 8 0 0\n",                   // junk in a column
             "cpu  100 0 -50 9000 10 4 6 8 0 0\n",                   // negative
             "cpu  100 0 50 9000 10 4 6 8 0 0 99999999999999999999\n",  // past 64 bits
             "intr 100 0 50 9000 10 4 6 8 0 0\n",                    // not the cpu line
             "cpu0 100 0 50 9000 10 4 6 8 0 0\n",                    // one processor's line
             "",
             "\n\n",
         }) {
        Write("proc/stat", text);
        const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
        EXPECT_EQ(snapshot.busyTicks, std::nullopt) << text;
        EXPECT_EQ(snapshot.stealTicks, std::nullopt) << text;
    }
}

TEST_F(RunConditionsTree, ProcStatSumPastSixtyFourBitsIsEmpty)
{
    Write("proc/stat", "cpu  18446744073709551615 1 0 0 0 0 0 5 0 0\n");
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.busyTicks, std::nullopt);
    EXPECT_EQ(snapshot.stealTicks, Ticks(5));
}

TEST_F(RunConditionsTree, ProcStatThatIsADirectoryGivesNothing)
{
    std::filesystem::create_directories(root / "proc/stat");
    std::filesystem::create_directories(root / "proc/self/stat");
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.busyTicks, std::nullopt);
    EXPECT_EQ(snapshot.ownTicks, std::nullopt);
}

TEST_F(RunConditionsTree, OwnTicksAreUtimePlusStime)
{
    Write("proc/self/stat", SelfStat("tarnwick", "250", "70"));
    EXPECT_EQ(ReadConditionsSnapshot(Root()).ownTicks, Ticks(320));
}

TEST_F(RunConditionsTree, CommandNameWithSpacesAndParenthesesIsSkipped)
{
    // The fields after the name would be counted wrongly from the first ')'.
    Write("proc/self/stat", SelfStat("a) 1 2 3 (b) c", "250", "70"));
    EXPECT_EQ(ReadConditionsSnapshot(Root()).ownTicks, Ticks(320));
    Write("proc/self/stat", SelfStat(")", "9", "1"));
    EXPECT_EQ(ReadConditionsSnapshot(Root()).ownTicks, Ticks(10));
}

TEST_F(RunConditionsTree, MalformedSelfStatGivesNothing)
{
    for (const std::string& text : {
             std::string("4242 tarnwick R 4200 4242 4100 34816 4242 4194304 1200 0 3 0 250 70\n"),  // no ()
             std::string("4242 (tarnwick) R 4200 4242 4100 34816 4242 4194304 1200 0 3 0 250\n"),  // short
             SelfStat("tarnwick", "25x", "70"),
             SelfStat("tarnwick", "250", "-70"),
             std::string(""),
         }) {
        Write("proc/self/stat", text);
        EXPECT_EQ(ReadConditionsSnapshot(Root()).ownTicks, std::nullopt) << text;
    }
}

TEST_F(RunConditionsTree, ThrottleCountersThatMoveAreCounted)
{
    // Two processors of package 0 and one of package 1: each core's counter
    // counts, each package's once (all its processors show the same one).
    for (int cpu = 0; cpu < 3; ++cpu) {
        Processor(cpu, cpu / 2, cpu);
        Throttle(cpu, "core_throttle_count", "3\n");
        Throttle(cpu, "package_throttle_count", cpu < 2 ? "10\n" : "1\n");
        // Not counts of throttling: left out.
        Throttle(cpu, "core_throttle_total_time_ms", "5000\n");
        Throttle(cpu, "core_power_limit_count", "77\n");
    }
    const ConditionsSnapshot before = ReadConditionsSnapshot(Root());
    EXPECT_EQ(before.throttleCount, Ticks(3 * 3 + 10 + 1));

    Throttle(0, "core_throttle_count", "5\n");
    Throttle(0, "package_throttle_count", "14\n");
    Throttle(1, "package_throttle_count", "14\n");
    const ConditionsSnapshot after = ReadConditionsSnapshot(Root());
    EXPECT_EQ(after.throttleCount, Ticks(5 + 3 + 3 + 14 + 1));

    const RunConditions run = CompareConditions(before, after, MachineTopology(), 2, 100);
    EXPECT_EQ(run.throttleBefore, Ticks(20));
    EXPECT_EQ(run.throttleAfter, Ticks(26));
    EXPECT_EQ(run.Throttles(), 6u);
}

TEST_F(RunConditionsTree, ACoresCounterCountsOnceForItsThreads)
{
    // Two logical processors of one core show the core's counter each.
    Processor(0, 0, 0);
    Processor(1, 0, 0);
    Throttle(0, "core_throttle_count", "4\n");
    Throttle(1, "core_throttle_count", "4\n");
    Throttle(0, "package_throttle_count", "2\n");
    Throttle(1, "package_throttle_count", "2\n");
    EXPECT_EQ(ReadConditionsSnapshot(Root()).throttleCount, Ticks(6));
}

TEST_F(RunConditionsTree, UnreadableThrottleCountersAreLeftOut)
{
    Processor(0, 0, 0);
    Processor(1, 0, 1);
    Throttle(0, "core_throttle_count", "garbage\n");
    Throttle(1, "core_throttle_count", "4\n");
    Throttle(1, "package_throttle_count", "");
    EXPECT_EQ(ReadConditionsSnapshot(Root()).throttleCount, Ticks(4));

    Throttle(1, "core_throttle_count", "-4\n");
    EXPECT_EQ(ReadConditionsSnapshot(Root()).throttleCount, std::nullopt);
}

TEST_F(RunConditionsTree, NoThrottleCountersGiveNothing)
{
    Processor(0, 0, 0);
    Write("sys/devices/system/cpu/cpu0/thermal_throttle/core_power_limit_count", "3\n");
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.throttleCount, std::nullopt);
    EXPECT_EQ(CompareConditions(snapshot, snapshot, MachineTopology(), 1, 100).Throttles(), 0u);
}

TEST_F(RunConditionsTree, DischargingBatteryIsOnBattery)
{
    Supply("AC", "Mains", {{"online", "1\n"}});
    Supply("BAT0", "Battery", {{"status", "Discharging\n"}, {"scope", "System\n"}});
    EXPECT_TRUE(OnBattery());
}

TEST_F(RunConditionsTree, OfflineMainsIsOnBattery)
{
    Supply("ADP1", "Mains", {{"online", " 0 \n"}});
    EXPECT_TRUE(OnBattery());
}

TEST_F(RunConditionsTree, OneOnlineMainsAmongOfflinePortsIsNotOnBattery)
{
    // Each USB-C port of some laptops is a Mains supply, offline while unused.
    Supply("cros-usbpd-charger-0", "Mains", {{"online", "0\n"}});
    Supply("cros-usbpd-charger-1", "Mains", {{"online", "1\n"}});
    EXPECT_FALSE(OnBattery());
    Supply("cros-usbpd-charger-1", "Mains", {{"online", "0\n"}});
    EXPECT_TRUE(OnBattery());
}

TEST_F(RunConditionsTree, OnlineMainsWithChargingBatteryIsNotOnBattery)
{
    Supply("AC", "Mains", {{"online", "1\n"}});
    Supply("BAT0", "Battery", {{"status", "Charging\n"}});
    Supply("BAT1", "Battery", {{"status", "Full\n"}});
    EXPECT_FALSE(OnBattery());
}

TEST_F(RunConditionsTree, BatteryOfADeviceDoesNotCount)
{
    // A wireless mouse's battery discharges while the desktop is on mains.
    Supply("AC", "Mains", {{"online", "1\n"}});
    Supply("hidpp_battery_0", "Battery", {{"status", "Discharging\n"}, {"scope", "Device\n"}});
    Supply("ucsi-source-psy-USBC000:001", "USB", {{"online", "0\n"}});
    EXPECT_FALSE(OnBattery());
}

TEST_F(RunConditionsTree, SnapshotReadsTheSensors)
{
    Desktop();  // k10temp Tctl 65.25 degrees, processors at 3000..4500 MHz
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(Root());
    EXPECT_EQ(snapshot.highestCelsius, Mhz(65.25));
    EXPECT_EQ(snapshot.lowestMhz, Mhz(3000.0));
}

// ---------------------------------------------------------------- topology

TEST_F(RunConditionsTree, TopologyOfTwoPackagesWithTwoThreadsPerCore)
{
    // cpuN: package N / 4, core (N / 2) % 2; siblings are N and N ^ 1. The
    // core numbers repeat in each package.
    for (int cpu = 0; cpu < 8; ++cpu)
        Processor(cpu, cpu / 4, (cpu / 2) % 2);
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 8u);
    EXPECT_EQ(topology.packages, 2u);
    EXPECT_EQ(topology.cores, 4u);
    EXPECT_EQ(topology.threadsPerCore, 2u);
}

TEST_F(RunConditionsTree, TopologyOfOneThreadPerCore)
{
    for (int cpu = 0; cpu < 4; ++cpu)
        Processor(cpu, 0, cpu);
    Write("sys/devices/system/cpu/cpufreq/policy0/scaling_governor", "powersave\n");  // not a processor
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 4u);
    EXPECT_EQ(topology.packages, 1u);
    EXPECT_EQ(topology.cores, 4u);
    EXPECT_EQ(topology.threadsPerCore, 1u);
}

TEST_F(RunConditionsTree, HybridProcessorCountsTheMostThreadsOnOneCore)
{
    Processor(0, 0, 0);
    Processor(1, 0, 0);
    Processor(2, 0, 8);
    Processor(3, 0, 9);
    Processor(4, 0, 10);
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 5u);
    EXPECT_EQ(topology.cores, 4u);
    EXPECT_EQ(topology.threadsPerCore, 2u);
}

TEST_F(RunConditionsTree, OfflineProcessorsAreNotCounted)
{
    Processor(0, 0, 0);
    Processor(1, 0, 1);
    Write("sys/devices/system/cpu/cpu1/online", "1\n");
    Write("sys/devices/system/cpu/cpu2/online", "0\n");
    Write("sys/devices/system/cpu/cpu2/topology/core_id", "2\n");  // left behind
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 2u);
    EXPECT_EQ(topology.cores, 2u);
}

TEST_F(RunConditionsTree, ProcessorsWithoutTopologyCountWhenOnline)
{
    CpusWithoutCpufreq(4);
    Write("sys/devices/system/cpu/cpu4/online", "0\n");
    Write("sys/devices/system/cpu/cpufreq/boost", "1\n");  // "cpufreq" is not a processor
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 4u);
    EXPECT_EQ(topology.packages, 0u);
    EXPECT_EQ(topology.cores, 0u);
    EXPECT_EQ(topology.threadsPerCore, 0u);
}

TEST_F(RunConditionsTree, GarbageTopologyIdsLeaveCoresUnknown)
{
    Processor(0, 0, 0);
    Write("sys/devices/system/cpu/cpu1/topology/physical_package_id", "zero\n");
    Write("sys/devices/system/cpu/cpu1/topology/core_id", "1\n");
    Write("sys/devices/system/cpu/cpu2/topology/physical_package_id", "0\n");
    Write("sys/devices/system/cpu/cpu2/topology/core_id", "99999999999999999999999\n");
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.logicalProcessors, 3u);
    EXPECT_EQ(topology.packages, 1u);
    EXPECT_EQ(topology.cores, 1u);
    EXPECT_EQ(topology.threadsPerCore, 1u);
}

TEST_F(RunConditionsTree, GovernorsInProcessorOrder)
{
    Processor(0, 0, 0);
    Processor(2, 0, 2);
    Processor(10, 0, 10);
    Processor(11, 0, 11);
    Governor(10, "powersave");
    Governor(2, "performance");
    Governor(0, "performance");
    // cpu11 has no governor.
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.governors, (std::vector<std::string>{"performance", "performance", "powersave"}));
}

TEST_F(RunConditionsTree, AGovernorThatIsNoWordIsLeftOut)
{
    Processor(0, 0, 0);
    Processor(1, 0, 1);
    Processor(2, 0, 2);
    Governor(0, std::string(65, 'a'));
    Governor(1, "power save");
    Governor(2, "schedutil");
    EXPECT_EQ(ReadMachineTopology(Root()).governors, (std::vector<std::string>{"schedutil"}));
}

TEST_F(RunConditionsTree, BaseAndMaximumFrequencyFromCpufreq)
{
    Processor(0, 0, 0);
    Write("sys/devices/system/cpu/cpu0/cpufreq/base_frequency", "2100000\n");
    Write("sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4700000\n");
    Cpuinfo({"800.000"});  // not used while cpufreq answers
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.baseMhz, Mhz(2100.0));
    EXPECT_EQ(topology.maxMhz, Mhz(4700.0));
}

TEST_F(RunConditionsTree, CpufreqWithoutBaseFrequencyHasOnlyTheMaximum)
{
    Processor(0, 0, 0);
    Write("sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "5083000\n");
    Cpuinfo({"3600.000"});
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.baseMhz, std::nullopt);
    EXPECT_EQ(topology.maxMhz, Mhz(5083.0));
}

TEST_F(RunConditionsTree, FrequencyFromCpuinfoWithoutCpufreq)
{
    Processor(0, 0, 0);
    Processor(1, 0, 1);
    Cpuinfo({"2096.040", "1800.000"});
    const MachineTopology topology = ReadMachineTopology(Root());
    EXPECT_EQ(topology.baseMhz, Mhz(2096.040));
    EXPECT_EQ(topology.maxMhz, std::nullopt);  // the clock of the moment is no maximum

    Cpuinfo({"fast", "0"});
    const MachineTopology garbage = ReadMachineTopology(Root());
    EXPECT_EQ(garbage.baseMhz, std::nullopt);
    EXPECT_EQ(garbage.maxMhz, std::nullopt);
}

// ---------------------------------------------------------------- facts

TEST_F(RunConditionsTree, FactsOfAMachine)
{
    Cpuinfo({"2096.040", "1800.000"});
    Write("proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
    Write("etc/os-release",
          "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
          "NAME=\"Debian GNU/Linux\"\n"
          "VERSION_ID=\"12\"\n"
          "VERSION=\"12 (bookworm)\"\n"
          "ID=debian\n");
    const MachineFacts facts = ReadMachineFacts(Root());
    EXPECT_EQ(facts.modelName, "Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz");
    EXPECT_EQ(facts.kernel, "6.1.0-18-amd64");
    EXPECT_EQ(facts.osName, "Debian GNU/Linux");
    EXPECT_EQ(facts.osVersion, "12");
    EXPECT_EQ(facts.osPretty, "Debian GNU/Linux 12 (bookworm)");
}

TEST_F(RunConditionsTree, OsReleaseQuotingAndComments)
{
    Write("etc/os-release",
          "# NAME=\"Commented out\"\n"
          "\n"
          "NAME='Single \"quoted\" \\n'\n"
          "  VERSION = 7\n"  // not an assignment: spaces around '='
          "VERSION=Bare\\ word\n"
          "PRETTY_NAME=\"Say \\\"hi\\\" for \\$5 \\\\ \\`x\\`\"\n"
          "not a line at all\n"
          "=orphan\n");
    const MachineFacts facts = ReadMachineFacts(Root());
    EXPECT_EQ(facts.osName, "Single \"quoted\" \\n");
    EXPECT_EQ(facts.osVersion, "Bare word");
    EXPECT_EQ(facts.osPretty, "Say \"hi\" for $5 \\ `x`");
}

TEST_F(RunConditionsTree, OsReleaseFromUsrLibWhenEtcHasNone)
{
    Write("usr/lib/os-release", "NAME=Fedora Linux\nVERSION_ID=40\nPRETTY_NAME=\"Fedora Linux 40\"\n");
    const MachineFacts facts = ReadMachineFacts(Root());
    EXPECT_EQ(facts.osName, "Fedora Linux");
    EXPECT_EQ(facts.osVersion, "40");
    EXPECT_EQ(facts.osPretty, "Fedora Linux 40");
}

TEST_F(RunConditionsTree, HugeOsReleaseIsReadOnlyToItsLimit)
{
    std::string text = "NAME=\"Big\"\n";
    const std::string filler = "X_FILLER=\"" + std::string(100, 'x') + "\"\n";
    while (text.size() < (3u << 20))
        text += filler;
    text += "VERSION_ID=99\n";  // past the first megabyte: never reached
    Write("etc/os-release", text);
    const MachineFacts facts = ReadMachineFacts(Root());
    EXPECT_EQ(facts.osName, "Big");
    EXPECT_EQ(facts.osVersion, "");
}

TEST_F(RunConditionsTree, FifoAndBinaryFilesGiveEmptyFacts)
{
    std::filesystem::create_directories(root / "etc");
    ASSERT_EQ(::mkfifo((root / "etc/os-release").c_str(), 0600), 0);
    Write("proc/cpuinfo", std::string("model name\0\0\xff\xfe: \x01\x02", 18));
    Write("proc/sys/kernel/osrelease", std::string(4096, 'k'));  // longer than a release can be
    const MachineFacts facts = ReadMachineFacts(Root());  // must not wait for a writer
    EXPECT_EQ(facts.modelName, "");
    EXPECT_EQ(facts.kernel, "");
    EXPECT_EQ(facts.osName, "");
}

// ---------------------------------------------------------------- comparison

ConditionsSnapshot Snapshot(std::int64_t nanos, Ticks busy, Ticks own, Ticks steal = std::nullopt)
{
    ConditionsSnapshot snapshot;
    snapshot.steadyNanos = nanos;
    snapshot.busyTicks = busy;
    snapshot.ownTicks = own;
    snapshot.stealTicks = steal;
    return snapshot;
}

TEST(RunConditionsCompare, OtherProgramsShareInPercentOfOneProcessor)
{
    const ConditionsSnapshot before = Snapshot(5 * Second, 1000, 200, 40);
    const ConditionsSnapshot after = Snapshot(6 * Second, 1150, 250, 60);
    const RunConditions run = CompareConditions(before, after, MachineTopology(), 4, 100);
    EXPECT_DOUBLE_EQ(run.wallSeconds, 1.0);
    ASSERT_TRUE(run.otherPercent);
    EXPECT_DOUBLE_EQ(*run.otherPercent, 100.0);  // (150 - 50) ticks in 100 ticks
    ASSERT_TRUE(run.stealPercent);
    EXPECT_DOUBLE_EQ(*run.stealPercent, 20.0);

    const RunConditions longer = CompareConditions(before, Snapshot(9 * Second, 1150, 250, 60), MachineTopology(), 4,
                                                   250);
    EXPECT_DOUBLE_EQ(longer.wallSeconds, 4.0);
    ASSERT_TRUE(longer.otherPercent);
    EXPECT_DOUBLE_EQ(*longer.otherPercent, 10.0);  // 100 ticks of 1000
    ASSERT_TRUE(longer.stealPercent);
    EXPECT_DOUBLE_EQ(*longer.stealPercent, 2.0);
}

TEST(RunConditionsCompare, OwnTimeAboveTheBusyTimeIsNoOtherTime)
{
    const RunConditions run =
        CompareConditions(Snapshot(0, 1000, 200), Snapshot(Second, 1100, 302), MachineTopology(), 1, 100);
    ASSERT_TRUE(run.otherPercent);
    EXPECT_EQ(*run.otherPercent, 0.0);
    EXPECT_EQ(run.stealPercent, std::nullopt);  // no steal column
}

TEST(RunConditionsCompare, CountersGoingBackwardsGiveNothing)
{
    const MachineTopology none;
    const RunConditions busyBack =
        CompareConditions(Snapshot(0, 1000, 200, 50), Snapshot(Second, 999, 250, 49), none, 1, 100);
    EXPECT_EQ(busyBack.otherPercent, std::nullopt);
    EXPECT_EQ(busyBack.stealPercent, std::nullopt);
    const RunConditions ownBack =
        CompareConditions(Snapshot(0, 1000, 200, 50), Snapshot(Second, 1100, 199, 50), none, 1, 100);
    EXPECT_EQ(ownBack.otherPercent, std::nullopt);
    ASSERT_TRUE(ownBack.stealPercent);
    EXPECT_EQ(*ownBack.stealPercent, 0.0);
}

TEST(RunConditionsCompare, MissingValuesOrTimeGiveNothing)
{
    const MachineTopology none;
    EXPECT_EQ(CompareConditions(Snapshot(0, std::nullopt, 200), Snapshot(Second, 1100, 250), none, 1, 100)
                  .otherPercent,
              std::nullopt);
    EXPECT_EQ(CompareConditions(Snapshot(0, 1000, 200), Snapshot(Second, 1100, std::nullopt), none, 1, 100)
                  .otherPercent,
              std::nullopt);

    const ConditionsSnapshot before = Snapshot(Second, 1000, 200, 5), after = Snapshot(Second, 1100, 250, 9);
    const RunConditions noTime = CompareConditions(before, after, none, 1, 100);
    EXPECT_EQ(noTime.wallSeconds, 0.0);
    EXPECT_EQ(noTime.otherPercent, std::nullopt);
    EXPECT_EQ(noTime.stealPercent, std::nullopt);

    const RunConditions swapped = CompareConditions(Snapshot(2 * Second, 1000, 200, 5), after, none, 1, 100);
    EXPECT_EQ(swapped.wallSeconds, 0.0);
    EXPECT_EQ(swapped.otherPercent, std::nullopt);

    for (const long ticks : {0L, -100L}) {
        const RunConditions badRate = CompareConditions(Snapshot(0, 1000, 200, 5), after, none, 1, ticks);
        EXPECT_DOUBLE_EQ(badRate.wallSeconds, 1.0);
        EXPECT_EQ(badRate.otherPercent, std::nullopt);
        EXPECT_EQ(badRate.stealPercent, std::nullopt);
    }
}

TEST(RunConditionsCompare, ExtremeClockValuesDoNotOverflow)
{
    const RunConditions run = CompareConditions(Snapshot(INT64_MIN, 0, 0), Snapshot(INT64_MAX, UINT64_MAX, 0),
                                                MachineTopology(), 1, 100);
    EXPECT_GT(run.wallSeconds, 1e10);
    ASSERT_TRUE(run.otherPercent);
    EXPECT_GT(*run.otherPercent, 0.0);
}

TEST(RunConditionsCompare, ThrottlesOnlyWhenTheCounterMovedForward)
{
    RunConditions run;
    EXPECT_EQ(run.Throttles(), 0u);
    run.throttleBefore = 10;
    EXPECT_EQ(run.Throttles(), 0u);
    run.throttleAfter = 17;
    EXPECT_EQ(run.Throttles(), 7u);
    run.throttleAfter = 9;  // reset between the snapshots
    EXPECT_EQ(run.Throttles(), 0u);
    run.throttleBefore = std::nullopt;
    EXPECT_EQ(run.Throttles(), 0u);
}

TEST(RunConditionsCompare, CopiesStatesSensorsAndTopology)
{
    ConditionsSnapshot before = Snapshot(0, 1, 1), after = Snapshot(Second, 2, 1);
    before.throttleCount = 3;
    after.throttleCount = 5;
    before.highestCelsius = 41.5;
    after.highestCelsius = 88.0;
    before.lowestMhz = 3900.0;
    after.lowestMhz = 2800.0;
    after.onBattery = true;
    MachineTopology topology;
    topology.governors = {"performance", "powersave"};
    topology.threadsPerCore = 2;
    topology.logicalProcessors = 16;
    const RunConditions run = CompareConditions(before, after, topology, 8, 100);
    EXPECT_EQ(run.throttleBefore, Ticks(3));
    EXPECT_EQ(run.throttleAfter, Ticks(5));
    EXPECT_EQ(run.Throttles(), 2u);
    EXPECT_TRUE(run.onBattery);
    EXPECT_EQ(run.highestCelsiusStart, Mhz(41.5));
    EXPECT_EQ(run.highestCelsiusEnd, Mhz(88.0));
    EXPECT_EQ(run.lowestMhzStart, Mhz(3900.0));
    EXPECT_EQ(run.lowestMhzEnd, Mhz(2800.0));
    EXPECT_EQ(run.governors, (std::vector<std::string>{"performance", "powersave"}));
    EXPECT_EQ(run.threadsPerCore, 2u);
    EXPECT_EQ(run.logicalProcessors, 16u);
    EXPECT_EQ(run.threads, 8u);

    before.onBattery = true;
    after.onBattery = false;
    EXPECT_TRUE(CompareConditions(before, after, topology, 8, 100).onBattery);
    before.onBattery = false;
    EXPECT_FALSE(CompareConditions(before, after, topology, 8, 100).onBattery);
}

// ---------------------------------------------------------------- this machine

TEST(RunConditionsMachine, ThisMachineHasItsCounters)
{
    const ConditionsSnapshot before = ReadConditionsSnapshot("/");
    EXPECT_TRUE(before.busyTicks.has_value());
    EXPECT_TRUE(before.ownTicks.has_value());
    const ConditionsSnapshot after = ReadConditionsSnapshot("/");
    EXPECT_GE(after.steadyNanos, before.steadyNanos);
    ASSERT_TRUE(after.busyTicks && after.ownTicks);
    EXPECT_GE(*after.busyTicks, *before.busyTicks);
    EXPECT_GE(*after.ownTicks, *before.ownTicks);

    std::error_code error;
    if (std::filesystem::is_directory("/sys/devices/system/cpu", error)) {
        const MachineTopology topology = ReadMachineTopology("/");
        EXPECT_GE(topology.logicalProcessors, 1u);
    }
}

}  // namespace

namespace {
TEST_F(RunConditionsTree, AFifoInPlaceOfProcStatHangsNeitherTheHeatMeterNorASnapshot)
{
    std::filesystem::create_directories(root / "proc");
    ASSERT_EQ(::mkfifo((root / "proc/stat").c_str(), 0600), 0);
    CpuBusyMeter meter(Root());  // must not wait for a writer
    EXPECT_EQ(meter.Sample(), std::nullopt);
    EXPECT_EQ(ReadConditionsSnapshot(Root()).busyTicks, std::nullopt);
}
}  // namespace
