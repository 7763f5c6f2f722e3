#include "views/layout.h"

#include <gtest/gtest.h>

TEST(Layout, PleaseWaitIsOneTextAt10And16)
{
    const ViewLayout layout = LayoutPleaseWait();
    ASSERT_EQ(layout.size(), 1u);
    EXPECT_EQ(layout[0].kind, ViewItem::Kind::Text);
    EXPECT_EQ(layout[0].text, "Please wait ...");
    EXPECT_EQ(layout[0].x, 10);
    EXPECT_EQ(layout[0].y, 16);
}

TEST(Layout, LineItemKeepsBothEnds)
{
    const ViewItem line = LineItem(10, 36, 775, 36);
    EXPECT_EQ(line.kind, ViewItem::Kind::Line);
    EXPECT_EQ(line.x, 10);
    EXPECT_EQ(line.y, 36);
    EXPECT_EQ(line.x2, 775);
    EXPECT_EQ(line.y2, 36);
}

TEST(Layout, RoundedRectangleKeepsSizeRadiusAndBrush)
{
    const ViewItem bar = RoundedRectangleItem(495, 132, 225, 8, 5.0, wxS("GREEN"));
    EXPECT_EQ(bar.kind, ViewItem::Kind::RoundedRectangle);
    EXPECT_EQ(bar.x2, 225);
    EXPECT_EQ(bar.y2, 8);
    EXPECT_DOUBLE_EQ(bar.radius, 5.0);
    EXPECT_EQ(bar.brush, "GREEN");
    EXPECT_NE(bar, RectangleItem(495, 132, 225, 8, wxS("GREEN")));
}
