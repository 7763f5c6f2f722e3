#include "core/state.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cwchar>
#include <iterator>
#include <string>

TEST(State, RunParametersHaveTheirDefaults)
{
    EXPECT_EQ(SpeedTestMillis, 10000);
    EXPECT_EQ(PowerTestMillis, 10000);
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(FontSize, 9);
    EXPECT_EQ(ConfigMode, 'i');
    EXPECT_EQ(static_cast<int>(ConfigMode), 105);
}

TEST(State, FixedLabelsHoldTheirTexts)
{
    EXPECT_STREQ(SpeedTitleLabel, L"CPU Speed Benchmark");
    EXPECT_STREQ(SpeedPointsLabel, L"Speed test points:");
    EXPECT_STREQ(PowerTitleLabel, L"CPU Power Benchmark");
    EXPECT_STREQ(PowerPointsLabel, L"Power test points:");
    EXPECT_STREQ(HeatTitleLabel, L"CPU Heat Test");
    EXPECT_STREQ(InfoTitleLabel, L"Processor Informations");
    EXPECT_STREQ(PleaseWaitLabel, L"Please wait ...");
    EXPECT_STREQ(ManualMissingLabel, L"The file 'manual_tarnwick.txt' is not found!");
    EXPECT_STREQ(HistoryMissingLabel, L"The file 'history_tarnwick.txt' is not found!");
    EXPECT_STREQ(PositiveNumberLabel, L"Please enter a positive number!");
    EXPECT_STREQ(NoResultsLabel, L"There are no results!");
}

// The sizes of the fixed arrays are facts of their declarations: the
// compiler checks them.
template <std::size_t Size>
constexpr bool LabelSize(const wchar_t (&)[Size])
{
    return Size >= 16 && Size <= 48;
}
static_assert(LabelSize(SpeedTitleLabel) && LabelSize(SpeedPointsLabel) && LabelSize(PowerTitleLabel) &&
                  LabelSize(PowerPointsLabel) && LabelSize(HeatTitleLabel) && LabelSize(InfoTitleLabel) &&
                  LabelSize(PleaseWaitLabel) && LabelSize(ManualMissingLabel) && LabelSize(HistoryMissingLabel) &&
                  LabelSize(PositiveNumberLabel) && LabelSize(NoResultsLabel),
              "every fixed label is an array of 16 to 48 characters");
static_assert(std::size(CpuVendorId) == 13 && std::size(CpuBrandString) == 49 && std::size(OsName) == 16 &&
                  std::size(CpuVendorShortName) == 16,
              "the processor's texts have their fixed widths");
static_assert(std::size(ReservedTextTables) == 3 && std::size(ReservedTextTables[0]) == 81,
              "three reserved tables of 81 texts");

TEST(State, DisplayStartsBlankAndNothingIsCancelled)
{
    EXPECT_EQ(DisplayMode, 0);
    EXPECT_EQ(DialogCancelled, 0);
    EXPECT_EQ(HeatState, 0);
}

TEST(State, ProcessorFactsStartEmptyWithOnePackage)
{
    EXPECT_STREQ(OsName, L"");
    EXPECT_STREQ(CpuVendorShortName, L"");
    EXPECT_STREQ(CpuVendorId, "");
    EXPECT_STREQ(CpuBrandString, "");
    EXPECT_STREQ(CpuDisplayName, L"");
    EXPECT_EQ(CpuPackages, 1u);
    EXPECT_EQ(CpuCores, 0u);
    EXPECT_EQ(CpuHtt, 0u);
    EXPECT_EQ(CpuCount, 0u);
}

