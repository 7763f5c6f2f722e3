#include "app/main_app.h"

#include "core/notify.h"
#include "gui/resources.h"
#include "app/startup.h"
#include "core/state.h"
#include "app/tarnwick_icon.xpm"
#include "bench/workers.h"
#include "config/config_file.h"
#include "files/path_text.h"
#include "gui/dialog_support.h"
#include "gui/main_frame.h"
#include "results/results_file.h"
#include "sensors/heat_readings.h"

#include <wx/icon.h>
#include <wx/msgdlg.h>

#include <clocale>

bool MainApp::OnInit()
{
    // GTK adopts the user's locale; numbers in files and on screen must not.
    std::setlocale(LC_NUMERIC, "C");
    TakeSensorRootFromEnvironment();
    SetNotifier([](const wxString& text, const wxString& caption) {
        // A file name may hold bytes that are no character: shown as U+FFFD.
        wxMessageBox(ShownText(text), caption, wxOK | wxCENTRE, MainWindow());
    });

    wxIcon icon(tarnwick_icon_xpm);
    auto* frame = new MainFrame(nullptr);
    frame->SetStatusText(wxS("Processor benchmark tool"), 0);
    frame->SetIcon(icon);
    SetTopWindow(frame);
    GetTopWindow()->Show(true);
    InitGlobals();
    AccessResultsFile(ResultsOpLoad);
    ProcessConfigFile(ConfigModeLoad);
    return true;
}

int MainApp::OnExit()
{
    WaitForWorkerThreads(5000);
    ReleaseGlobalArrays();
    return true;
}
