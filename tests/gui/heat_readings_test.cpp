// The heat view with what a machine's sensors said, on real pixels: the
// readings and the temperature curve below the view's own picture, and
// without sensors the view's own picture and nothing else.
#include "../support/sensor_tree.h"
#include "gui/resources.h"
#include "core/state.h"
#include "bench/heat_work.h"
#include "gui/heat_dialog.h"
#include "gui/main_frame.h"
#include "gui_support.h"
#include "sensors/heat_readings.h"
#include "gui/display.h"
#include "views/heat_view.h"
#include "tests/support/saved_state.h"
#include "tests/support/simulated_heat_time.h"

#include <wx/button.h>
#include <wx/textctrl.h>

#include <wx/bitmap.h>
#include <wx/dcmemory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <regex>
#include <string>
#include <vector>

namespace {
class HeatReadingsPicture : public ::testing::Test, public MachineTree {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Create());
        m_previousRoot = SensorRoot;
        SensorRoot = root.string();
        HeatTestMillis = 120000;
        HeatState = 1;
        HeatWork.Start(HeatTestMillis);
    }
    void TearDown() override
    {
        SensorRoot = m_previousRoot;
        HeatReadings.Clear();
        HeatWork.Start(0);
        HeatState = 0;
        HeatTestMillis = 600000;
        DisplayMode = DisplayBlank;
        TheFrame().RepaintNow();
        Destroy();
    }

    std::string m_previousRoot;

    // Two minutes of a desktop heating up from 60 to 90 degrees while its
    // processors slow down in the last half minute.
    void TwoMinutesOfADesktop()
    {
        const std::string chip = Desktop();
        StartHeatReadings();
        for (int second = 1; second <= 120; ++second) {
            const int celsius = second < 90 ? 60 + second / 3 : 90;
            Write(chip + "/temp1_input", std::to_string(celsius * 1000) + "\n");
            if (second == 90)
                for (int cpu = 0; cpu < 16; ++cpu)
                    Write("sys/devices/system/cpu/cpufreq/policy" + std::to_string(cpu) + "/scaling_cur_freq",
                          "2500000\n");
            SampleHeatReadings(second);
        }
    }

    wxImage Show()
    {
        DisplayMode = DisplayHeat;
        TheFrame().RepaintNow();
        PumpEvents(50);
        return CaptureClientArea(TheFrame());
    }

    // Red as the curve is drawn: its smoothed joints blend a little.
    static bool IsRed(const wxImage& image, int x, int y)
    {
        return image.GetRed(x, y) >= 200 && image.GetGreen(x, y) <= 40 && image.GetBlue(x, y) <= 40;
    }

    static bool Is(const wxImage& image, int x, int y, const wxColour& colour)
    {
        return image.GetRed(x, y) == colour.Red() && image.GetGreen(x, y) == colour.Green() &&
               image.GetBlue(x, y) == colour.Blue();
    }
};
}  // namespace

TEST_F(HeatReadingsPicture, AFinishedTestShowsItsReadingsAndItsCurveBelowTheView)
{
    TwoMinutesOfADesktop();
    ASSERT_TRUE(HeatReadings.Throttled());
    const wxImage image = Show();
    // The view's own picture: the red bar and "100 %".
    EXPECT_TRUE(Is(image, 100, 88, wxColour(wxS("RED"))));
    // Three lines of text from y 144: temperature, frequency, throttling.
    for (const int y : {144, 160, 176})
        EXPECT_FALSE(InkBounds(image, BackgroundColour, wxRect(10, y, 400, 14)).IsEmpty()) << y;
    EXPECT_TRUE(InkBounds(image, BackgroundColour, wxRect(10, 194, 40, 10)).IsEmpty());
    // The plot two lines further: black axes (their smoothed ends aside), a
    // red curve inside them.
    const int top = 224, bottom = top + 120;
    for (int y = top + 2; y <= bottom - 2; y += 10)
        EXPECT_TRUE(Is(image, 60, y, *wxBLACK)) << y;
    for (int x = 62; x <= 458; x += 12)
        EXPECT_TRUE(Is(image, x, bottom, *wxBLACK) || IsRed(image, x, bottom)) << x;
    int red = 0;
    for (int y = top; y < bottom; ++y)
        for (int x = 61; x <= 460; ++x)
            red += IsRed(image, x, y) ? 1 : 0;
    EXPECT_GT(red, 100);
    // The curve ends at the highest temperature: 90 degrees is the top of the scale.
    for (int x = 400; x <= 455; x += 5)
        EXPECT_TRUE(IsRed(image, x, top)) << x;
    EXPECT_TRUE(InkBounds(image, BackgroundColour, wxRect(470, top - 10, 400, 140)).IsEmpty());
}

