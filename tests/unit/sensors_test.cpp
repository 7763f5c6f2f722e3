// The machine's sensors read from directory trees laid out as the kernel
// lays them out, and the throttling rule over a run's samples.
#include "sensors/sensor_history.h"
#include "sensors/sensors.h"
#include "../support/sensor_tree.h"
#include "unprivileged.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Celsius = std::optional<double>;

/// A scratch root directory holding a machine's /sys and /proc.
class SensorTree : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override { ASSERT_TRUE(Create()); }
    void TearDown() override { Destroy(); }

    /// Builds a desktop whose Tccd1 input holds `text`, reads it once and
    /// checks that Tccd1 keeps its column without a value.
    void ExpectBadTccd1(const std::string& text)
    {
        const std::string chip = Desktop();
        Write(chip + "/temp3_input", text);
        ExpectTccd1WithoutValue();
    }

    void ExpectTccd1WithoutValue() const
    {
        const MachineSensors sensors(root.string());
        ASSERT_EQ(sensors.TemperatureNames().size(), 3u);
        EXPECT_EQ(sensors.TemperatureNames()[1], "k10temp:Tccd1");
        const MachineSensors::Reading reading = sensors.Read();
        ASSERT_EQ(reading.celsius.size(), 3u);
        EXPECT_EQ(reading.celsius[0], Celsius(65.25));
        EXPECT_EQ(reading.celsius[1], std::nullopt);
        EXPECT_EQ(reading.celsius[2], Celsius(60.0));
    }

    /// Four processors, the third of which reports `text`: it is left out of
    /// the average and the lowest.
    void ExpectBadThirdFrequency(const std::string& text) const
    {
        Cpufreq({"3000000\n", "3200000\n", text, "3400000\n"});
        const MachineSensors sensors(root.string());
        ASSERT_TRUE(sensors.HasFrequencies());
        const MachineSensors::Reading reading = sensors.Read();
        EXPECT_EQ(reading.averageMhz, std::optional<double>(3200.0));
        EXPECT_EQ(reading.lowestMhz, std::optional<double>(3000.0));
    }
};

std::vector<std::string> Names(std::initializer_list<const char*> names) { return {names.begin(), names.end()}; }

// ---------------------------------------------------------------- machines

TEST_F(SensorTree, DesktopReadsK10tempAndIgnoresOtherChips)
{
    Desktop();
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"k10temp:Tctl", "k10temp:Tccd1", "k10temp:Tccd2"}));
    EXPECT_TRUE(sensors.HasTemperatures());
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.celsius, (std::vector<Celsius>{65.25, 70.125, 60.0}));
}

TEST_F(SensorTree, K10tempHeadlineIsTctlNotTheHotterCcd)
{
    Desktop();
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    EXPECT_EQ(reading.headlineCelsius, Celsius(65.25));
}

TEST_F(SensorTree, K10tempHeadlineIsTheHigherOfTdieAndTctl)
{
    Hwmon(1, "pci0000:00/0000:00:18.3", "k10temp",
          {{1, "Tdie", "61000\n"}, {2, "Tctl", "71000\n"}, {3, "Tccd1", "75000\n"}});
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    EXPECT_EQ(reading.headlineCelsius, Celsius(71.0));
}

TEST_F(SensorTree, ZenpowerHeadlineIsTdie)
{
    Hwmon(3, "pci0000:00/0000:00:18.3", "zenpower", {{1, "Tdie", "52500\n"}, {2, "Tccd1", "58000\n"}});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"zenpower:Tdie", "zenpower:Tccd1"}));
    EXPECT_EQ(sensors.Read().headlineCelsius, Celsius(52.5));
}

TEST_F(SensorTree, DesktopFrequenciesFromCpufreq)
{
    Desktop();
    const MachineSensors sensors(root.string());
    EXPECT_TRUE(sensors.HasFrequencies());
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.averageMhz, std::optional<double>(3750.0));  // mean of 3000..4500
    EXPECT_EQ(reading.lowestMhz, std::optional<double>(3000.0));
}

TEST_F(SensorTree, LaptopReadsCoretempAndIgnoresAcpitz)
{
    Laptop();
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"coretemp:Package id 0", "coretemp:Core 0", "coretemp:Core 1",
                                                 "coretemp:Core 2", "coretemp:Core 3"}));
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.celsius, (std::vector<Celsius>{58.0, 55.0, 61.0, 54.0, 57.0}));
    EXPECT_EQ(reading.headlineCelsius, Celsius(58.0));  // the package, not the hotter Core 1
}

