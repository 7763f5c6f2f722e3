// Starts the real application object (MainApp::OnInit makes the main window
// and runs the initialiser) and then the tests, all on the GUI thread.
#include "app/main_app.h"
#include "gui_support.h"

#include <wx/init.h>

#include <gtest/gtest.h>

wxIMPLEMENT_APP_NO_MAIN(MainApp);

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (!wxEntryStart(argc, argv))
        return 2;
    if (!wxTheApp->CallOnInit())
        return 2;
    PumpEvents(300);  // let the window map and paint once
    const int failures = RUN_ALL_TESTS();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return failures;
}
