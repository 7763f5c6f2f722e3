// The window during the power test: it repaints "Please wait ...", Help's
// commands work, nothing that starts work or changes the table or the
// settings can run, and the power chart follows the test.
#include "core/state.h"
#include "gui/main_frame.h"
#include "gui/power_thread_dialog.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"

#include <wx/app.h>
#include <wx/generic/aboutdlgg.h>
#include <wx/menu.h>

#include <gtest/gtest.h>

#include <vector>

namespace {
class LivePowerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        PowerTestMillis = 1000;  // a wait of two seconds
        ThreadCount = 1;
        HttOption = 0;
        HttOffResult = 0;
        DisplayMode = DisplayBlank;
        LastSpeedPoints = 0.0;
    }
    void TearDown() override { ProcessIdle(); }

    StateGuard m_saved;  ///< the parameters, results, charts and display mode as they were
};

// What the window was like while the threads ran.
struct DuringTheTest {
    bool seen = false;
    int mode = -1;
    std::vector<bool> enabled;  ///< search, options, power, speed, heat, info, results, manual, history, about
    double speedAfterSpeed = -1;
    int modeAfterCommands = -1;
    int repaintsWaiting = 0;
};
}  // namespace

TEST_F(LivePowerTest, HelpWorksWorkCommandsDoNothingAndTheChartFollows)
{
    MainFrame& frame = TheFrame();
    DuringTheTest during;
    PaintRecorder paints(frame);
    // Runs from the window's events once the threads run.
    frame.CallAfter([&frame, &during] {
        during.seen = true;
        during.mode = DisplayMode;
        for (wxMenuItem* item : {frame.m_searchItem, frame.m_optionsItem, frame.m_powerItem, frame.m_speedItem,
                                 frame.m_heatItem, frame.m_infoItem, frame.m_resultsItem, frame.m_manualItem,
                                 frame.m_historyItem, frame.m_aboutItem})
            during.enabled.push_back(item->IsEnabled());
        // Commands arriving anyway (a stray accelerator, say) start nothing:
        // a second power test would show its dialog, which nothing answers.
        for (wxMenuItem* item : {frame.m_speedItem, frame.m_powerItem, frame.m_heatItem, frame.m_infoItem})
            SendMenuCommand(item);
        during.speedAfterSpeed = LastSpeedPoints;
        during.modeAfterCommands = DisplayMode;
        SendMenuCommand(frame.m_aboutItem);  // the About box, answered below
        frame.Refresh();
        frame.Update();
    });
    wxTEST_DIALOG(SendMenuCommand(frame.m_powerItem),
                  ExpectDialog<PowerThreadDialog>([](PowerThreadDialog* d) { PressButton(d->m_okButton); }),
                  ExpectDialog<wxGenericAboutDialog>([](wxGenericAboutDialog*) {}));

    ASSERT_TRUE(during.seen) << "the window answered nothing during the test";
    EXPECT_EQ(during.mode, DisplayPleaseWait);
    EXPECT_EQ(during.enabled,
              (std::vector<bool>{false, false, false, false, false, false, false, true, true, true}));
    EXPECT_EQ(during.speedAfterSpeed, 0.0);
    EXPECT_EQ(during.modeAfterCommands, DisplayPleaseWait);
    // "Please wait ..." was repainted while the threads ran, then the chart.
    int waiting = 0;
    for (int mode : paints.modes)
        waiting += mode == DisplayPleaseWait ? 1 : 0;
    EXPECT_GE(waiting, 2);
    ASSERT_FALSE(paints.modes.empty());
    EXPECT_EQ(paints.modes.back(), DisplayPowerChart);
    EXPECT_EQ(DisplayMode, DisplayPowerChart);
    EXPECT_GT(LastPowerPoints, 0.0);
    for (wxMenuItem* item : {frame.m_searchItem, frame.m_optionsItem, frame.m_powerItem, frame.m_speedItem,
                             frame.m_heatItem, frame.m_infoItem, frame.m_resultsItem})
        EXPECT_TRUE(item->IsEnabled());
}

TEST_F(LivePowerTest, TheSpeedTestStillBlocksTheWindow)
{
    SpeedTestMillis = 1000;
    MainFrame& frame = TheFrame();
    bool answered = false;
    frame.CallAfter([&answered] { answered = true; });
    SendMenuCommand(frame.m_speedItem);
    SpeedTestMillis = 10000;
    EXPECT_FALSE(answered);  // no events during the speed test, as before
    EXPECT_EQ(DisplayMode, DisplaySpeedChart);
    ProcessIdle();
    PumpEvents(50);
    EXPECT_TRUE(answered);
}
