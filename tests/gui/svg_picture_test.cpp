// The SVG picture of a view against the window's picture of the same layout:
// rendered by rsvg-convert, each text lies where the window draws it.
#include "core/state.h"
#include "gui/draw.h"
#include "gui/resources.h"
#include "tests/support/required_tool.h"
#include "views/layout.h"
#include "views/svg.h"

#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/imagpng.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {
// The box of every pixel in `area` that is not the background: where the
// glyphs are.
wxRect Ink(const wxImage& image, const wxRect& area)
{
    const wxColour background = BackgroundColour;
    int left = area.GetRight() + 1, right = area.GetLeft() - 1, top = area.GetBottom() + 1,
        bottom = area.GetTop() - 1;
    for (int y = std::max(area.GetTop(), 0); y <= area.GetBottom() && y < image.GetHeight(); ++y)
        for (int x = std::max(area.GetLeft(), 0); x <= area.GetRight() && x < image.GetWidth(); ++x) {
            const int distance = std::abs(image.GetRed(x, y) - background.Red()) +
                                 std::abs(image.GetGreen(x, y) - background.Green()) +
                                 std::abs(image.GetBlue(x, y) - background.Blue());
            if (distance < 150)
                continue;
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    return right < left ? wxRect() : wxRect(wxPoint(left, top), wxPoint(right, bottom));
}
}  // namespace

TEST(SvgPicture, TextsLieWhereTheWindowDrawsThem)
{
    TARNWICK_REQUIRE_TOOL(std::system("command -v rsvg-convert > /dev/null") == 0, "rsvg-convert (librsvg2-bin)");
    // The heat view's texts that lie against lines and bars: the title, the
    // percentage beside its bar, the plot's scale under its axis; each alone
    // in its box.
    const ViewLayout layout = {
        TextItem(wxS("CPU Heat Test"), 10, 16),
        TextItem(wxS("100 %"), 280, 80),
        RectangleItem(10, 80, 250, 16, wxS("RED")),
        LineItem(60, 208, 60, 328),
        LineItem(60, 328, 460, 328),
        TextItem(wxS("0"), 60, 332),
        TextItem(wxS("10 s"), 420, 332),
        TextItem(wxS("70 \u00B0C"), 10, 202),
        TextItem(wxS("Processor 1 computed a wrong result"), 10, 400, wxS("RED")),
    };
    constexpr int width = 600, height = 440;

    wxBitmap bitmap(width, height, 24);
    {
        wxMemoryDC dc(bitmap);
        dc.SetFont(ViewFont);
        dc.SetBackground(wxBrush(BackgroundColour));
        dc.Clear();
        dc.SetPen(BlackPen);
        DrawLayout(dc, layout);
    }
    const wxImage window = bitmap.ConvertToImage();

    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("tarnwick-svg-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "view.svg") << LayoutToSvg(layout, width, height, 12);
    const std::string render = "rsvg-convert '" + (dir / "view.svg").string() + "' -o '" + (dir / "view.png").string() + "'";
    ASSERT_EQ(std::system(render.c_str()), 0);
    if (wxImage::FindHandler(wxBITMAP_TYPE_PNG) == nullptr)
        wxImage::AddHandler(new wxPNGHandler);
    wxImage svg;
    ASSERT_TRUE(svg.LoadFile(wxString::FromUTF8((dir / "view.png").string()), wxBITMAP_TYPE_PNG));
    std::filesystem::remove_all(dir);
    ASSERT_EQ(svg.GetSize(), window.GetSize());

    for (const ViewItem& item : layout) {
        if (item.kind != ViewItem::Kind::Text)
            continue;
        SCOPED_TRACE(item.text.utf8_string());
        // From a little above the item to a line below its top, clear of the
        // lines and bars next to it.
        const int wide = static_cast<int>(item.text.length()) * 9 + 4;
        const wxRect area(item.x - 2, item.y - 1, wide, 16);
        const wxRect drawn = Ink(window, area), rendered = Ink(svg, area);
        ASSERT_FALSE(drawn.IsEmpty());
        ASSERT_FALSE(rendered.IsEmpty()) << "nothing of it in the SVG where the window has it";
        EXPECT_NEAR(rendered.GetTop(), drawn.GetTop(), 2);
        EXPECT_NEAR(rendered.GetBottom(), drawn.GetBottom(), 2);
        EXPECT_NEAR(rendered.GetLeft(), drawn.GetLeft(), 2);
        EXPECT_NEAR(rendered.GetRight(), drawn.GetRight(), 6);  // fonts may differ a little in width
    }
}
