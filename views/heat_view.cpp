#include "views/heat_view.h"

#include "core/numbers.h"
#include "core/state.h"
#include "bench/heat_work.h"
#include "sensors/heat_readings.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr int Left = 10;
constexpr int BarTop = 80;
constexpr int BarWidth = 250;
constexpr int BarHeight = 16;

wxString Percent(double value)
{
    return wxString::Format(wxS("%.0f %%"), value);
}

wxString Minutes()
{
    return wxString::Format(wxS("%i"), HeatTestMillis / 60000);
}

// Where the readings go: below "Heat time (minutes):", a line apart.
constexpr int ReadingsTop = 144;
constexpr int LineHeight = 16;
constexpr int ValueColumn = 150;
constexpr int PlotLeft = 60;
constexpr int PlotWidth = 400;
constexpr int PlotHeight = 120;

wxString Celsius(double value)
{
    return wxString::Format(wxS("%.0f \u00B0C"), value);
}

// Gigahertz with two decimals and a point in every locale.
wxString Gigahertz(double megahertz)
{
    return wxString(FormatFixed(megahertz / 1000.0, 2)) + wxS(" GHz");
}

wxString Latest(const std::optional<double>& value, wxString (*format)(double))
{
    return value ? format(*value) : wxString(wxS("-"));
}

// The temperature curve in a box of PlotWidth x PlotHeight whose top is
// `top`: axes in the view's pen, the curve in red, the scale in whole tens
// of degrees, the time across the whole test.
// The axes of a plot whose top is `top`, and below them the time across the
// test.
void AddAxes(ViewLayout& layout, int top)
{
    const int bottom = top + PlotHeight;
    layout.push_back(LineItem(PlotLeft, top, PlotLeft, bottom));
    layout.push_back(LineItem(PlotLeft, bottom, PlotLeft + PlotWidth, bottom));
}

void AddTimeScale(ViewLayout& layout, int top, double seconds)
{
    const int bottom = top + PlotHeight;
    const double minutes = seconds / 60.0;
    layout.push_back(TextItem(wxS("0"), PlotLeft, bottom + 4));
    layout.push_back(TextItem(minutes >= 1.0 ? wxString::Format(wxS("%.0f min"), minutes)
                                             : wxString::Format(wxS("%.0f s"), seconds),
                              PlotLeft + PlotWidth - 40, bottom + 4));
}

// Where a plot is: its top and the seconds its width spans.
struct PlotFrame {
    int top;
    double seconds;
};

PlotFrame AddPlot(ViewLayout& layout, const std::vector<TemperaturePoint>& curve, std::int32_t testMillis, int top)
{
    const int bottom = top + PlotHeight;
    double lowest = curve.front().celsius, highest = lowest, last = 0.0;
    for (const TemperaturePoint& point : curve) {
        lowest = std::min(lowest, point.celsius);
        highest = std::max(highest, point.celsius);
        last = std::max(last, point.seconds);
    }
    const double low = std::floor(lowest / 10.0) * 10.0;
    const double high = std::max(std::ceil(highest / 10.0) * 10.0, low + 10.0);
    const double seconds = std::max({testMillis / 1000.0, last, 1.0});

    AddAxes(layout, top);
    layout.push_back(TextItem(Celsius(high), Left, top - 6));
    layout.push_back(TextItem(Celsius(low), Left, bottom - 6));
    AddTimeScale(layout, top, seconds);

    const auto x = [&](double at) { return PlotLeft + static_cast<int>(PlotWidth * at / seconds); };
    const auto y = [&](double celsius) { return bottom - static_cast<int>(PlotHeight * (celsius - low) / (high - low)); };
    if (curve.size() == 1) {
        layout.push_back(LineItem(x(curve[0].seconds), y(curve[0].celsius), x(curve[0].seconds) + 1,
                                  y(curve[0].celsius), wxS("RED")));
    } else {
        for (std::size_t k = 1; k < curve.size(); ++k)
            layout.push_back(LineItem(x(curve[k - 1].seconds), y(curve[k - 1].celsius), x(curve[k].seconds),
                                      y(curve[k].celsius), wxS("RED")));
    }
    return {top, seconds};
}

