#include "core/state.h"
#include "core/version.h"
#include "gui/history_dialog.h"
#include "gui/main_frame.h"
#include "gui/manual_dialog.h"
#include "gui_support.h"

#include <wx/button.h>
#include <wx/ffile.h>
#include <wx/testing.h>
#include <wx/textctrl.h>
#include <wx/weakref.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {
const wxString ManualText = wxString::FromUTF8("Tarnwick manual\nLine two: 9 points, ü\n");
const wxString HistoryText = wxString::FromUTF8(TARNWICK_VERSION "\n- first entry\n");

template <class Dialog>
wxString ShownText()
{
    auto* dialog = new Dialog(nullptr);
    const wxString text = dialog->m_text->GetValue();
    dialog->Destroy();
    ProcessIdle();
    return text;
}

wxString ReadFile(const wxString& path)
{
    wxFFile file(path, wxS("rb"));
    wxString text;
    EXPECT_TRUE(file.IsOpened() && file.ReadAll(&text, wxConvUTF8));
    return text;
}

// Looks at the viewer the menu command opened, then presses its Close button.
template <class Dialog>
class ExpectViewer : public wxExpectModalBase<Dialog, ExpectViewer<Dialog>> {
public:
    ExpectViewer(wxString& text, int& modeSeen, wxWeakRef<wxDialog>& dialogSeen)
        : m_text(text), m_modeSeen(modeSeen), m_dialogSeen(dialogSeen)
    {
    }

protected:
    int OnInvoked(Dialog* dialog) const override
    {
        m_text = dialog->m_text->GetValue();
        m_modeSeen = DisplayMode;
        m_dialogSeen = dialog;
        PressButton(dialog->m_closeButton);
        return wxID_CLOSE;
    }

private:
    wxString& m_text;
    int& m_modeSeen;
    wxWeakRef<wxDialog>& m_dialogSeen;
};
}  // namespace

TEST(Viewers, ManualLayoutCaptionAndSize)
{
    auto* dialog = new ManualDialog(nullptr);
    EXPECT_EQ(dialog->GetTitle(), "Help - Manual");
    EXPECT_EQ(dialog->GetSize(), wxSize(640, 640));
    EXPECT_EQ(dialog->GetParent(), nullptr);
    EXPECT_TRUE(dialog->m_text->IsMultiLine());
    EXPECT_FALSE(dialog->m_text->IsEditable());
    EXPECT_EQ(dialog->m_closeButton->GetLabel(), "Close");
    EXPECT_GT(dialog->m_closeButton->GetPosition().y, dialog->m_text->GetPosition().y);
    dialog->Destroy();
    ProcessIdle();
}

TEST(Viewers, HistoryLayoutCaptionAndSize)
{
    auto* dialog = new HistoryDialog(nullptr);
    EXPECT_EQ(dialog->GetTitle(), "Help - History");
    EXPECT_EQ(dialog->GetSize(), wxSize(640, 640));
    EXPECT_TRUE(dialog->m_text->IsMultiLine());
    EXPECT_FALSE(dialog->m_text->IsEditable());
    EXPECT_EQ(dialog->m_closeButton->GetLabel(), "Close");
    dialog->Destroy();
    ProcessIdle();
}

TEST(Viewers, ManualShowsTheFileAsItIs)
{
    TempDir dir;
    dir.Write(wxS("doc/manual_tarnwick.txt"), ManualText);
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<ManualDialog>(), ManualText);
}

TEST(Viewers, HistoryShowsTheFileAsItIs)
{
    TempDir dir;
    dir.Write(wxS("doc/history_tarnwick.txt"), HistoryText);
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<HistoryDialog>(), HistoryText);
}

TEST(Viewers, ManualMissingShowsTheNotFoundLine)
{
    TempDir dir;
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<ManualDialog>(), "The file 'manual_tarnwick.txt' is not found!");
}

TEST(Viewers, HistoryMissingShowsTheNotFoundLine)
{
    TempDir dir;
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<HistoryDialog>(), "The file 'history_tarnwick.txt' is not found!");
}

TEST(Viewers, AFifoOrADeviceInPlaceOfADocumentShowsTheNotFoundLineAtOnce)
{
    TempDir dir;
    ASSERT_TRUE(wxMkdir(dir.Path() + wxS("/doc")));
    ASSERT_EQ(::mkfifo((dir.Path() + wxS("/doc/manual_tarnwick.txt")).fn_str(), 0600), 0);
    ASSERT_EQ(::symlink("/dev/zero", (dir.Path() + wxS("/doc/history_tarnwick.txt")).fn_str()), 0);
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<ManualDialog>(), "The file 'manual_tarnwick.txt' is not found!");
    EXPECT_EQ(ShownText<HistoryDialog>(), "The file 'history_tarnwick.txt' is not found!");
}

