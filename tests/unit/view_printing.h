// How a test failure shows a drawing item: its kind, place, text and colours.
#pragma once

#include "views/layout.h"

#include <ostream>

inline void PrintTo(const ViewItem& item, std::ostream* out)
{
    static const char* const kinds[] = {"Text", "Line", "Rectangle", "RoundedRectangle"};
    *out << kinds[static_cast<int>(item.kind)] << "(" << item.x << ", " << item.y << ", " << item.x2 << ", "
         << item.y2;
    if (!item.text.empty())
        *out << ", \"" << item.text.utf8_string() << "\"";
    if (!item.brush.empty())
        *out << ", brush " << item.brush.utf8_string();
    if (!item.pen.empty())
        *out << ", pen " << item.pen.utf8_string();
    if (!item.colour.empty())
        *out << ", colour " << item.colour.utf8_string();
    *out << ")";
}
