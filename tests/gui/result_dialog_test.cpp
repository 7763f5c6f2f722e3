#include "core/state.h"
#include "gui/main_frame.h"
#include "gui/result_dialog.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"
#include "results/results_file.h"

#include <wx/button.h>
#include <wx/choice.h>
#include <wx/ffile.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
const wxString NoResults = wxS("There are no results!");
const wxString Caption = wxS("Message");

// The results file beside the program (the test's working directory),
// loaded into the table; emptied again afterwards.
class ResultsDialog : public ::testing::Test {
protected:
    void Use(const std::string& bytes)
    {
        WriteBytes("cpu_results.csv", bytes);
        if (wxFileExists(wxS("cpu_result.bak")))
            wxRemoveFile(wxS("cpu_result.bak"));
        ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
        dialog = new ResultDialog(nullptr);
    }
    void TearDown() override
    {
        if (dialog != nullptr && dialog->NewRecordMode != 0)
            PressButton(dialog->m_cancelButton);
        if (dialog != nullptr)
            PressButton(dialog->m_closeButton);
        ProcessIdle();
    }

    StateGuard m_saved{"cpu_results.csv", "cpu_result.bak"};  ///< the table, the file and its backup as they were

    wxString Field(int f) const { return dialog->m_fields[f]->GetValue(); }
    wxString Shown() const { return dialog->m_resultText->GetValue(); }

    void Type(int f, const wxString& text) { dialog->m_fields[f]->SetValue(text); }

    ResultDialog* dialog = nullptr;
};

const std::string Three = "AMD;Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes\n"
                          "Intel;Core;3000;4000;1;4;8;Linux;6.1;800;8000;no\n"
                          "VIA;Nano;1000;1000;1;1;1;Linux;4.0;100;100;yes\n";
}  // namespace

TEST_F(ResultsDialog, TitleSizeAndTexts)
{
    Use(Three);
    EXPECT_EQ(dialog->GetTitle(), "Result info");
    EXPECT_GE(dialog->GetSize().x, 480);
    EXPECT_GE(dialog->GetSize().y, 720);
    EXPECT_EQ(dialog->m_heading->GetLabel(), "Results detailed informations");
    const char* labels[] = {"Manufacturer",      "Model",          "Rated frequency [MHz]", "Maximum frequency [MHz]",
                            "Number of processors", "Number of cores", "Number of logical processors",
                            "Operating system",  "OS version",     "Speed points",          "Power points", "Display"};
    for (int f = 0; f < 12; ++f)
        EXPECT_EQ(dialog->m_labels[f]->GetLabel(), labels[f]);
    for (wxTextCtrl* field : dialog->m_fields)
        EXPECT_EQ(field->GetSize().x, 260);
    ASSERT_EQ(dialog->m_displayChoice->GetCount(), 2u);
    EXPECT_EQ(dialog->m_displayChoice->GetString(0), "yes");
    EXPECT_EQ(dialog->m_displayChoice->GetString(1), "no");
    std::vector<wxString> buttons;
    for (wxButton* b : {dialog->m_newButton, dialog->m_lastTestButton, dialog->m_deleteButton, dialog->m_saveButton,
                        dialog->m_findPreviousButton, dialog->m_findNextButton, dialog->m_showButton,
                        dialog->m_cancelButton, dialog->m_firstButton, dialog->m_previousButton,
                        dialog->m_nextButton, dialog->m_lastButton, dialog->m_closeButton})
        buttons.push_back(b->GetLabel());
    EXPECT_EQ(buttons, (std::vector<wxString>{"New", "Last test", "Delete", "Save", "<-", "->", "Show", "Cancel",
                                              "|<", "<", ">", ">|", "Close"}));
}

TEST_F(ResultsDialog, OpensAtTheFirstRecordWhateverWasShownBefore)
{
    WriteBytes("cpu_results.csv", Three);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 2;
    dialog = new ResultDialog(nullptr);
    EXPECT_EQ(CurrentResult, 0);
    EXPECT_EQ(Shown(), "1");
    EXPECT_EQ(dialog->m_totalLabel->GetLabel(), "3");
    EXPECT_EQ(Field(0), "AMD");
    EXPECT_EQ(Field(10), "9000");
    EXPECT_EQ(dialog->m_displayChoice->GetStringSelection(), "yes");
}

