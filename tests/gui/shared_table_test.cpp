// The results dialog on a table another program changes meanwhile, and on
// files that refuse a change: it acts on the record the user saw, and no
// change is lost without a message saying why.
#include "core/state.h"
#include "config/config_file.h"
#include "gui/main_frame.h"
#include "gui/options_dialog.h"
#include "gui/result_dialog.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"
#include "tests/support/fault_injection.h"
#include "results/results_file.h"

#include <wx/button.h>
#include <wx/choice.h>
#include <wx/ffile.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {
// A file system without locks, for as long as it lives.
class NoLocks : public FaultyFileSystem {
public:
    NoLocks() { WithoutLocks(); }
};

const std::string First = "AMD;First;1;1;1;1;1;Linux;1;300;300;yes";
const std::string Second = "AMD;Second;1;1;1;1;1;Linux;1;200;200;yes";
const std::string Third = "AMD;Third;1;1;1;1;1;Linux;1;100;100;yes";
const wxString Changed = wxS("Another program has changed the results table: the record shown is no longer in "
                             "it, and nothing was changed.\nThe table is shown as it is now.");
const wxString Confirm = wxS("The result will be deleted.\nAre you sure?");

// A message box with this text and caption, centred, answered OK.
class ExpectCentred : public wxExpectModalBase<wxMessageDialog, ExpectCentred> {
public:
    ExpectCentred(const wxString& text, const wxString& caption, int answer = wxID_OK)
        : m_text(text), m_caption(caption), m_answer(answer)
    {
    }

protected:
    int OnInvoked(wxMessageDialog* dialog) const override
    {
        EXPECT_EQ(dialog->GetMessage(), m_text);
        EXPECT_EQ(dialog->GetTitle(), m_caption);
        EXPECT_NE(dialog->GetMessageDialogStyle() & wxCENTRE, 0) << m_text;
        return m_answer;
    }

private:
    wxString m_text;
    wxString m_caption;
    int m_answer;
};

// The message of a change that could not take the table's lock.
ExpectCentred ExpectNotLocked()
{
    return ExpectCentred(wxFileName::GetCwd() + wxS("/cpu_results.csv could not be locked (Function not "
                                                    "implemented), so another program could change it at the same "
                                                    "time; the change was not saved."),
                         wxS("Tarnwick - results file"));
}

// Window A: the results dialog of this program, showing the second record
// of First, Second, Third; another program then changes the file.
class TwoPrograms : public ::testing::Test {
protected:
    void SetUp() override
    {
        WriteBytes("cpu_results.csv", First + "\n" + Second + "\n" + Third + "\n");
        if (wxFileExists(wxS("cpu_result.bak")))
            wxRemoveFile(wxS("cpu_result.bak"));
        ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
        dialog = new ResultDialog(nullptr);
        PressButton(dialog->m_nextButton);
        ASSERT_EQ(dialog->m_fields[1]->GetValue(), "Second");
    }
    void TearDown() override
    {
        if (dialog != nullptr)
            PressButton(dialog->m_closeButton);
        ProcessIdle();
        if (wxDirExists(wxS("cpu_result.bak")))
            wxRmdir(wxS("cpu_result.bak"));
    }

    // The other window's change, made the way every copy of the program
    // writes: a new file in place of the old.
    static void OtherProgramWrites(const std::string& bytes)
    {
        WriteBytes("cpu_results.csv.other", bytes);
        ASSERT_TRUE(wxRenameFile(wxS("cpu_results.csv.other"), wxS("cpu_results.csv"), true));
    }

    wxString Shown() const { return dialog->m_resultText->GetValue(); }

    StateGuard m_saved{"cpu_results.csv", "cpu_result.bak"};  ///< the files and the table as they were
    ResultDialog* dialog = nullptr;
};
}  // namespace

TEST_F(TwoPrograms, DeleteRemovesTheRecordShownAfterTheOtherDeletedTheOneBefore)
{
    OtherProgramWrites(Second + "\n" + Third + "\n");  // window B deleted record 1
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectCentred(Confirm, wxS("Delete result confirmation")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), Third + "\n");  // "Second" is gone, "Third" kept
    EXPECT_EQ(ReadBytes("cpu_result.bak"), Second + "\n" + Third + "\n");
    EXPECT_EQ(ResultLineCount, 1);
    EXPECT_EQ(Shown(), "1");
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "Third");
}

