#include "views/heat_view.h"

#include "app/state.h"

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
}  // namespace

ViewLayout LayoutHeatView(std::int64_t nowMillis)
{
    const ViewItem title = TextItem(HeatTitleLabel, Left, 16);
    const ViewItem progress = TextItem(wxS("Heating progress:"), Left, 48);
    const ViewItem heatTime = TextItem(wxS("Heat time (minutes):"), Left, 112);
    const ViewItem minutes = TextItem(Minutes(), 150, 112);

    switch (HeatState) {
    case 0:
        return {title, progress, RectangleItem(Left, BarTop, BarWidth, BarHeight, wxS("GREEN")),
                TextItem(Percent(0.0), 280, BarTop), heatTime, minutes};
    case 1:
        return {title, progress, RectangleItem(Left, BarTop, BarWidth, BarHeight, wxS("RED")),
                TextItem(Percent(100.0), 280, BarTop), heatTime, minutes};
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
        return {title,
                progress,
                heatTime,
                minutes,
                TextItem(Percent(percent), 280, BarTop),
                RectangleItem(static_cast<int>(Left + fill), BarTop, static_cast<int>(BarWidth - fill),
                              BarHeight, wxS("GREEN")),
                RectangleItem(static_cast<int>(Left + previousFill), BarTop,
                              static_cast<int>(fill - previousFill), BarHeight, wxS("RED"))};
    }
    default:
        return {};
    }
}