TEST_F(ResultsDialog, NavigationStaysWithinTheTable)
{
    Use(Three);
    PressButton(dialog->m_previousButton);
    EXPECT_EQ(Shown(), "1");
    PressButton(dialog->m_nextButton);
    EXPECT_EQ(Field(0), "Intel");
    EXPECT_EQ(dialog->m_displayChoice->GetStringSelection(), "no");
    PressButton(dialog->m_lastButton);
    EXPECT_EQ(Shown(), "3");
    PressButton(dialog->m_nextButton);
    EXPECT_EQ(Shown(), "3");
    PressButton(dialog->m_firstButton);
    EXPECT_EQ(Field(0), "AMD");
}

TEST_F(ResultsDialog, ShowGoesToTheTypedRecordClampedToTheTable)
{
    Use(Three);
    for (const char* typed : {"0", "-4", "abc"}) {
        PressButton(dialog->m_lastButton);
        dialog->m_resultText->SetValue(typed);
        PressButton(dialog->m_showButton);
        EXPECT_EQ(Shown(), "1") << typed;
    }
    dialog->m_resultText->SetValue(wxS("2"));
    PressButton(dialog->m_showButton);
    EXPECT_EQ(Field(0), "Intel");
    dialog->m_resultText->SetValue(wxS("99"));
    PressButton(dialog->m_showButton);
    EXPECT_EQ(Shown(), "3");
}

TEST_F(ResultsDialog, FindIgnoresCaseBothWays)
{
    Use(Three);
    dialog->m_searchText->SetValue(wxS("NANO"));
    PressButton(dialog->m_findNextButton);
    EXPECT_EQ(Shown(), "3");
    EXPECT_EQ(DialogSearchText, "nano");
    dialog->m_searchText->SetValue(wxS("rYzEn"));
    PressButton(dialog->m_findPreviousButton);
    EXPECT_EQ(Shown(), "1");
}

TEST_F(ResultsDialog, FindFromTheLastRecordOrWithoutMatchStays)
{
    Use(Three);
    PressButton(dialog->m_lastButton);
    dialog->m_searchText->SetValue(wxS("linux"));
    PressButton(dialog->m_findNextButton);
    EXPECT_EQ(Shown(), "3");
    PressButton(dialog->m_firstButton);
    dialog->m_searchText->SetValue(wxS("pentium"));
    PressButton(dialog->m_findNextButton);
    EXPECT_EQ(Shown(), "1");
}

TEST_F(ResultsDialog, ASemicolonInTheSearchMatchesAcrossFields)
{
    Use(Three);
    dialog->m_searchText->SetValue(wxS(";yes"));
    PressButton(dialog->m_findNextButton);
    EXPECT_EQ(Shown(), "3");  // record 2 is "no"
}

TEST_F(ResultsDialog, SaveOnAnEmptyTableOnlyEnablesTheButtons)
{
    Use("");
    EXPECT_EQ(Field(0), "");
    // Every button off but Save and Cancel, as new-record mode leaves them,
    // while the dialog is not in new-record mode.
    const std::vector<wxButton*> buttons = {
        dialog->m_newButton,   dialog->m_lastTestButton,     dialog->m_deleteButton,   dialog->m_saveButton,
        dialog->m_findPreviousButton, dialog->m_findNextButton, dialog->m_showButton, dialog->m_cancelButton,
        dialog->m_firstButton, dialog->m_previousButton,     dialog->m_nextButton,     dialog->m_lastButton,
        dialog->m_closeButton};
    for (wxButton* button : buttons)
        button->Enable(button == dialog->m_saveButton || button == dialog->m_cancelButton);
    ASSERT_EQ(dialog->NewRecordMode, 0);
    Type(0, wxS("typed"));
    PressButton(dialog->m_saveButton);
    for (wxButton* button : buttons)
        EXPECT_TRUE(button->IsEnabled()) << button->GetLabel();
    EXPECT_EQ(dialog->NewRecordMode, 0);
    EXPECT_EQ(Field(0), "typed");  // nothing read, nothing shown anew
    EXPECT_EQ(ResultLineCount, 0);
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), "");
    EXPECT_FALSE(wxFileExists(wxS("cpu_result.bak")));
}

