#include "gui/resources.h"
#include "core/state.h"
#include "bench/heat.h"
#include "config/config_file.h"
#include "gui/heat_dialog.h"
#include "gui/main_frame.h"
#include "gui/power_thread_dialog.h"
#include "views/heat_view.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"
#include "tests/support/simulated_heat_time.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/ffile.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/thread.h>
#include <wx/time.h>
#include <wx/uiaction.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {
const wxString Positive = wxS("Please enter a positive number!");
const wxString DefaultCaption = wxS("Message");

// The given size, or more where the theme's font needs it, with every control
// whole inside the dialog.
void ExpectSizeAndEverythingInside(wxDialog& dialog, wxSize given)
{
    EXPECT_GE(dialog.GetSize().x, given.x);
    EXPECT_GE(dialog.GetSize().y, given.y);
    const wxRect inside(wxPoint(0, 0), dialog.GetClientSize());
    for (wxWindow* child : dialog.GetChildren())
        EXPECT_TRUE(inside.Contains(child->GetRect())) << child->GetClassInfo()->GetClassName();
}

class BenchDialogs : public ::testing::Test {
protected:
    void SetUp() override { SetDialogParameters(); }
    void TearDown() override { ProcessIdle(); }

    StateGuard m_saved;  ///< the parameters, results and display mode the tests change
};
}  // namespace

TEST_F(BenchDialogs, PowerDialogHoldsTheParametersAndItsTexts)
{
    HttOffResult = 1500;
    auto* dialog = new PowerThreadDialog(nullptr);
    EXPECT_EQ(dialog->GetTitle(), "Power - Cpu threads");
    ExpectSizeAndEverythingInside(*dialog, wxSize(435, 280));
    EXPECT_EQ(dialog->m_heading->GetLabel(), "Set test parameters:");
    EXPECT_EQ(dialog->m_threadsLabel->GetLabel(), "Number of concurrent tasks (threads):");
    EXPECT_EQ(dialog->m_httLabel->GetLabel(),
              "Processor with HTT:\n(also estimates real life core efficiency if no result\nentered below; could vary)");
    EXPECT_EQ(dialog->m_httResultLabel->GetLabel(),
              "Hardware disabled HTT power test result:\n(for accurate and maximum theoretical core efficiency)");
    EXPECT_EQ(dialog->m_httCheck->GetLabel(), "");
    EXPECT_EQ(dialog->m_cancelButton->GetLabel(), "Cancel");
    EXPECT_EQ(dialog->m_cancelButton->GetId(), wxID_CANCEL);
    EXPECT_EQ(dialog->m_okButton->GetLabel(), "OK");
    EXPECT_EQ(dialog->m_okButton->GetId(), wxID_OK);
    EXPECT_EQ(dialog->m_threadsText->GetValue(), "4");
    EXPECT_EQ(dialog->m_httResultText->GetValue(), "1500");
    EXPECT_TRUE(dialog->m_httCheck->GetValue());
    // Cancel to the left of OK, both below the fields.
    EXPECT_LT(dialog->m_cancelButton->GetPosition().x, dialog->m_okButton->GetPosition().x);
    EXPECT_GT(dialog->m_okButton->GetPosition().y, dialog->m_httResultText->GetPosition().y);
    PressButton(dialog->m_cancelButton);
}

TEST_F(BenchDialogs, NegativeThreadCountIsRefusedAndTheEntryValueRestored)
{
    auto* dialog = new PowerThreadDialog(nullptr);
    dialog->m_threadsText->SetValue(wxS("6"));
    EXPECT_EQ(ThreadCount, 6u);
    wxTEST_DIALOG(dialog->m_threadsText->SetValue(wxS("-3")), ExpectMessage(Positive, DefaultCaption));
    EXPECT_EQ(ThreadCount, 4u);
    EXPECT_EQ(dialog->m_threadsText->GetValue(), "4");
    PressButton(dialog->m_okButton);
    EXPECT_EQ(ThreadCount, 4u);
}

TEST_F(BenchDialogs, TextThatIsNoNumberGivesZeroThreadsWithoutAMessage)
{
    auto* dialog = new PowerThreadDialog(nullptr);
    dialog->m_threadsText->SetValue(wxS("abc"));  // an unexpected message box would fail the test
    EXPECT_EQ(ThreadCount, 0u);
    PressButton(dialog->m_okButton);
    EXPECT_EQ(ThreadCount, 0u);
    EXPECT_EQ(DialogCancelled, 0);
}

