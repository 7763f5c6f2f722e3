#include "views/chart_view.h"

#include "core/state.h"
#include "bench/evidence.h"
#include "results/record.h"
#include "results/results_table.h"

#include <algorithm>
#include <cmath>
#include <cwchar>

namespace {
constexpr int RowHeight = 16;
constexpr int FirstRowTop = 128;
constexpr int BarLeft = 495;
constexpr double FullBar = 225.0;
constexpr int BarHeight = 8;
constexpr double BarRadius = 5.0;

struct Chart {
    const RankedResult* ranking;
    double points;                 ///< this machine's
    std::unique_ptr<wchar_t[]>& rows;  ///< the chart's row buffer
    double* scale;
    bool power;
};

wxString Points(double value)
{
    return PointsText(value);
}

wxString Unsigned(std::uint32_t value)
{
    return wxString::Format(wxS("%u"), value);
}

// The place of this machine: the first stored result strictly below it, so
// equal scores rank above; after all of them when none is below.
std::int32_t Place(const Chart& chart)
{
    const RankedResult* end = chart.ranking + RankedCount;
    const RankedResult* first =
        std::partition_point(chart.ranking, end, [&](const RankedResult& r) { return !(r.score < chart.points); });
    return static_cast<std::int32_t>(first - chart.ranking);
}

// A bar's length in pixels for `points`, the scale's points being 225. A scale
// of 0 or less gives no length rather than a division by zero.
double BarLength(double points, double scale)
{
    if (!(scale > 0.0))
        return 0.0;
    const double length = points * FullBar / scale;
    if (!std::isfinite(length))
        return 0.0;
    return std::clamp(length, -1.0e6, 1.0e6);
}

void AddBar(ViewLayout& layout, int k, double length, const wxString& colour, const wxString& label)
{
    const int y = FirstRowTop + RowHeight * k;
    layout.push_back(RoundedRectangleItem(BarLeft, y + 4, static_cast<int>(length), BarHeight, BarRadius, colour));
    layout.push_back(TextItem(label, static_cast<int>(length + 515.0), y));
}

// The chart's split of one copied row: the title, fields 3 to 8 and the
// display field (from its start to the end of the line) into the record
// buffers; the fields the chart does not draw stay cleared.
void SplitChartRow(const wchar_t* row)
{
    SplitRow(row);
    const std::size_t width = ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
    for (const RecordField field : {FieldManufacturer, FieldModel, FieldRatedFrequency, FieldSpeedPoints, FieldPowerPoints})
        if (RecordFields[field])
            std::wmemset(RecordFields[field].get(), L'\0', width);
}

// Splits one copied row and adds its texts when its display field is exactly
// "yes".
void AddRowTexts(ViewLayout& layout, const wchar_t* row, int k)
{
    SplitChartRow(row);
    if (!RecordFields[FieldDisplay] || std::wcscmp(RecordFields[FieldDisplay].get(), L"yes") != 0)
        return;
    const int y = FirstRowTop + RowHeight * k;
    layout.push_back(TextItem(RecordTitle.get(), 10, y));
    layout.push_back(TextItem(RecordFields[FieldMaximumFrequency].get(), 295, y));
    layout.push_back(TextItem(RecordFields[FieldCores].get(), 345, y));
    layout.push_back(TextItem(RecordFields[FieldLogicalProcessors].get(), 380, y));
    layout.push_back(TextItem(RecordFields[FieldOperatingSystem].get(), 415, y));
}

// The line of the table that ranking entry `r` names, or null for an entry
// past the end of the ranking.
const wchar_t* RankedLine(const Chart& chart, std::int32_t r)
{
    if (r < 0 || r >= RankedCount || !ResultLines)
        return nullptr;
    const double line = chart.ranking[r].line;
    if (!(line >= 0.0) || line >= ResultLineCount)
        return nullptr;
    return ResultLines.get() + static_cast<std::size_t>(line) * static_cast<std::size_t>(ResultLineWidth);
}

// Everything below the heading, shared by both charts.
void AddTable(ViewLayout& layout, const Chart& chart)
{
    const std::int32_t pos = RankedCount > 0 && chart.ranking != nullptr ? Place(chart) : 0;

    // Scale: the top row shown, or this machine when it is higher.
    const std::int32_t top = pos - CpuListHalf < 0 ? 0 : pos - CpuListHalf;
    *chart.scale = top < RankedCount && chart.ranking != nullptr ? chart.ranking[top].score : chart.points;
    if (chart.points > *chart.scale)
        *chart.scale = chart.points;

    // Row window; the clamp compares the ranking's length with the rows
    // below alone, as it always has.
    ChartRowsAbove = ChartRowsBelow = CpuListHalf;
    if (pos - CpuListHalf < 0) {
        ChartRowsAbove = pos;
        ChartRowsBelow = CpuListCount - pos;
    }
    if (RankedCount - ChartRowsBelow < 0)
        ChartRowsBelow = RankedCount - pos;
    if (RankedCount == 0)
        ChartRowsAbove = ChartRowsBelow = 0;
    ChartRowsAbove = std::max(ChartRowsAbove, 0);
    ChartRowsBelow = std::max(ChartRowsBelow, 0);

    // Copy the rows shown (rows past the end of the ranking stay empty); the
    // buffers follow the table's width as it loads (a view only reads them).
    const std::int32_t shown = ChartRowsAbove + ChartRowsBelow;
    const std::size_t width = ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
    const bool haveRows = chart.rows && width != 0 && std::size_t(shown) * width <= ChartRowsCapacity;
    for (std::int32_t j = 0; j < shown && haveRows; ++j) {
        const wchar_t* line = RankedLine(chart, pos - ChartRowsAbove + j);
        wchar_t* target = chart.rows.get() + std::size_t(j) * width;
        if (line != nullptr)
            CopyBounded(target, width, line, std::wcslen(line));
        else
            target[0] = L'\0';
    }

    // Texts of the stored rows; this machine's row k = ChartRowsAbove.
    for (std::int32_t j = 0; j < shown && haveRows; ++j) {
        if (RankedLine(chart, pos - ChartRowsAbove + j) == nullptr)
            continue;
        const int k = j < ChartRowsAbove ? j : j + 1;
        AddRowTexts(layout, chart.rows.get() + std::size_t(j) * width, k);
    }

    // Bars of the stored results.
    for (std::int32_t j = 0; j < shown; ++j) {
        const std::int32_t r = pos - ChartRowsAbove + j;
        if (RankedLine(chart, r) == nullptr)
            continue;
        const int k = j < ChartRowsAbove ? j : j + 1;
        const double score = chart.ranking[r].score;
        AddBar(layout, k, BarLength(score, *chart.scale), wxS("GREEN"), Points(score));
    }

    // This machine.
    const int k = ChartRowsAbove;
    const int y = FirstRowTop + RowHeight * k;
    layout.push_back(TextItem(CpuDisplayName, 10, y));
    layout.push_back(TextItem(wxS("-"), 295, y));
    // The Cores cell shows the thread count, or "-" without a core count.
    layout.push_back(TextItem(CpuCores == 0 ? wxString(wxS("-")) : Unsigned(CpuCount), 345, y));
    layout.push_back(TextItem(Unsigned(CpuCount), 380, y));
    layout.push_back(TextItem(OsName, 415, y));
    wxString label = Points(chart.points);
    if (chart.power)
        label << wxS(" ( ") << Points(ReferenceCorePoints) << wxS(" / ") << Points(AverageThreadPoints)
              << wxS(" / ") << Points(HttEfficiency) << wxS("% ) ");
    AddBar(layout, k, BarLength(chart.points, *chart.scale), chart.power ? wxS("MAGENTA") : wxS("YELLOW"), label);
}

void AddHeaderRow(ViewLayout& layout, const wxString& results, int ruleEnd)
{
    layout.push_back(TextItem(wxS("Processor"), 10, 96));
    layout.push_back(TextItem(wxS("F.max"), 295, 96));
    layout.push_back(TextItem(wxS("Cores"), 345, 96));
    layout.push_back(TextItem(wxS("Th."), 380, 96));
    layout.push_back(TextItem(wxS("OS"), 415, 96));
    layout.push_back(TextItem(results, 495, 96));
    layout.push_back(LineItem(10, 116, ruleEnd, 116));
}

// The line on how the run was measured, a free row below the table's last
// row; none before a test has run. A line of many reasons goes on in the
// rows below, broken after a comma (or at a space), so that the window's
// width holds it.
constexpr std::size_t EvidenceRowCharacters = 125;

// The row two below the lowest text of `layout` (or below the first row).
int FreeRowBelow(const ViewLayout& layout)
{
    int y = FirstRowTop;
    for (const ViewItem& item : layout)
        if (item.kind == ViewItem::Kind::Text)
            y = std::max(y, item.y);
    return y + 2 * RowHeight;
}

void AddEvidenceLine(ViewLayout& layout, const TestEvidence& evidence)
{
    if (!evidence.measured)
        return;
    int y = FreeRowBelow(layout);
    std::string text = EvidenceLine(evidence);
    while (text.size() > EvidenceRowCharacters) {
        // After the last comma that fits, else at the last space.
        std::size_t cut = text.rfind(", ", EvidenceRowCharacters - 1);
        std::size_t keep = cut + 1;
        if (cut == std::string::npos) {
            cut = text.rfind(' ', EvidenceRowCharacters);
            keep = cut;
        }
        if (cut == std::string::npos || cut == 0)
            break;
        layout.push_back(TextItem(wxString::FromUTF8(text.substr(0, keep).c_str()), 10, y));
        text.erase(0, text[cut] == ',' ? cut + 2 : cut + 1);
        y += RowHeight;
    }
    layout.push_back(TextItem(wxString::FromUTF8(text.c_str()), 10, y));
}

// After a test, a free row below the run line: how to keep this result and
// where to learn to compare with more machines.
void AddNextSteps(ViewLayout& layout, const TestEvidence& evidence)
{
    if (!evidence.measured)
        return;
    int y = FreeRowBelow(layout);
    layout.push_back(TextItem(wxS("To add this result to the table: Processor > Results, \"Last test\", then "
                                  "\"Save\"."),
                              10, y));
    layout.push_back(TextItem(wxS("To compare with more machines: Help > Manual, \"Comparing with more "
                                  "machines\"."),
                              10, y + RowHeight));
}

wxString Decimal(std::uint32_t value)
{
    return wxString::Format(wxS("%i"), static_cast<int>(value));
}
}  // namespace

