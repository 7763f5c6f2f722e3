#include "app/state.h"
#include "config/config_file.h"
#include "results/results_table.h"
#include "views/chart_view.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <map>
#include <string>
#include <vector>

namespace {
// A results table and processor facts for the charts, emptied afterwards.
class Chart : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::wcscpy(CpuDisplayName, L"This CPU");
        std::wcscpy(OsName, L"Linux");
        CpuCount = 8;
        CpuCores = 4;
        CpuListCount = 20;
        ThreadCount = 8;
    }
    void TearDown() override
    {
        ReleaseGlobalArrays();
        ResultLineCount = ResultLineWidth = RankedCount = 0;
        CpuListCount = 20;
        CpuListHalf = 0;
        LastSpeedPoints = LastPowerPoints = 0.0;
        AverageThreadPoints = ReferenceCorePoints = HttEfficiency = 0.0;
        HttOption = HttOffResult = ThreadCount = 0;
        CpuDisplayName[0] = OsName[0] = L'\0';
        CpuCount = CpuCores = 0;
    }

    // Loads `lines` as the results file and sizes the chart rows.
    void Load(const std::vector<std::string>& lines)
    {
        m_lines.clear();
        for (const std::string& line : lines)
            m_lines.push_back(wxString::FromUTF8(line));
        ASSERT_TRUE(LoadResultTable(m_lines.size(), [this](std::size_t n) {
            return std::wstring_view(m_lines[n].wc_str(), m_lines[n].length());
        }));
        ApplyChartRows();
    }

    // `count` records named R0, R1 ... with speed 3000 - 10 i and power 100 i.
    void LoadDescending(int count)
    {
        std::vector<std::string> lines;
        for (int i = 0; i < count; ++i)
            lines.push_back(Record(wxString::Format("R%d", i).utf8_string(), std::to_string(3000 - 10 * i),
                                   std::to_string(100 * i)));
        Load(lines);
    }

    static std::string Record(const std::string& model, const std::string& speed, const std::string& power,
                              const std::string& display = "yes")
    {
        std::string line = "Maker;";
        for (const std::string* part : {&model, &Fixed(), &speed, &Separator(), &power, &Separator(), &display})
            line.append(*part);
        return line;
    }
    static const std::string& Fixed()
    {
        static const std::string fields = ";3000;4000;1;4;8;Linux;6.1;";
        return fields;
    }
    static const std::string& Separator()
    {
        static const std::string separator = ";";
        return separator;
    }

    std::vector<wxString> m_lines;
};

std::map<std::pair<int, int>, wxString> Texts(const ViewLayout& layout)
{
    std::map<std::pair<int, int>, wxString> texts;
    for (const ViewItem& item : layout)
        if (item.kind == ViewItem::Kind::Text)
            texts[{item.x, item.y}] = item.text;
    return texts;
}

std::vector<ViewItem> Bars(const ViewLayout& layout)
{
    std::vector<ViewItem> bars;
    for (const ViewItem& item : layout)
        if (item.kind == ViewItem::Kind::RoundedRectangle)
            bars.push_back(item);
    return bars;
}

// The model names drawn in the table, top to bottom.
std::vector<wxString> Names(const ViewLayout& layout)
{
    std::vector<wxString> names;
    for (const auto& [at, text] : Texts(layout))
        if (at.first == 10 && at.second >= 128)
            names.push_back(text);
    return names;
}

wxString Name(int i)
{
    return wxString::Format(wxS("Maker R%d @ 3000 MHz"), i);
}
}  // namespace

TEST_F(Chart, ThirtyResultsHalfTenPlaceFifteen)
{
    LoadDescending(30);
    LastSpeedPoints = 2855.0;  // between R14 (2860) and R15 (2850)
    const ViewLayout layout = LayoutSpeedChart();
    EXPECT_EQ(ChartRowsAbove, 10);
    EXPECT_EQ(ChartRowsBelow, 10);
    std::vector<wxString> expected;
    for (int i = 5; i <= 14; ++i)
        expected.push_back(Name(i));
    expected.push_back(wxS("This CPU"));
    for (int i = 15; i <= 24; ++i)
        expected.push_back(Name(i));
    EXPECT_EQ(Names(layout), expected);
    const auto bars = Bars(layout);
    ASSERT_EQ(bars.size(), 21u);
    EXPECT_EQ(SpeedChartScale, 2950.0);
    EXPECT_EQ(bars[0], RoundedRectangleItem(495, 132, 225, 8, 5.0, wxS("GREEN")));  // row 5: the full bar
    EXPECT_EQ(Texts(layout).at({515 + 225, 128}), "2950");
    // This machine's bar last, yellow, on row 10.
    EXPECT_EQ(bars.back(), RoundedRectangleItem(495, 132 + 160, int(2855.0 * 225 / 2950), 8, 5.0, wxS("YELLOW")));
}