TEST_F(SensorTree, CoretempHeadlineIsTheHottestPackage)
{
    Hwmon(2, "platform/coretemp.0", "coretemp", {{1, "Package id 0", "50000\n"}, {2, "Core 0", "70000\n"}});
    Hwmon(3, "platform/coretemp.1", "coretemp", {{1, "Package id 1", "62000\n"}, {2, "Core 0", "60000\n"}});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"coretemp:Package id 0", "coretemp:Core 0",
                                                 "coretemp:Package id 1", "coretemp:Core 0#2"}));
    EXPECT_EQ(sensors.Read().headlineCelsius, Celsius(62.0));
}

TEST_F(SensorTree, LaptopFrequenciesFromCpuinfoWithoutCpufreq)
{
    Laptop();
    const MachineSensors sensors(root.string());
    EXPECT_TRUE(sensors.HasFrequencies());
    const MachineSensors::Reading reading = sensors.Read();
    ASSERT_TRUE(reading.averageMhz.has_value());
    EXPECT_DOUBLE_EQ(*reading.averageMhz, (2096.04 + 1800.0 + 3400.5 + 1900.0) / 4);
    EXPECT_EQ(reading.lowestMhz, std::optional<double>(1800.0));
}

TEST_F(SensorTree, ThermalZonesPreferThePackageZone)
{
    ThermalZone(0, "acpitz", "90000\n");
    ThermalZone(1, "x86_pkg_temp", "64000\n");
    ThermalZone(2, "iwlwifi_1", "40000\n");
    CoolingDevice(0);
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"x86_pkg_temp:thermal_zone1"}));
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.celsius, (std::vector<Celsius>{64.0}));
    EXPECT_EQ(reading.headlineCelsius, Celsius(64.0));
}

TEST_F(SensorTree, ThermalZonesAcpitzWhenNoPackageZone)
{
    ThermalZone(0, "acpitz", "47000\n");
    ThermalZone(1, "pch_skylake", "52000\n");
    ThermalZone(2, "acpitz", "49500\n");
    CoolingDevice(0);
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"acpitz:thermal_zone0", "acpitz:thermal_zone2"}));
    EXPECT_EQ(sensors.Read().headlineCelsius, Celsius(49.5));  // the highest of all
}

TEST_F(SensorTree, ThermalZonesUnusedWhenHwmonHasTheProcessor)
{
    ThermalZone(0, "x86_pkg_temp", "64000\n");
    Hwmon(1, "platform/coretemp.0", "coretemp", {{1, "Package id 0", "63000\n"}});
    EXPECT_EQ(MachineSensors(root.string()).TemperatureNames(), Names({"coretemp:Package id 0"}));
}

TEST_F(SensorTree, CpuThermalWithoutLabelsUsesTheHighestReading)
{
    Hwmon(0, "virtual/thermal/thermal_zone0", "cpu_thermal", {{1, std::nullopt, "48312\n"}});
    Hwmon(1, "platform/soc/fe00b840.mailbox", "rpi_volt", {});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"cpu_thermal:temp1"}));
    EXPECT_EQ(sensors.Read().headlineCelsius, Celsius(48.312));
}

TEST_F(SensorTree, EmptyRootHasNoSensors)
{
    const MachineSensors sensors(root.string());
    EXPECT_FALSE(sensors.HasTemperatures());
    EXPECT_FALSE(sensors.HasFrequencies());
    EXPECT_FALSE(sensors.Any());
    EXPECT_TRUE(sensors.TemperatureNames().empty());
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_TRUE(reading.celsius.empty());
    EXPECT_EQ(reading.headlineCelsius, std::nullopt);
    EXPECT_EQ(reading.averageMhz, std::nullopt);
    EXPECT_EQ(reading.lowestMhz, std::nullopt);
}

TEST_F(SensorTree, MissingRootHasNoSensors)
{
    EXPECT_FALSE(MachineSensors((root / "no such directory").string()).Any());
}

TEST_F(SensorTree, OnlyFrequenciesStillCountAsSensors)
{
    Cpuinfo({"2096.040"});
    const MachineSensors sensors(root.string());
    EXPECT_FALSE(sensors.HasTemperatures());
    EXPECT_TRUE(sensors.HasFrequencies());
    EXPECT_TRUE(sensors.Any());
}

