#include "gui/resources.h"
#include "core/state.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"
#include "config/config_file.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "gui/display.h"
#include "gui/draw.h"
#include "views/info_view.h"
#include "views/layout.h"

#include <wx/bitmap.h>
#include <wx/brush.h>
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

// `layout` drawn afresh on a new bitmap, as a paint draws it (view font,
// background cleared, black pen), without the picture the display keeps.
wxImage RenderAfresh(const ViewLayout& layout)
{
    wxBitmap bitmap(900, 578, 24);
    {
        wxMemoryDC dc(bitmap);
        dc.SetFont(ViewFont);
        dc.SetBackground(wxBrush(BackgroundColour, wxBRUSHSTYLE_SOLID));
        dc.Clear();
        dc.SetPen(BlackPen);
        DrawLayout(dc, layout);
    }
    return bitmap.ConvertToImage();
}

bool SamePixels(const wxImage& a, const wxImage& b)
{
    return a.GetWidth() == b.GetWidth() && a.GetHeight() == b.GetHeight() &&
           memcmp(a.GetData(), b.GetData(), size_t(a.GetWidth()) * a.GetHeight() * 3) == 0;
}
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
    Render(DisplayInfo);  // another picture is kept before
    const wxImage first = Render(DisplayPleaseWait);   // drawn anew, then kept
    const wxImage second = Render(DisplayPleaseWait);  // the kept picture
    const wxImage fresh = RenderAfresh(LayoutPleaseWait());
    ASSERT_FALSE(InkBounds(fresh, BackgroundColour, Whole).IsEmpty());
    EXPECT_TRUE(SamePixels(first, fresh));
    EXPECT_TRUE(SamePixels(second, fresh));
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
    Render(DisplayPleaseWait);  // another picture is kept before
    const wxImage first = Render(DisplayInfo);
    const wxImage second = Render(DisplayInfo);
    const wxImage fresh = RenderAfresh(LayoutInfoView());
    ASSERT_FALSE(InkBounds(fresh, BackgroundColour, Whole).IsEmpty());
    EXPECT_TRUE(SamePixels(first, fresh));
    EXPECT_TRUE(SamePixels(second, fresh));
}

TEST(Display, HeatViewBarAtAQuarterIsRedThenGreen)
{
    const StateGuard saved;
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

namespace {
// A small results table for the chart pictures, emptied afterwards.
class ChartPicture : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_lines = {wxS("A;Fast;1;2;1;4;8;Linux;6;4000;8000;yes"), wxS("B;Slow;1;2;1;4;8;Linux;6;1000;2000;yes")};
        ASSERT_TRUE(LoadResultTable(m_lines.size(), [this](std::size_t n) {
            return std::wstring_view(m_lines[n].wc_str(), m_lines[n].length());
        }));
        ApplyChartRows();
    }
    StateGuard m_saved;  ///< puts back the table the start-up loaded, and the chart state
    std::vector<wxString> m_lines;
};

wxColour At(const wxImage& image, int x, int y)
{
    return wxColour(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y));
}

// The first and last x of colour `c` along row y.
std::pair<int, int> Span(const wxImage& image, int y, const wxColour& c)
{
    int first = -1, last = -1;
    for (int x = 0; x < image.GetWidth(); ++x)
        if (At(image, x, y) == c) {
            if (first < 0)
                first = x;
            last = x;
        }
    return {first, last};
}
}  // namespace

TEST_F(ChartPicture, SpeedBarsAreGreenForStoredResultsAndYellowForThisMachine)
{
    LastSpeedPoints = 2000.0;  // between the two: row 1
    const wxImage image = Render(DisplaySpeedChart);
    const wxColour green(wxS("GREEN")), yellow(wxS("YELLOW"));
    // Bars are 8 pixels high from 4 pixels into their row; their middle row:
    // row 0 at y 136, row 1 at 152, row 2 at 168.
    const auto fast = Span(image, 136, green);
    const auto self = Span(image, 152, yellow);
    const auto slow = Span(image, 168, green);
    EXPECT_GE(fast.first, 495);
    EXPECT_LE(fast.first, 499);
    EXPECT_NEAR(fast.second, 495 + 225, 3);  // the full bar: 4000 points
    EXPECT_NEAR(self.second, 495 + 112, 3);  // 2000 of 4000 points
    EXPECT_NEAR(slow.second, 495 + 56, 3);   // 1000
    EXPECT_EQ(Span(image, 152, green).first, -1);
    EXPECT_EQ(Span(image, 136, yellow).first, -1);
}

TEST_F(ChartPicture, PowerBarOfThisMachineIsMagenta)
{
    LastPowerPoints = 9000.0;  // above both: row 0, the full bar
    const wxImage image = Render(DisplayPowerChart);
    const auto self = Span(image, 136, wxColour(wxS("MAGENTA")));
    EXPECT_NEAR(self.second, 495 + 225, 3);
    const auto fast = Span(image, 152, wxColour(wxS("GREEN")));
    EXPECT_NEAR(fast.second, 495 + 200, 3);  // 8000 of 9000
    // The separator of the power chart runs to x 890.
    EXPECT_TRUE(IsBlack(image, 880, 116));
}
