// Enter and Escape pressed on the keyboard in each dialog, shown modally as
// the program shows it: Enter in a field is OK, Escape is Cancel (Close in
// the viewers), with the state the buttons leave and the dialog gone.
#include "core/state.h"
#include "gui/heat_dialog.h"
#include "gui/history_dialog.h"
#include "gui/main_frame.h"
#include "gui/manual_dialog.h"
#include "gui/options_dialog.h"
#include "gui/power_thread_dialog.h"
#include "gui/result_dialog.h"
#include "gui/search_dialog.h"
#include "gui_support.h"
#include "results/results_table.h"
#include "results/search.h"
#include "tests/support/saved_state.h"

#include <wx/button.h>
#include <wx/textctrl.h>
#include <wx/weakref.h>

#include <gtest/gtest.h>

namespace {
class DialogKeys : public ::testing::Test {
protected:
    void SetUp() override
    {
        SetDialogParameters();
        CpuListCount = 20;
    }
    void TearDown() override { ProcessIdle(); }

    // Shows `dialog` modally with `user` acting on it; returns what
    // ShowModal() returned, and checks that the keys closed it and that it
    // is gone.
    static int Run(wxDialog* dialog, WhenShown& user)
    {
        const wxWeakRef<wxDialog> shown(dialog);
        const int result = dialog->ShowModal();
        EXPECT_TRUE(user.Acted());
        EXPECT_FALSE(user.LeftOpen()) << "the keys left the dialog open";
        ProcessIdle();
        EXPECT_EQ(shown.get(), nullptr) << "the dialog is still there";
        return result;
    }

    // Shows a new `Dialog` modally, types `text` into its `field` (or only
    // puts the focus there when `text` is null), presses `key`, and returns
    // what ShowModal() returned, as Run() does.
    template <class Dialog, class Base>
    static int TypeAndPress(wxTextCtrl* Base::*field, const char* text, int key)
    {
        WhenShown user([=](wxDialog& d) {
            wxTextCtrl* control = dynamic_cast<Dialog&>(d).*field;
            if (text != nullptr)
                TypeInto(control, text);
            else
                control->SetFocus();
            PressKey(key);
        });
        return Run(new Dialog(nullptr), user);
    }

    StateGuard m_saved;  ///< the parameters, the search and the table the tests change
};
}  // namespace

TEST_F(DialogKeys, EnterInTheSearchFieldSearches)
{
    EXPECT_EQ(TypeAndPress<SearchDialog>(&SearchDialog::m_text, "Ryzen", WXK_RETURN), wxID_OK);
    EXPECT_STREQ(SearchText.get(), L"ryzen");
    EXPECT_EQ(DialogCancelled, 0);
}

TEST_F(DialogKeys, EscapeInTheSearchDialogCancels)
{
    SetSearchText(wxS("before"));
    EXPECT_EQ(TypeAndPress<SearchDialog>(&SearchDialog::m_text, "Ryzen", WXK_ESCAPE), wxID_CANCEL);
    EXPECT_STREQ(SearchText.get(), L"before");
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EscapeInTheOptionsDialogCancelsTheTypedValues)
{
    WhenShown user([](wxDialog& d) {
        auto& options = dynamic_cast<OptionsDialog&>(d);
        TypeInto(options.m_resultLinesText, "7");
        TypeInto(options.m_heatTimeText, "3");
        EXPECT_EQ(CpuListCount, 7);
        EXPECT_EQ(HeatTestMillis, 180000);
        PressKey(WXK_ESCAPE);
    });
    EXPECT_EQ(Run(new OptionsDialog(nullptr), user), wxID_CANCEL);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EnterInTheOptionsHeatFieldTakesTheMinutesAndLeavesTheDialogOpen)
{
    // The heat-time field answers Enter itself; the dialog has no default button.
    WhenShown user([](wxDialog& d) {
        auto& options = dynamic_cast<OptionsDialog&>(d);
        TypeInto(options.m_heatTimeText, "5");
        PressKey(WXK_RETURN);
        PumpEvents(300);
        EXPECT_TRUE(d.IsShown());
        EXPECT_EQ(HeatTestMillis, 300000);
        PressKey(WXK_ESCAPE);
    });
    EXPECT_EQ(Run(new OptionsDialog(nullptr), user), wxID_CANCEL);
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EscapeInTheResultsDialogCancels)
{
    EXPECT_EQ(TypeAndPress<ResultDialog>(&ResultDialog::m_searchText, nullptr, WXK_ESCAPE), wxID_CANCEL);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EscapeOnANewResultDropsItAsCancelDoesAndTheNextEscapeCloses)
{
    WhenShown user([](wxDialog& d) {
        auto& results = dynamic_cast<ResultDialog&>(d);
        PressButton(results.m_newButton);
        TypeInto(results.m_fields[FieldModel], "Typed");
        PressKey(WXK_ESCAPE);
        PumpEvents(300);
        EXPECT_TRUE(d.IsShown());
        EXPECT_EQ(results.NewRecordMode, 0);
        EXPECT_EQ(BackupPending, 0);
        EXPECT_TRUE(results.m_newButton->IsEnabled());
        EXPECT_NE(results.m_fields[FieldModel]->GetValue(), "Typed");
        EXPECT_EQ(DialogCancelled, 0);
        PressKey(WXK_ESCAPE);
    });
    EXPECT_EQ(Run(new ResultDialog(nullptr), user), wxID_CANCEL);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EnterInThePowerThreadsFieldIsOk)
{
    EXPECT_EQ(TypeAndPress<PowerThreadDialog>(&PowerThreadDialog::m_threadsText, "3", WXK_RETURN), wxID_OK);
    EXPECT_EQ(ThreadCount, 3u);
    EXPECT_EQ(DialogCancelled, 0);
}