// ------------------------------------------------------ names and ordering

TEST_F(SensorTree, Temp10ComesAfterTemp2)
{
    Hwmon(0, "pci0000:00/0000:00:18.3", "k10temp",
          {{10, "Tccd8", "51000\n"}, {2, "Tdie", "52000\n"}, {1, "Tctl", "53000\n"}, {3, "Tccd1", "54000\n"}});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(),
              Names({"k10temp:Tctl", "k10temp:Tdie", "k10temp:Tccd1", "k10temp:Tccd8"}));
    EXPECT_EQ(sensors.Read().celsius, (std::vector<Celsius>{53.0, 52.0, 54.0, 51.0}));
}

TEST_F(SensorTree, Hwmon10ComesAfterHwmon2)
{
    Hwmon(10, "platform/coretemp.1", "coretemp", {{1, "Package id 1", "41000\n"}});
    Hwmon(2, "platform/coretemp.0", "coretemp", {{1, "Package id 0", "40000\n"}});
    EXPECT_EQ(MachineSensors(root.string()).TemperatureNames(),
              Names({"coretemp:Package id 0", "coretemp:Package id 1"}));
}

TEST_F(SensorTree, MissingLabelFileNamesTheSensorByItsFile)
{
    Hwmon(0, "pci0000:00/0000:00:18.3", "k10temp", {{1, "Tctl", "60000\n"}, {2, std::nullopt, "61000\n"}});
    EXPECT_EQ(MachineSensors(root.string()).TemperatureNames(), Names({"k10temp:Tctl", "k10temp:temp2"}));
}

TEST_F(SensorTree, EmptyLabelFileNamesTheSensorByItsFile)
{
    const std::string chip = Hwmon(0, "pci0000:00/0000:00:18.3", "k10temp", {{1, "Tctl", "60000\n"}});
    Write(chip + "/temp1_label", "\n");
    EXPECT_EQ(MachineSensors(root.string()).TemperatureNames(), Names({"k10temp:temp1"}));
}

TEST_F(SensorTree, TwoChipsOfOneNameKeepTheirNamesApart)
{
    Hwmon(2, "pci0000:00/0000:00:18.3", "k10temp", {{1, "Tctl", "60000\n"}});
    Hwmon(3, "pci0000:00/0000:00:19.3", "k10temp", {{1, "Tctl", "62000\n"}});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"k10temp:Tctl", "k10temp:Tctl#2"}));
    EXPECT_EQ(sensors.Read().headlineCelsius, Celsius(62.0));
}

TEST_F(SensorTree, ChipAttributesInTheDeviceDirectoryOfOlderKernels)
{
    Write("sys/devices/platform/coretemp.0/name", "coretemp\n");
    Write("sys/devices/platform/coretemp.0/temp1_input", "45000\n");
    Write("sys/devices/platform/coretemp.0/temp1_label", "Physical id 0\n");
    Write("sys/devices/platform/coretemp.0/hwmon/hwmon0/uevent", "");
    Link("sys/devices/platform/coretemp.0/hwmon/hwmon0/device", "../../../coretemp.0");
    Link("sys/class/hwmon/hwmon0", "../../devices/platform/coretemp.0/hwmon/hwmon0");
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.TemperatureNames(), Names({"coretemp:Physical id 0"}));
    EXPECT_EQ(sensors.Read().celsius, (std::vector<Celsius>{45.0}));
}

TEST_F(SensorTree, BrokenHwmonLinkIsSkipped)
{
    Desktop();
    Link("sys/class/hwmon/hwmon5", "../../devices/platform/gone/hwmon/hwmon5");
    EXPECT_EQ(MachineSensors(root.string()).TemperatureNames().size(), 3u);
}

TEST_F(SensorTree, LabelWithoutInputIsNoSensor)
{
    const std::string chip = Desktop();
    Write(chip + "/temp7_label", "Tccd7\n");
    EXPECT_EQ(MachineSensors(root.string()).TemperatureNames(),
              Names({"k10temp:Tctl", "k10temp:Tccd1", "k10temp:Tccd2"}));
}

// ------------------------------------------------------ bad temperature files