TEST_F(BenchDialogs, NegativeHttResultIsRefusedAndTheEntryValueRestored)
{
    HttOffResult = 700;
    auto* dialog = new PowerThreadDialog(nullptr);
    wxTEST_DIALOG(dialog->m_httResultText->SetValue(wxS("-1")), ExpectMessage(Positive, DefaultCaption));
    EXPECT_EQ(HttOffResult, 700u);
    EXPECT_EQ(dialog->m_httResultText->GetValue(), "700");
    dialog->m_httResultText->SetValue(wxS("1200"));
    PressButton(dialog->m_okButton);
    EXPECT_EQ(HttOffResult, 1200u);
}

TEST_F(BenchDialogs, TogglingHttThenCancellingRestoresIt)
{
    auto* dialog = new PowerThreadDialog(nullptr);
    dialog->m_httCheck->SetValue(false);
    wxCommandEvent click(wxEVT_CHECKBOX, dialog->m_httCheck->GetId());
    click.SetEventObject(dialog->m_httCheck);
    dialog->m_httCheck->GetEventHandler()->ProcessEvent(click);
    EXPECT_EQ(HttOption, 0u);
    dialog->m_threadsText->SetValue(wxS("9"));
    PressButton(dialog->m_cancelButton);
    EXPECT_EQ(HttOption, 1u);
    EXPECT_EQ(ThreadCount, 4u);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(BenchDialogs, PowerDialogCloseBoxIsCancel)
{
    auto* dialog = new PowerThreadDialog(nullptr);
    dialog->m_threadsText->SetValue(wxS("9"));
    dialog->m_httResultText->SetValue(wxS("55"));
    dialog->Close();
    EXPECT_EQ(ThreadCount, 4u);
    EXPECT_EQ(HttOffResult, 0u);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(BenchDialogs, TypingIntoThePowerDialog)
{
    // Real key presses into the thread-count field.
    auto* dialog = new PowerThreadDialog(nullptr);
    dialog->Show();
    dialog->m_threadsText->SetFocus();
    dialog->m_threadsText->SelectAll();
    PumpEvents(200);
    wxUIActionSimulator keyboard;
    keyboard.Text("12");
    PumpEvents(300);
    EXPECT_EQ(dialog->m_threadsText->GetValue(), "12");
    EXPECT_EQ(ThreadCount, 12u);
    PressButton(dialog->m_cancelButton);
}

TEST_F(BenchDialogs, HeatDialogHoldsTheMinutesAndItsTexts)
{
    HeatTestMillis = 180000;
    auto* dialog = new HeatDialog(nullptr);
    EXPECT_EQ(dialog->GetTitle(), "Heat - time");
    ExpectSizeAndEverythingInside(*dialog, wxSize(320, 240));
    EXPECT_EQ(dialog->m_minutesLabel->GetLabel(), "Heating time (minutes):");
    EXPECT_EQ(dialog->m_minutesText->GetValue(), "3");
    EXPECT_EQ(dialog->m_cancelButton->GetId(), wxID_CANCEL);
    EXPECT_EQ(dialog->m_okButton->GetId(), wxID_OK);
    PressButton(dialog->m_cancelButton);
}

TEST_F(BenchDialogs, HeatMinutesUpTo35791AreAccepted)
{
    auto* dialog = new HeatDialog(nullptr);
    dialog->m_minutesText->SetValue(wxS("35791"));
    EXPECT_EQ(HeatTestMillis, 2147460000);
    PressButton(dialog->m_okButton);
    EXPECT_EQ(HeatTestMillis, 2147460000);
}

TEST_F(BenchDialogs, HeatMinutesThatOverflowToNegativeAreRefused)
{
    HeatTestMillis = 120000;
    auto* dialog = new HeatDialog(nullptr);
    for (const char* minutes : {"35792", "71582"}) {
        wxTEST_DIALOG(dialog->m_minutesText->SetValue(minutes), ExpectMessage(Positive, DefaultCaption));
        EXPECT_EQ(HeatTestMillis, 120000) << minutes;
        EXPECT_EQ(dialog->m_minutesText->GetValue(), "2");
    }
    PressButton(dialog->m_cancelButton);
}

TEST_F(BenchDialogs, HeatMinutes71583WrapToAPositive12704Milliseconds)
{
    auto* dialog = new HeatDialog(nullptr);
    dialog->m_minutesText->SetValue(wxS("71583"));
    EXPECT_EQ(HeatTestMillis, 12704);
    PressButton(dialog->m_okButton);
    EXPECT_EQ(HeatTestMillis, 12704);
}

TEST(HeatTimeFromTheFile, MoreMinutesThanMillisecondsHoldOpenTheDialogAtTheMostThatFit)
{
    const StateGuard saved{"tarnwick.conf"};
    for (const char* minutes : {"99999999", "71583"}) {
        wxFFile(wxS("tarnwick.conf"), wxS("w")).Write(wxString::Format(wxS("cpulist\t\t20\nheattime\t%s\n"), minutes));
        ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
        EXPECT_EQ(HeatTestMillis, 35791 * 60000) << minutes;
        auto* dialog = new HeatDialog(nullptr);
        EXPECT_EQ(dialog->m_minutesText->GetValue(), "35791") << minutes;
        PressButton(dialog->m_okButton);
        EXPECT_EQ(HeatTestMillis, 35791 * 60000) << minutes;
    }
}

TEST_F(BenchDialogs, HeatDialogCloseBoxIsCancel)
{
    auto* dialog = new HeatDialog(nullptr);
    dialog->m_minutesText->SetValue(wxS("7"));
    EXPECT_EQ(HeatTestMillis, 420000);
    dialog->Close();
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(BenchDialogs, CancelledPowerTestGivesMinusOneAndABlankArea)
{
    AverageThreadPoints = 11.0;
    ReferenceCorePoints = 22.0;
    HttEfficiency = 33.0;
    PaintRecorder paints(TheFrame());
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_powerItem),
                  ExpectDialog<PowerThreadDialog>([](PowerThreadDialog* d) { PressButton(d->m_cancelButton); },
                                                  wxID_CANCEL));
    EXPECT_EQ(LastPowerPoints, -1.0);
    EXPECT_EQ(DisplayMode, DisplayBlank);
    EXPECT_EQ(paints.modes, (std::vector<int>{DisplayPleaseWait, DisplayBlank}));
    EXPECT_EQ(AverageThreadPoints, 11.0);
    EXPECT_EQ(ReferenceCorePoints, 22.0);
    EXPECT_EQ(HttEfficiency, 33.0);
}

TEST_F(BenchDialogs, ZeroThreadsGiveMinusTwoAndThePowerChart)
{
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_powerItem), ExpectDialog<PowerThreadDialog>([](PowerThreadDialog* d) {
                      d->m_threadsText->SetValue(wxS("0"));
                      PressButton(d->m_okButton);
                  }));
    EXPECT_EQ(LastPowerPoints, -2.0);
    EXPECT_EQ(DisplayMode, DisplayPowerChart);
}

