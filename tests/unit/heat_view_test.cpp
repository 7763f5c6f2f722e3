#include "core/state.h"
#include "bench/heat_work.h"
#include "../support/sensor_tree.h"
#include "sensors/heat_readings.h"
#include "view_printing.h"
#include "views/heat_view.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace {
class HeatView : public ::testing::Test {
protected:
    void SetUp() override
    {
        HeatTestMillis = 600000;
        HeatStart = 1000000;
        HeatReadings.Clear();
        HeatWork.Start(HeatTestMillis);
    }
    void TearDown() override
    {
        HeatState = 0;
        HeatTestMillis = 600000;
        HeatStart = HeatViewNow = 0;
        HeatReadings.Clear();
        HeatWork.Start(0);
    }

    static void Sample(double seconds, std::optional<double> celsius, std::optional<double> averageMhz,
                       std::optional<double> lowestMhz)
    {
        SensorSample sample;
        sample.seconds = seconds;
        sample.celsius = celsius;
        sample.averageMhz = averageMhz;
        sample.lowestMhz = lowestMhz;
        HeatReadings.Add(sample);
    }

    // Two workers that have each done 20 blocks a second for `seconds`
    // seconds; worker 1 with `errors` errors, the first at `errorMillis`.
    static void Work(int seconds, std::uint32_t errors = 0, std::int64_t errorMillis = 0)
    {
        HeatWork.Start(HeatTestMillis);
        for (int second = 1; second <= seconds; ++second) {
            HeatWorkSample sample;
            sample.seconds = second;
            for (std::uint32_t k = 0; k < 2; ++k) {
                HeatWorkerReading reading;
                reading.blocks = 20u * second;
                reading.endMillis = 1000u * second;
                reading.checks = 2u * reading.blocks;
                reading.errors = k == 1 && second == seconds ? errors : 0;
                reading.processor = static_cast<std::int32_t>(k);
                sample.workers.push_back(reading);
            }
            HeatWork.Add(sample);
        }
        if (errors > 0)
            HeatWork.AddErrors({{1, 1, errorMillis, "pass", {"product", "2", "1"}}});
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

// ---- what the sensors said, below the view's own items

TEST_F(HeatView, WithoutReadingsEachStateIsTheViewAlone)
{
    for (const int state : {0, 1, 2}) {
        HeatState = state;
        EXPECT_EQ(LayoutHeatView(1000000 + 150000).size(), state == 0 || state == 1 ? 6u : 7u) << state;
    }
}

TEST_F(HeatView, WhileRunningTheLatestAndExtremeReadingsAndTheCurveFollow)
{
    HeatState = 2;
    Sample(1, 60.0, 3400.0, 3300.0);
    Sample(2, 64.0, 3410.0, 3350.0);
    const ViewLayout layout = LayoutHeatView(1000000 + 150000);
    ASSERT_EQ(layout.size(), 7u + 4u + 7u);
    const ViewLayout readings(layout.begin() + 7, layout.end());
    const ViewLayout expected = {
        TextItem(wxS("Temperature:"), 10, 144),
        TextItem(wxS("64 \u00B0C (highest 64 \u00B0C)"), 150, 144),
        TextItem(wxS("Frequency:"), 10, 160),
        TextItem(wxS("3.41 GHz (lowest 3.30 GHz)"), 150, 160),
        // The plot two lines further down: axes, scale in tens, time across the test.
        LineItem(60, 208, 60, 328),
        LineItem(60, 328, 460, 328),
        TextItem(wxS("70 \u00B0C"), 10, 202),
        TextItem(wxS("60 \u00B0C"), 10, 322),
        TextItem(wxS("0"), 60, 332),
        TextItem(wxS("10 min"), 420, 332),
        LineItem(60, 328, 61, 280, wxS("RED")),
    };
    EXPECT_EQ(readings, expected);
}

TEST_F(HeatView, FinishedAndThrottledSaysSo)
{
    HeatState = 1;
    HeatTestMillis = 120000;
    for (int second = 1; second <= 120; ++second) {
        const bool late = second >= 90;
        Sample(second, late ? 95.0 : 80.0 + second / 10.0, late ? 2900.0 : 3400.0, late ? 2800.0 : 3350.0);
    }
    const ViewLayout layout = LayoutHeatView(0);
    ASSERT_GE(layout.size(), 6u + 5u);
    EXPECT_EQ(layout[6], TextItem(wxS("Temperature:"), 10, 144));
    EXPECT_EQ(layout[7], TextItem(wxS("95 \u00B0C (highest 95 \u00B0C)"), 150, 144));
    EXPECT_EQ(layout[9], TextItem(wxS("2.90 GHz (lowest 2.80 GHz)"), 150, 160));
    EXPECT_EQ(layout[10],
              TextItem(wxS("The processor slowed down at its highest temperature (thermal throttling)."), 10, 176));
    EXPECT_EQ(layout[11], LineItem(60, 224, 60, 344));  // the plot below that line
    EXPECT_EQ(layout[16], TextItem(wxS("2 min"), 420, 348));
    EXPECT_EQ(layout.size(), 6u + 5u + 6u + 119u);  // a segment between each two samples
}

TEST_F(HeatView, TheThrottlingLineWaitsForTheEnd)
{
    HeatState = 2;
    for (int second = 1; second <= 120; ++second)
        Sample(second, 95.0, second >= 90 ? 2900.0 : 3400.0, 2800.0);
    ASSERT_TRUE(HeatReadings.Throttled());
    for (const ViewItem& item : LayoutHeatView(1000000 + 60000))
        EXPECT_EQ(item.text.find(wxS("throttling")), wxString::npos);
}

TEST_F(HeatView, AVirtualMachineWithOnlyAFrequencyShowsThatLineAndNoPlot)
{
    HeatState = 1;
    Sample(1, std::nullopt, 2096.04, 2096.04);
    Sample(2, std::nullopt, 2096.04, 2096.04);
    const ViewLayout layout = LayoutHeatView(0);
    ASSERT_EQ(layout.size(), 6u + 2u);
    EXPECT_EQ(layout[6], TextItem(wxS("Frequency:"), 10, 144));
    EXPECT_EQ(layout[7], TextItem(wxS("2.10 GHz (lowest 2.10 GHz)"), 150, 144));
}

TEST_F(HeatView, ASensorThatStoppedAnsweringShowsNoLatestValue)
{
    HeatState = 2;
    Sample(1, 70.0, 3000.0, 3000.0);
    Sample(2, std::nullopt, std::nullopt, std::nullopt);
    const ViewLayout layout = LayoutHeatView(1000000 + 2000);
    EXPECT_EQ(layout[8], TextItem(wxS("- (highest 70 \u00B0C)"), 150, 144));
    EXPECT_EQ(layout[10], TextItem(wxS("- (lowest 3.00 GHz)"), 150, 160));
    // One reading is one point of the curve.
    EXPECT_EQ(layout.back(), LineItem(60, 328, 61, 328, wxS("RED")));
}

TEST_F(HeatView, AShortTestIsPlottedInSeconds)
{
    HeatState = 1;
    HeatTestMillis = 30000;
    Sample(10, 50.0, std::nullopt, std::nullopt);
    Sample(20, 50.0, std::nullopt, std::nullopt);
    const ViewLayout layout = LayoutHeatView(0);
    ASSERT_EQ(layout.size(), 6u + 2u + 7u);
    EXPECT_EQ(layout[10], TextItem(wxS("60 \u00B0C"), 10, 186));
    EXPECT_EQ(layout[11], TextItem(wxS("50 \u00B0C"), 10, 306));
    EXPECT_EQ(layout[13], TextItem(wxS("30 s"), 420, 316));
    EXPECT_EQ(layout.back(), LineItem(193, 312, 326, 312, wxS("RED")));
}

TEST_F(HeatView, FrequenciesKeepTheirPointInACommaLocale)
{
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr) << "the de_DE.UTF-8 locale is not installed";
    HeatState = 1;
    Sample(1, std::nullopt, 3456.0, 3210.0);
    const ViewLayout layout = LayoutHeatView(0);
    std::setlocale(LC_ALL, saved.c_str());
    EXPECT_EQ(layout[7], TextItem(wxS("3.46 GHz (lowest 3.21 GHz)"), 150, 144));
}

namespace {
class HeatReadingsOfAMachine : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Create());
        m_previousRoot = SensorRoot;
        SensorRoot = root.string();
    }
    void TearDown() override
    {
        SensorRoot = m_previousRoot;
        HeatReadings.Clear();
        StartHeatReadings();  // forget this machine's sensors
        HeatReadings.Clear();
        Destroy();
    }

    std::string m_previousRoot;
};
}  // namespace