TEST_F(ResultsDialog, LastTestBeforeAnyTestFillsZeroPoints)
{
    Use(Three);
    PressButton(dialog->m_lastTestButton);
    EXPECT_EQ(Field(9), "0");
    EXPECT_EQ(Field(10), "0");
    EXPECT_EQ(Field(0), wxString(CpuVendorShortName));
    EXPECT_EQ(Field(1), wxString::From8BitData(CpuBrandString));
    EXPECT_EQ(Field(6), wxString::Format("%u", CpuCount));
    EXPECT_EQ(Field(7), "Linux");
    EXPECT_EQ(Field(2), "");
    EXPECT_EQ(dialog->m_displayChoice->GetStringSelection(), "yes");
    EXPECT_EQ(dialog->NewRecordMode, 1);
    EXPECT_EQ(BackupPending, 1);
    EXPECT_FALSE(dialog->m_newButton->IsEnabled());
    EXPECT_TRUE(dialog->m_saveButton->IsEnabled());
    EXPECT_TRUE(dialog->m_cancelButton->IsEnabled());
}

TEST_F(ResultsDialog, ANewRecordNeedsItsRequiredFields)
{
    Use(Three);
    PressButton(dialog->m_newButton);
    Type(0, wxS("Maker"));
    Type(1, wxS("Model"));
    wxTEST_DIALOG(PressButton(dialog->m_saveButton),
                  ExpectMessage(wxS("Required fields: manufacturer, model, logical cores, speed and power."),
                                Caption));
    EXPECT_EQ(dialog->NewRecordMode, 1);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), Three);
}

TEST_F(ResultsDialog, CancelDropsTheNewRecord)
{
    Use(Three);
    PressButton(dialog->m_nextButton);
    PressButton(dialog->m_newButton);
    Type(0, wxS("Dropped"));
    PressButton(dialog->m_cancelButton);
    EXPECT_EQ(dialog->NewRecordMode, 0);
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(Field(0), "Intel");
    EXPECT_TRUE(dialog->m_newButton->IsEnabled());
    EXPECT_EQ(DialogCancelled, 0);
}

TEST_F(ResultsDialog, NewRecordIsAppendedAfterABackup)
{
    Use(Three);
    PressButton(dialog->m_newButton);
    const char* values[] = {"Maker", "Model X", "2000", "2500", "1", "2", "4", "Linux", "6.1", "1500", "5000"};
    for (int f = 0; f < 11; ++f)
        Type(f, values[f]);
    dialog->m_displayChoice->SetSelection(1);
    PressButton(dialog->m_saveButton);
    EXPECT_EQ(ReadBytes("cpu_result.bak"), Three);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), Three + "Maker;Model X;2000;2500;1;2;4;Linux;6.1;1500;5000;no\n");
    EXPECT_EQ(Shown(), "4");
    EXPECT_EQ(dialog->NewRecordMode, 0);
    EXPECT_EQ(BackupPending, 0);
}

TEST_F(ResultsDialog, ARecordHoldingATabOrADirectionCharacterIsRefusedAndStaysTyped)
{
    Use(Three);
    PressButton(dialog->m_newButton);
    const char* values[] = {"Maker", "Model X", "2000", "2500", "1", "2", "4", "Linux", "6.1", "1500", "5000"};
    for (int f = 0; f < 11; ++f)
        Type(f, values[f]);
    // Pasted from elsewhere: a tab, which a field takes but no table does.
    Type(1, wxS("Model\tX"));
    const wxString refused = wxS("The record holds a control character (U+0009), which ") + wxFileName::GetCwd() +
                             wxS("/cpu_results.csv does not take; the change was not saved.");
    wxTEST_DIALOG(PressButton(dialog->m_saveButton), ExpectMessage(refused, wxS("Tarnwick - results file")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), Three);
    EXPECT_FALSE(wxFileExists(wxS("cpu_result.bak")));
    EXPECT_EQ(dialog->NewRecordMode, 1);
    EXPECT_EQ(Field(1), wxS("Model\tX"));
    // An edit of a stored record alike.
    PressButton(dialog->m_cancelButton);
    Type(1, wxS("Ryzen\u202e"));
    const wxString direction = wxS("The record holds a bidirectional control character (U+202E), which ") +
                               wxFileName::GetCwd() + wxS("/cpu_results.csv does not take; the change was not saved.");
    wxTEST_DIALOG(PressButton(dialog->m_saveButton), ExpectMessage(direction, wxS("Tarnwick - results file")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), Three);
    EXPECT_EQ(Field(1), wxS("Ryzen\u202e"));
}