TEST_F(DialogKeys, EnterInThePowerHttResultFieldIsOk)
{
    EXPECT_EQ(TypeAndPress<PowerThreadDialog>(&PowerThreadDialog::m_httResultText, "1500", WXK_RETURN), wxID_OK);
    EXPECT_EQ(HttOffResult, 1500u);
    EXPECT_EQ(ThreadCount, 4u);
    EXPECT_EQ(DialogCancelled, 0);
}

TEST_F(DialogKeys, EscapeInThePowerDialogCancelsTheTypedValues)
{
    WhenShown user([](wxDialog& d) {
        auto& power = dynamic_cast<PowerThreadDialog&>(d);
        TypeInto(power.m_httResultText, "900");
        TypeInto(power.m_threadsText, "9");
        EXPECT_EQ(ThreadCount, 9u);
        PressKey(WXK_ESCAPE);
    });
    EXPECT_EQ(Run(new PowerThreadDialog(nullptr), user), wxID_CANCEL);
    EXPECT_EQ(ThreadCount, 4u);
    EXPECT_EQ(HttOffResult, 0u);
    EXPECT_EQ(HttOption, 1u);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EnterFromThePowerMenuRunsTheTest)
{
    // No threads: the test ends at once with -2 and shows the chart.
    WhenShown user([](wxDialog& d) {
        TypeInto(dynamic_cast<PowerThreadDialog&>(d).m_threadsText, "0");
        PressKey(WXK_RETURN);
    });
    SendMenuCommand(TheFrame().m_powerItem);
    EXPECT_TRUE(user.Acted());
    EXPECT_FALSE(user.LeftOpen());
    EXPECT_EQ(LastPowerPoints, -2.0);
    EXPECT_EQ(DisplayMode, DisplayPowerChart);
}

TEST_F(DialogKeys, EnterInTheHeatFieldIsOk)
{
    EXPECT_EQ(TypeAndPress<HeatDialog>(&HeatDialog::m_minutesText, "7", WXK_RETURN), wxID_OK);
    EXPECT_EQ(HeatTestMillis, 420000);
    EXPECT_EQ(DialogCancelled, 0);
}

TEST_F(DialogKeys, EscapeInTheHeatDialogCancelsTheTypedMinutes)
{
    WhenShown user([](wxDialog& d) {
        TypeInto(dynamic_cast<HeatDialog&>(d).m_minutesText, "7");
        EXPECT_EQ(HeatTestMillis, 420000);
        PressKey(WXK_ESCAPE);
    });
    EXPECT_EQ(Run(new HeatDialog(nullptr), user), wxID_CANCEL);
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(DialogCancelled, 1);
}

TEST_F(DialogKeys, EscapeInTheManualClosesIt)
{
    EXPECT_EQ(TypeAndPress<ManualDialog>(&ManualDialog::m_text, nullptr, WXK_ESCAPE), wxID_CLOSE);
}

TEST_F(DialogKeys, EscapeInTheHistoryClosesIt)
{
    EXPECT_EQ(TypeAndPress<HistoryDialog>(&HistoryDialog::m_text, nullptr, WXK_ESCAPE), wxID_CLOSE);
}