TEST_F(SensorTree, EmptyTemperatureFileHasNoValue) { ExpectBadTccd1(""); }
TEST_F(SensorTree, NewlineOnlyTemperatureFileHasNoValue) { ExpectBadTccd1("\n"); }
TEST_F(SensorTree, TextTemperatureFileHasNoValue) { ExpectBadTccd1("N/A\n"); }
TEST_F(SensorTree, TemperatureWithTrailingJunkHasNoValue) { ExpectBadTccd1("45000x\n"); }
TEST_F(SensorTree, TwoNumbersInATemperatureFileHaveNoValue) { ExpectBadTccd1("45000 46000\n"); }
TEST_F(SensorTree, DecimalTemperatureHasNoValue) { ExpectBadTccd1("45.5\n"); }
TEST_F(SensorTree, TemperatureBelowMinus50HasNoValue) { ExpectBadTccd1("-51000\n"); }
TEST_F(SensorTree, TemperatureAbove150HasNoValue) { ExpectBadTccd1("151000\n"); }
TEST_F(SensorTree, OverflowingTemperatureHasNoValue) { ExpectBadTccd1("99999999999999999999999\n"); }
TEST_F(SensorTree, LongTemperatureFileHasNoValue) { ExpectBadTccd1("45000" + std::string(100, ' ') + "\n"); }
TEST_F(SensorTree, NulBytesInATemperatureFileHaveNoValue) { ExpectBadTccd1(std::string("45\0" "000\n", 7)); }

TEST_F(SensorTree, TemperaturesAtTheBoundsAreRead)
{
    const std::string chip = Desktop();
    Write(chip + "/temp3_input", "-50000\n");
    Write(chip + "/temp4_input", "150000\n");
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    EXPECT_EQ(reading.celsius, (std::vector<Celsius>{65.25, -50.0, 150.0}));
}

TEST_F(SensorTree, DirectoryInPlaceOfATemperatureFileHasNoValue)
{
    const std::string chip = Desktop();
    Remove(chip + "/temp3_input");
    fs::create_directory(root / chip / "temp3_input");
    ExpectTccd1WithoutValue();
}

TEST_F(SensorTree, FifoInPlaceOfATemperatureFileHasNoValue)
{
    // Opening a FIFO without a writer would wait for ever unless done without blocking.
    const std::string chip = Desktop();
    Remove(chip + "/temp3_input");
    ASSERT_EQ(::mkfifo((root / chip / "temp3_input").c_str(), 0644), 0);
    ExpectTccd1WithoutValue();
}

TEST_F(SensorTree, UnreadableTemperatureFileHasNoValue)
{
    const std::string chip = Desktop();
    MakeUnreadable(chip + "/temp3_input");
    // Root reads any file: the check runs without its privileges.
    const std::string failure = RunUnprivileged([this]() -> std::string {
        const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
        if (reading.celsius.size() != 3)
            return "this held: reading.celsius.size() != 3";
        if (reading.celsius[0] != Celsius(65.25) || reading.celsius[2] != Celsius(60.0))
            return "this held: reading.celsius[0] != Celsius(65.25) || reading.celsius[2] != Celsius(60.0)";  // the rest of the tree must stay readable
        return reading.celsius[1] == std::nullopt ? "" : "this did not hold: reading.celsius[1] == std::nullopt";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(SensorTree, UnreadableNameFileSkipsTheChip)
{
    const std::string chip = Desktop();
    MakeUnreadable(chip + "/name");
    const std::string failure = RunUnprivileged([this]() -> std::string {
        return MachineSensors(root.string()).HasTemperatures() ? "temperatures were found without the chip's name" : "";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(SensorTree, HeadlineWithoutAnswerFromTheChipLevelSensor)
{
    const std::string chip = Desktop();
    Write(chip + "/temp1_input", "garbage\n");
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    ASSERT_EQ(reading.celsius.size(), 3u);
    EXPECT_EQ(reading.celsius[1], Celsius(70.125));
    EXPECT_EQ(reading.headlineCelsius, std::nullopt);  // the CCDs do not stand in for Tctl
}

// ------------------------------------------------ sensors that come and go

TEST_F(SensorTree, RemovedTemperatureEndsItsColumn)
{
    const std::string chip = Desktop();
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.Read().celsius, (std::vector<Celsius>{65.25, 70.125, 60.0}));
    Remove(chip + "/temp4_input");
    const MachineSensors::Reading second = sensors.Read();
    EXPECT_EQ(second.celsius, (std::vector<Celsius>{65.25, 70.125, std::nullopt}));
    EXPECT_EQ(sensors.TemperatureNames().size(), 3u);
    Write(chip + "/temp1_input", "66000\n");
    EXPECT_EQ(sensors.Read().celsius, (std::vector<Celsius>{66.0, 70.125, std::nullopt}));
}

TEST_F(SensorTree, RemovedChipLeavesEveryColumnEmpty)
{
    Desktop();
    const MachineSensors sensors(root.string());
    Remove("sys/devices/pci0000:00/0000:00:18.3");
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.celsius, (std::vector<Celsius>(3, std::nullopt)));
    EXPECT_EQ(reading.headlineCelsius, std::nullopt);
    EXPECT_EQ(reading.averageMhz, std::optional<double>(3750.0));
}

TEST_F(SensorTree, RemovedThermalZoneEndsItsColumn)
{
    ThermalZone(0, "acpitz", "47000\n");
    const std::string zone = ThermalZone(1, "acpitz", "49000\n");
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.Read().headlineCelsius, Celsius(49.0));
    Remove(zone + "/temp");
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.celsius, (std::vector<Celsius>{47.0, std::nullopt}));
    EXPECT_EQ(reading.headlineCelsius, Celsius(47.0));
}

TEST_F(SensorTree, RemovedFrequencyFileLeavesTheOthers)
{
    const std::vector<std::string> paths = Cpufreq({"3000000\n", "2000000\n", "4000000\n"});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.Read().lowestMhz, std::optional<double>(2000.0));
    Remove(paths[1]);
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.averageMhz, std::optional<double>(3500.0));
    EXPECT_EQ(reading.lowestMhz, std::optional<double>(3000.0));
}

