#include "app/state.h"
#include "views/heat_view.h"

#include <gtest/gtest.h>

namespace {
class HeatView : public ::testing::Test {
protected:
    void SetUp() override
    {
        HeatTestMillis = 600000;
        HeatStart = 1000000;
    }
    void TearDown() override
    {
        HeatState = 0;
        HeatTestMillis = 600000;
        HeatStart = HeatViewNow = 0;
    }
};

const ViewItem Title = TextItem(wxS("CPU Heat Test"), 10, 16);
const ViewItem Progress = TextItem(wxS("Heating progress:"), 10, 48);
const ViewItem HeatTime = TextItem(wxS("Heat time (minutes):"), 10, 112);
}  // namespace

TEST_F(HeatView, BeforeTheTestTheBarIsGreenAtZeroPerCent)
{
    HeatState = 0;
    const ViewLayout expected = {Title,
                                 Progress,
                                 RectangleItem(10, 80, 250, 16, wxS("GREEN")),
                                 TextItem(wxS("0 %"), 280, 80),
                                 HeatTime,
                                 TextItem(wxS("10"), 150, 112)};
    EXPECT_EQ(LayoutHeatView(5000000), expected);
}

TEST_F(HeatView, At150SecondsOfTenMinutesAQuarterIsRed)
{
    HeatState = 2;
    const ViewLayout expected = {Title,
                                 Progress,
                                 HeatTime,
                                 TextItem(wxS("10"), 150, 112),
                                 TextItem(wxS("25 %"), 280, 80),
                                 RectangleItem(72, 80, 187, 16, wxS("GREEN")),
                                 RectangleItem(10, 80, 62, 16, wxS("RED"))};
    EXPECT_EQ(LayoutHeatView(1000000 + 150000), expected);
    EXPECT_EQ(HeatViewNow, 1000000 + 150000);
}

TEST_F(HeatView, PercentageIsRoundedToWholeNumbers)
{
    HeatState = 2;
    const ViewLayout layout = LayoutHeatView(1000000 + 255600);  // 42.6 %
    EXPECT_EQ(layout[4], TextItem(wxS("43 %"), 280, 80));
}

TEST_F(HeatView, OnceTheTimeIsOverBothPartsShrinkToTheRightEnd)
{
    HeatState = 2;
    const ViewLayout layout = LayoutHeatView(1000000 + 700000);
    EXPECT_EQ(layout[4], TextItem(wxS("100 %"), 280, 80));
    EXPECT_EQ(layout[5], RectangleItem(260, 80, 0, 16, wxS("GREEN")));
    EXPECT_EQ(layout[6], RectangleItem(260, 80, 0, 16, wxS("RED")));
}

TEST_F(HeatView, RunningWithoutTimeShowsZeroPerCentAndAGreenBar)
{
    HeatState = 2;
    HeatTestMillis = 0;
    HeatViewNow = 5;
    const ViewLayout layout = LayoutHeatView(1000000 + 150000);
    EXPECT_EQ(layout[4], TextItem(wxS("0 %"), 280, 80));
    EXPECT_EQ(layout[5], RectangleItem(10, 80, 250, 16, wxS("GREEN")));
    EXPECT_EQ(layout[6], RectangleItem(10, 80, 0, 16, wxS("RED")));
    EXPECT_EQ(HeatViewNow, 5);  // no clock reading without a time
}

TEST_F(HeatView, OneMinuteShowsOne)
{
    HeatTestMillis = 60000;
    EXPECT_EQ(LayoutHeatView(0)[5], TextItem(wxS("1"), 150, 112));
}

TEST_F(HeatView, NinetyMinutesShowNinety)
{
    HeatTestMillis = 90 * 60000;
    EXPECT_EQ(LayoutHeatView(0)[5], TextItem(wxS("90"), 150, 112));
}

TEST_F(HeatView, FinishedIsAlwaysAHundredPerCentAndRed)
{
    HeatState = 1;
    for (std::int64_t now : {0LL, 1000000LL, 1150000LL, 99999999LL}) {
        const ViewLayout expected = {Title,
                                     Progress,
                                     RectangleItem(10, 80, 250, 16, wxS("RED")),
                                     TextItem(wxS("100 %"), 280, 80),
                                     HeatTime,
                                     TextItem(wxS("10"), 150, 112)};
        EXPECT_EQ(LayoutHeatView(now), expected);
    }
}

TEST_F(HeatView, AnyOtherStateShowsNothing)
{
    HeatState = 7;
    EXPECT_TRUE(LayoutHeatView(0).empty());
}
