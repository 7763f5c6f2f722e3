#include "views/svg.h"

#include <cstdio>

namespace {
std::string Escaped(const wxString& text)
{
    std::string out;
    for (const char c : text.utf8_string()) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

template <typename... Numbers>
std::string Format(const char* format, Numbers... numbers)
{
    char text[200];
    std::snprintf(text, sizeof text, format, numbers...);
    return text;
}
}  // namespace

int Ascent(int fontPixels)
{
    // The sans-serif fonts the window and the renderers use (DejaVu Sans,
    // Liberation Sans) rise 0.9 to 0.93 of their size above the baseline.
    return static_cast<int>(fontPixels * 0.93 + 0.5);
}

const char* SvgColour(const wxString& name)
{
    static const struct {
        const char* name;
        const char* rgb;
    } colours[] = {{"BLACK", "#000000"}, {"WHITE", "#FFFFFF"}, {"RED", "#FF0000"},
                   {"GREEN", "#008000"}, {"YELLOW", "#FFFF00"}, {"MAGENTA", "#FF00FF"},
                   {"BLUE", "#0000FF"}};
    for (const auto& colour : colours)
        if (name == colour.name)
            return colour.rgb;
    return "#000000";
}

std::string LayoutToSvg(const ViewLayout& layout, int width, int height, int fontPixels)
{
    std::string svg = Format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                             "viewBox=\"0 0 %d %d\">\n",
                             width, height, width, height);
    // The window's background colour, red 242, green 240, blue 250.
    svg += Format("<rect x=\"0\" y=\"0\" width=\"%d\" height=\"%d\" fill=\"#F2F0FA\"/>\n", width, height);
    svg += "<g font-family=\"sans-serif\" font-size=\"" + std::to_string(fontPixels) +
           "px\" fill=\"#000000\" stroke-width=\"1\">\n";
    for (const ViewItem& item : layout) {
        switch (item.kind) {
        case ViewItem::Kind::Text:
            // SVG places a text by its baseline, the views by its top-left
            // corner: the baseline lies one ascent of the font below the top.
            // (dominant-baseline would say so, but rsvg and ImageMagick
            // ignore it.)
            svg += Format("<text x=\"%d\" y=\"%d\"", item.x, item.y + Ascent(fontPixels)) +
                   (item.colour.empty() ? std::string() : std::string(" fill=\"") + SvgColour(item.colour) + "\"") +
                   ">" + Escaped(item.text) + "</text>\n";
            break;
        case ViewItem::Kind::Line:
            // Half a pixel in, so the one-pixel line covers the pixels the window's does.
            svg += Format("<line x1=\"%d.5\" y1=\"%d.5\" x2=\"%d.5\" y2=\"%d.5\" stroke=\"", item.x, item.y, item.x2,
                          item.y2) +
                   SvgColour(item.pen.empty() ? wxString(wxS("BLACK")) : item.pen) + "\"/>\n";
            break;
        case ViewItem::Kind::Rectangle:
        case ViewItem::Kind::RoundedRectangle: {
            std::string shape = Format("<rect x=\"%d.5\" y=\"%d.5\" width=\"%d\" height=\"%d\"", item.x, item.y,
                                       item.x2 > 0 ? item.x2 - 1 : 0, item.y2 > 0 ? item.y2 - 1 : 0);
            if (item.kind == ViewItem::Kind::RoundedRectangle)
                shape += " rx=\"" + std::to_string(static_cast<int>(item.radius)) + "\"";
            svg += shape + " fill=\"" + (item.brush.empty() ? std::string("#FFFFFF") : SvgColour(item.brush)) +
                   "\" stroke=\"#000000\"/>\n";
            break;
        }
        }
    }
    svg += "</g>\n</svg>\n";
    return svg;
}
