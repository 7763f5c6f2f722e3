#include "views/layout.h"

#include "core/state.h"

ViewItem TextItem(const wxString& text, int x, int y, const wxString& colour)
{
    ViewItem item;
    item.kind = ViewItem::Kind::Text;
    item.text = text;
    item.x = x;
    item.y = y;
    item.colour = colour;
    return item;
}

ViewItem LineItem(int x1, int y1, int x2, int y2, const wxString& pen)
{
    ViewItem item;
    item.kind = ViewItem::Kind::Line;
    item.x = x1;
    item.y = y1;
    item.x2 = x2;
    item.y2 = y2;
    item.pen = pen;
    return item;
}

ViewItem RectangleItem(int x, int y, int width, int height, const wxString& brush)
{
    ViewItem item;
    item.kind = ViewItem::Kind::Rectangle;
    item.x = x;
    item.y = y;
    item.x2 = width;
    item.y2 = height;
    item.brush = brush;
    return item;
}

ViewItem RoundedRectangleItem(int x, int y, int width, int height, double radius,
                              const wxString& brush)
{
    ViewItem item = RectangleItem(x, y, width, height, brush);
    item.kind = ViewItem::Kind::RoundedRectangle;
    item.radius = radius;
    return item;
}

ViewLayout LayoutPleaseWait()
{
    return {TextItem(PleaseWaitLabel, 10, 16)};
}
