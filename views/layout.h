// A view is computed as a list of drawing items, which a thin routine then
// draws on a wxDC. The items are plain data, so layouts are tested exactly.
#pragma once

#include <wx/string.h>

#include <vector>

struct ViewItem {
    enum class Kind { Text, Line, Rectangle, RoundedRectangle };

    Kind kind = Kind::Text;
    wxString text;        ///< Text: the string drawn
    int x = 0;            ///< Text, rectangles: left; Line: start x
    int y = 0;            ///< Text, rectangles: top; Line: start y
    int x2 = 0;           ///< rectangles: width; Line: end x
    int y2 = 0;           ///< rectangles: height; Line: end y
    double radius = 0.0;  ///< RoundedRectangle: corner radius
    wxString brush;       ///< rectangles: colour name of a solid brush; empty keeps the DC's brush
    wxString pen;         ///< Line: colour name of a solid one-pixel pen; empty keeps the DC's pen
    wxString colour;      ///< Text: colour name of the text; empty keeps the DC's text colour

    bool operator==(const ViewItem&) const = default;
};

using ViewLayout = std::vector<ViewItem>;

ViewItem TextItem(const wxString& text, int x, int y, const wxString& colour = wxString());
ViewItem LineItem(int x1, int y1, int x2, int y2, const wxString& pen = wxString());
ViewItem RectangleItem(int x, int y, int width, int height, const wxString& brush);
ViewItem RoundedRectangleItem(int x, int y, int width, int height, double radius,
                              const wxString& brush);

/// Display mode 10: the waiting text.
ViewLayout LayoutPleaseWait();
