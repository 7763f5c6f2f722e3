#include "gui/main_frame.h"

#include "app/state.h"
#include "bench/speed.h"
#include "config/config_file.h"
#include "gui/about_box.h"
#include "gui/commands.h"
#include "gui/history_dialog.h"
#include "gui/manual_dialog.h"
#include "results/search.h"
#include "views/display.h"

#include <wx/dcclient.h>

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

void MainFrame::OnCloseFrame(wxCloseEvent&)
{
    Destroy();
}

void MainFrame::OnQuit(wxCommandEvent&)
{
    Destroy();
}

void MainFrame::OnPaint(wxPaintEvent&)
{
    wxPaintDC dc(this);
    PaintDisplay(dc, DisplayMode);
}

void MainFrame::OnSearch(wxCommandEvent&)
{
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
    DisplayMode = DisplayPleaseWait;
    DialogCancelled = 0;
    RepaintNow();
    LastPowerPoints = RunPowerBenchmark();
    DisplayMode = DialogCancelled ? DisplayBlank : DisplayPowerChart;
    RepaintNow();
}

void MainFrame::OnSpeed(wxCommandEvent&)
{
    DisplayMode = DisplayPleaseWait;
    RepaintNow();
    LastSpeedPoints = RunSpeedBenchmark();
    DisplayMode = DisplaySpeedChart;
    RepaintNow();
}

void MainFrame::OnHeat(wxCommandEvent&)
{
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
    DisplayMode = DisplayInfo;
    RepaintNow();
}

void MainFrame::OnResults(wxCommandEvent&)
{
    DisplayMode = DisplayBlank;
    DialogCancelled = 0;
    RepaintNow();
    ShowResultsDialog();
    DisplayMode = DialogCancelled ? DisplayBlank : DisplayAfterResults;
    RepaintNow();
}

void MainFrame::OnManual(wxCommandEvent&)
{
    DisplayMode = DisplayBlank;
    RepaintNow();
    (new ManualDialog(nullptr))->ShowModal();
    DisplayMode = DisplayBlank;
    RepaintNow();
}

void MainFrame::OnHistory(wxCommandEvent&)
{
    DisplayMode = DisplayBlank;
    RepaintNow();
    (new HistoryDialog(nullptr))->ShowModal();
    DisplayMode = DisplayBlank;
    RepaintNow();
}

void MainFrame::OnAbout(wxCommandEvent&)
{
    ShowAboutBox();
}
