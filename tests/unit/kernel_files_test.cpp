// The readers of the kernel's files that every sensor and condition shares:
// /proc/stat's processor times, the "key: value" lines of /proc/cpuinfo,
// and small files read whole or cut.
#include "sensors/heat_readings.h"
#include "sensors/kernel_files.h"
#include "sensors/run_conditions.h"
#include "../support/sensor_tree.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Ticks = std::optional<std::uint64_t>;

// ------------------------------------------------------------ /proc/stat

TEST(ProcessorTimes, BusyLeavesStealAndGuestOut)
{
    // user nice system idle iowait irq softirq steal guest guest_nice
    const ProcessorTimes times = ParseProcessorTimes("cpu  734864 7 181557 853484 9643 11 2520 697 5 3\nintr 1 2\n");
    EXPECT_EQ(times.busy, Ticks(734864 + 7 + 181557 + 11 + 2520));
    EXPECT_EQ(times.idle, Ticks(853484 + 9643));
    EXPECT_EQ(times.steal, Ticks(697));
}

TEST(ProcessorTimes, StealOfAVirtualMachineIsKeptApart)
{
    const ProcessorTimes times = ParseProcessorTimes("cpu  100 5 50 9000 10 1 2 3000 0 0\n");
    EXPECT_EQ(times.busy, Ticks(158));
    EXPECT_EQ(times.idle, Ticks(9010));
    EXPECT_EQ(times.steal, Ticks(3000));
}

TEST(ProcessorTimes, TabsAndOneSpaceSeparateColumnsToo)
{
    const ProcessorTimes times = ParseProcessorTimes("cpu\t1 2 3\t4 5 6 7 8");
    EXPECT_EQ(times.busy, Ticks(1 + 2 + 3 + 6 + 7));
    EXPECT_EQ(times.idle, Ticks(9));
    EXPECT_EQ(times.steal, Ticks(8));
}

TEST(ProcessorTimes, ShortLinesLeaveWhatNeedsAMissingColumnEmpty)
{
    const ProcessorTimes noSteal = ParseProcessorTimes("cpu  100 0 50 9000 10 4 6\n");  // before 2.6.11
    EXPECT_EQ(noSteal.busy, Ticks(160));
    EXPECT_EQ(noSteal.idle, Ticks(9010));
    EXPECT_EQ(noSteal.steal, std::nullopt);

    const ProcessorTimes noIrq = ParseProcessorTimes("cpu  100 0 50 9000 10\n");
    EXPECT_EQ(noIrq.busy, std::nullopt);
    EXPECT_EQ(noIrq.idle, Ticks(9010));
    EXPECT_EQ(noIrq.steal, std::nullopt);

    const ProcessorTimes noIowait = ParseProcessorTimes("cpu  100 0 50 9000\n");
    EXPECT_EQ(noIowait.busy, std::nullopt);
    EXPECT_EQ(noIowait.idle, std::nullopt);
    EXPECT_EQ(noIowait.steal, std::nullopt);
}

TEST(ProcessorTimes, GarbageGivesNothing)
{
    static constexpr char withNul[] = "cpu  100 0\0 50 9000 10 4 6 8 0 0\n";
    for (const std::string_view text : std::initializer_list<std::string_view>{
             "cpu  100 0 x50 9000 10 4 6 8 0 0\n",                      // junk in a column
             "cpu  100 0 -50 9000 10 4 6 8 0 0\n",                      // negative
             "cpu  100 0 +50 9000 10 4 6 8 0 0\n",                      // a sign
             "cpu  100 0 50.5 9000 10 4 6 8 0 0\n",                     // a fraction
             "cpu  100 0 50 9000 10 4 6 8 0 0 99999999999999999999\n",  // past 64 bits
             "intr 100 0 50 9000 10 4 6 8 0 0\n",                       // not the cpu line
             "cpu0 100 0 50 9000 10 4 6 8 0 0\n",                       // one processor's line
             "CPU  100 0 50 9000 10 4 6 8 0 0\n",
             "cpu\n",
             "",
             "\n\n",
             std::string_view(withNul, sizeof withNul - 1),
         }) {
        const ProcessorTimes times = ParseProcessorTimes(text);
        EXPECT_EQ(times.busy, std::nullopt) << text;
        EXPECT_EQ(times.idle, std::nullopt) << text;
        EXPECT_EQ(times.steal, std::nullopt) << text;
    }
}