TEST_F(HeatReadingsOfAMachine, EachSampleReadsEverySensorOnceAndIsKept)
{
    Desktop();
    Write("proc/stat", "cpu  100 0 100 800 0 0 0 0 0 0\n");
    StartHeatReadings();
    EXPECT_TRUE(HeatSensorsFound());
    EXPECT_EQ(HeatSensorNames(), (std::vector<std::string>{"k10temp:Tctl", "k10temp:Tccd1", "k10temp:Tccd2"}));
    // A second later the processors were busy for 150 of 200 jiffies.
    Write("proc/stat", "cpu  200 0 150 850 0 0 0 0 0 0\n");
    const HeatSample sample = SampleHeatReadings(1.0);
    EXPECT_EQ(sample.busyPercent, std::optional<double>(75.0));
    EXPECT_EQ(sample.sensors.celsius, std::optional<double>(65.25));
    EXPECT_EQ(sample.sensors.averageMhz, std::optional<double>(3750.0));
    EXPECT_EQ(sample.sensors.lowestMhz, std::optional<double>(3000.0));
    ASSERT_EQ(HeatReadings.Samples().size(), 1u);
    EXPECT_EQ(HeatReadings.HighestCelsius(), std::optional<double>(65.25));
    EXPECT_EQ(HeatLogHeader(HeatSensorNames()),
              "seconds,busy %,k10temp:Tctl,k10temp:Tccd1,k10temp:Tccd2,average MHz,lowest MHz");
    EXPECT_EQ(HeatLogRow(sample, 3), "1,75.0,65.2,70.1,60.0,3750,3000");
    // The next test starts afresh.
    StartHeatReadings();
    EXPECT_TRUE(HeatReadings.Samples().empty());
}