TEST_F(BenchDialogs, ShortPowerTestFromTheMenu)
{
    PowerTestMillis = 1000;
    HttOption = 0;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_powerItem), ExpectDialog<PowerThreadDialog>([](PowerThreadDialog* d) {
                      d->m_threadsText->SetValue(wxS("2"));
                      PressButton(d->m_okButton);
                  }));
    PowerTestMillis = 10000;
    EXPECT_GT(LastPowerPoints, 0.0);
    EXPECT_EQ(AverageThreadPoints, LastPowerPoints / 2);
    EXPECT_EQ(HttEfficiency, 0.0);
    EXPECT_EQ(DisplayMode, DisplayPowerChart);
}

TEST_F(BenchDialogs, SpeedTestShowsPleaseWaitThenTheSpeedChart)
{
    SpeedTestMillis = 1000;
    DialogCancelled = 1;
    LastSpeedPoints = 0.0;
    PaintRecorder paints(TheFrame());
    SendMenuCommand(TheFrame().m_speedItem);
    SpeedTestMillis = 10000;
    EXPECT_EQ(paints.modes, (std::vector<int>{DisplayPleaseWait, DisplaySpeedChart}));
    EXPECT_GT(LastSpeedPoints, 0.0);
    EXPECT_EQ(LastSpeedPoints, std::floor(LastSpeedPoints / 10) * 10);  // 10 x whole blocks in 1 s
    EXPECT_EQ(DialogCancelled, 1);  // the speed test has no dialog and leaves the flag alone
}

TEST_F(BenchDialogs, CancelledHeatTestLeavesTheAreaBlankAndThreadsAtTheProcessorCount)
{
    ThreadCount = 99;
    HeatState = 2;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_heatItem),
                  ExpectDialog<HeatDialog>([](HeatDialog* d) { PressButton(d->m_cancelButton); }, wxID_CANCEL));
    EXPECT_EQ(DisplayMode, DisplayBlank);
    EXPECT_EQ(HeatState, 0);
    EXPECT_EQ(ThreadCount, std::uint32_t(wxThread::GetCPUCount()));
}