TEST(ProcessorTimes, OnlyTheFirstLineCounts)
{
    const ProcessorTimes times = ParseProcessorTimes("intr 1 2 3\ncpu  1 1 1 1 1 1 1 1 1 1\n");
    EXPECT_EQ(times.busy, std::nullopt);
    EXPECT_EQ(times.idle, std::nullopt);
}

TEST(ProcessorTimes, ASumPastSixtyFourBitsIsEmptyAndTheOthersStay)
{
    const ProcessorTimes times = ParseProcessorTimes("cpu  18446744073709551615 1 0 7 0 0 0 5 0 0\n");
    EXPECT_EQ(times.busy, std::nullopt);
    EXPECT_EQ(times.idle, Ticks(7));
    EXPECT_EQ(times.steal, Ticks(5));
}

class ProcStatTree : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override { ASSERT_TRUE(Create()); }
    void TearDown() override { Destroy(); }
};

TEST_F(ProcStatTree, ReadsTheFirstLineOfALongFile)
{
    std::string text = "cpu  10 0 20 300 0 0 0 4 0 0\n";
    for (int cpu = 0; cpu < 200; ++cpu)
        text += "cpu" + std::to_string(cpu) + " 1 0 2 30 0 0 0 0 0 0\n";
    ASSERT_GT(text.size(), 4096u);
    Write("proc/stat", text);
    const ProcessorTimes times = ReadProcessorTimes(root.string());
    EXPECT_EQ(times.busy, Ticks(30));
    EXPECT_EQ(times.idle, Ticks(300));
    EXPECT_EQ(times.steal, Ticks(4));
}

TEST_F(ProcStatTree, AFirstLineLongerThanTheBufferGivesNothing)
{
    Write("proc/stat", "cpu  10 0 20 300 0 0 0 4" + std::string(2000, ' ') + " 0 0\n");
    const ProcessorTimes times = ReadProcessorTimes(root.string());
    EXPECT_EQ(times.busy, std::nullopt);
    EXPECT_EQ(times.steal, std::nullopt);
}

TEST_F(ProcStatTree, AMissingFileGivesNothing)
{
    const ProcessorTimes times = ReadProcessorTimes(root.string());
    EXPECT_EQ(times.busy, std::nullopt);
    EXPECT_EQ(times.idle, std::nullopt);
    EXPECT_EQ(times.steal, std::nullopt);
}

TEST_F(ProcStatTree, TheHeatMeterLeavesStealOutOfTheShare)
{
    // 100 ticks busy and 100 idle between the readings while the host took
    // 800: the processors were busy for half the time they ran.
    Write("proc/stat", "cpu  1000 0 0 1000 0 0 0 0 0 0\n");
    CpuBusyMeter meter(root.string());
    Write("proc/stat", "cpu  1100 0 0 1100 0 0 0 800 0 0\n");
    EXPECT_EQ(meter.Sample(), std::optional<double>(50.0));
    // Guest time is part of user time already: it adds nothing.
    Write("proc/stat", "cpu  1400 0 0 1200 0 0 0 800 300 0\n");
    EXPECT_EQ(meter.Sample(), std::optional<double>(75.0));
}

TEST_F(ProcStatTree, TheHeatMeterAndTheConditionsReadOneBusyTime)
{
    Write("proc/stat", "cpu  100 5 50 9000 10 1 2 30 0 0\n");
    const ProcessorTimes times = ReadProcessorTimes(root.string());
    EXPECT_EQ(times.busy, Ticks(158));
    EXPECT_EQ(times.steal, Ticks(30));
    const ConditionsSnapshot snapshot = ReadConditionsSnapshot(root.string());
    EXPECT_EQ(snapshot.busyTicks, times.busy);
    EXPECT_EQ(snapshot.stealTicks, times.steal);
    // Counters that did not move give no share; nor do counters that went back.
    CpuBusyMeter meter(root.string());
    EXPECT_EQ(meter.Sample(), std::nullopt);
    Write("proc/stat", "cpu  50 5 50 9100 10 1 2 30 0 0\n");
    EXPECT_EQ(meter.Sample(), std::nullopt);
}

// ------------------------------------------------------------ /proc/cpuinfo