TEST_F(HeatReadingsOfAMachine, AMachineWithoutSensorsLogsOnlyTimeAndLoad)
{
    StartHeatReadings();
    EXPECT_FALSE(HeatSensorsFound());
    EXPECT_TRUE(HeatSensorNames().empty());
    const HeatSample sample = SampleHeatReadings(3.0);
    EXPECT_EQ(HeatLogHeader({}), "seconds,busy %,average MHz,lowest MHz");
    EXPECT_EQ(HeatLogRow(sample, 0), "3,,,");  // no /proc/stat either
    EXPECT_FALSE(HeatReadings.HighestCelsius());
}

TEST_F(HeatReadingsOfAMachine, LogCellsAreQuotedWhenTheyHoldASeparatorAndEmptyWhenASensorIsGone)
{
    EXPECT_EQ(HeatLogHeader({"chip:a,b", "chip:say \"hi\""}),
              "seconds,busy %,\"chip:a,b\",\"chip:say \"\"hi\"\"\",average MHz,lowest MHz");
    HeatSample sample;
    sample.sensors.seconds = 5;
    sample.sensors.sensors = {71.25, std::nullopt};
    sample.busyPercent = 99.96;
    EXPECT_EQ(HeatLogRow(sample, 2), "5,100.0,71.2,,,");
}

// ---- what the workers did, below the readings

TEST_F(HeatView, WithoutSensorsTheWorkLinesStartWhereTheReadingsWouldAndHaveTheirOwnPlot)
{
    HeatState = 2;
    Work(2);
    const ViewLayout layout = LayoutHeatView(1000000 + 2000);
    ASSERT_EQ(layout.size(), 7u + 4u + 7u);
    const ViewLayout work(layout.begin() + 7, layout.end());
    // 2 × 20 blocks of 65536 passes a second: 2 621 440 passes/s, on a scale
    // from 0 to 3 M.
    const ViewLayout expected = {
        TextItem(wxS("Work rate:"), 10, 144),
        TextItem(wxS("2.62 M passes/s"), 150, 144),
        TextItem(wxS("Checked:"), 10, 160),
        TextItem(wxS("160 checks, no errors"), 150, 160),
        LineItem(60, 208, 60, 328),
        LineItem(60, 328, 460, 328),
        TextItem(wxS("0"), 60, 332),
        TextItem(wxS("10 min"), 420, 332),
        TextItem(wxS("3.00 M passes/s"), 466, 202),
        TextItem(wxS("0 passes/s"), 466, 322),
        LineItem(60, 224, 61, 224, wxS("BLUE")),
    };
    EXPECT_EQ(work, expected);
}