TEST_F(ResultsDialog, AnEditedRecordReplacesItsLineOnly)
{
    Use(Three);
    PressButton(dialog->m_nextButton);
    Type(9, wxS("850"));
    PressButton(dialog->m_saveButton);
    EXPECT_EQ(ReadBytes("cpu_result.bak"), Three);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), "AMD;Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes\n"
                                            "Intel;Core;3000;4000;1;4;8;Linux;6.1;850;8000;no\n"
                                            "VIA;Nano;1000;1000;1;1;1;Linux;4.0;100;100;yes\n");
    EXPECT_EQ(Shown(), "2");
}

TEST_F(ResultsDialog, TypedTextLongerThanARowIsCutToTheRow)
{
    Use(Three);
    const int width = ResultLineWidth;
    PressButton(dialog->m_newButton);
    const char* values[] = {"M", "m", "", "", "", "", "4", "", "", "1", "2"};
    for (int f = 0; f < 11; ++f)
        Type(f, values[f]);
    Type(1, wxString(3000, 'y'));
    PressButton(dialog->m_saveButton);
    ASSERT_EQ(ResultLineCount, 4);
    PressButton(dialog->m_lastButton);
    EXPECT_EQ(int(Field(1).length()), width - 1);
}

TEST_F(ResultsDialog, DeletingTheLastOfSeveralShowsTheNewLast)
{
    Use(Three);
    PressButton(dialog->m_lastButton);
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), wxExpectModal<wxMessageDialog>(wxID_OK));
    EXPECT_EQ(ResultLineCount, 2);
    EXPECT_EQ(Shown(), "2");
    EXPECT_EQ(Field(0), "Intel");
    EXPECT_EQ(ReadBytes("cpu_result.bak"), Three);
}

TEST_F(ResultsDialog, DeletingAnotherRecordShowsTheOneThatFollowed)
{
    Use(Three);
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), wxExpectModal<wxMessageDialog>(wxID_OK));
    EXPECT_EQ(Shown(), "1");
    EXPECT_EQ(Field(0), "Intel");
    EXPECT_EQ(ReadBytes("cpu_results.csv"), "Intel;Core;3000;4000;1;4;8;Linux;6.1;800;8000;no\n"
                                            "VIA;Nano;1000;1000;1;1;1;Linux;4.0;100;100;yes\n");
}

TEST_F(ResultsDialog, DeleteAsksFirstAndCancelKeepsTheRecord)
{
    Use(Three);
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), wxExpectModal<wxMessageDialog>(wxID_CANCEL));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), Three);
    EXPECT_FALSE(wxFileExists(wxS("cpu_result.bak")));
}

TEST_F(ResultsDialog, DeletingTheOnlyRecordLeavesNoResults)
{
    Use("Only;One;1;1;1;1;1;Linux;1;1;1;yes\n");
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton),
                  ExpectMessage(wxS("The result will be deleted.\nAre you sure?"), wxS("Delete result confirmation")),
                  ExpectMessage(NoResults, Caption));
    EXPECT_EQ(ResultLineCount, 0);
    EXPECT_EQ(Field(0), "");
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectMessage(NoResults, Caption));
}

TEST_F(ResultsDialog, CloseAndTheCloseBoxCancel)
{
    Use(Three);
    PressButton(dialog->m_closeButton);
    dialog = nullptr;
    EXPECT_EQ(DialogCancelled, 1);
    DialogCancelled = 0;
    auto* another = new ResultDialog(nullptr);
    another->Close();
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(ResultsDialog, MenuCommandLeavesTheAreaBlank)
{
    WriteBytes("cpu_results.csv", Three);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    DisplayMode = DisplayInfo;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_resultsItem),
                  ExpectDialog<ResultDialog>([](ResultDialog* d) { PressButton(d->m_closeButton); }, wxID_CANCEL));
    EXPECT_EQ(DisplayMode, DisplayBlank);
    // Left without a cancel (as no button of this dialog can), the area shows
    // mode 7, which is blank too.
    DialogCancelled = 0;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_resultsItem),
                  ExpectDialog<ResultDialog>([](ResultDialog* d) { d->Destroy(); }, wxID_OK));
    EXPECT_EQ(DisplayMode, DisplayAfterResults);
}