TEST(KeyValueLines, EveryValueOfAKeyInOrder)
{
    std::string_view text = "processor\t: 0\n"
                            "model name\t: AMD Ryzen 7 5800X 8-Core Processor\n"
                            "cpu MHz\t\t: 2096.040\n"
                            "\n"
                            "processor\t: 1\n"
                            "cpu MHz  :  3000.000  \r\n"
                            "cpu MHzX : 1\n"    // another key
                            "cpu MH: 1\n"       // another key
                            " cpu MHz : 2\n"    // not at the start of the line
                            "cpu MHz 7\n"       // no colon
                            "cpu MHz :\n"       // no value
                            "cpu MHz: 4000";    // the last line without its end
    std::vector<std::string_view> values;
    while (const std::optional<std::string_view> value = NextKeyValue(text, "cpu MHz"))
        values.push_back(*value);
    EXPECT_EQ(values, (std::vector<std::string_view>{"2096.040", "3000.000", "", "4000"}));
    EXPECT_TRUE(text.empty());
}

TEST(KeyValueLines, TheFirstValueOnly)
{
    const std::string_view text = "model name\t: First\nmodel name\t: Second\n";
    EXPECT_EQ(FirstKeyValue(text, "model name"), std::optional<std::string_view>("First"));
    EXPECT_EQ(FirstKeyValue(text, "vendor_id"), std::nullopt);
    EXPECT_EQ(FirstKeyValue("", "model name"), std::nullopt);
    EXPECT_EQ(FirstKeyValue("Cpus_allowed_list:\t0-3,8\n", "Cpus_allowed_list"),
              std::optional<std::string_view>("0-3,8"));
}

TEST(KeyValueLines, TheFrequenciesAreReadByTheSameScanner)
{
    EXPECT_EQ(ParseCpuinfoMhz("cpu MHz\t\t: 2096.040\ncpu MHzX : 1\ncpu MHz : 3000\ncpu MHz : junk\n"),
              (std::vector<double>{2096.04, 3000.0}));
}

// ------------------------------------------------------------ small files

class SmallFiles : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override { ASSERT_TRUE(Create()); }
    void TearDown() override { Destroy(); }
    std::string Path(const std::string& relative) const { return (root / relative).string(); }
};

TEST_F(SmallFiles, AFileThatFillsTheBufferIsRefusedOrCut)
{
    Write("value", "12345678");
    std::array<char, 8> exact;
    EXPECT_EQ(ReadSmallFile(Path("value").c_str(), exact), -1);
    ASSERT_EQ(ReadSmallFile(Path("value").c_str(), exact, LongerFile::Cut), 8);
    EXPECT_EQ(std::string_view(exact.data(), 8), "12345678");

    std::array<char, 9> roomier;
    ASSERT_EQ(ReadSmallFile(Path("value").c_str(), roomier), 8);
    EXPECT_EQ(std::string_view(roomier.data(), 8), "12345678");

    std::array<char, 4> shorter;
    ASSERT_EQ(ReadSmallFile(Path("value").c_str(), shorter, LongerFile::Cut), 4);
    EXPECT_EQ(std::string_view(shorter.data(), 4), "1234");
}

TEST_F(SmallFiles, MissingEmptyAndFoldersAreToldApart)
{
    std::array<char, 16> buffer;
    EXPECT_EQ(ReadSmallFile(Path("missing").c_str(), buffer), -1);
    EXPECT_EQ(ReadSmallFile(Path("missing").c_str(), buffer, LongerFile::Cut), -1);
    Write("empty", "");
    EXPECT_EQ(ReadSmallFile(Path("empty").c_str(), buffer), 0);
    std::filesystem::create_directories(root / "folder");
    EXPECT_EQ(ReadSmallFile(Path("folder").c_str(), buffer), -1);
}

TEST_F(SmallFiles, AFifoIsNotWaitedFor)
{
    ASSERT_EQ(::mkfifo(Path("fifo").c_str(), 0600), 0);
    std::array<char, 16> buffer;
    EXPECT_LE(ReadSmallFile(Path("fifo").c_str(), buffer, LongerFile::Cut), 0);
}

TEST(UnderRoot, JoinsWithOneSlash)
{
    EXPECT_EQ(UnderRoot("", "proc/stat"), "/proc/stat");
    EXPECT_EQ(UnderRoot("/", "proc/stat"), "/proc/stat");
    EXPECT_EQ(UnderRoot("/tmp/tree", "proc/stat"), "/tmp/tree/proc/stat");
    EXPECT_EQ(UnderRoot("/tmp/tree/", "proc/stat"), "/tmp/tree/proc/stat");
}

}  // namespace