TEST_F(SensorTree, AllFrequenciesGoneGivesNoFrequency)
{
    const std::vector<std::string> paths = Cpufreq({"3000000\n", "2000000\n"});
    const MachineSensors sensors(root.string());
    for (const std::string& path : paths)
        Remove(path);
    const MachineSensors::Reading reading = sensors.Read();
    EXPECT_EQ(reading.averageMhz, std::nullopt);
    EXPECT_EQ(reading.lowestMhz, std::nullopt);
}

TEST_F(SensorTree, CpuinfoRemovedBetweenReadsGivesNoFrequency)
{
    Cpuinfo({"2096.040", "2200.000"});
    const MachineSensors sensors(root.string());
    EXPECT_EQ(sensors.Read().lowestMhz, std::optional<double>(2096.04));
    Remove("proc/cpuinfo");
    EXPECT_EQ(sensors.Read().averageMhz, std::nullopt);
}

// -------------------------------------------------------- bad frequency files

TEST_F(SensorTree, ZeroFrequencyIsSkipped) { ExpectBadThirdFrequency("0\n"); }
TEST_F(SensorTree, NegativeFrequencyIsSkipped) { ExpectBadThirdFrequency("-2800000\n"); }
TEST_F(SensorTree, FrequencyAbove20GHzIsSkipped) { ExpectBadThirdFrequency("20000001\n"); }
TEST_F(SensorTree, EmptyFrequencyFileIsSkipped) { ExpectBadThirdFrequency(""); }
TEST_F(SensorTree, TextFrequencyIsSkipped) { ExpectBadThirdFrequency("<unknown>\n"); }
TEST_F(SensorTree, FrequencyWithTrailingJunkIsSkipped) { ExpectBadThirdFrequency("2800000kHz\n"); }
TEST_F(SensorTree, OverflowingFrequencyIsSkipped) { ExpectBadThirdFrequency("123456789012345678901234567890\n"); }

TEST_F(SensorTree, FrequencyOf20GHzIsRead)
{
    Cpufreq({"20000000\n", "1000000\n"});
    EXPECT_EQ(MachineSensors(root.string()).Read().averageMhz, std::optional<double>(10500.0));
}

TEST_F(SensorTree, DirectoryInPlaceOfAFrequencyFileIsSkipped)
{
    const std::vector<std::string> paths = Cpufreq({"3000000\n", "3200000\n", "1000\n", "3400000\n"});
    Remove(paths[2]);
    fs::create_directory(root / paths[2]);
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    EXPECT_EQ(reading.averageMhz, std::optional<double>(3200.0));
    EXPECT_EQ(reading.lowestMhz, std::optional<double>(3000.0));
}