TEST_F(BenchDialogs, HeatTestOfZeroMinutesEndsAfterTheFirstWaitAndShowsRed)
{
    PaintRecorder paints(TheFrame());
    const wxLongLong start = wxGetLocalTimeMillis();
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_heatItem), ExpectDialog<HeatDialog>([](HeatDialog* d) {
                      d->m_minutesText->SetValue(wxS("0"));
                      PressButton(d->m_okButton);
                  }));
    const long took = long((wxGetLocalTimeMillis() - start).GetValue());
    // The flags are tested before each one-second wait: the workers finish at
    // once, so the first or the second test finds them all done.
    EXPECT_GE(took, 1000);
    EXPECT_LT(took, 3000);
    EXPECT_EQ(HeatState, 1);
    EXPECT_EQ(DisplayMode, DisplayHeat);
    EXPECT_GE(paints.modes.size(), 3u);
    EXPECT_LE(paints.modes.size(), 4u);
    for (int mode : paints.modes)
        EXPECT_EQ(mode, DisplayHeat);
    const wxImage image = CaptureClientArea(TheFrame());
    EXPECT_EQ(image.GetRed(100, 88), 255);  // the finished bar is red
    EXPECT_EQ(image.GetGreen(100, 88), 0);
    EXPECT_EQ(image.GetBlue(100, 88), 0);
    EXPECT_EQ(image.GetRed(100, 80) + image.GetGreen(100, 80) + image.GetBlue(100, 80), 0);  // its black outline
}

TEST_F(BenchDialogs, TwoMinutesOfHeatEndWithinABlockAndShowAHundredPerCent)
{
    // Two minutes of simulated time: the real loop, workers and view, with
    // the loop's sleep moving the heat clock on.
    const SimulatedHeatTime time(1700000000000);
    PaintRecorder paints(TheFrame());
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_heatItem), ExpectDialog<HeatDialog>([](HeatDialog* d) {
                      d->m_minutesText->SetValue(wxS("2"));
                      PressButton(d->m_okButton);
                  }));
    EXPECT_EQ(HeatTestMillis, 120000);
    EXPECT_EQ(HeatState, 1);
    EXPECT_EQ(DisplayMode, DisplayHeat);
    EXPECT_EQ(ThreadDone, nullptr);
    EXPECT_EQ(HeatStart, 1700000000000);
    // The workers stopped at the end of the block in which 120 s were reached;
    // one more second followed, then the loop ended.
    EXPECT_EQ(HeatWorkNow.load() - HeatStart.GetValue(), 120000);
    EXPECT_EQ(SimulatedHeatTime::Read() - HeatStart.GetValue(), 121000);
    // The idle view before the dialog, one repaint a second, the last one.
    EXPECT_EQ(paints.modes.size(), 1u + 121u + 1u);
    for (int mode : paints.modes)
        EXPECT_EQ(mode, DisplayHeat);
    // The last repaint while running read the heat clock: 121 s.
    EXPECT_EQ(HeatViewNow - HeatStart, 121000);
    // The finished view: the whole bar red, and "100 %" beside it.
    const wxImage image = CaptureClientArea(TheFrame());
    for (int x : {12, 100, 257}) {
        EXPECT_EQ(image.GetRed(x, 88), 255) << x;
        EXPECT_EQ(image.GetGreen(x, 88), 0) << x;
        EXPECT_EQ(image.GetBlue(x, 88), 0) << x;
    }
    const wxRect percent = InkBounds(image, BackgroundColour, wxRect(270, 78, 200, 20));
    ASSERT_FALSE(percent.IsEmpty());
    EXPECT_GE(percent.GetLeft(), 280);
    const ViewLayout finished = LayoutHeatView(HeatClockMillis());
    EXPECT_NE(std::find(finished.begin(), finished.end(), TextItem(wxS("100 %"), 280, 80)), finished.end());
}

TEST_F(BenchDialogs, AfterAHeatTestThePowerDialogOffersTheProcessorCount)
{
    ThreadCount = 1;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_heatItem),
                  ExpectDialog<HeatDialog>([](HeatDialog* d) { PressButton(d->m_cancelButton); }, wxID_CANCEL));
    wxString offered;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_powerItem), ExpectDialog<PowerThreadDialog>(
                                                               [&offered](PowerThreadDialog* d) {
                                                                   offered = d->m_threadsText->GetValue();
                                                                   PressButton(d->m_cancelButton);
                                                               },
                                                               wxID_CANCEL));
    EXPECT_EQ(offered, wxString::Format(wxS("%d"), wxThread::GetCPUCount()));
}
