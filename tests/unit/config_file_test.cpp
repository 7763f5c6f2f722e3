#include "config/config_file.h"
#include "file_fixture.h"
#include "results/results_file.h"

#include <limits>

namespace {
class ConfigFile : public ProgramDirectory {
protected:
    // Loads `content` as tarnwick.conf beside a results table of width 250.
    int Load(const std::string& content)
    {
        Write("tarnwick.conf", content);
        ResultLineWidth = 250;
        return ProcessConfigFile(ConfigModeLoad);
    }
};
}  // namespace

TEST_F(ConfigFile, TabsBeforeTheValueGive20RowsAndHalf10)
{
    ASSERT_EQ(Load("cpulist\t\t20\n"), 0);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(CpuListHalf, 10);
    EXPECT_NE(SpeedChartRows, nullptr);
    EXPECT_NE(PowerChartRows, nullptr);
}

TEST_F(ConfigFile, BlanksAroundTheLineGive20RowsAndHalf10)
{
    CpuListCount = 3;
    ASSERT_EQ(Load("  cpulist 20  \n"), 0);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(CpuListHalf, 10);
}

TEST_F(ConfigFile, SevenRowsGiveHalf3)
{
    ASSERT_EQ(Load("cpulist\t\t7\n"), 0);
    EXPECT_EQ(CpuListCount, 7);
    EXPECT_EQ(CpuListHalf, 3);
}

TEST_F(ConfigFile, CommentLinesChangeNothing)
{
    ASSERT_EQ(Load("; cpulist 5\n   # heattime 3\n\t#cpulist 4\n"), 0);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(HeatTestMillis, 600000);
}

TEST_F(ConfigFile, HeatTimeIsMinutesTimes60000)
{
    ASSERT_EQ(Load("cpulist 20\nheattime 2\n"), 0);
    EXPECT_EQ(HeatTestMillis, 120000);
}

TEST_F(ConfigFile, SavingWritesTheHeatTimeLineWithOneTab)
{
    ASSERT_EQ(Load("cpulist 20\nheattime 2\n"), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist\t\t20\nheattime\t2\n");
}

TEST_F(ConfigFile, KeyIsFoundAnywhereInTheLine)
{
    ASSERT_EQ(Load("mycpulist 9\n"), 0);
    EXPECT_EQ(CpuListCount, 9);
}

TEST_F(ConfigFile, AnEqualsSignMakesTheValueZero)
{
    ASSERT_EQ(Load("cpulist=9\n"), 0);
    EXPECT_EQ(CpuListCount, 0);
    EXPECT_EQ(CpuListHalf, 0);
}

TEST_F(ConfigFile, OneLineMaySetBothKeys)
{
    ASSERT_EQ(Load("cpulist 5 heattime 3\n"), 0);
    EXPECT_EQ(CpuListCount, 5);
    EXPECT_EQ(HeatTestMillis, 180000);
    EXPECT_EQ(ConfigCpuListLine, 0);
    EXPECT_EQ(ConfigHeatTimeLine, 0);
}

TEST_F(ConfigFile, TheLastOccurrenceWinsAndItsLineIsRemembered)
{
    ASSERT_EQ(Load("cpulist 5\n# x\ncpulist 8\nheattime 1\nheattime 4\n"), 0);
    EXPECT_EQ(CpuListCount, 8);
    EXPECT_EQ(ConfigCpuListLine, 2);
    EXPECT_EQ(HeatTestMillis, 240000);
    EXPECT_EQ(ConfigHeatTimeLine, 4);
}

TEST_F(ConfigFile, KeysAreCaseSensitive)
{
    ASSERT_EQ(Load("CPULIST 5\nHeatTime 3\n"), 0);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(HeatTestMillis, 600000);
}

TEST_F(ConfigFile, SaveKeepsEveryOtherLineInPlace)
{
    ASSERT_EQ(Load("# rows\ncpulist 20\n; minutes\nheattime 10\n# end\n"), 0);
    CpuListCount = 12;
    HeatTestMillis = 180000;
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "# rows\ncpulist\t\t12\n; minutes\nheattime\t3\n# end\n");
    EXPECT_EQ(CpuListHalf, 6);
}

