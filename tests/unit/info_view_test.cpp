#include "core/state.h"
#include "views/info_view.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>

namespace {
// Fills the processor facts the view shows, and empties them afterwards.
class InfoView : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::wcscpy(CpuDisplayName, L"Intel(R) Core(TM) i7-8700K CPU @ 3.70GHz");
        std::strcpy(CpuVendorId, "GenuineIntel");
        CpuSignature = 0x906EA;
        CpuFamily = 6;
        CpuModel = 158;
        CpuStepping = 10;
        CpuExtendedFamily = 0;
        CpuExtendedModel = 9;
        CpuType = 0;
        CpuCores = 1;
        CpuHtt = 1;
        CpuCount = 12;
    }
    void TearDown() override
    {
        CpuDisplayName[0] = L'\0';
        CpuVendorId[0] = '\0';
        CpuSignature = CpuFamily = CpuModel = CpuStepping = 0;
        CpuExtendedFamily = CpuExtendedModel = CpuType = CpuCores = CpuHtt = CpuCount = 0;
    }
};

// The text drawn at (x, y), or "(none)".
wxString TextAt(const ViewLayout& layout, int x, int y)
{
    for (const ViewItem& item : layout)
        if (item.kind == ViewItem::Kind::Text && item.x == x && item.y == y)
            return item.text;
    return wxS("(none)");
}
}  // namespace

TEST_F(InfoView, EveryTextAndLineInDrawingOrder)
{
    const ViewLayout expected = {
        TextItem(wxS("Processor Informations"), 10, 16),
        LineItem(10, 36, 775, 36),
        TextItem(wxS("Processor:"), 10, 48),
        TextItem(wxS("Intel(R) Core(TM) i7-8700K CPU @ 3.70GHz"), 190, 48),
        TextItem(wxS("Vendor:"), 10, 64),
        TextItem(wxS("GenuineIntel"), 190, 64),
        TextItem(wxS("Signiture:"), 10, 80),
        TextItem(wxS("906EA"), 190, 80),
        TextItem(wxS("Family: 6"), 10, 96),
        TextItem(wxS("Model: 9E"), 190, 96),
        TextItem(wxS("Stepping: A"), 370, 96),
        TextItem(wxS("Extended family: 0"), 10, 112),
        TextItem(wxS("Extended model: 9"), 190, 112),
        TextItem(wxS("Type: 0"), 370, 112),
        TextItem(wxS("Processors:"), 10, 128),
        TextItem(wxS("( - )"), 190, 128),
        TextItem(wxS("Cores:"), 10, 144),
        TextItem(wxS("( 1 )"), 190, 144),
        TextItem(wxS("HTT: ( 1 )"), 370, 144),
        TextItem(wxS("Logical processors:"), 10, 160),
        TextItem(wxS("12"), 190, 160),
        LineItem(10, 188, 775, 188),
        TextItem(wxS("* These informations could not match the reality! Hint purpose only!"), 10, 204),
    };
    EXPECT_EQ(LayoutInfoView(), expected);
}

TEST_F(InfoView, Family16IsShownAs10)
{
    CpuFamily = 16;
    EXPECT_EQ(TextAt(LayoutInfoView(), 10, 96), "Family: 10");
}

TEST_F(InfoView, WithoutHyperThreadingHttShowsZero)
{
    CpuHtt = 0;
    EXPECT_EQ(TextAt(LayoutInfoView(), 370, 144), "HTT: ( 0 )");
}

TEST_F(InfoView, HexadecimalIsUpperCaseWithoutPrefixOrPadding)
{
    CpuSignature = 0xA20F10;
    CpuModel = 0x21;
    CpuExtendedFamily = 0xA;
    EXPECT_EQ(TextAt(LayoutInfoView(), 190, 80), "A20F10");
    EXPECT_EQ(TextAt(LayoutInfoView(), 190, 96), "Model: 21");
    EXPECT_EQ(TextAt(LayoutInfoView(), 10, 112), "Extended family: A");
}

TEST_F(InfoView, CoresAndProcessorsAreDecimal)
{
    CpuCores = 16;
    CpuCount = 32;
    EXPECT_EQ(TextAt(LayoutInfoView(), 190, 144), "( 16 )");
    EXPECT_EQ(TextAt(LayoutInfoView(), 190, 160), "32");
}

TEST_F(InfoView, ProcessorsRowAlwaysShowsADash)
{
    CpuPackages = 4;
    EXPECT_EQ(TextAt(LayoutInfoView(), 190, 128), "( - )");
    CpuPackages = 1;
}

TEST_F(InfoView, SamePictureOnEveryRepaintWhateverTheBenchmarksDid)
{
    const ViewLayout first = LayoutInfoView();
    LastSpeedPoints = 1234.0;
    LastPowerPoints = 5678.0;
    DisplayMode = DisplaySpeedChart;
    const ViewLayout second = LayoutInfoView();
    LastSpeedPoints = LastPowerPoints = 0.0;
    DisplayMode = DisplayBlank;
    EXPECT_EQ(first, second);
}
