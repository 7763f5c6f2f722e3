#include "gui/draw.h"

#include <wx/brush.h>
#include <wx/colour.h>
#include <wx/dc.h>
#include <wx/pen.h>

void DrawLayout(wxDC& dc, const ViewLayout& layout)
{
    for (const ViewItem& item : layout) {
        switch (item.kind) {
        case ViewItem::Kind::Text:
            if (item.colour.empty()) {
                dc.DrawText(item.text, item.x, item.y);
            } else {
                const wxColour previous = dc.GetTextForeground();
                dc.SetTextForeground(wxColour(item.colour));
                dc.DrawText(item.text, item.x, item.y);
                dc.SetTextForeground(previous);
            }
            break;
        case ViewItem::Kind::Line:
            if (item.pen.empty()) {
                dc.DrawLine(item.x, item.y, item.x2, item.y2);
            } else {
                const wxPen previous = dc.GetPen();
                dc.SetPen(wxPen(wxColour(item.pen), 1, wxPENSTYLE_SOLID));
                dc.DrawLine(item.x, item.y, item.x2, item.y2);
                dc.SetPen(previous);
            }
            break;
        case ViewItem::Kind::Rectangle:
        case ViewItem::Kind::RoundedRectangle:
            if (!item.brush.empty())
                dc.SetBrush(wxBrush(wxColour(item.brush), wxBRUSHSTYLE_SOLID));
            if (item.kind == ViewItem::Kind::Rectangle)
                dc.DrawRectangle(item.x, item.y, item.x2, item.y2);
            else
                dc.DrawRoundedRectangle(item.x, item.y, item.x2, item.y2, item.radius);
            break;
        }
    }
}
