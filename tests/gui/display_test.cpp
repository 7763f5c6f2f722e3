#include "app/resources.h"
#include "app/state.h"
#include "gui_support.h"
#include "views/display.h"

#include <wx/bitmap.h>
#include <wx/dcmemory.h>

#include <gtest/gtest.h>

namespace {
wxImage Render(int mode)
{
    wxBitmap bitmap(900, 578, 24);
    {
        wxMemoryDC dc(bitmap);
        PaintDisplay(dc, mode);
    }
    return bitmap.ConvertToImage();
}

const wxRect Whole(0, 0, 900, 578);
}  // namespace

TEST(Display, BlankModesShowOnlyTheBackground)
{
    for (int mode : {int(DisplayBlank), int(DisplayAfterOptions), int(DisplayAfterResults), 8, 9, 11,
                     -1, 1000}) {
        const wxImage image = Render(mode);
        EXPECT_TRUE(InkBounds(image, BackgroundColour, Whole).IsEmpty()) << "mode " << mode;
        EXPECT_EQ(image.GetRed(0, 0), 242);
        EXPECT_EQ(image.GetGreen(0, 0), 240);
        EXPECT_EQ(image.GetBlue(0, 0), 250);
    }
}

TEST(Display, PleaseWaitIsBlackTextFrom10And16)
{
    const wxImage image = Render(DisplayPleaseWait);
    const wxRect ink = InkBounds(image, BackgroundColour, Whole);
    ASSERT_FALSE(ink.IsEmpty());
    EXPECT_GE(ink.GetLeft(), 10);
    EXPECT_LE(ink.GetLeft(), 12);
    EXPECT_GE(ink.GetTop(), 16);
    EXPECT_LE(ink.GetTop(), 20);
    EXPECT_LT(ink.GetRight(), 200);
    EXPECT_LE(ink.GetBottom(), 36);

    // The darkest pixel of the text is black (the DC's default text colour).
    int darkest = 255;
    for (int y = ink.GetTop(); y <= ink.GetBottom(); ++y)
        for (int x = ink.GetLeft(); x <= ink.GetRight(); ++x)
            darkest = std::min(darkest, int(image.GetGreen(x, y)));
    EXPECT_LT(darkest, 60);
}

TEST(Display, EveryPaintDrawsTheSamePicture)
{
    const wxImage first = Render(DisplayPleaseWait);
    const wxImage second = Render(DisplayPleaseWait);
    ASSERT_EQ(first.GetWidth() * first.GetHeight(), second.GetWidth() * second.GetHeight());
    EXPECT_EQ(0, memcmp(first.GetData(), second.GetData(), size_t(first.GetWidth()) * first.GetHeight() * 3));
}
