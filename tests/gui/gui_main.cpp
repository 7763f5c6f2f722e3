// Starts the real application object (MainApp::OnInit makes the main window,
// runs the initialiser and loads the files beside the executable) and then
// the tests, all on the GUI thread. The test runner starts it from a fresh
// copy of the program directory, so both files are created from their
// templates, each with its message.
#include "app/main_app.h"
#include "gui_support.h"

#include <wx/init.h>
#include <wx/msgdlg.h>
#include <wx/testing.h>

#include <gtest/gtest.h>

wxIMPLEMENT_APP_NO_MAIN(MainApp);

namespace {
class ExpectMessage : public wxExpectModalBase<wxMessageDialog, ExpectMessage> {
public:
    ExpectMessage(const char* text, const char* caption) : m_text(text), m_caption(caption) {}

protected:
    int OnInvoked(wxMessageDialog* dialog) const override
    {
        EXPECT_EQ(dialog->GetMessage(), m_text);
        EXPECT_EQ(dialog->GetTitle(), m_caption);
        return wxID_OK;
    }

private:
    wxString m_text;
    wxString m_caption;
};
}  // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (!wxEntryStart(argc, argv))
        return 2;
    bool started = false;
    wxTEST_DIALOG(started = wxTheApp->CallOnInit(),
                  ExpectMessage("cpu_results.csv was created from original template!",
                                "Tarnwick - results file"),
                  ExpectMessage("tarnwick.conf was created from original template!",
                                "Tarnwick - ConfigFile"));
    if (!started)
        return 2;
    PumpEvents(300);  // let the window map and paint once
    const int failures = RUN_ALL_TESTS();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return failures;
}