TEST_F(ConfigFile, SavingWithTheHeatTimeKeyMissingReplacesTheFirstLine)
{
    ASSERT_EQ(Load("# settings\ncpulist 5\n"), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "heattime\t10\ncpulist\t\t5\n");
}

TEST_F(ConfigFile, SavingWithBothKeysMissingLeavesOnlyTheHeatTimeLineOnTop)
{
    ASSERT_EQ(Load("# first\n# second\n"), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "heattime\t10\n# second\n");
}

TEST_F(ConfigFile, SavingAnEmptyFileLeavesOnlyTheHeatTimeLine)
{
    ASSERT_EQ(Load(""), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "heattime\t10\n");
}

TEST_F(ConfigFile, SavingFromAnotherDirectoryWritesBesideTheExecutable)
{
    Write("tarnwick.conf", "cpulist 20\nheattime 10\n");
    const fs::path elsewhere = dir / "elsewhere";
    fs::create_directory(elsewhere);
    fs::current_path(elsewhere);
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    CpuListCount = 30;
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist\t\t30\nheattime\t10\n");
    EXPECT_FALSE(fs::exists(elsewhere / "tarnwick.conf"));
    EXPECT_EQ(ConfigFilePath.utf8_string(), (dir / "tarnwick.conf").string());
    EXPECT_EQ(ManualFileFullPath.utf8_string(), (dir / "doc/manual_tarnwick.txt").string());
    EXPECT_EQ(HistoryFileFullPath.utf8_string(), (dir / "doc/history_tarnwick.txt").string());
}

TEST_F(ConfigFile, FromTheExecutablesDirectoryBareNamesAreUsed)
{
    ASSERT_EQ(Load("cpulist 20\n"), 0);
    EXPECT_EQ(ConfigFilePath, "tarnwick.conf");
    EXPECT_EQ(ConfigTemplatePath, "doc/tarnwick_original.conf");
    EXPECT_EQ(ConfigBackupPath, "tarnwick.bak");
    EXPECT_EQ(ManualFileFullPath, "doc/manual_tarnwick.txt");
    EXPECT_EQ(HistoryFileFullPath, "doc/history_tarnwick.txt");
    EXPECT_EQ(AppBaseDir, "");
}

TEST_F(ConfigFile, MissingFileIsCreatedFromTheTemplateWithOneMessage)
{
    Write("doc/tarnwick_original.conf", "# template\ncpulist\t\t15\nheattime\t4\n");
    ResultLineWidth = 250;
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "# template\ncpulist\t\t15\nheattime\t4\n");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first, "tarnwick.conf was created from original template!");
    EXPECT_EQ(messages[0].second, "Tarnwick - ConfigFile");
    EXPECT_EQ(CpuListCount, 15);
    EXPECT_EQ(HeatTestMillis, 240000);
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    EXPECT_EQ(messages.size(), 1u);
}

TEST_F(ConfigFile, MissingFileAndTemplateGiveStatus1SilentlyWithBuiltInSettings)
{
    ResultLineWidth = 250;
    EXPECT_EQ(ProcessConfigFile(ConfigModeLoad), 1);
    EXPECT_TRUE(messages.empty());
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(CpuListHalf, 10);  // the charts still get their rows
    EXPECT_NE(SpeedChartRows, nullptr);
}

TEST_F(ConfigFile, UnreadableFileGivesStatus2)
{
    const std::string failure = RunUnprivileged([this]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "tarnwick.conf") << "cpulist 5\n";
        ::chmod((own / "tarnwick.conf").c_str(), 0);
        const int status = ProcessConfigFile(ConfigModeLoad);
        if (status != 2)
            return "loading an unreadable file gave status " + std::to_string(status) + ", not 2";
        if (CpuListCount != 20)
            return "cpulist became " + std::to_string(CpuListCount) + ", not the default 20";
        return messages.empty() ? "" : "a message was shown: " + messages[0].first;
    });
    EXPECT_EQ(failure, "");
}

