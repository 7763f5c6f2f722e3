#include "gui/main_frame.h"

#include "core/state.h"
#include "bench/power.h"
#include "bench/speed.h"
#include "config/config_file.h"
#include "gui/about_box.h"
#include "gui/commands.h"
#include "gui/history_dialog.h"
#include "gui/manual_dialog.h"
#include "results/search.h"
#include "gui/display.h"

#include <wx/dcclient.h>
#include <wx/evtloop.h>
#include <wx/menu.h>

MainFrame::MainFrame(wxWindow* parent)
    : MainFrameBase(parent, wxID_ANY, wxS("Tarnwick Benchmark"), wxPoint(10, 10), wxSize(900, 600),
                    wxDEFAULT_FRAME_STYLE | wxTAB_TRAVERSAL)
{
}

void MainFrame::RepaintNow()
{
    Refresh(true);
    Update();
}

void MainFrame::OnCloseFrame(wxCloseEvent& event)
{
    // During the power test the window waits for the workers, then goes.
    if (m_powerTestRunning) {
        m_closeAfterTest = true;
        SetStatusText(wxS("Closing when the power test has ended ..."), 0);
        if (event.CanVeto())
            event.Veto();
        return;
    }
    Destroy();
}

void MainFrame::OnQuit(wxCommandEvent&)
{
    if (m_powerTestRunning) {
        m_closeAfterTest = true;
        SetStatusText(wxS("Closing when the power test has ended ..."), 0);
        return;
    }
    Destroy();
}

void MainFrame::EnableWorkCommands(bool enable)
{
    for (wxMenuItem* item : {m_searchItem, m_optionsItem, m_powerItem, m_speedItem, m_heatItem, m_infoItem,
                             m_resultsItem})
        item->Enable(enable);
}

void AnswerWindowEvents()
{
    // Every kind of event, the window's own queued ones too; the handlers
    // that must not run now know that the test runs.
    constexpr long events = wxEVT_CATEGORY_ALL;
    if (wxEventLoopBase* loop = wxEventLoopBase::GetActive()) {
        loop->YieldFor(events);
        return;
    }
    // Called before the main loop runs (as the tests do): a loop for now.
    wxEventLoop loop;
    wxEventLoopActivator active(&loop);
    loop.YieldFor(events);
}

void MainFrame::OnPaint(wxPaintEvent&)
{
    wxPaintDC dc(this);
    PaintDisplay(dc, DisplayMode);
}

void MainFrame::OnSearch(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    DisplayMode = DisplayBlank;
    DialogCancelled = 0;
    RepaintNow();
    ShowSearchDialog();
    if (DialogCancelled == 0)
        FindResults();
    DisplayMode = DialogCancelled ? DisplayBlank : DisplaySearch;
    RepaintNow();
}

void MainFrame::OnOptions(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    DisplayMode = DisplayPleaseWait;
    DialogCancelled = 0;
    RepaintNow();
    ShowOptionsDialog();
    if (DialogCancelled == 0)
        ProcessConfigFile(ConfigMode);
    DisplayMode = DisplayAfterOptions;
    RepaintNow();
}

void MainFrame::OnPower(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    DisplayMode = DisplayPleaseWait;
    DialogCancelled = 0;
    RepaintNow();
    // The window answers while the threads run; nothing that starts work
    // or changes the table or the settings can be chosen meanwhile.
    m_powerTestRunning = true;
    EnableWorkCommands(false);
    SetPowerWaitHook(AnswerWindowEvents);
    LastPowerPoints = RunPowerBenchmark();
    SetPowerWaitHook(nullptr);
    EnableWorkCommands(true);
    m_powerTestRunning = false;
    if (m_closeAfterTest) {
        Destroy();
        return;
    }
    DisplayMode = DialogCancelled ? DisplayBlank : DisplayPowerChart;
    RepaintNow();
}

void MainFrame::OnSpeed(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    DisplayMode = DisplayPleaseWait;
    RepaintNow();
    LastSpeedPoints = RunSpeedBenchmark();
    DisplayMode = DisplaySpeedChart;
    RepaintNow();
}

void MainFrame::OnHeat(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    HeatState = 0;
    DialogCancelled = 0;
    DisplayMode = DisplayHeat;
    RepaintNow();
    RunHeatTest();
    DisplayMode = DialogCancelled ? DisplayBlank : DisplayHeat;
    RepaintNow();
}

void MainFrame::OnInfo(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    DisplayMode = DisplayInfo;
    RepaintNow();
}

void MainFrame::OnResults(wxCommandEvent&)
{
    if (m_powerTestRunning)
        return;
    DisplayMode = DisplayBlank;
    DialogCancelled = 0;
    RepaintNow();
    ShowResultsDialog();
    DisplayMode = DialogCancelled ? DisplayBlank : DisplayAfterResults;
    RepaintNow();
}

void MainFrame::ShowViewer(wxDialog* viewer)
{
    // During the power test "Please wait ..." stays behind the viewer.
    const bool blank = !m_powerTestRunning;
    if (blank) {
        DisplayMode = DisplayBlank;
        RepaintNow();
    }
    viewer->ShowModal();
    if (blank) {
        DisplayMode = DisplayBlank;
        RepaintNow();
    }
}

void MainFrame::OnManual(wxCommandEvent&)
{
    ShowViewer(new ManualDialog(nullptr));
}

void MainFrame::OnHistory(wxCommandEvent&)
{
    ShowViewer(new HistoryDialog(nullptr));
}

void MainFrame::OnAbout(wxCommandEvent&)
{
    ShowAboutBox();
}