TEST_F(Chart, PlaceThreeOfForty)
{
    LoadDescending(40);
    LastSpeedPoints = 2975.0;  // below R2 (2980)
    const ViewLayout layout = LayoutSpeedChart();
    EXPECT_EQ(ChartRowsAbove, 3);
    EXPECT_EQ(ChartRowsBelow, 17);
    const auto names = Names(layout);
    ASSERT_EQ(names.size(), 21u);
    EXPECT_EQ(names[0], Name(0));
    EXPECT_EQ(names[3], "This CPU");
    EXPECT_EQ(names[4], Name(3));
    EXPECT_EQ(names[20], Name(19));
}

TEST_F(Chart, FasterThanEveryStoredResult)
{
    LoadDescending(30);
    LastSpeedPoints = 5000.0;
    const ViewLayout layout = LayoutSpeedChart();
    EXPECT_EQ(ChartRowsAbove, 0);
    EXPECT_EQ(ChartRowsBelow, 20);
    EXPECT_EQ(SpeedChartScale, 5000.0);
    const auto names = Names(layout);
    EXPECT_EQ(names[0], "This CPU");
    EXPECT_EQ(names[1], Name(0));
    EXPECT_EQ(Bars(layout).back(), RoundedRectangleItem(495, 132, 225, 8, 5.0, wxS("YELLOW")));
}

TEST_F(Chart, AnEqualStoredScoreIsDrawnAbove)
{
    LoadDescending(30);
    LastSpeedPoints = 2900.0;  // R10 has exactly 2900
    const auto names = Names(LayoutSpeedChart());
    EXPECT_EQ(ChartRowsAbove, 10);
    EXPECT_EQ(names[9], Name(10));
    EXPECT_EQ(names[10], "This CPU");
    EXPECT_EQ(names[11], Name(11));
}

TEST_F(Chart, SevenRowsGiveThreeAboveAndThreeBelow)
{
    CpuListCount = 7;
    LoadDescending(30);
    LastSpeedPoints = 2855.0;
    const auto names = Names(LayoutSpeedChart());
    EXPECT_EQ(ChartRowsAbove, 3);
    EXPECT_EQ(ChartRowsBelow, 3);
    EXPECT_EQ(names, (std::vector<wxString>{Name(12), Name(13), Name(14), wxS("This CPU"), Name(15), Name(16),
                                            Name(17)}));
}

TEST_F(Chart, AnEmptyDisplayFieldGetsABarButNoTexts)
{
    Load({Record("A", "300", "1"), Record("B", "200", "1", ""), Record("C", "100", "1")});
    LastSpeedPoints = 50.0;
    const ViewLayout layout = LayoutSpeedChart();
    const auto texts = Texts(layout);
    EXPECT_EQ(texts.at({10, 128}), "Maker A @ 3000 MHz");
    EXPECT_EQ(texts.count({10, 144}), 0u);
    EXPECT_EQ(texts.count({295, 144}), 0u);
    EXPECT_EQ(texts.at({int(200 * 225.0 / 300 + 515.0), 144}), "200");
    EXPECT_EQ(Bars(layout).size(), 4u);
}

TEST_F(Chart, TextsOnlyForExactlyYes)
{
    Load({Record("A", "300", "1", "Yes"), Record("B", "200", "1", "yes ")});
    LastSpeedPoints = 50.0;
    const auto names = Names(LayoutSpeedChart());
    EXPECT_EQ(names, std::vector<wxString>{wxS("This CPU")});
}

TEST_F(Chart, StoredRowsShowMaximumFrequencyCoresThreadsAndSystem)
{
    Load({"AMD;Ryzen;3800;4700;1;8;16;Linux;6.1;900;9;yes"});
    LastSpeedPoints = 100.0;
    const auto texts = Texts(LayoutSpeedChart());
    EXPECT_EQ(texts.at({10, 128}), "AMD Ryzen @ 3800 MHz");
    EXPECT_EQ(texts.at({295, 128}), "4700");
    EXPECT_EQ(texts.at({345, 128}), "8");
    EXPECT_EQ(texts.at({380, 128}), "16");
    EXPECT_EQ(texts.at({415, 128}), "Linux");
    // The record buffers keep the pieces of the last row split.
    EXPECT_STREQ(RecordTitle.get(), L"AMD Ryzen @ 3800 MHz");
    EXPECT_STREQ(RecordFields[11].get(), L"yes");
}

