#include "core/state.h"
#include "bench/evidence.h"
#include "config/config_file.h"
#include "../support/saved_state.h"
#include "results/results_table.h"
#include "views/chart_view.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <map>
#include <ostream>
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
        LastSpeedEvidence = {};
        LastPowerEvidence = {};
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

    // `count` records named R0, R1 ... with speed 3000 - 10 i and power
    // 100 (i + 1): the speed ranking is the file order, the power ranking
    // the file order reversed.
    void LoadDescending(int count)
    {
        std::vector<std::string> lines;
        for (int i = 0; i < count; ++i)
            lines.push_back(Record(wxString::Format("R%d", i).utf8_string(), std::to_string(3000 - 10 * i),
                                   std::to_string(100 * (i + 1))));
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

    StateGuard m_saved;
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

namespace {
enum class Kind { Speed, Power };

// The place, window and clamp cases, run for the speed chart and for the
// power chart over tables that rank differently in the two, so that each
// chart must take its own ranking and this machine's own score.
class ChartPlaces : public Chart, public ::testing::WithParamInterface<Kind> {
protected:
    bool IsPower() const { return GetParam() == Kind::Power; }

    void LoadRanked(int count)
    {
        m_count = count;
        LoadDescending(count);
    }

    // The score and the name at ranking place p of the chart under test.
    double Score(int p) const { return IsPower() ? 100.0 * (m_count - p) : 3000.0 - 10.0 * p; }
    wxString NameAt(int p) const { return Name(IsPower() ? m_count - 1 - p : p); }
    // A score that puts this machine at place p: between places p - 1 and p.
    double Between(int p) const { return (Score(p - 1) + Score(p)) / 2; }

    // This machine's points in the chart under test; in the other chart it
    // is faster than every stored result, a place no case here expects.
    void SetPoints(double points) const
    {
        (IsPower() ? LastPowerPoints : LastSpeedPoints) = points;
        (IsPower() ? LastSpeedPoints : LastPowerPoints) = 1.0e9;
    }

    ViewLayout Layout() const { return IsPower() ? LayoutPowerChart() : LayoutSpeedChart(); }
    double Scale() const { return IsPower() ? PowerChartScale : SpeedChartScale; }
    wxString OwnColour() const { return IsPower() ? wxS("MAGENTA") : wxS("YELLOW"); }

    int m_count = 0;
};

std::string KindName(const ::testing::TestParamInfo<Kind>& info)
{
    return info.param == Kind::Power ? "Power" : "Speed";
}

void PrintTo(Kind kind, std::ostream* out)
{
    *out << (kind == Kind::Power ? "the power chart" : "the speed chart");
}
}  // namespace

INSTANTIATE_TEST_SUITE_P(BothCharts, ChartPlaces, ::testing::Values(Kind::Speed, Kind::Power), KindName);

TEST_P(ChartPlaces, ThirtyResultsHalfTenPlaceFifteen)
{
    LoadRanked(30);
    SetPoints(Between(15));
    const ViewLayout layout = Layout();
    EXPECT_EQ(ChartRowsAbove, 10);
    EXPECT_EQ(ChartRowsBelow, 10);
    std::vector<wxString> expected;
    for (int p = 5; p <= 14; ++p)
        expected.push_back(NameAt(p));
    expected.push_back(wxS("This CPU"));
    for (int p = 15; p <= 24; ++p)
        expected.push_back(NameAt(p));
    EXPECT_EQ(Names(layout), expected);
    const auto bars = Bars(layout);
    ASSERT_EQ(bars.size(), 21u);
    EXPECT_EQ(Scale(), Score(5));
    EXPECT_EQ(bars[0], RoundedRectangleItem(495, 132, 225, 8, 5.0, wxS("GREEN")));  // place 5: the full bar
    EXPECT_EQ(Texts(layout).at({515 + 225, 128}), wxString::Format(wxS("%.0f"), Score(5)));
    // This machine's bar last, in its own colour, on row 10.
    EXPECT_EQ(bars.back(),
              RoundedRectangleItem(495, 132 + 160, int(Between(15) * 225 / Score(5)), 8, 5.0, OwnColour()));
}

TEST_P(ChartPlaces, PlaceThreeOfForty)
{
    LoadRanked(40);
    SetPoints(Between(3));
    const ViewLayout layout = Layout();
    EXPECT_EQ(ChartRowsAbove, 3);
    EXPECT_EQ(ChartRowsBelow, 17);
    const auto names = Names(layout);
    ASSERT_EQ(names.size(), 21u);
    EXPECT_EQ(names[0], NameAt(0));
    EXPECT_EQ(names[2], NameAt(2));
    EXPECT_EQ(names[3], "This CPU");
    EXPECT_EQ(names[4], NameAt(3));
    EXPECT_EQ(names[20], NameAt(19));
}

TEST_P(ChartPlaces, FasterThanEveryStoredResult)
{
    LoadRanked(30);
    SetPoints(2 * Score(0));
    const ViewLayout layout = Layout();
    EXPECT_EQ(ChartRowsAbove, 0);
    EXPECT_EQ(ChartRowsBelow, 20);
    EXPECT_EQ(Scale(), 2 * Score(0));
    const auto names = Names(layout);
    ASSERT_EQ(names.size(), 21u);
    EXPECT_EQ(names[0], "This CPU");
    EXPECT_EQ(names[1], NameAt(0));
    EXPECT_EQ(names[20], NameAt(19));
    EXPECT_EQ(Bars(layout).back(), RoundedRectangleItem(495, 132, 225, 8, 5.0, OwnColour()));
}

TEST_P(ChartPlaces, AnEqualStoredScoreIsDrawnAbove)
{
    LoadRanked(30);
    SetPoints(Score(10));
    const auto names = Names(Layout());
    EXPECT_EQ(ChartRowsAbove, 10);
    ASSERT_EQ(names.size(), 21u);
    EXPECT_EQ(names[9], NameAt(10));
    EXPECT_EQ(names[10], "This CPU");
    EXPECT_EQ(names[11], NameAt(11));
}

TEST_P(ChartPlaces, SevenRowsGiveThreeAboveAndThreeBelow)
{
    CpuListCount = 7;
    LoadRanked(30);
    SetPoints(Between(15));
    const auto names = Names(Layout());
    EXPECT_EQ(ChartRowsAbove, 3);
    EXPECT_EQ(ChartRowsBelow, 3);
    EXPECT_EQ(names, (std::vector<wxString>{NameAt(12), NameAt(13), NameAt(14), wxS("This CPU"), NameAt(15),
                                            NameAt(16), NameAt(17)}));
}

TEST_P(ChartPlaces, AnEmptyDisplayFieldGetsABarButNoTexts)
{
    // Ranked A, B, C by speed and C, B, A by power; B's display field is empty.
    Load({Record("A", "300", "100"), Record("B", "200", "200", ""), Record("C", "100", "300")});
    SetPoints(50.0);
    const ViewLayout layout = Layout();
    const auto texts = Texts(layout);
    EXPECT_EQ(texts.at({10, 128}), IsPower() ? "Maker C @ 3000 MHz" : "Maker A @ 3000 MHz");
    EXPECT_EQ(texts.count({10, 144}), 0u);
    EXPECT_EQ(texts.count({295, 144}), 0u);
    EXPECT_EQ(texts.at({int(200 * 225.0 / 300 + 515.0), 144}), "200");
    EXPECT_EQ(texts.at({10, 160}), IsPower() ? "Maker A @ 3000 MHz" : "Maker C @ 3000 MHz");
    EXPECT_EQ(Bars(layout).size(), 4u);
}

TEST_P(ChartPlaces, SlowerThanEveryStoredResultComesLast)
{
    LoadRanked(5);
    SetPoints(Score(4) / 2);
    const auto names = Names(Layout());
    EXPECT_EQ(ChartRowsAbove, 5);
    EXPECT_EQ(ChartRowsBelow, 0);
    EXPECT_EQ(names, (std::vector<wxString>{NameAt(0), NameAt(1), NameAt(2), NameAt(3), NameAt(4),
                                            wxS("This CPU")}));
}

TEST_P(ChartPlaces, RowsPastTheEndOfTheRankingDrawNothing)
{
    LoadRanked(30);
    SetPoints(Between(25));
    const ViewLayout layout = Layout();
    EXPECT_EQ(ChartRowsAbove, 10);
    EXPECT_EQ(ChartRowsBelow, 10);
    const auto names = Names(layout);
    ASSERT_EQ(names.size(), 16u);  // places 15 .. 24, this machine, 25 .. 29
    EXPECT_EQ(names.front(), NameAt(15));
    EXPECT_EQ(names[11], NameAt(25));
    EXPECT_EQ(names.back(), NameAt(29));
    EXPECT_EQ(Bars(layout).size(), 16u);
}

TEST_P(ChartPlaces, AnEmptyRankingScalesToThisMachine)
{
    Load({});
    SetPoints(1234.0);
    const ViewLayout layout = Layout();
    EXPECT_EQ(ChartRowsAbove, 0);
    EXPECT_EQ(ChartRowsBelow, 0);
    EXPECT_EQ(Scale(), 1234.0);
    EXPECT_EQ(Bars(layout), std::vector<ViewItem>{RoundedRectangleItem(495, 132, 225, 8, 5.0, OwnColour())});
}

TEST_P(ChartPlaces, TheRecordBuffersKeepOnlyWhatTheChartDraws)
{
    // The last row split leaves its title, fields 3 to 8 and the display
    // field (to the end of the line); the others stay cleared, whatever the
    // results dialog had put there.
    Load({"AMD;Ryzen;3800;4700;2;8;16;Linux;6.1;900;9000;yes", "Intel;Core;3600;5000;1;6;12;Win;11;800;8000;yes;x"});
    SetPoints(1.0);
    SplitResultRecord(0);
    ASSERT_STREQ(RecordFields[FieldManufacturer].get(), L"AMD");
    Layout();  // AMD, then Intel, then this machine in both rankings
    EXPECT_STREQ(RecordTitle.get(), L"Intel Core @ 3600 MHz");
    EXPECT_STREQ(RecordFields[FieldManufacturer].get(), L"");
    EXPECT_STREQ(RecordFields[FieldModel].get(), L"");
    EXPECT_STREQ(RecordFields[FieldRatedFrequency].get(), L"");
    EXPECT_STREQ(RecordFields[FieldMaximumFrequency].get(), L"5000");
    EXPECT_STREQ(RecordFields[FieldProcessors].get(), L"1");
    EXPECT_STREQ(RecordFields[FieldCores].get(), L"6");
    EXPECT_STREQ(RecordFields[FieldLogicalProcessors].get(), L"12");
    EXPECT_STREQ(RecordFields[FieldOperatingSystem].get(), L"Win");
    EXPECT_STREQ(RecordFields[FieldOsVersion].get(), L"11");
    EXPECT_STREQ(RecordFields[FieldSpeedPoints].get(), L"");
    EXPECT_STREQ(RecordFields[FieldPowerPoints].get(), L"");
    EXPECT_STREQ(RecordFields[FieldDisplay].get(), L"yes;x");
}

TEST_P(ChartPlaces, MissingChartBuffersAreNeverWrittenThrough)
{
    // Without the buffers the configuration makes (no memory for them), the
    // chart shows this machine alone; the view makes nothing itself.
    LoadRanked(10);
    SpeedChartRows.reset();
    PowerChartRows.reset();
    ChartRowsCapacity = 0;
    SetPoints(Between(5));
    EXPECT_EQ(Names(Layout()), std::vector<wxString>{wxS("This CPU")});
    EXPECT_EQ(IsPower() ? PowerChartRows : SpeedChartRows, nullptr);
    ApplyChartRows();
    EXPECT_EQ(Names(Layout()).size(), 11u);
}

TEST_F(Chart, StoredPowerRowsShowOnlyTheirPointsAndThisMachineAllFour)
{
    LoadDescending(30);  // by power: R29 (3000 points) down to R0 (100)
    LastPowerPoints = 1550.0;  // place 15, between R15 (1600) and R14 (1500)
    ReferenceCorePoints = 800.0;
    AverageThreadPoints = 181.25;
    HttEfficiency = 12.4;
    HttOption = 1;
    const ViewLayout layout = LayoutPowerChart();
    const auto texts = Texts(layout);
    // Each bar's label stands 20 pixels right of its end, on its row.
    std::vector<wxString> stored, own;
    for (const ViewItem& bar : Bars(layout)) {
        const wxString label = texts.at({bar.x2 + 515, bar.y - 4});
        (bar.brush == "MAGENTA" ? own : stored).push_back(label);
    }
    std::vector<wxString> expected;
    for (int p = 5; p <= 24; ++p)
        expected.push_back(wxString::Format(wxS("%d"), 100 * (30 - p)));
    EXPECT_EQ(stored, expected);
    EXPECT_EQ(own, std::vector<wxString>{wxS("1550 ( 800 / 181 / 12% ) ")});
    // Nothing else in the table speaks of cores, threads or efficiency.
    int fourNumberLabels = 0;
    for (const auto& [at, text] : texts)
        if (at.second >= 128 && text.Contains(wxS("(")))
            ++fourNumberLabels;
    EXPECT_EQ(fourNumberLabels, 1);
}

// A measured ten-second run: steady, or with another program busy.
TestEvidence MeasuredRun(const char* test, double otherPercent)
{
    TestEvidence e;
    e.measured = true;
    e.test = test;
    e.millis = 10000;
    e.threads.push_back({std::vector<std::uint32_t>(10, 900), 0});
    e.threadPoints = {9000.0};
    e.points = 9000.0;
    e.conditions.otherPercent = otherPercent;
    e.conditions.stealPercent = 0.0;
    e.conditions.logicalProcessors = 4;
    e.conditions.threads = 1;
    CompleteEvidence(e);
    return e;
}

TEST_F(Chart, NoRunLineBeforeATest)
{
    LoadDescending(3);
    LastSpeedPoints = 1.0;
    LastPowerPoints = 1.0;
    for (const ViewLayout& layout : {LayoutSpeedChart(), LayoutPowerChart()})
        for (const auto& [at, text] : Texts(layout))
            EXPECT_FALSE(text.StartsWith(wxS("This run"))) << text;
}

TEST_F(Chart, TheSpeedRunLineIsAFreeRowBelowTheLastRow)
{
    LoadDescending(3);
    LastSpeedPoints = 1.0;  // last of four rows: 128, 144, 160, 176
    LastSpeedEvidence = MeasuredRun("speed", 0.5);
    const ViewLayout withLine = LayoutSpeedChart();
    const auto texts = Texts(withLine);
    EXPECT_EQ(texts.at({10, 208}), "This run: 10 one-second samples, spread 0.0 %, steady.");
    // Everything else is drawn as without it, and only the next steps lie below it.
    LastSpeedEvidence = {};
    ViewLayout without = LayoutSpeedChart();
    ASSERT_EQ(withLine.size(), without.size() + 3);
    EXPECT_TRUE(std::equal(without.begin(), without.end(), withLine.begin(), [](const ViewItem& a, const ViewItem& b) {
        return a.kind == b.kind && a.text == b.text && a.x == b.x && a.y == b.y && a.x2 == b.x2 && a.y2 == b.y2;
    }));
    for (const ViewItem& item : without)
        EXPECT_LT(item.y, 208);
}

TEST_F(Chart, ThePowerRunLineSaysWhyTheScoreMayBeLow)
{
    LoadDescending(2);
    LastPowerPoints = 1.0e6;  // first of three rows: 128, 144, 160
    LastPowerEvidence = MeasuredRun("power", 48.0);
    const auto texts = Texts(LayoutPowerChart());
    EXPECT_EQ(texts.at({10, 192}), "This run: spread 0.0 %, another program used 48 % of a processor: the score may be low.");
    // The speed chart has its own run's line: none yet.
    LastSpeedPoints = 1.0;
    for (const auto& [at, text] : Texts(LayoutSpeedChart()))
        EXPECT_FALSE(text.StartsWith(wxS("This run"))) << text;
}

TEST_F(Chart, ALineOfManyReasonsGoesOnInTheRowsBelowAfterAComma)
{
    LoadDescending(1);
    LastPowerPoints = 1.0;  // rows 128 and 144
    TestEvidence e = MeasuredRun("power", 48.0);
    e.htt = true;
    e.conditions.threads = 3;
    e.conditions.logicalProcessors = 2;
    e.conditions.threadsPerCore = 1;
    e.conditions.onBattery = true;
    CompleteEvidence(e);
    LastPowerEvidence = e;
    const auto texts = Texts(LayoutPowerChart());
    wxString joined;
    int rows = 0;
    for (int y = 176; texts.count({10, y}) != 0; y += 16, ++rows) {
        const wxString row = texts.at({10, y});
        EXPECT_LE(row.length(), 125u) << row;
        joined << (rows == 0 ? wxS("") : wxS(" ")) << row;
    }
    EXPECT_GE(rows, 2);
    EXPECT_TRUE(texts.at({10, 176}).EndsWith(wxS(",")));
    EXPECT_EQ(joined, wxString::FromUTF8(EvidenceLine(e).c_str()));
}

TEST_F(Chart, AfterATestTheNextStepsFollowTheRunLineAFreeRowBelow)
{
    LoadDescending(3);
    LastSpeedPoints = 1.0;  // rows 128 to 176, the run line at 208
    LastSpeedEvidence = MeasuredRun("speed", 0.5);
    const ViewLayout layout = LayoutSpeedChart();
    ASSERT_GE(layout.size(), 2u);
    EXPECT_EQ(layout[layout.size() - 2],
              TextItem(wxS("To add this result to the table: Processor > Results, \"Last test\", then \"Save\"."), 10,
                       240));
    EXPECT_EQ(layout.back(),
              TextItem(wxS("To compare with more machines: Help > Manual, \"Comparing with more machines\"."), 10, 256));
    // The power chart says the same below its own run line.
    LastPowerPoints = 1.0e6;
    LastPowerEvidence = MeasuredRun("power", 0.5);
    const ViewLayout power = LayoutPowerChart();
    EXPECT_EQ(power.back().text, layout.back().text);
    EXPECT_EQ(power.back().y, power[power.size() - 3].y + 3 * 16);
    // Before a test: nothing of it (the blank start and the charts as they were).
    LastSpeedEvidence = {};
    for (const auto& [at, text] : Texts(LayoutSpeedChart()))
        EXPECT_FALSE(text.StartsWith(wxS("To "))) << text;
}

TEST_F(Chart, TheRunLineFollowsAnEmptyTable)
{
    Load({});
    LastSpeedPoints = 100.0;
    LastSpeedEvidence = MeasuredRun("speed", 0.0);
    const auto texts = Texts(LayoutSpeedChart());
    EXPECT_EQ(texts.at({10, 128}), "This CPU");
    EXPECT_EQ(texts.at({10, 160}).BeforeFirst(':'), "This run");
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
    // The load made them anew, before any view looks at them.
    EXPECT_GE(ChartRowsCapacity, std::size_t(CpuListCount) * std::size_t(ResultLineWidth));
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