TEST_F(HeatView, WithSensorsTheWorkLinesGoBelowThePlotAndTheRateIntoIt)
{
    HeatState = 2;
    Sample(1, 60.0, 3400.0, 3300.0);
    Sample(2, 64.0, 3410.0, 3350.0);
    Work(2);
    const ViewLayout layout = LayoutHeatView(1000000 + 2000);
    ASSERT_EQ(layout.size(), 7u + 4u + 7u + 4u + 3u);
    // The readings are drawn as without the work: the same items in the
    // same places.
    const ViewLayout readings(layout.begin() + 7, layout.begin() + 18);
    EXPECT_EQ(readings, LayoutHeatReadings(HeatReadings, false, HeatTestMillis));
    const ViewLayout work(layout.begin() + 18, layout.end());
    const ViewLayout expected = {
        // The plot spans 208 to 328, its time scale 332 to 348: a line apart.
        TextItem(wxS("Work rate:"), 10, 364),
        TextItem(wxS("2.62 M passes/s"), 150, 364),
        TextItem(wxS("Checked:"), 10, 380),
        TextItem(wxS("160 checks, no errors"), 150, 380),
        // The rate in the temperature plot, its scale on the right.
        TextItem(wxS("3.00 M passes/s"), 466, 202),
        TextItem(wxS("0 passes/s"), 466, 322),
        LineItem(60, 224, 61, 224, wxS("BLUE")),
    };
    EXPECT_EQ(work, expected);
}

TEST_F(HeatView, AnErrorIsALineInRedNamingTheProcessorAndTheTime)
{
    HeatState = 2;
    Work(2, 3, 252000);
    const ViewLayout layout = LayoutHeatView(1000000 + 2000);
    ASSERT_GE(layout.size(), 7u + 5u);
    EXPECT_EQ(layout[10], TextItem(wxS("160 checks, 3 errors"), 150, 160));
    EXPECT_EQ(layout[11], TextItem(wxString::FromUTF8("Processor 1 computed a wrong result at 04:12 \u2014 this "
                                                      "machine is not stable under load."),
                                   10, 176, wxS("RED")));
    EXPECT_EQ(layout[12], LineItem(60, 224, 60, 344));  // the plot a line lower
}

TEST_F(HeatView, OneErrorIsSaidInTheSingular)
{
    HeatState = 1;
    Work(2, 1, 1500);
    const ViewLayout layout = LayoutHeatView(0);
    EXPECT_EQ(layout[9], TextItem(wxS("160 checks, 1 error"), 150, 160));
    EXPECT_EQ(layout[10].text.substr(0, 44), wxS("Processor 1 computed a wrong result at 00:01"));
}

TEST_F(HeatView, OnceLongEnoughTheSustainedPaceAndAtTheEndTheSlowestProcessor)
{
    HeatTestMillis = 60000;
    HeatState = 2;
    Work(25);
    const ViewLayout running = LayoutHeatView(1000000 + 25000);
    EXPECT_EQ(running[8], TextItem(wxS("2.62 M passes/s (sustained 100 % of the first 12 s)"), 150, 144));
    HeatState = 1;
    Work(61);
    const ViewLayout finished = LayoutHeatView(0);
    EXPECT_EQ(finished[7], TextItem(wxS("2.62 M passes/s (sustained 100 % of the first 12 s; slowest processor "
                                        "100 % of the fastest)"),
                                    150, 144));
    // Too early for a pace (the last 12 s would overlap the first): the
    // rate alone.
    HeatState = 2;
    Work(20);
    EXPECT_EQ(LayoutHeatView(1000000 + 20000)[8], TextItem(wxS("2.62 M passes/s"), 150, 144));
}

TEST_F(HeatView, BeforeTheFirstBlockTheRateIsADash)
{
    HeatState = 2;
    HeatWork.Start(HeatTestMillis);
    HeatWork.Add(HeatWorkSample{1.0, {HeatWorkerReading{}, HeatWorkerReading{}}});
    const ViewLayout layout = LayoutHeatView(1000000 + 1000);
    ASSERT_EQ(layout.size(), 7u + 4u);  // no curve, no plot
    EXPECT_EQ(layout[8], TextItem(wxS("-"), 150, 144));
    EXPECT_EQ(layout[10], TextItem(wxS("0 checks, no errors"), 150, 160));
}