TEST(State, BenchmarkResultsStartAtZero)
{
    EXPECT_EQ(ThreadCount, 0u);
    EXPECT_EQ(HttOption, 0u);
    EXPECT_EQ(HttOffResult, 0u);
    EXPECT_EQ(HalfThreadCount, 0u);
    EXPECT_EQ(DoneProduct, 0u);
    EXPECT_EQ(ThreadDone, nullptr);
    EXPECT_EQ(ThreadPoints, nullptr);
    EXPECT_EQ(PointsSum, 0.0);
    EXPECT_EQ(LastSpeedPoints, 0.0);
    EXPECT_EQ(LastPowerPoints, 0.0);
    EXPECT_EQ(AverageThreadPoints, 0.0);
    EXPECT_EQ(ReferenceCorePoints, 0.0);
    EXPECT_EQ(HttEfficiency, 0.0);
    EXPECT_EQ(HeatStart, 0);
    EXPECT_EQ(HeatWorkNow.load(), 0);
    EXPECT_EQ(HeatViewNow, 0);
}

TEST(State, HeapArraysStartUnallocated)
{
    EXPECT_EQ(ResultLineCount, 0);
    EXPECT_EQ(ResultLineWidth, 0);
    EXPECT_EQ(ResultLines, nullptr);
    EXPECT_EQ(RecordTitle, nullptr);
    for (const auto& field : RecordFields)
        EXPECT_EQ(field, nullptr);
    EXPECT_EQ(SpeedRanking, nullptr);
    EXPECT_EQ(PowerRanking, nullptr);
    EXPECT_EQ(SearchText, nullptr);
    EXPECT_EQ(SearchHits, nullptr);
    EXPECT_EQ(SearchHitCount, 0);
    EXPECT_EQ(SpeedChartRows, nullptr);
    EXPECT_EQ(PowerChartRows, nullptr);
}

TEST(State, HelpPathsAreRelativeAndOtherPathsEmpty)
{
    EXPECT_EQ(ManualFilePath, "doc/manual_tarnwick.txt");
    EXPECT_EQ(HistoryFilePath, "doc/history_tarnwick.txt");
    for (const wxString* path : {&ExePath, &AppBaseDir, &ConfigFilePath, &ConfigTemplatePath,
                                 &ConfigBackupPath, &ManualFileFullPath, &HistoryFileFullPath,
                                 &ResultsFilePath, &ResultsTemplatePath, &ResultsBackupPath})
        EXPECT_TRUE(path->empty());
}

TEST(State, ReservedTextTablesStartEmpty)
{
    for (const auto& table : ReservedTextTables)
        for (const wxString& text : table)
            EXPECT_TRUE(text.empty());
}

TEST(State, ReleasingFreesOnlyWhatWasMadeAndLeavesNoArray)
{
    // Some arrays made, others not: the release frees the first and skips
    // the rest (the sanitizer build reports any leak or double free).
    ResultLines = std::make_unique<wchar_t[]>(64);
    RecordTitle = std::make_unique<wchar_t[]>(16);
    RecordFields[0] = std::make_unique<wchar_t[]>(16);
    RecordFields[11] = std::make_unique<wchar_t[]>(16);
    SpeedRanking = std::make_unique<RankedResult[]>(4);
    SearchText = std::make_unique<wchar_t[]>(4);

    ReleaseGlobalArrays();

    EXPECT_EQ(SpeedChartRows, nullptr);
    EXPECT_EQ(PowerChartRows, nullptr);
    EXPECT_EQ(RecordTitle, nullptr);
    for (const auto& field : RecordFields)
        EXPECT_EQ(field, nullptr);
    EXPECT_EQ(ResultLines, nullptr);
    EXPECT_EQ(SpeedRanking, nullptr);
    EXPECT_EQ(PowerRanking, nullptr);
    EXPECT_EQ(SearchHits, nullptr);
    EXPECT_EQ(SearchText, nullptr);
}

TEST(State, ReleasingTwiceFreesNothingTwice)
{
    SpeedChartRows = std::make_unique<wchar_t[]>(32);
    PowerChartRows = std::make_unique<wchar_t[]>(32);
    SearchHits = std::make_unique<wchar_t[]>(32);
    ReleaseGlobalArrays();
    ReleaseGlobalArrays();
    EXPECT_EQ(SpeedChartRows, nullptr);
    EXPECT_EQ(PowerChartRows, nullptr);
    EXPECT_EQ(SearchHits, nullptr);
}
