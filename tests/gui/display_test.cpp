#include "app/resources.h"
#include "app/state.h"
#include "gui_support.h"
#include "views/display.h"

#include <wx/bitmap.h>
#include <wx/dcmemory.h>
#include <wx/time.h>

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

namespace {
bool IsBlack(const wxImage& image, int x, int y)
{
    return image.GetRed(x, y) == 0 && image.GetGreen(x, y) == 0 && image.GetBlue(x, y) == 0;
}

bool IsBackground(const wxImage& image, int x, int y)
{
    return image.GetRed(x, y) == 242 && image.GetGreen(x, y) == 240 && image.GetBlue(x, y) == 250;
}
}  // namespace

TEST(Display, InfoViewDrawsTwoBlackRulesFrom10To775)
{
    const wxImage image = Render(DisplayInfo);
    // Anti-aliased drawing leaves the two end pixels partly covered.
    for (int y : {36, 188}) {
        for (int x = 11; x < 775; ++x)
            ASSERT_TRUE(IsBlack(image, x, y)) << x << "," << y;
        EXPECT_LT(image.GetGreen(10, y), 128);
        EXPECT_LT(image.GetGreen(775, y), 128);
        EXPECT_TRUE(IsBackground(image, 9, y));
        EXPECT_TRUE(IsBackground(image, 776, y));
        EXPECT_TRUE(IsBackground(image, 500, y - 1));
        EXPECT_TRUE(IsBackground(image, 500, y + 1));
    }
}

TEST(Display, InfoViewTextStartsAtTheLeftColumnBelowTheTitleLine)
{
    const wxImage image = Render(DisplayInfo);
    const wxRect title = InkBounds(image, BackgroundColour, wxRect(0, 0, 900, 34));
    ASSERT_FALSE(title.IsEmpty());
    EXPECT_GE(title.GetLeft(), 10);
    EXPECT_LE(title.GetLeft(), 12);
    EXPECT_GE(title.GetTop(), 16);
    const wxRect note = InkBounds(image, BackgroundColour, wxRect(0, 190, 900, 60));
    ASSERT_FALSE(note.IsEmpty());
    EXPECT_GE(note.GetTop(), 204);
    EXPECT_LE(note.GetTop(), 208);
    EXPECT_TRUE(InkBounds(image, BackgroundColour, wxRect(0, 230, 900, 348)).IsEmpty());
}

TEST(Display, InfoViewIsTheSameOnEveryRepaint)
{
    const wxImage first = Render(DisplayInfo);
    const wxImage second = Render(DisplayInfo);
    EXPECT_EQ(0, memcmp(first.GetData(), second.GetData(), size_t(900) * 578 * 3));
}

TEST(Display, HeatViewBarAtAQuarterIsRedThenGreen)
{
    HeatState = 2;
    HeatTestMillis = 600000;
    HeatStart = wxGetLocalTimeMillis() - 150000;
    const wxImage image = Render(DisplayHeat);
    HeatState = 0;
    // Red from x 10 for 62 pixels, green from x 72 to 259, inside the outlines.
    const wxColour red(wxS("RED")), green(wxS("GREEN"));
    EXPECT_EQ(wxColour(image.GetRed(40, 88), image.GetGreen(40, 88), image.GetBlue(40, 88)), red);
    EXPECT_EQ(wxColour(image.GetRed(69, 88), image.GetGreen(69, 88), image.GetBlue(69, 88)), red);
    EXPECT_EQ(wxColour(image.GetRed(74, 88), image.GetGreen(74, 88), image.GetBlue(74, 88)), green);
    EXPECT_EQ(wxColour(image.GetRed(250, 88), image.GetGreen(250, 88), image.GetBlue(250, 88)), green);
    EXPECT_TRUE(IsBackground(image, 300, 60));
}