TEST_F(ConfigFile, WithoutACpuListLineTheChartsGetRowsForTheBuiltInCount)
{
    ASSERT_EQ(Load("heattime 3\n"), 0);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(CpuListHalf, 10);
    EXPECT_NE(SpeedChartRows, nullptr);
    EXPECT_NE(PowerChartRows, nullptr);
}

TEST_F(ConfigFile, ApplyResizesTheChartsAndLeavesTheFileAlone)
{
    ASSERT_EQ(Load("cpulist 20\nheattime 10\n"), 0);
    CpuListCount = 12;
    HeatTestMillis = 180000;
    ASSERT_EQ(ProcessConfigFile(ConfigModeApply), 0);
    EXPECT_EQ(CpuListHalf, 6);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist 20\nheattime 10\n");
}

TEST_F(ConfigFile, OtherModesOnlyOpenTheFile)
{
    ASSERT_EQ(Load("cpulist 20\nheattime 10\n"), 0);
    CpuListCount = 12;
    EXPECT_EQ(ProcessConfigFile('x'), 0);
    EXPECT_EQ(CpuListCount, 12);
    EXPECT_EQ(CpuListHalf, 10);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist 20\nheattime 10\n");
}

TEST_F(ConfigFile, NoBackupIsEverMade)
{
    ASSERT_EQ(Load("cpulist 20\nheattime 10\n"), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_FALSE(ConfigBackupEnabled);
    EXPECT_FALSE(Exists("tarnwick.bak"));
}

TEST_F(ConfigFile, NegativeValuesFromTheFileAreTakenAsTheyStand)
{
    ASSERT_EQ(Load("cpulist -4\nheattime -2\n"), 0);
    EXPECT_EQ(CpuListCount, -4);
    EXPECT_EQ(CpuListHalf, -2);
    EXPECT_EQ(HeatTestMillis, -120000);
    EXPECT_NE(SpeedChartRows, nullptr);  // no rows, but a buffer
}

TEST_F(ConfigFile, HugeValuesAreClampedAndNeverOverflowTheBuffers)
{
    ASSERT_EQ(Load("cpulist 99999999999999\nheattime 35792\n"), 0);
    EXPECT_EQ(CpuListCount, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(HeatTestMillis, 35791 * 60000);  // the most whole minutes 32 bits hold
}

TEST_F(ConfigFile, HeatTimesBeyond32BitsAreTheMostWholeMinutesThatFitAndSurviveASave)
{
    for (const auto& [line, minutes] : {std::pair{"heattime 35791", 35791}, {"heattime 71583", 35791},
                                        {"heattime 99999999", 35791}, {"heattime 99999999999", 35791},
                                        {"heattime -35792", -35791}, {"heattime -99999999", -35791}}) {
        ASSERT_EQ(Load(std::string("cpulist 20\n") + line + "\n"), 0) << line;
        EXPECT_EQ(HeatTestMillis, minutes * 60000) << line;
        ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
        EXPECT_EQ(Read("tarnwick.conf"), "cpulist\t\t20\nheattime\t" + std::to_string(minutes) + "\n") << line;
    }
}

TEST_F(ConfigFile, SmallCrlfFileIsSavedWithCrlf)
{
    ASSERT_EQ(Load("cpulist 20\r\nheattime 10\r\n"), 0);
    EXPECT_EQ(ConfigLineType, wxTextFileType_Dos);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist\t\t20\r\nheattime\t10\r\n");
}

TEST_F(ConfigFile, Latin1CommentsSurviveASave)
{
    ASSERT_EQ(Load("# r\xE9glages\ncpulist 20\nheattime 10\n"), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "# r\xE9glages\ncpulist\t\t20\nheattime\t10\n");
}

TEST_F(ConfigFile, ChartRowsAreSizedByTheResultsTable)
{
    Write("cpu_results.csv", "0123456789\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(ResultLineWidth, 211);
    Write("tarnwick.conf", "cpulist 3\n");
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    // Every element of 3 rows of 211 characters can be written.
    for (int i = 0; i < 3 * 211; ++i) {
        SpeedChartRows[i] = L'x';
        PowerChartRows[i] = L'y';
    }
    EXPECT_EQ(SpeedChartRows[3 * 211 - 1], L'x');
}
