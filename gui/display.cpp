#include "gui/display.h"

#include "gui/resources.h"
#include "core/state.h"
#include "bench/heat.h"
#include "views/chart_view.h"
#include "gui/draw.h"
#include "views/heat_view.h"
#include "views/info_view.h"
#include "views/search_view.h"

#include <wx/bitmap.h>
#include <wx/brush.h>
#include <wx/dc.h>
#include <wx/dcmemory.h>

namespace {
// What `mode` shows now. Computing it is what updates a view's own scratch
// values (chart rows and scales, the heat view's clock reading).
ViewLayout LayoutOf(int mode)
{
    switch (mode) {
    case DisplaySpeedChart:
        return LayoutSpeedChart();
    case DisplayPowerChart:
        return LayoutPowerChart();
    case DisplayHeat:
        return LayoutHeatView(HeatClockMillis());
    case DisplayInfo:
        return LayoutInfoView();
    case DisplaySearch:
        return LayoutSearchResults();
    case DisplayPleaseWait:
        return LayoutPleaseWait();
    default:
        // Blank, after options, after results, and anything unknown.
        return {};
    }
}

void Draw(wxDC& dc, const ViewLayout& layout)
{
    dc.SetFont(ViewFont);
    dc.SetBackground(wxBrush(BackgroundColour, wxBRUSHSTYLE_SOLID));
    dc.Clear();
    dc.SetPen(BlackPen);
    DrawLayout(dc, layout);
}

// The last picture drawn. Exposures and resizes repaint the same layout
// again and again; rasterising its text anew each time costs milliseconds,
// drawing the picture again a fraction of one.
struct Picture {
    wxBitmap bitmap;
    ViewLayout layout;
    wxColour background;
    wxFont font;
};
}  // namespace

void PaintDisplay(wxDC& dc, int mode)
{
    const ViewLayout layout = LayoutOf(mode);
    const wxSize size = dc.GetSize();
    static Picture last;
    if (size.x <= 0 || size.y <= 0) {
        Draw(dc, layout);
        return;
    }
    if (!last.bitmap.IsOk() || last.bitmap.GetSize() != size || last.layout != layout ||
        last.background != BackgroundColour || last.font != ViewFont) {
        wxBitmap bitmap(size, 24);
        {
            wxMemoryDC memory(bitmap);
            Draw(memory, layout);
        }
        last = {bitmap, layout, BackgroundColour, ViewFont};
    }
    dc.DrawBitmap(last.bitmap, 0, 0, false);
}
