// Computed views written as SVG: every item where the window draws it.
#include "views/svg.h"

#include <gtest/gtest.h>

TEST(Svg, EveryKindOfItemIsWrittenAtItsPlace)
{
    const ViewLayout layout = {TextItem(wxS("Temperature: 64 \u00B0C <&>"), 10, 144), LineItem(10, 36, 775, 36),
                               LineItem(60, 300, 70, 290, wxS("RED")),
                               RectangleItem(10, 80, 250, 16, wxS("GREEN")),
                               RoundedRectangleItem(495, 132, 100, 8, 5.0, wxS("YELLOW"))};
    const std::string svg = LayoutToSvg(layout, 900, 600, 12);
    EXPECT_EQ(svg.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg ", 0), 0u);
    EXPECT_NE(svg.find("width=\"900\" height=\"600\" viewBox=\"0 0 900 600\""), std::string::npos);
    EXPECT_NE(svg.find("<rect x=\"0\" y=\"0\" width=\"900\" height=\"600\" fill=\"#F2F0FA\"/>"), std::string::npos);
    EXPECT_NE(svg.find("font-family=\"sans-serif\" font-size=\"12px\""), std::string::npos);
    // By its baseline, an ascent below the item's top.
    EXPECT_EQ(Ascent(12), 11);
    EXPECT_NE(svg.find("<text x=\"10\" y=\"155\">Temperature: 64 \xC2\xB0" "C &lt;&amp;&gt;</text>"),
              std::string::npos);
    EXPECT_EQ(svg.find("dominant-baseline"), std::string::npos);
    EXPECT_NE(svg.find("<line x1=\"10.5\" y1=\"36.5\" x2=\"775.5\" y2=\"36.5\" stroke=\"#000000\"/>"),
              std::string::npos);
    EXPECT_NE(svg.find("<line x1=\"60.5\" y1=\"300.5\" x2=\"70.5\" y2=\"290.5\" stroke=\"#FF0000\"/>"),
              std::string::npos);
    EXPECT_NE(svg.find("<rect x=\"10.5\" y=\"80.5\" width=\"249\" height=\"15\" fill=\"#008000\" stroke=\"#000000\"/>"),
              std::string::npos);
    EXPECT_NE(svg.find("<rect x=\"495.5\" y=\"132.5\" width=\"99\" height=\"7\" rx=\"5\" fill=\"#FFFF00\""),
              std::string::npos);
    EXPECT_EQ(svg.substr(svg.size() - 12), "</g>\n</svg>\n");
}

TEST(Svg, UnknownColourNamesAreBlack)
{
    EXPECT_STREQ(SvgColour(wxS("MAGENTA")), "#FF00FF");
    EXPECT_STREQ(SvgColour(wxS("no such colour")), "#000000");
}