ViewLayout LayoutSpeedChart()
{
    ViewLayout layout = {
        TextItem(SpeedTitleLabel, 10, 16),
        TextItem(SpeedPointsLabel, 10, 32),
        TextItem(Points(LastSpeedPoints), 150, 32),
        TextItem(wxS("Processor:"), 10, 48),
        TextItem(CpuDisplayName, 150, 48),
        TextItem(wxS("Processor threads:"), 10, 64),
        TextItem(Decimal(CpuCount), 150, 64),
        TextItem(wxS("Executed tasks:"), 230, 64),
        TextItem(wxS("1"), 380, 64),
    };
    AddHeaderRow(layout, wxS("Results (points)"), 775);
    AddTable(layout, {SpeedRanking.get(), LastSpeedPoints, SpeedChartRows, &SpeedChartScale, false});
    AddEvidenceLine(layout, LastSpeedEvidence);
    AddNextSteps(layout, LastSpeedEvidence);
    return layout;
}

ViewLayout LayoutPowerChart()
{
    const wxString core = HttOption == 0      ? wxS("Core performance.")
                          : HttOffResult != 0 ? wxS("Reference core performance result.")
                                              : wxS("Estimated core performance.");
    ViewLayout layout = {
        TextItem(PowerTitleLabel, 10, 16),
        TextItem(PowerPointsLabel, 10, 32),
        TextItem(Points(LastPowerPoints), 150, 32),
        TextItem(wxS("Processor:"), 10, 48),
        TextItem(CpuDisplayName, 150, 48),
        TextItem(wxS("Processor threads:"), 10, 64),
        TextItem(Decimal(CpuCount), 150, 64),
        TextItem(wxS("Executed threads:"), 230, 64),
        TextItem(Decimal(ThreadCount), 380, 64),
        TextItem(HttOption != 0 ? wxS("HTT option checked.") : wxS("HTT option unchecked."), 495, 64),
        TextItem(core, 715, 64),
    };
    AddHeaderRow(layout, wxS("Results (points) (per core / per thread / HTT efficiency)"), 890);
    AddTable(layout, {PowerRanking.get(), LastPowerPoints, PowerChartRows, &PowerChartScale, true});
    AddEvidenceLine(layout, LastPowerEvidence);
    AddNextSteps(layout, LastPowerEvidence);
    return layout;
}
