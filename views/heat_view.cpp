#include "views/heat_view.h"

#include "app/numbers.h"
#include "app/state.h"
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
void AddPlot(ViewLayout& layout, const std::vector<TemperaturePoint>& curve, std::int32_t testMillis, int top)
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

    layout.push_back(LineItem(PlotLeft, top, PlotLeft, bottom));
    layout.push_back(LineItem(PlotLeft, bottom, PlotLeft + PlotWidth, bottom));
    layout.push_back(TextItem(Celsius(high), Left, top - 6));
    layout.push_back(TextItem(Celsius(low), Left, bottom - 6));
    const double minutes = seconds / 60.0;
    layout.push_back(TextItem(wxS("0"), PlotLeft, bottom + 4));
    layout.push_back(TextItem(minutes >= 1.0 ? wxString::Format(wxS("%.0f min"), minutes)
                                             : wxString::Format(wxS("%.0f s"), seconds),
                              PlotLeft + PlotWidth - 40, bottom + 4));

    const auto x = [&](double at) { return PlotLeft + static_cast<int>(PlotWidth * at / seconds); };
    const auto y = [&](double celsius) { return bottom - static_cast<int>(PlotHeight * (celsius - low) / (high - low)); };
    if (curve.size() == 1) {
        layout.push_back(LineItem(x(curve[0].seconds), y(curve[0].celsius), x(curve[0].seconds) + 1,
                                  y(curve[0].celsius), wxS("RED")));
        return;
    }
    for (std::size_t k = 1; k < curve.size(); ++k)
        layout.push_back(LineItem(x(curve[k - 1].seconds), y(curve[k - 1].celsius), x(curve[k].seconds),
                                  y(curve[k].celsius), wxS("RED")));
}
}  // namespace

ViewLayout LayoutHeatReadings(const SensorHistory& history, bool finished, std::int32_t testMillis)
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
    if (!curve.empty())
        AddPlot(layout, curve, testMillis, y + 2 * LineHeight);
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
    // Below the view's own items: what the sensors said, while the test runs
    // and after it.
    const ViewLayout readings = LayoutHeatReadings(HeatReadings, HeatState == 1, HeatTestMillis);
    layout.insert(layout.end(), readings.begin(), readings.end());
    return layout;
}