TEST_F(TwoPrograms, ReplaceChangesTheRecordShownAfterTheOtherDeletedTheOneBefore)
{
    OtherProgramWrites(Second + "\n" + Third + "\n");
    dialog->m_fields[1]->SetValue(wxS("Second, edited"));
    PressButton(dialog->m_saveButton);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), "AMD;Second, edited;1;1;1;1;1;Linux;1;200;200;yes\n" + Third + "\n");
    EXPECT_EQ(Shown(), "1");
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "Second, edited");
}

TEST_F(TwoPrograms, DeleteOfARecordTheOtherRemovedChangesNothingSaysSoAndReloads)
{
    // Window B deleted "Second", its backup taken first: the one copy left.
    WriteBytes("cpu_result.bak", First + "\n" + Second + "\n" + Third + "\n");
    OtherProgramWrites(First + "\n" + Third + "\n");
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectCentred(Confirm, wxS("Delete result confirmation")),
                  ExpectCentred(Changed, wxS("Tarnwick - results file")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Third + "\n");
    EXPECT_EQ(ReadBytes("cpu_result.bak"), First + "\n" + Second + "\n" + Third + "\n");
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(ResultLineCount, 2);
    EXPECT_EQ(dialog->m_totalLabel->GetLabel(), "2");
    EXPECT_EQ(Shown(), "2");
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "Third");
}

TEST_F(TwoPrograms, ReplaceOfARecordTheOtherRemovedChangesNothingSaysSoAndReloads)
{
    WriteBytes("cpu_result.bak", First + "\n" + Second + "\n");
    OtherProgramWrites(First + "\n");
    dialog->m_fields[1]->SetValue(wxS("Second, edited"));
    wxTEST_DIALOG(PressButton(dialog->m_saveButton), ExpectCentred(Changed, wxS("Tarnwick - results file")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n");
    EXPECT_EQ(ReadBytes("cpu_result.bak"), First + "\n" + Second + "\n");
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(dialog->m_totalLabel->GetLabel(), "1");
    EXPECT_EQ(Shown(), "1");
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "First");
}

TEST_F(TwoPrograms, ARecordAddedMeanwhileIsKeptAndTheChangeStillLands)
{
    OtherProgramWrites(First + "\n" + Second + "\n" + Third + "\nAMD;Fourth;1;1;1;1;1;Linux;1;50;50;yes\n");
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectCentred(Confirm, wxS("Delete result confirmation")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Third + "\nAMD;Fourth;1;1;1;1;1;Linux;1;50;50;yes\n");
}

TEST_F(TwoPrograms, ABackupThatCannotBeWrittenIsSaidAndTheRecordStays)
{
    ASSERT_TRUE(wxMkdir(wxS("cpu_result.bak")));  // nothing can be written in its place
    const wxString refused = wxS("The backup ") + wxFileName::GetCwd() +
                             wxS("/cpu_result.bak could not be written: it is a folder, not a regular file; the "
                                 "change was not saved.");
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectCentred(Confirm, wxS("Delete result confirmation")),
                  ExpectCentred(refused, wxS("Tarnwick - results file")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third + "\n");
    EXPECT_EQ(BackupPending, 1);
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "Second");

    // Saving a new record: the same, and the record typed stays to be saved again.
    PressButton(dialog->m_newButton);
    for (int f : {0, 1, 6, 9, 10})
        dialog->m_fields[f]->SetValue(wxS("7"));
    wxTEST_DIALOG(PressButton(dialog->m_saveButton), ExpectCentred(refused, wxS("Tarnwick - results file")));
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third + "\n");
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "7");
    EXPECT_EQ(dialog->NewRecordMode, 1);
    wxRmdir(wxS("cpu_result.bak"));
    PressButton(dialog->m_saveButton);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third + "\n7;7;;;;;7;;;7;7;yes\n");
    EXPECT_EQ(dialog->NewRecordMode, 0);
    EXPECT_TRUE(dialog->m_newButton->IsEnabled());
    EXPECT_EQ(Shown(), "4");
}

