#include "gui/commands.h"

#include "core/state.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/power.h"
#include "gui/dialog_support.h"
#include "gui/heat_dialog.h"
#include "gui/options_dialog.h"
#include "gui/power_thread_dialog.h"
#include "gui/result_dialog.h"
#include "gui/search_dialog.h"
#include "sensors/heat_readings.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include <wx/thread.h>
#include <wx/msgdlg.h>
#include <wx/window.h>

void ShowSearchDialog()
{
    (new SearchDialog(nullptr))->ShowModal();
}

void ShowOptionsDialog()
{
    (new OptionsDialog(nullptr))->ShowModal();
}

void ShowResultsDialog()
{
    (new ResultDialog(nullptr))->ShowModal();
}

double RunPowerBenchmark()
{
    (new PowerThreadDialog(nullptr))->ShowModal();
    if (DialogCancelled != 0)
        return -1.0;
    return RunPowerTest();
}

void RunHeatTest()
{
    ThreadCount = static_cast<std::uint32_t>(std::max(wxThread::GetCPUCount(), 1));
    (new HeatDialog(nullptr))->ShowModal();
    if (DialogCancelled != 0)
        return;
    wxWindow* frame = MainWindow();
    std::string problem;
    if (!TakeHeatFaultFromEnvironment(problem, ThreadCount))
        std::fprintf(stderr, "tarnwick: %s; the heat test runs without a fault\n", problem.c_str());
    StartHeatReadings();
    RunHeatLoop([frame] {
        // Workers never touch the window; what one of them has to say is
        // shown from here.
        const wxString message = TakeHeatMessage();
        if (!message.empty())
            wxMessageBox(message, wxS("Tarnwick Benchmark"), wxOK | wxCENTRE, MainWindow());
        // What the sensors say and what the workers did, once a second, for
        // the view.
        const double seconds = static_cast<double>(HeatClockMillis() - HeatStart.GetValue()) / 1000.0;
        SampleHeatReadings(seconds);
        SampleHeatWork(seconds);
        if (frame != nullptr) {
            frame->Refresh(true);
            frame->Update();
        }
    });
}
