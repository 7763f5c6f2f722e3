// Starts the real application object (MainApp::OnInit makes the main window,
// runs the initialiser and loads the files beside the executable) and then
// the tests, all on the GUI thread. The test runner starts it from a fresh
// copy of the program directory, so both files are created from their
// templates, each with its message.
#include "app/main_app.h"
#include "bench/workers.h"
#include "gui_support.h"
#include "sensors/heat_readings.h"
#include "tests/support/saved_state.h"

#include <wx/init.h>
#include <wx/log.h>
#include <wx/msgdlg.h>
#include <wx/testing.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

wxIMPLEMENT_APP_NO_MAIN(MainApp);

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    // Listing the tests (CTest asks, to make each one a test) needs no display.
    if (::testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    // A failed toolkit check (an unexpected dialog, say) fails the test at hand.
    wxSetAssertHandler([](const wxString& file, int line, const wxString& function, const wxString& condition,
                          const wxString& message) {
        ADD_FAILURE_AT(file.utf8_str(), line) << function << ": " << condition << " " << message;
    });
    if (!wxEntryStart(argc, argv))
        return 2;
    // Messages the toolkit logs go to the test's output, never to a box that
    // would wait for a click.
    delete wxLog::SetActiveTarget(new wxLogStderr);
    bool started = false;
    wxTEST_DIALOG(started = wxTheApp->CallOnInit(),
                  ExpectMessage(wxS("cpu_results.csv was created from original template!"),
                                wxS("Tarnwick - results file")),
                  ExpectMessage(wxS("tarnwick.conf was created from original template!"),
                                wxS("Tarnwick - ConfigFile")));
    if (!started)
        return 2;
    PumpEvents(300);  // let the window map and paint once
    // Every test starts from the state the start-up made, the files beside
    // the program included: a test that leaves something changed fails
    // (checked once the windows it closed are gone and its workers ended).
    const std::vector<std::string> files = {"cpu_results.csv", "cpu_result.bak", "tarnwick.conf", "tarnwick.bak"};
    ::testing::UnitTest::GetInstance()->listeners().Append(new StateKeeper(StateKeeper::Mode::Check, files, [] {
        ProcessIdle();
        if (!WaitForWorkerThreads(10000))
            ADD_FAILURE() << "worker threads still run after the test";
    }));
    // The heat tests read no sensor of the machine the tests run on: an
    // empty machine, unless a test puts a tree of its own there.
    char sensors[] = "/tmp/tarnwick-no-sensors-XXXXXX";
    if (mkdtemp(sensors) == nullptr)
        return 2;
    SensorRoot = sensors;
    const int failures = RUN_ALL_TESTS();
    rmdir(sensors);
    wxTheApp->OnExit();
    wxEntryCleanup();
    return failures;
}
