#include "gui/commands.h"

#include "app/state.h"
#include "bench/heat.h"
#include "bench/power.h"
#include "gui/heat_dialog.h"
#include "gui/options_dialog.h"
#include "gui/power_thread_dialog.h"
#include "gui/result_dialog.h"
#include "gui/search_dialog.h"

#include <algorithm>

#include <wx/app.h>
#include <wx/thread.h>
#include <wx/msgdlg.h>
#include <wx/utils.h>
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
    StartHeatTest();
    wxWindow* frame = wxTheApp != nullptr ? wxTheApp->GetTopWindow() : nullptr;
    std::uint32_t done;
    do {
        done = HeatDoneProduct();  // taken before the sleep: one more second follows the last worker
        wxMilliSleep(1000);
        // Workers never touch the window; what one of them has to say is
        // shown from here.
        const wxString message = TakeHeatMessage();
        if (!message.empty())
            wxMessageBox(message, wxS("Tarnwick Benchmark"), wxOK | wxCENTRE);
        if (frame != nullptr) {
            frame->Refresh(true);
            frame->Update();
        }
    } while (done == 0);
    FinishHeatTest();
}