// The work rate in BLUE on its own scale, written right of the plot: from
// 0 (so a fall looks as large as it is) to a tenth above the fastest
// second, up to a half step of the rate's order of magnitude.
void AddRateCurve(ViewLayout& layout, const std::vector<HeatRatePoint>& rates, const PlotFrame& plot)
{
    const int bottom = plot.top + PlotHeight;
    double highest = 0.0;
    for (const HeatRatePoint& point : rates)
        highest = std::max(highest, point.passesPerSecond);
    const double step = highest > 0.0 ? std::pow(10.0, std::floor(std::log10(highest))) / 2.0 : 1.0;
    const double low = 0.0;
    const double high = std::max(std::ceil(highest * 1.1 / step), 1.0) * step;
    layout.push_back(TextItem(wxString::FromUTF8(FormatPassRate(high)), PlotLeft + PlotWidth + 6, plot.top - 6));
    layout.push_back(TextItem(wxString::FromUTF8(FormatPassRate(low)), PlotLeft + PlotWidth + 6, bottom - 6));
    const auto x = [&](double at) {
        return PlotLeft + static_cast<int>(PlotWidth * std::clamp(at / plot.seconds, 0.0, 1.0));
    };
    const auto y = [&](double rate) { return bottom - static_cast<int>(PlotHeight * (rate - low) / (high - low)); };
    if (rates.size() == 1) {
        layout.push_back(LineItem(x(rates[0].seconds), y(rates[0].passesPerSecond), x(rates[0].seconds) + 1,
                                  y(rates[0].passesPerSecond), wxS("BLUE")));
        return;
    }
    for (std::size_t k = 1; k < rates.size(); ++k)
        layout.push_back(LineItem(x(rates[k - 1].seconds), y(rates[k - 1].passesPerSecond), x(rates[k].seconds),
                                  y(rates[k].passesPerSecond), wxS("BLUE")));
}

wxString Utf8Text(const std::string& text)
{
    return wxString::FromUTF8(text);
}

// "Processor 3 computed a wrong result at 04:12 — …" for each processor
// that failed a check, at its first error; at most four, then how many more.
void AddErrorLines(ViewLayout& layout, const HeatWorkHistory& work, int& y)
{
    const std::vector<HeatWorkSample>& samples = work.Samples();
    std::vector<std::uint32_t> failed;
    for (std::uint32_t k = 0; k < samples.back().workers.size(); ++k)
        if (samples.back().workers[k].errors > 0)
            failed.push_back(k);
    constexpr std::size_t shown = 4;
    for (std::size_t k = 0; k < failed.size() && k < shown; ++k) {
        const HeatCheckError* first = nullptr;
        for (const HeatCheckError& error : work.ErrorList())
            if (error.worker == failed[k]) {
                first = &error;
                break;
            }
        const std::string when = first != nullptr ? " at " + ElapsedClock(first->millis) : std::string();
        layout.push_back(TextItem(Utf8Text("Processor " + std::to_string(work.Processor(failed[k])) +
                                           " computed a wrong result" + when +
                                           " \u2014 this machine is not stable under load."),
                                  Left, y, wxS("RED")));
        y += LineHeight;
    }
    if (failed.size() > shown) {
        layout.push_back(TextItem(Utf8Text(std::to_string(failed.size() - shown) +
                                           " more processors computed wrong results as well."),
                                  Left, y, wxS("RED")));
        y += LineHeight;
    }
}

// The work rate, the checks and any errors from `top` down; the rate curve
// in `plot` when there is one, else in a plot of its own below the lines.
void AddHeatWork(ViewLayout& layout, const HeatWorkHistory& work, bool finished, int top,
                 const std::optional<PlotFrame>& plot)
{
    if (work.Samples().empty())
        return;
    int y = top;
    std::string rate = "-";
    if (const std::optional<double> current = work.CurrentRate()) {
        rate = FormatPassRate(*current);
        std::string more;
        if (const std::optional<HeatPace> pace = work.SustainedPace())
            more = "sustained " + FormatFixed(pace->percent, 0) + " % of the first " +
                   FormatFixed(pace->firstSeconds, 0) + " s";
        if (finished)
            if (const std::optional<double> slowest = work.SlowestPercent())
                more += (more.empty() ? "" : "; ") + std::string("slowest processor ") +
                        FormatFixed(*slowest, 0) + " % of the fastest";
        if (!more.empty())
            rate += " (" + more + ")";
    }
    layout.push_back(TextItem(wxS("Work rate:"), Left, y));
    layout.push_back(TextItem(Utf8Text(rate), ValueColumn, y));
    y += LineHeight;
    const std::uint64_t checks = work.Checks(), errors = work.Errors();
    layout.push_back(TextItem(wxS("Checked:"), Left, y));
    layout.push_back(TextItem(Utf8Text(GroupedNumber(checks) + (checks == 1 ? " check, " : " checks, ") +
                                       (errors == 0   ? std::string("no errors")
                                        : errors == 1 ? std::string("1 error")
                                                      : GroupedNumber(errors) + " errors")),
                              ValueColumn, y));
    y += LineHeight;
    if (errors > 0)
        AddErrorLines(layout, work, y);
    const std::vector<HeatRatePoint>& rates = work.Rates();
    if (rates.empty())
        return;
    if (plot) {
        AddRateCurve(layout, rates, *plot);
        return;
    }
    const PlotFrame own{y + 2 * LineHeight,
                        std::max({work.TestMillis() / 1000.0, rates.back().seconds, 1.0})};
    AddAxes(layout, own.top);
    AddTimeScale(layout, own.top, own.seconds);
    AddRateCurve(layout, rates, own);
}