TEST_F(Chart, ThisMachinesRowCells)
{
    LoadDescending(3);
    LastSpeedPoints = 1.0;
    auto texts = Texts(LayoutSpeedChart());
    EXPECT_EQ(texts.at({10, 176}), "This CPU");
    EXPECT_EQ(texts.at({295, 176}), "-");
    EXPECT_EQ(texts.at({345, 176}), "8");  // the thread count, not the 4 cores
    EXPECT_EQ(texts.at({380, 176}), "8");
    EXPECT_EQ(texts.at({415, 176}), "Linux");
    CpuCores = 0;
    texts = Texts(LayoutSpeedChart());
    EXPECT_EQ(texts.at({345, 176}), "-");
}

TEST_F(Chart, SpeedHeadingAndSeparator)
{
    LoadDescending(3);
    LastSpeedPoints = 1234.4;
    const ViewLayout layout = LayoutSpeedChart();
    const auto texts = Texts(layout);
    EXPECT_EQ(texts.at({10, 16}), "CPU Speed Benchmark");
    EXPECT_EQ(texts.at({10, 32}), "Speed test points:");
    EXPECT_EQ(texts.at({150, 32}), "1234");
    EXPECT_EQ(texts.at({10, 48}), "Processor:");
    EXPECT_EQ(texts.at({150, 48}), "This CPU");
    EXPECT_EQ(texts.at({10, 64}), "Processor threads:");
    EXPECT_EQ(texts.at({150, 64}), "8");
    EXPECT_EQ(texts.at({230, 64}), "Executed tasks:");
    EXPECT_EQ(texts.at({380, 64}), "1");
    EXPECT_EQ(texts.at({10, 96}), "Processor");
    EXPECT_EQ(texts.at({295, 96}), "F.max");
    EXPECT_EQ(texts.at({345, 96}), "Cores");
    EXPECT_EQ(texts.at({380, 96}), "Th.");
    EXPECT_EQ(texts.at({415, 96}), "OS");
    EXPECT_EQ(texts.at({495, 96}), "Results (points)");
    EXPECT_NE(std::find(layout.begin(), layout.end(), LineItem(10, 116, 775, 116)), layout.end());
}

TEST_F(Chart, PowerHeadingAndTheLongerSeparator)
{
    LoadDescending(3);
    LastPowerPoints = 41248.0;
    ThreadCount = 6;
    const ViewLayout layout = LayoutPowerChart();
    const auto texts = Texts(layout);
    EXPECT_EQ(texts.at({10, 16}), "CPU Power Benchmark");
    EXPECT_EQ(texts.at({10, 32}), "Power test points:");
    EXPECT_EQ(texts.at({150, 32}), "41248");
    EXPECT_EQ(texts.at({230, 64}), "Executed threads:");
    EXPECT_EQ(texts.at({380, 64}), "6");
    EXPECT_EQ(texts.at({495, 96}), "Results (points) (per core / per thread / HTT efficiency)");
    EXPECT_NE(std::find(layout.begin(), layout.end(), LineItem(10, 116, 890, 116)), layout.end());
}

TEST_F(Chart, HttHeadingForEachCase)
{
    LoadDescending(3);
    HttOption = 0;
    HttOffResult = 1200;
    EXPECT_EQ(Texts(LayoutPowerChart()).at({495, 64}), "HTT option unchecked.");
    EXPECT_EQ(Texts(LayoutPowerChart()).at({715, 64}), "Core performance.");
    HttOption = 1;
    EXPECT_EQ(Texts(LayoutPowerChart()).at({495, 64}), "HTT option checked.");
    EXPECT_EQ(Texts(LayoutPowerChart()).at({715, 64}), "Reference core performance result.");
    HttOffResult = 0;
    EXPECT_EQ(Texts(LayoutPowerChart()).at({715, 64}), "Estimated core performance.");
}

TEST_F(Chart, PowerLabelAlwaysHasFourNumbersAndATrailingBlank)
{
    Load({Record("A", "1", "50000")});
    LastPowerPoints = 41248.0;
    ReferenceCorePoints = 8100.0;
    AverageThreadPoints = 5156.0;
    HttEfficiency = (2 * 5156.0 - 8100.0) / 8100.0 * 100.0;
    const ViewLayout layout = LayoutPowerChart();
    const auto bars = Bars(layout);
    ASSERT_EQ(bars.size(), 2u);
    EXPECT_EQ(bars[1].brush, "MAGENTA");
    EXPECT_EQ(bars[1].y, 132 + 16);
    const double length = 41248.0 * 225 / 50000.0;
    EXPECT_EQ(bars[1].x2, int(length));
    EXPECT_EQ(Texts(layout).at({int(length + 515.0), 144}), "41248 ( 8100 / 5156 / 27% ) ");

    HttOption = 0;
    ReferenceCorePoints = AverageThreadPoints = 5156.0;
    HttEfficiency = 0.0;
    EXPECT_EQ(Texts(LayoutPowerChart()).at({int(length + 515.0), 144}), "41248 ( 5156 / 5156 / 0% ) ");
}

