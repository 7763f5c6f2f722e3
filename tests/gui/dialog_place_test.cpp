// Where the dialogs and message boxes open: centred on the main window,
// wherever it is and whichever window is active, each measured on the screen
// while it is shown modally.
#include "core/notify.h"
#include "core/state.h"
#include "gui/about_box.h"
#include "gui/commands.h"
#include "gui/heat_dialog.h"
#include "gui/history_dialog.h"
#include "gui/main_frame.h"
#include "gui/manual_dialog.h"
#include "gui/power_thread_dialog.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"

#include <wx/dialog.h>
#include <wx/display.h>
#include <wx/frame.h>
#include <wx/textctrl.h>

#include <gtest/gtest.h>

#include <functional>

namespace {
// Away from the middle of the 1280 x 1024 screen, low enough that the
// tallest dialog (Results) fits above and below the window's centre.
const wxPoint MainWindowAt(30, 150);

wxPoint Centre(const wxRect& rect)
{
    return wxPoint(rect.x + rect.width / 2, rect.y + rect.height / 2);
}

// The window's centre within a few pixels of the main window's.
void ExpectCentredOnTheMainWindow(const wxRect& shown, const char* what)
{
    ASSERT_FALSE(shown.IsEmpty()) << what << " was not seen on the screen";
    const wxPoint main = Centre(ScreenFrame(TheFrame()));
    EXPECT_NEAR(Centre(shown).x, main.x, 3) << what;
    EXPECT_NEAR(Centre(shown).y, main.y, 3) << what;
}

class DialogPlace : public ::testing::Test {
protected:
    void SetUp() override
    {
        DialogCancelled = 0;
        TheFrame().Move(MainWindowAt);
        PumpEvents(300);
        ASSERT_EQ(ScreenFrame(TheFrame()).GetPosition(), MainWindowAt);
    }
    void TearDown() override
    {
        ProcessIdle();
        TheFrame().Centre(wxBOTH);
        PumpEvents(300);
    }

    // Where the next dialog shown modally by `show` is, closed with Escape.
    static wxRect Shown(const std::function<void()>& show)
    {
        wxRect where;
        WhenShown user([&where](wxDialog& d) {
            where = ScreenFrame(d);
            PressKey(WXK_ESCAPE);
        });
        show();
        EXPECT_TRUE(user.Acted());
        EXPECT_FALSE(user.LeftOpen());
        return where;
    }

    StateGuard m_saved;  ///< what cancelling the dialogs sets
};
}  // namespace

TEST_F(DialogPlace, EveryDialogOpensCentredOnTheMainWindow)
{
    ExpectCentredOnTheMainWindow(Shown(ShowSearchDialog), "Search");
    ExpectCentredOnTheMainWindow(Shown(ShowOptionsDialog), "Options");
    ExpectCentredOnTheMainWindow(Shown(ShowResultsDialog), "Results");
    ExpectCentredOnTheMainWindow(Shown([] { (new PowerThreadDialog(nullptr))->ShowModal(); }), "Power");
    ExpectCentredOnTheMainWindow(Shown([] { (new HeatDialog(nullptr))->ShowModal(); }), "Heat");
    ExpectCentredOnTheMainWindow(Shown([] { (new ManualDialog(nullptr))->ShowModal(); }), "Manual");
    ExpectCentredOnTheMainWindow(Shown([] { (new HistoryDialog(nullptr))->ShowModal(); }), "History");
    ExpectCentredOnTheMainWindow(Shown(ShowAboutBox), "About");
}

TEST_F(DialogPlace, TheDialogsKeepNoParent)
{
    wxWindow* parent = &TheFrame();
    WhenShown user([&parent](wxDialog& d) {
        parent = d.GetParent();
        PressKey(WXK_ESCAPE);
    });
    (new PowerThreadDialog(nullptr))->ShowModal();
    EXPECT_TRUE(user.Acted());
    EXPECT_FALSE(user.LeftOpen());
    EXPECT_EQ(parent, nullptr);
}

TEST_F(DialogPlace, AMessageOfTheCoreOpensCentredOnTheMainWindow)
{
    ExpectCentredOnTheMainWindow(Shown([] { NotifyUser(wxS("A message"), wxS("Tarnwick - test")); }),
                                 "message box");
}

TEST_F(DialogPlace, AMessageOfADialogOpensOnTheMainWindowNotOnTheDialog)
{
    // The power dialog moved away to the screen's corner, as by the user; a
    // negative number typed into it brings its message.
    wxRect message;
    wxRect dialog;
    bool answered = false;
    WhenShown user([&](wxDialog& d) {
        d.Move(0, 0);
        PumpEvents(300);
        dialog = ScreenFrame(d);
        WhenShown box([&](wxDialog& m) {
            message = ScreenFrame(m);
            PressKey(WXK_RETURN);
        });
        TypeInto(dynamic_cast<PowerThreadDialog&>(d).m_threadsText, "-3");
        for (int wait = 0; wait < 50 && !box.Ended(); ++wait)
            PumpEvents(100);
        answered = box.Ended() && !box.LeftOpen();
        PressKey(WXK_ESCAPE);
    });
    (new PowerThreadDialog(nullptr))->ShowModal();
    EXPECT_TRUE(user.Acted());
    EXPECT_FALSE(user.LeftOpen()) << "Escape after the message did not reach the dialog";
    EXPECT_TRUE(answered);
    EXPECT_EQ(dialog.GetPosition(), wxPoint(0, 0));
    ExpectCentredOnTheMainWindow(message, "the dialog's message box");
}

TEST_F(DialogPlace, ADialogOpensOnTheMainWindowWhileAnotherWindowIsActive)
{
    auto* other = new wxFrame(nullptr, wxID_ANY, wxS("Another window"), wxPoint(900, 700), wxSize(300, 200));
    other->Show();
    other->Raise();
    other->SetFocus();
    PumpEvents(300);
    ExpectCentredOnTheMainWindow(Shown([] { (new HeatDialog(nullptr))->ShowModal(); }), "Heat");
    ExpectCentredOnTheMainWindow(Shown([] { NotifyUser(wxS("A message"), wxS("Tarnwick - test")); }),
                                 "message box");
    other->Destroy();
}

TEST_F(DialogPlace, ADialogTallerThanTheRoomAboveTheWindowKeepsItsTitleBarOnTheScreen)
{
    TheFrame().Move(30, 0);
    PumpEvents(300);
    const wxRect area = wxDisplay(0u).GetClientArea();
    const wxRect shown = Shown(ShowResultsDialog);
    ASSERT_GT(shown.height / 2, Centre(ScreenFrame(TheFrame())).y - area.y);  // it would reach above
    EXPECT_EQ(shown.y, area.y);
    EXPECT_NEAR(Centre(shown).x, Centre(ScreenFrame(TheFrame())).x, 3);
}