TEST_F(SensorTree, UnreadableFrequencyFileIsSkipped)
{
    const std::vector<std::string> paths = Cpufreq({"3000000\n", "3200000\n", "1000\n", "3400000\n"});
    MakeUnreadable(paths[2]);
    const std::string failure = RunUnprivileged([this]() -> std::string {
        const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
        if (reading.averageMhz != std::optional<double>(3200.0))
            return "this held: reading.averageMhz != std::optional<double>(3200.0)";
        return reading.lowestMhz == std::optional<double>(3000.0) ? "" : "this did not hold: reading.lowestMhz == std::optional<double>(3000.0)";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(SensorTree, ProcessorWithoutCpufreqIsLeftOut)
{
    Cpufreq({"3000000\n", "3600000\n"});
    CpusWithoutCpufreq(3);  // cpu2 has no cpufreq directory
    EXPECT_EQ(MachineSensors(root.string()).Read().averageMhz, std::optional<double>(3300.0));
}

TEST_F(SensorTree, CpufreqThatNeverAnswersGivesWayToCpuinfo)
{
    Cpufreq({"<unknown>\n", "<unknown>\n"});
    Cpuinfo({"2400.000", "2600.000"});
    EXPECT_EQ(MachineSensors(root.string()).Read().averageMhz, std::optional<double>(2500.0));
}

TEST_F(SensorTree, NoCpufreqAndNoCpuinfoHasNoFrequencies)
{
    CpusWithoutCpufreq(2);
    Write("proc/cpuinfo", "processor\t: 0\nmodel name\t: ARMv7 Processor rev 4 (v7l)\n\n");
    EXPECT_FALSE(MachineSensors(root.string()).HasFrequencies());
}

TEST_F(SensorTree, BadCpuinfoLinesAreSkipped)
{
    Cpuinfo({"2096.040", "abc", "0.000", "2000.000x", "-1800.000", "99999.000", "", "nan", "inf", "1800.500"});
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    ASSERT_TRUE(reading.averageMhz.has_value());
    EXPECT_DOUBLE_EQ(*reading.averageMhz, (2096.04 + 1800.5) / 2);
    EXPECT_EQ(reading.lowestMhz, std::optional<double>(1800.5));
}

TEST_F(SensorTree, CpuinfoIsReadTheSameUnderADecimalCommaLocale)
{
    Cpuinfo({"2096.040", "3400.500"});
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr) << "the de_DE.UTF-8 locale is not installed";
    const MachineSensors::Reading reading = MachineSensors(root.string()).Read();
    std::setlocale(LC_ALL, saved.c_str());
    EXPECT_EQ(reading.lowestMhz, std::optional<double>(2096.04));
    ASSERT_TRUE(reading.averageMhz.has_value());
    EXPECT_DOUBLE_EQ(*reading.averageMhz, (2096.04 + 3400.5) / 2);
}

// ------------------------------------------------------------------ parsers

TEST(SensorParsers, MillidegreesAllowOnlySurroundingWhiteSpace)
{
    EXPECT_EQ(ParseMillidegrees("45000\n"), Celsius(45.0));
    EXPECT_EQ(ParseMillidegrees(" 45000 \n"), Celsius(45.0));
    EXPECT_EQ(ParseMillidegrees("-1500\n"), Celsius(-1.5));
    EXPECT_EQ(ParseMillidegrees("+45000\n"), std::nullopt);
    EXPECT_EQ(ParseMillidegrees("4 5000\n"), std::nullopt);
    EXPECT_EQ(ParseMillidegrees("0x100\n"), std::nullopt);
    EXPECT_EQ(ParseMillidegrees("-50001"), std::nullopt);
    EXPECT_EQ(ParseMillidegrees("150001"), std::nullopt);
}

TEST(SensorParsers, KilohertzBounds)
{
    EXPECT_EQ(ParseKilohertz("1\n"), std::optional<double>(0.001));
    EXPECT_EQ(ParseKilohertz("20000000\n"), std::optional<double>(20000.0));
    EXPECT_EQ(ParseKilohertz("20000001\n"), std::nullopt);
    EXPECT_EQ(ParseKilohertz("0\n"), std::nullopt);
    EXPECT_EQ(ParseKilohertz("-1\n"), std::nullopt);
    EXPECT_EQ(ParseKilohertz("3000000.5\n"), std::nullopt);
}

TEST(SensorParsers, CpuinfoMhzLinesOnly)
{
    const std::string text =
        "processor\t: 0\ncpu MHz\t\t: 2096.040\ncpu MHz dynamic\t: 1.000\ncpu family\t: 6\n"
        "cpu MHz: 3000\ncpu MHz\t\t: 20000.001\ncpu MHz\t\t: 20000.000\n  cpu MHz : 1000.000\ncpu MHz";
    EXPECT_EQ(ParseCpuinfoMhz(text), (std::vector<double>{2096.04, 3000.0, 20000.0}));
}

// ------------------------------------------------------------------ history

SensorSample Sample(double seconds, std::optional<double> celsius, std::optional<double> averageMhz,
                    std::optional<double> lowestMhz = std::nullopt)
{
    SensorSample sample;
    sample.seconds = seconds;
    sample.celsius = celsius;
    sample.averageMhz = averageMhz;
    sample.lowestMhz = lowestMhz ? lowestMhz : averageMhz;
    return sample;
}

/// A first minute at `mhz` and `celsius`, one sample a second.
SensorHistory SteadyFirstMinute(double mhz, double celsius = 70.0)
{
    SensorHistory history;
    for (int second = 0; second < 60; ++second)
        history.Add(Sample(second, celsius, mhz));
    return history;
}

TEST(RunHistory, EmptyHistoryHasNothing)
{
    const SensorHistory history;
    EXPECT_EQ(history.LatestCelsius(), std::nullopt);
    EXPECT_EQ(history.HighestCelsius(), std::nullopt);
    EXPECT_EQ(history.LatestAverageMhz(), std::nullopt);
    EXPECT_EQ(history.LowestMhz(), std::nullopt);
    EXPECT_EQ(history.FirstMinuteAverageMhz(), std::nullopt);
    EXPECT_TRUE(history.TemperatureCurve().empty());
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, LatestHighestAndLowest)
{
    SensorHistory history;
    history.Add(Sample(0, 50.0, 3500.0, 3400.0));
    history.Add(Sample(1, 81.5, 3300.0, 2900.0));
    history.Add(Sample(2, 79.0, 3350.0, 3100.0));
    EXPECT_EQ(history.LatestCelsius(), Celsius(79.0));
    EXPECT_EQ(history.HighestCelsius(), Celsius(81.5));
    EXPECT_EQ(history.LatestAverageMhz(), std::optional<double>(3350.0));
    EXPECT_EQ(history.LowestMhz(), std::optional<double>(2900.0));
    EXPECT_EQ(history.Samples().size(), 3u);
}

TEST(RunHistory, LatestIsEmptyWhenTheLastSampleHasNoValue)
{
    SensorHistory history;
    history.Add(Sample(0, 60.0, 3000.0));
    history.Add(Sample(1, std::nullopt, std::nullopt));
    EXPECT_EQ(history.LatestCelsius(), std::nullopt);
    EXPECT_EQ(history.LatestAverageMhz(), std::nullopt);
    EXPECT_EQ(history.HighestCelsius(), Celsius(60.0));
    EXPECT_EQ(history.LowestMhz(), std::optional<double>(3000.0));
}

TEST(RunHistory, TemperatureCurveSkipsSamplesWithoutTemperature)
{
    SensorHistory history;
    history.Add(Sample(0, 40.0, 3000.0));
    history.Add(Sample(1, std::nullopt, 3000.0));
    history.Add(Sample(2, 45.5, 3000.0));
    const std::vector<TemperaturePoint> curve = history.TemperatureCurve();
    ASSERT_EQ(curve.size(), 2u);
    EXPECT_EQ(curve[0].seconds, 0.0);
    EXPECT_EQ(curve[0].celsius, 40.0);
    EXPECT_EQ(curve[1].seconds, 2.0);
    EXPECT_EQ(curve[1].celsius, 45.5);
}

TEST(RunHistory, NonFiniteValuesCountAsAbsent)
{
    SensorHistory history;
    history.Add(Sample(0, 50.0, 3000.0));
    history.Add(Sample(1, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()));
    history.Add(Sample(std::numeric_limits<double>::quiet_NaN(), 99.0, 100.0));
    EXPECT_EQ(history.Samples().size(), 2u);
    EXPECT_EQ(history.HighestCelsius(), Celsius(50.0));
    EXPECT_EQ(history.LowestMhz(), std::optional<double>(3000.0));
    EXPECT_EQ(history.TemperatureCurve().size(), 1u);
}

TEST(RunHistory, ClearEmptiesTheRun)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    history.Clear();
    EXPECT_TRUE(history.Samples().empty());
    EXPECT_EQ(history.HighestCelsius(), std::nullopt);
}

TEST(RunHistory, SteadyRunIsNotThrottled)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    for (int second = 60; second < 120; ++second)
        history.Add(Sample(second, 70.0, 2990.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, ExactlyTenPercentBelowIsNotThrottled)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    history.Add(Sample(60, 80.0, 2700.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, MoreThanTenPercentBelowIsThrottled)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    history.Add(Sample(60, 80.0, 2699.9));
    EXPECT_TRUE(history.Throttled());
}

TEST(RunHistory, FirstMinuteBaseIsTheMeanOfItsAverages)
{
    SensorHistory history;
    history.Add(Sample(0, 70.0, 3000.0));
    history.Add(Sample(30, 70.0, 3200.0));
    history.Add(Sample(45, 70.0, std::nullopt));  // no frequency: not in the mean
    EXPECT_EQ(history.FirstMinuteAverageMhz(), std::optional<double>(3100.0));
    history.Add(Sample(60, 70.0, 2790.0));  // exactly 10 % below 3100
    EXPECT_FALSE(history.Throttled());
    history.Add(Sample(61, 70.0, 2789.0));
    EXPECT_TRUE(history.Throttled());
}

TEST(RunHistory, ExactlyTwoDegreesBelowTheHighestIsWithin)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    history.Add(Sample(30.5, 80.125, 3000.0));  // the run's highest, in the first minute
    history.Add(Sample(60, 78.125, 2000.0));
    EXPECT_TRUE(history.Throttled());
}

TEST(RunHistory, ExactlyTwoDegreesBelowDecimalReadingsIsWithin)
{
    // 64.4 - 2 is 62.400000000000006 in binary: the rule must not miss by a rounding.
    SensorHistory history = SteadyFirstMinute(3000.0, 60.0);
    history.Add(Sample(30.5, 64.4, 3000.0));
    history.Add(Sample(60, 62.4, 2000.0));
    EXPECT_TRUE(history.Throttled());
}

TEST(RunHistory, MoreThanTwoDegreesBelowTheHighestIsNotThrottled)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    history.Add(Sample(30.5, 80.125, 3000.0));
    history.Add(Sample(60, 78.124, 2000.0));  // a millidegree too cool
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, SlowFirstMinuteSampleIsNotThrottling)
{
    SensorHistory history;
    for (int second = 0; second < 59; ++second)
        history.Add(Sample(second, 70.0, 3000.0));
    history.Add(Sample(59, 80.0, 2000.0));  // slow and hottest, but before 60 s
    history.Add(Sample(60, 80.0, 3000.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, SampleAtSixtySecondsCountsAfterTheFirstMinute)
{
    SensorHistory history;
    history.Add(Sample(0, 80.0, 3000.0));
    history.Add(Sample(60, 80.0, 2650.0));  // below 2700 only if 60 s is not in the base
    EXPECT_EQ(history.FirstMinuteAverageMhz(), std::optional<double>(3000.0));
    EXPECT_TRUE(history.Throttled());
}

TEST(RunHistory, NoFirstMinuteSampleIsNeverThrottled)
{
    SensorHistory history;
    history.Add(Sample(60, 80.0, 3000.0));
    history.Add(Sample(61, 80.0, 1000.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, NoFirstMinuteFrequencyIsNeverThrottled)
{
    SensorHistory history;
    for (int second = 0; second < 60; ++second)
        history.Add(Sample(second, 80.0, std::nullopt));
    history.Add(Sample(60, 80.0, 3000.0));
    history.Add(Sample(61, 80.0, 1000.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, NoTemperaturesIsNeverThrottled)
{
    SensorHistory history;
    for (int second = 0; second < 60; ++second)
        history.Add(Sample(second, std::nullopt, 3000.0));
    history.Add(Sample(60, std::nullopt, 1000.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, SlowSampleWithoutTemperatureIsNotThrottling)
{
    SensorHistory history = SteadyFirstMinute(3000.0);
    history.Add(Sample(60, std::nullopt, 1000.0));
    EXPECT_FALSE(history.Throttled());
}

TEST(RunHistory, NoFrequenciesIsNeverThrottled)
{
    SensorHistory history;
    for (int second = 0; second < 120; ++second)
        history.Add(Sample(second, 90.0, std::nullopt));
    EXPECT_FALSE(history.Throttled());
}

}  // namespace