TEST_F(Chart, SpeedAndPowerPlacesAreIndependent)
{
    Load({Record("Fast", "900", "100"), Record("Strong", "100", "900")});
    LastSpeedPoints = 500.0;
    LastPowerPoints = 500.0;
    EXPECT_EQ(Names(LayoutSpeedChart())[0], "Maker Fast @ 3000 MHz");
    EXPECT_EQ(Names(LayoutPowerChart())[0], "Maker Strong @ 3000 MHz");
}

TEST_F(Chart, SlowerThanEveryStoredResultComesLast)
{
    LoadDescending(5);
    LastSpeedPoints = 1.0;
    const auto names = Names(LayoutSpeedChart());
    EXPECT_EQ(ChartRowsAbove, 5);
    EXPECT_EQ(names.back(), "This CPU");
    EXPECT_EQ(names.size(), 6u);
}

TEST_F(Chart, RowsPastTheEndOfTheRankingDrawNothing)
{
    LoadDescending(30);
    LastSpeedPoints = 2755.0;  // place 25
    const ViewLayout layout = LayoutSpeedChart();
    EXPECT_EQ(ChartRowsAbove, 10);
    EXPECT_EQ(ChartRowsBelow, 10);
    const auto names = Names(layout);
    ASSERT_EQ(names.size(), 16u);  // 15 .. 24, this machine, 25 .. 29
    EXPECT_EQ(names.back(), Name(29));
    EXPECT_EQ(Bars(layout).size(), 16u);
}

TEST_F(Chart, AnEmptyRankingScalesToThisMachine)
{
    Load({});
    LastSpeedPoints = 1234.0;
    const ViewLayout layout = LayoutSpeedChart();
    EXPECT_EQ(ChartRowsAbove, 0);
    EXPECT_EQ(ChartRowsBelow, 0);
    EXPECT_EQ(SpeedChartScale, 1234.0);
    EXPECT_EQ(Bars(layout), std::vector<ViewItem>{RoundedRectangleItem(495, 132, 225, 8, 5.0, wxS("YELLOW"))});
}

TEST_F(Chart, AScaleOfZeroDrawsBarsWithoutLength)
{
    Load({Record("A", "0", "0"), Record("B", "-5", "0")});
    LastSpeedPoints = 0.0;
    for (const ViewItem& bar : Bars(LayoutSpeedChart()))
        EXPECT_EQ(bar.x2, 0);
    LastPowerPoints = -2.0;
    const auto bars = Bars(LayoutPowerChart());
    EXPECT_EQ(bars.back().x2, 0);
    EXPECT_EQ(Texts(LayoutPowerChart()).at({515, 128 + 16 * ChartRowsAbove}).Left(2), "-2");
}

TEST_F(Chart, MissingChartBuffersAreMadeRatherThanWrittenThrough)
{
    LoadDescending(10);
    SpeedChartRows.reset();
    PowerChartRows.reset();
    ChartRowsCapacity = 0;
    LastSpeedPoints = 2955.0;
    EXPECT_EQ(Names(LayoutSpeedChart()).size(), 11u);
    EXPECT_NE(SpeedChartRows, nullptr);
}

TEST_F(Chart, AWiderTableAfterAReloadStillShowsEveryRow)
{
    LoadDescending(10);
    // A reload with a longer line widens every row; the chart buffers follow.
    std::vector<std::string> lines;
    for (int i = 0; i < 10; ++i)
        lines.push_back(Record(wxString::Format("R%d", i).utf8_string(), std::to_string(3000 - 10 * i), "1"));
    lines.push_back(Record(std::string(600, 'x'), "1", "1"));
    m_lines.clear();
    for (const std::string& line : lines)
        m_lines.push_back(wxString::FromUTF8(line));
    ASSERT_TRUE(LoadResultTable(m_lines.size(), [this](std::size_t n) {
        return std::wstring_view(m_lines[n].wc_str(), m_lines[n].length());
    }));
    LastSpeedPoints = 2955.0;
    EXPECT_EQ(Names(LayoutSpeedChart()).size(), 12u);
}

TEST_F(Chart, NegativeRowCountsDrawOnlyThisMachine)
{
    CpuListCount = -4;
    LoadDescending(10);
    LastSpeedPoints = 2955.0;
    EXPECT_EQ(Names(LayoutSpeedChart()), std::vector<wxString>{wxS("This CPU")});
}
