#include "views/display.h"

#include "app/resources.h"
#include "app/state.h"
#include "views/draw.h"
#include "views/heat_view.h"
#include "views/info_view.h"

#include <wx/brush.h>
#include <wx/dc.h>
#include <wx/time.h>

void PaintDisplay(wxDC& dc, int mode)
{
    dc.SetFont(ViewFont);
    dc.SetBackground(wxBrush(BackgroundColour, wxBRUSHSTYLE_SOLID));
    dc.Clear();
    dc.SetPen(BlackPen);
    switch (mode) {
    case DisplayHeat:
        DrawLayout(dc, LayoutHeatView(wxGetLocalTimeMillis().GetValue()));
        break;
    case DisplayInfo:
        dc.SetFont(ViewFont);
        DrawLayout(dc, LayoutInfoView());
        break;
    case DisplayPleaseWait:
        DrawLayout(dc, LayoutPleaseWait());
        break;
    default:
        // Blank, after options, after results, and anything unknown.
        break;
    }
}