TEST(Viewers, ManualEmptyFileShowsEmpty)
{
    TempDir dir;
    dir.Write(wxS("doc/manual_tarnwick.txt"), wxEmptyString);
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<ManualDialog>(), "");
}

TEST(Viewers, HistoryEmptyFileShowsEmpty)
{
    TempDir dir;
    dir.Write(wxS("doc/history_tarnwick.txt"), wxEmptyString);
    ScopedWorkingDirectory cwd(dir.Path());
    EXPECT_EQ(ShownText<HistoryDialog>(), "");
}

TEST(Viewers, FromAnotherWorkingDirectoryTheFilesAreLookedForThere)
{
    // The program's own directory (the test's start directory) holds doc/,
    // but the viewers look under the working directory only.
    ASSERT_TRUE(wxFileExists(wxS("doc/manual_tarnwick.txt")));
    TempDir other;
    ScopedWorkingDirectory cwd(other.Path());
    EXPECT_EQ(ShownText<ManualDialog>(), "The file 'manual_tarnwick.txt' is not found!");
    EXPECT_EQ(ShownText<HistoryDialog>(), "The file 'history_tarnwick.txt' is not found!");

    other.Write(wxS("doc/manual_tarnwick.txt"), wxS("other manual"));
    EXPECT_EQ(ShownText<ManualDialog>(), "other manual");
}

TEST(Viewers, ShippedDocumentsAreShown)
{
    EXPECT_EQ(ShownText<ManualDialog>(), ReadFile(wxS("doc/manual_tarnwick.txt")));
    EXPECT_EQ(ShownText<HistoryDialog>(), ReadFile(wxS("doc/history_tarnwick.txt")));
}

TEST(Viewers, CloseButtonEndsTheModalLoopAndDestroysTheDialog)
{
    auto* dialog = new ManualDialog(nullptr);
    wxWeakRef<wxDialog> alive(dialog);
    dialog->CallAfter([dialog] { PressButton(dialog->m_closeButton); });
    dialog->ShowModal();
    ProcessIdle();
    EXPECT_FALSE(alive);
}

TEST(Viewers, CloseBoxEndsTheModalLoopAndDestroysTheDialog)
{
    auto* dialog = new HistoryDialog(nullptr);
    wxWeakRef<wxDialog> alive(dialog);
    dialog->CallAfter([dialog] { dialog->Close(); });
    dialog->ShowModal();
    ProcessIdle();
    EXPECT_FALSE(alive);
}

TEST(Viewers, ViewersNeverTouchTheCancelFlag)
{
    DialogCancelled = 0;
    auto* manual = new ManualDialog(nullptr);
    manual->CallAfter([manual] { manual->Close(); });
    manual->ShowModal();
    EXPECT_EQ(DialogCancelled, 0);
    DialogCancelled = 1;
    auto* history = new HistoryDialog(nullptr);
    history->CallAfter([history] { PressButton(history->m_closeButton); });
    history->ShowModal();
    EXPECT_EQ(DialogCancelled, 1);
    DialogCancelled = 0;
    ProcessIdle();
}

TEST(Viewers, ManualCommandBlanksTheAreaAroundTheViewer)
{
    DisplayMode = DisplayPleaseWait;
    wxString text;
    int modeSeen = -1;
    wxWeakRef<wxDialog> dialog;
    {
        PaintRecorder paints(TheFrame());
        wxTEST_DIALOG(SendMenuCommand(TheFrame().m_manualItem),
                      ExpectViewer<ManualDialog>(text, modeSeen, dialog));
        EXPECT_EQ(paints.modes, (std::vector<int>{DisplayBlank, DisplayBlank}));
    }
    EXPECT_EQ(modeSeen, DisplayBlank);
    EXPECT_EQ(DisplayMode, DisplayBlank);
    EXPECT_EQ(text, ReadFile(wxS("doc/manual_tarnwick.txt")));
    ProcessIdle();
    EXPECT_FALSE(dialog);
}

TEST(Viewers, HistoryCommandBlanksTheAreaAroundTheViewer)
{
    DisplayMode = DisplayInfo;
    wxString text;
    int modeSeen = -1;
    wxWeakRef<wxDialog> dialog;
    {
        PaintRecorder paints(TheFrame());
        wxTEST_DIALOG(SendMenuCommand(TheFrame().m_historyItem),
                      ExpectViewer<HistoryDialog>(text, modeSeen, dialog));
        EXPECT_EQ(paints.modes, (std::vector<int>{DisplayBlank, DisplayBlank}));
    }
    EXPECT_EQ(modeSeen, DisplayBlank);
    EXPECT_EQ(DisplayMode, DisplayBlank);
    EXPECT_EQ(text, ReadFile(wxS("doc/history_tarnwick.txt")));
    ProcessIdle();
    EXPECT_FALSE(dialog);
}