// The readings from `ReadingsTop` down; where the next line may go, and the
// temperature plot when there is one.
ViewLayout LayoutReadings(const SensorHistory& history, bool finished, std::int32_t testMillis, int& next,
                          std::optional<PlotFrame>& plot)
{
    ViewLayout layout;
    int y = ReadingsTop;
    if (const std::optional<double> highest = history.HighestCelsius()) {
        layout.push_back(TextItem(wxS("Temperature:"), Left, y));
        layout.push_back(TextItem(Latest(history.LatestCelsius(), Celsius) + wxS(" (highest ") +
                                      Celsius(*highest) + wxS(")"),
                                  ValueColumn, y));
        y += LineHeight;
    }
    if (const std::optional<double> lowest = history.LowestMhz()) {
        layout.push_back(TextItem(wxS("Frequency:"), Left, y));
        layout.push_back(TextItem(Latest(history.LatestAverageMhz(), Gigahertz) + wxS(" (lowest ") +
                                      Gigahertz(*lowest) + wxS(")"),
                                  ValueColumn, y));
        y += LineHeight;
    }
    if (finished && history.Throttled()) {
        layout.push_back(
            TextItem(wxS("The processor slowed down at its highest temperature (thermal throttling)."), Left, y));
        y += LineHeight;
    }
    const std::vector<TemperaturePoint> curve = history.TemperatureCurve();
    next = y;
    if (!curve.empty()) {
        plot = AddPlot(layout, curve, testMillis, y + 2 * LineHeight);
        // Below the plot's time scale, a line apart.
        next = plot->top + PlotHeight + 4 + 2 * LineHeight;
    }
    return layout;
}
}  // namespace

ViewLayout LayoutHeatReadings(const SensorHistory& history, bool finished, std::int32_t testMillis)
{
    int next = 0;
    std::optional<PlotFrame> plot;
    return LayoutReadings(history, finished, testMillis, next, plot);
}

ViewLayout LayoutHeatWork(const SensorHistory& readings, const HeatWorkHistory& work, bool finished,
                          std::int32_t testMillis)
{
    int next = 0;
    std::optional<PlotFrame> plot;
    ViewLayout layout = LayoutReadings(readings, finished, testMillis, next, plot);
    ViewLayout added;
    AddHeatWork(added, work, finished, next, plot);
    // The rate curve goes into the temperature plot: drawn after its items.
    layout.insert(layout.end(), added.begin(), added.end());
    return layout;
}

ViewLayout LayoutHeatView(std::int64_t nowMillis)
{
    const ViewItem title = TextItem(HeatTitleLabel, Left, 16);
    const ViewItem progress = TextItem(wxS("Heating progress:"), Left, 48);
    const ViewItem heatTime = TextItem(wxS("Heat time (minutes):"), Left, 112);
    const ViewItem minutes = TextItem(Minutes(), 150, 112);

    ViewLayout layout;
    switch (HeatState) {
    case 0:
        return {title, progress, RectangleItem(Left, BarTop, BarWidth, BarHeight, wxS("GREEN")),
                TextItem(Percent(0.0), 280, BarTop), heatTime, minutes};
    case 1:
        layout = {title, progress, RectangleItem(Left, BarTop, BarWidth, BarHeight, wxS("RED")),
                  TextItem(Percent(100.0), 280, BarTop), heatTime, minutes};
        break;
    case 2: {
        double fill = 0.0, previousFill = 0.0, percent = 0.0;
        if (HeatTestMillis > 0) {
            HeatViewNow = nowMillis;
            double elapsed = static_cast<double>((HeatViewNow - HeatStart).GetValue());
            if (HeatTestMillis > elapsed) {
                fill = BarWidth * elapsed / HeatTestMillis;
            } else {
                elapsed = HeatTestMillis;
                fill = BarWidth * elapsed / HeatTestMillis;
                previousFill = fill;
            }
            percent = elapsed / HeatTestMillis * 100.0;
        }
        // What is still to go in green, what is done in red; positions and
        // widths truncated to whole pixels.
        layout = {title,
                  progress,
                  heatTime,
                  minutes,
                  TextItem(Percent(percent), 280, BarTop),
                  RectangleItem(static_cast<int>(Left + fill), BarTop, static_cast<int>(BarWidth - fill),
                                BarHeight, wxS("GREEN")),
                  RectangleItem(static_cast<int>(Left + previousFill), BarTop,
                                static_cast<int>(fill - previousFill), BarHeight, wxS("RED"))};
        break;
    }
    default:
        return {};
    }
    // Below the view's own items: what the sensors said and what the workers
    // did, while the test runs and after it.
    const ViewLayout readings = LayoutHeatWork(HeatReadings, HeatWork, HeatState == 1, HeatTestMillis);
    layout.insert(layout.end(), readings.begin(), readings.end());
    return layout;
}
