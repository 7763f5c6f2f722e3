#include "core/state.h"
#include "results/results_table.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {
class ResultTable : public ::testing::Test {
protected:
    void TearDown() override
    {
        ReleaseGlobalArrays();
        ResultLineCount = ResultLineWidth = RankedCount = 0;
    }

    void Load(const std::vector<wxString>& lines)
    {
        ASSERT_TRUE(LoadResultTable(lines.size(), [&lines](std::size_t n) {
            return std::wstring_view(lines[n].wc_str(), lines[n].length());
        }));
    }

    static std::wstring Field(int f) { return RecordFields[f].get(); }
};

// The ranking as the program's reference procedure builds it: slots in file
// order, then RankedCount - 1 bubble passes that swap neighbours when the
// later score is strictly greater.
std::vector<RankedResult> BubbleRanking(std::vector<RankedResult> slots)
{
    const int count = int(slots.size());
    for (int pass = 0; pass < count - 1; ++pass)
        for (int j = 0; j < count - 1; ++j)
            if (slots[j + 1].score > slots[j].score)
                std::swap(slots[j], slots[j + 1]);
    return slots;
}
}  // namespace

TEST_F(ResultTable, RankingMatchesTheBubbleSortOnRandomTablesWithManyTies)
{
    std::mt19937 random(20261121);
    for (int table = 0; table < 40; ++table) {
        const int count = 1 + int(random() % 300);
        std::vector<wxString> lines;
        std::vector<RankedResult> speedSlots, powerSlots;
        for (int i = 0; i < count; ++i) {
            const int speed = int(random() % 12);  // few distinct scores: many ties
            const int power = int(random() % 5) * 100;
            const bool hidden = random() % 7 == 0;
            lines.push_back(wxString::Format(wxS("M%d;x;1;2;3;4;5;Linux;6;%d;%d;%s"), i, speed, power,
                                             hidden ? wxS("no") : wxS("yes")));
            if (!hidden) {
                speedSlots.push_back({double(i), double(speed)});
                powerSlots.push_back({double(i), double(power)});
            }
        }
        Load(lines);
        ASSERT_EQ(RankedCount, int(speedSlots.size()));
        const auto speed = BubbleRanking(speedSlots);
        const auto power = BubbleRanking(powerSlots);
        for (int k = 0; k < RankedCount; ++k) {
            ASSERT_EQ(SpeedRanking[k].line, speed[k].line) << "table " << table << " slot " << k;
            ASSERT_EQ(SpeedRanking[k].score, speed[k].score);
            ASSERT_EQ(PowerRanking[k].line, power[k].line);
            ASSERT_EQ(PowerRanking[k].score, power[k].score);
        }
    }
}

TEST_F(ResultTable, SplitFillsTheTwelveFieldsAndTheTitle)
{
    Load({wxS("AMD;Ryzen 7;3800;4700;1;8;16;Linux;6.1;1234;9876;yes")});
    SplitResultRecord(0);
    EXPECT_EQ(Field(0), L"AMD");
    EXPECT_EQ(Field(1), L"Ryzen 7");
    EXPECT_EQ(Field(2), L"3800");
    EXPECT_EQ(Field(6), L"16");
    EXPECT_EQ(Field(9), L"1234");
    EXPECT_EQ(Field(10), L"9876");
    EXPECT_EQ(Field(11), L"yes");
    EXPECT_STREQ(RecordTitle.get(), L"AMD Ryzen 7 @ 3800 MHz");
}

TEST_F(ResultTable, SplitPutsEverythingAfterTheEleventhSeparatorInTheLastField)
{
    Load({wxS("a;b;c;d;e;f;g;h;i;j;k;l;m;n")});
    SplitResultRecord(0);
    EXPECT_EQ(Field(10), L"k");
    EXPECT_EQ(Field(11), L"l;m;n");
}

TEST_F(ResultTable, SplitOfAShortRowLeavesTheMissingFieldsEmpty)
{
    Load({wxS("Maker;Model")});
    SplitResultRecord(0);
    EXPECT_EQ(Field(0), L"Maker");
    EXPECT_EQ(Field(1), L"Model");
    for (int f = 2; f < RecordFieldCount; ++f)
        EXPECT_EQ(Field(f), L"") << f;
    EXPECT_STREQ(RecordTitle.get(), L"Maker Model @  MHz");
}

TEST_F(ResultTable, SplitOfARowThatIsNotThereGivesEmptyFields)
{
    Load({wxS("a;b;c")});
    SplitResultRecord(0);
    SplitResultRecord(5);
    for (int f = 0; f < RecordFieldCount; ++f)
        EXPECT_EQ(Field(f), L"");
    EXPECT_STREQ(RecordTitle.get(), L"");
}

TEST_F(ResultTable, SplitOfAnEmptyTableGivesEmptyFields)
{
    Load({});
    SplitResultRecord(0);
    EXPECT_EQ(ResultLineCount, 0);
    EXPECT_EQ(Field(0), L"");
    EXPECT_STREQ(RecordTitle.get(), L"");
}

TEST_F(ResultTable, SplitBeforeAnyLoadDoesNothing)
{
    SplitResultRecord(0);
    EXPECT_EQ(RecordTitle, nullptr);
}

TEST_F(ResultTable, JoinedFieldsMakeTheLine)
{
    Load({wxS("a;b;c;d;e;f;g;h;i;j;k;l")});
    SplitResultRecord(0);
    EXPECT_EQ(JoinRecordFields(), "a;b;c;d;e;f;g;h;i;j;k;l");
}

TEST_F(ResultTable, BoundedCopyNeverPassesTheBufferWidth)
{
    wchar_t buffer[6] = {L'#', L'#', L'#', L'#', L'#', L'#'};
    CopyBounded(buffer, 4, L"abcdefgh", 8);
    EXPECT_STREQ(buffer, L"abc");
    EXPECT_EQ(buffer[4], L'#');
    CopyBounded(buffer, 1, L"abc", 3);
    EXPECT_STREQ(buffer, L"");
}

TEST_F(ResultTable, LoadingAgainReplacesEveryBuffer)
{
    Load({wxS("a;b")});
    Load({wxS("a much longer line than before;with;fields")});
    EXPECT_EQ(ResultLineCount, 1);
    EXPECT_EQ(ResultLineWidth, 42 + 201);
    EXPECT_STREQ(ResultLines.get(), L"a much longer line than before;with;fields");
}