TEST_F(HeatReadingsPicture, WithoutSensorsTheViewIsItsOwnPictureExactly)
{
    StartHeatReadings();  // an empty machine
    for (int second = 1; second <= 5; ++second)
        SampleHeatReadings(second);
    ASSERT_EQ(HeatReadings.Samples().size(), 5u);
    const wxImage window = Show();

    // The same view drawn from its own items alone.
    HeatReadings.Clear();
    wxBitmap bitmap(window.GetWidth(), window.GetHeight(), 24);
    {
        wxMemoryDC dc(bitmap);
        PaintDisplay(dc, DisplayHeat);
    }
    const wxImage alone = bitmap.ConvertToImage();
    ASSERT_EQ(window.GetSize(), alone.GetSize());
    int differing = 0;
    for (int y = 0; y < window.GetHeight(); ++y)
        for (int x = 0; x < window.GetWidth(); ++x)
            differing += window.GetRed(x, y) != alone.GetRed(x, y) || window.GetGreen(x, y) != alone.GetGreen(x, y) ||
                                 window.GetBlue(x, y) != alone.GetBlue(x, y)
                             ? 1
                             : 0;
    EXPECT_EQ(differing, 0);
    EXPECT_TRUE(InkBounds(window, BackgroundColour, wxRect(0, 130, window.GetWidth(), window.GetHeight() - 130))
                    .IsEmpty());
}

TEST_F(HeatReadingsPicture, TheWindowsHeatTestReadsTheSensorsOnceASecond)
{
    const StateGuard saved;  // the heat test's globals as they were
    Desktop();
    // One minute of simulated time through the menu: the real loop and workers.
    const SimulatedHeatTime time(1700000000000);
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_heatItem), ExpectDialog<HeatDialog>([](HeatDialog* d) {
                      d->m_minutesText->SetValue(wxS("1"));
                      PressButton(d->m_okButton);
                  }));
    ASSERT_EQ(HeatState, 1);
    // The loop waits one second 61 times (the last after the workers ended).
    const std::vector<SensorSample>& samples = HeatReadings.Samples();
    ASSERT_EQ(samples.size(), 61u);
    for (std::size_t k = 0; k < samples.size(); ++k) {
        EXPECT_EQ(samples[k].seconds, double(k + 1)) << k;
        EXPECT_EQ(samples[k].celsius, std::optional<double>(65.25)) << k;
        EXPECT_EQ(samples[k].averageMhz, std::optional<double>(3750.0)) << k;
    }
    const ViewLayout finished = LayoutHeatView(HeatClockMillis());
    EXPECT_NE(std::find_if(finished.begin(), finished.end(),
                           [](const ViewItem& item) { return item.text == wxS("Temperature:"); }),
              finished.end());
}

TEST_F(HeatReadingsPicture, WithTheFaultSwitchTheWindowSaysInRedWhichProcessorComputedWrongly)
{
    const StateGuard saved;
    // An empty machine: the work lines take the readings' place.
    const SimulatedHeatTime time(1700000000000);
    ASSERT_EQ(setenv("TARNWICK_HEAT_FAULT", "0:0", 1), 0);
    // Processor 0 is worker 0's when each worker has its own processor, as
    // on any machine that runs this with every processor allowed.
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_heatItem), ExpectDialog<HeatDialog>([](HeatDialog* d) {
                      d->m_minutesText->SetValue(wxS("1"));
                      PressButton(d->m_okButton);
                  }));
    unsetenv("TARNWICK_HEAT_FAULT");
    ASSERT_EQ(HeatState, 1);
    ASSERT_EQ(HeatWork.Samples().size(), 61u);  // read once a second, as the sensors are
    std::uint32_t faulty = 0;
    while (faulty < ThreadCount && HeatWork.Processor(faulty) != 0)
        ++faulty;
    ASSERT_LT(faulty, ThreadCount) << "no worker went by processor 0";
    EXPECT_GT(HeatWork.Samples().back().workers[faulty].errors, 0u);
    EXPECT_EQ(HeatWork.Errors(), HeatWork.Samples().back().workers[faulty].errors);

    const ViewLayout layout = LayoutHeatView(HeatClockMillis());
    const auto red = std::find_if(layout.begin(), layout.end(), [](const ViewItem& item) {
        return item.kind == ViewItem::Kind::Text && item.colour == wxS("RED");
    });
    ASSERT_NE(red, layout.end());
    // The simulated minute passes while the workers are in their first
    // blocks: the first error may come at any second of it.
    EXPECT_TRUE(std::regex_match(red->text.utf8_string(),
                                 std::regex("Processor 0 computed a wrong result at 0[01]:[0-5][0-9] \u2014 this "
                                            "machine is not stable under load\\.")))
        << red->text.utf8_string();
    EXPECT_EQ(red->x, 10);
    EXPECT_EQ(red->y, 176);

    // On the screen: black lines at 144 and 160, the red one at 176.
    const wxImage image = Show();
    const auto redInk = [&](int y) {
        int count = 0;
        for (int row = y; row < y + 14; ++row)
            for (int x = 10; x < 420; ++x)
                count += IsRed(image, x, row) ? 1 : 0;
        return count;
    };
    EXPECT_FALSE(InkBounds(image, BackgroundColour, wxRect(10, 144, 400, 14)).IsEmpty());
    EXPECT_FALSE(InkBounds(image, BackgroundColour, wxRect(10, 160, 400, 14)).IsEmpty());
    EXPECT_EQ(redInk(144), 0);
    EXPECT_EQ(redInk(160), 0);
    EXPECT_GT(redInk(176), 200);
}
