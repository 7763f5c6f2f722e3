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

namespace {
// What most commands do before their first repaint: the mode to show
// meanwhile, and for a command that asks a dialog, DialogCancelled cleared.
std::function<void()> Showing(DisplayModes mode)
{
    return [mode] { DisplayMode = mode; };
}

std::function<void()> ShowingWithDialog(DisplayModes mode)
{
    return [mode] {
        DisplayMode = mode;
        DialogCancelled = 0;
    };
}
}  // namespace

void MainFrame::RunCommand(const std::function<void()>& before,
                           const std::function<std::optional<DisplayModes>()>& work)
{
    if (m_powerTestRunning)
        return;
    before();
    RepaintNow();
    const std::optional<DisplayModes> after = work();
    if (!after)
        return;
    DisplayMode = *after;
    RepaintNow();
}

void MainFrame::OnSearch(wxCommandEvent&)
{
    RunCommand(
        ShowingWithDialog(DisplayBlank),
        [] {
            ShowSearchDialog();
            if (DialogCancelled == 0)
                FindResults();
            return DialogCancelled ? DisplayBlank : DisplaySearch;
        });
}

void MainFrame::OnOptions(wxCommandEvent&)
{
    RunCommand(
        ShowingWithDialog(DisplayPleaseWait),
        [] {
            ShowOptionsDialog();
            if (DialogCancelled == 0)
                ProcessConfigFile(ConfigMode);
            return DisplayAfterOptions;
        });
}

void MainFrame::OnPower(wxCommandEvent&)
{
    RunCommand(
        ShowingWithDialog(DisplayPleaseWait),
        [this]() -> std::optional<DisplayModes> {
            // The window answers while the threads run; nothing that starts
            // work or changes the table or the settings can be chosen meanwhile.
            m_powerTestRunning = true;
            EnableWorkCommands(false);
            SetPowerWaitHook(AnswerWindowEvents);
            LastPowerPoints = RunPowerBenchmark();
            SetPowerWaitHook(nullptr);
            EnableWorkCommands(true);
            m_powerTestRunning = false;
            if (m_closeAfterTest) {
                Destroy();
                return std::nullopt;
            }
            return DialogCancelled ? DisplayBlank : DisplayPowerChart;
        });
}

void MainFrame::OnSpeed(wxCommandEvent&)
{
    // The speed test asks no dialog: it leaves DialogCancelled as it is.
    RunCommand(Showing(DisplayPleaseWait), [] {
        LastSpeedPoints = RunSpeedBenchmark();
        return DisplaySpeedChart;
    });
}

void MainFrame::OnHeat(wxCommandEvent&)
{
    RunCommand(
        [] {
            HeatState = 0;
            DialogCancelled = 0;
            DisplayMode = DisplayHeat;
        },
        [] {
            RunHeatTest();
            return DialogCancelled ? DisplayBlank : DisplayHeat;
        });
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
    RunCommand(
        ShowingWithDialog(DisplayBlank),
        [] {
            ShowResultsDialog();
            return DialogCancelled ? DisplayBlank : DisplayAfterResults;
        });
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