TEST_F(TwoPrograms, AFailedSaveOfANewRecordKeepsTheDialogAsItWasWithTheFieldsAsTyped)
{
    PressButton(dialog->m_newButton);
    const wxString typed[] = {wxS("Intel"), wxS("Core i7-920"), wxS("2667"), wxS("2933"), wxS("1"), wxS("4"),
                              wxS("8"), wxS("Linux"), wxS("Debian 12"), wxS("4321"), wxS("17654")};
    for (int f = 0; f < int(dialog->m_fields.size()); ++f)
        dialog->m_fields[f]->SetValue(typed[f]);
    dialog->m_displayChoice->SetSelection(1);
    {
        const NoLocks noLocks;
        wxTEST_DIALOG(PressButton(dialog->m_saveButton),
                      ExpectNotLocked());
    }
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third + "\n");
    EXPECT_FALSE(wxFileExists(wxS("cpu_result.bak")));
    for (int f = 0; f < int(dialog->m_fields.size()); ++f)
        EXPECT_EQ(dialog->m_fields[f]->GetValue(), typed[f]) << f;
    EXPECT_EQ(dialog->m_displayChoice->GetStringSelection(), "no");
    EXPECT_EQ(dialog->NewRecordMode, 1);
    EXPECT_TRUE(dialog->m_saveButton->IsEnabled());
    EXPECT_TRUE(dialog->m_cancelButton->IsEnabled());
    EXPECT_FALSE(dialog->m_newButton->IsEnabled());
    // Saved again once the file can be locked.
    PressButton(dialog->m_saveButton);
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third +
                                                "\nIntel;Core i7-920;2667;2933;1;4;8;Linux;Debian 12;4321;17654;no\n");
    EXPECT_EQ(dialog->NewRecordMode, 0);
}

TEST_F(TwoPrograms, AFailedSaveOfAnEditedRecordKeepsTheEdits)
{
    dialog->m_fields[1]->SetValue(wxS("Second, edited"));
    {
        const NoLocks noLocks;
        wxTEST_DIALOG(PressButton(dialog->m_saveButton),
                      ExpectNotLocked());
    }
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third + "\n");
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "Second, edited");
    EXPECT_EQ(Shown(), "2");
    PressButton(dialog->m_saveButton);
    EXPECT_EQ(ReadBytes("cpu_results.csv"),
              First + "\nAMD;Second, edited;1;1;1;1;1;Linux;1;200;200;yes\n" + Third + "\n");
}

TEST_F(TwoPrograms, ADeleteThatCannotTakeTheLockIsSaidAndChangesNothing)
{
    const NoLocks noLocks;
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectCentred(Confirm, wxS("Delete result confirmation")),
                  ExpectNotLocked());
    EXPECT_EQ(ReadBytes("cpu_results.csv"), First + "\n" + Second + "\n" + Third + "\n");
    EXPECT_FALSE(wxFileExists(wxS("cpu_result.bak")));
    EXPECT_EQ(ResultLineCount, 3);
    EXPECT_EQ(dialog->m_fields[1]->GetValue(), "Second");
}

TEST_F(TwoPrograms, TheDialogsOwnMessagesAreCentred)
{
    PressButton(dialog->m_newButton);
    wxTEST_DIALOG(PressButton(dialog->m_saveButton),
                  ExpectCentred(wxS("Required fields: manufacturer, model, logical cores, speed and power."),
                                wxS("Message")));
    PressButton(dialog->m_cancelButton);
    OtherProgramWrites("");
    AccessResultsFile(ResultsOpLoad);
    PressButton(dialog->m_firstButton);
    wxTEST_DIALOG(PressButton(dialog->m_deleteButton), ExpectCentred(wxS("There are no results!"), wxS("Message")));
}

TEST(OptionsSave, SettingsTheFileDoesNotTakeApplyAndTheMessageSaysWhy)
{
    const StateGuard saved;  // the settings and the display mode as they were
    // A configuration that cannot be read: the saved settings stay for this run.
    ASSERT_TRUE(wxRenameFile(wxS("tarnwick.conf"), wxS("tarnwick.conf.kept")));
    ASSERT_TRUE(wxMkdir(wxS("tarnwick.conf")));
    const wxString path = wxFileName::GetCwd() + wxS("/tarnwick.conf");
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_optionsItem),
                  ExpectDialog<OptionsDialog>([](OptionsDialog* d) {
                      d->m_resultLinesText->SetValue(wxS("12"));
                      PressButton(d->m_saveButton);
                  }),
                  ExpectCentred(path + wxS(" is a folder, not a regular file; the settings apply to this run only."),
                                wxS("Tarnwick - ConfigFile")));
    EXPECT_EQ(CpuListCount, 12);
    EXPECT_EQ(CpuListHalf, 6);
    EXPECT_EQ(DisplayMode, DisplayAfterOptions);
    wxRmdir(wxS("tarnwick.conf"));
    ASSERT_TRUE(wxRenameFile(wxS("tarnwick.conf.kept"), wxS("tarnwick.conf")));
    ProcessIdle();
}
