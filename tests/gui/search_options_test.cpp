#include "core/state.h"
#include "config/config_file.h"
#include "gui/main_frame.h"
#include "gui/options_dialog.h"
#include "gui/search_dialog.h"
#include "gui_support.h"
#include "tests/support/saved_state.h"
#include "results/results_file.h"

#include <wx/button.h>
#include <wx/ffile.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
class SearchCommand : public ::testing::Test {
protected:
    void SetUp() override
    {
        WriteBytes("cpu_results.csv", "AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes\n"
                                      "Intel;Core;1;2;1;4;8;Linux;6;800;8000;no\n"
                                      "amd;Athlon;1;2;1;2;2;Linux;5;100;200;yes\n");
        ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
        DialogCancelled = 0;
    }
    void TearDown() override { ProcessIdle(); }

    StateGuard m_saved{"cpu_results.csv"};  ///< the file, the table and the search as they were

    static void Search(const wxString& text)
    {
        wxTEST_DIALOG(SendMenuCommand(TheFrame().m_searchItem), ExpectDialog<SearchDialog>([text](SearchDialog* d) {
                          d->m_text->SetValue(text);
                          PressButton(d->m_okButton);
                      }));
    }
};
}  // namespace

TEST_F(SearchCommand, DialogTexts)
{
    auto* dialog = new SearchDialog(nullptr);
    EXPECT_EQ(dialog->GetTitle(), "Search");
    EXPECT_GE(dialog->GetSize().x, 320);
    EXPECT_EQ(dialog->m_label->GetLabel(), "Enter text to search:");
    EXPECT_EQ(dialog->m_text->GetSize().x, 175);
    EXPECT_TRUE(dialog->m_text->HasFlag(wxTE_PROCESS_ENTER));
    EXPECT_EQ(dialog->m_cancelButton->GetLabel(), "Cancel");
    EXPECT_EQ(dialog->m_okButton->GetLabel(), "OK");
    EXPECT_EQ(dialog->GetDefaultItem(), dialog->m_okButton);
    PressButton(dialog->m_cancelButton);
}

TEST_F(SearchCommand, ConfirmedSearchShowsItsHits)
{
    PaintRecorder paints(TheFrame());
    Search(wxS("AMD"));
    EXPECT_EQ(DisplayMode, DisplaySearch);
    EXPECT_EQ(paints.modes, (std::vector<int>{DisplayBlank, DisplaySearch}));
    EXPECT_STREQ(SearchText.get(), L"amd");
    EXPECT_EQ(SearchHitCount, 2);
}

TEST_F(SearchCommand, EnterInTheFieldConfirms)
{
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_searchItem), ExpectDialog<SearchDialog>([](SearchDialog* d) {
                      d->m_text->SetValue(wxS("athlon"));
                      wxCommandEvent enter(wxEVT_TEXT_ENTER, d->m_text->GetId());
                      enter.SetEventObject(d->m_text);
                      d->m_text->GetEventHandler()->ProcessEvent(enter);
                  }));
    EXPECT_EQ(SearchHitCount, 1);
    EXPECT_EQ(DisplayMode, DisplaySearch);
}

TEST_F(SearchCommand, CancelKeepsTheLastSearchAndBlanksTheArea)
{
    Search(wxS("ryzen"));
    ASSERT_EQ(SearchHitCount, 1);
    // A table in which the kept text would find two other lines: a search run
    // again, with the old text or the typed one, would show.
    WriteBytes("cpu_results.csv", "Ryzen one intel\nryzen two intel\nother\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_searchItem), ExpectDialog<SearchDialog>(
                                                                [](SearchDialog* d) {
                                                                    d->m_text->SetValue(wxS("intel"));
                                                                    PressButton(d->m_cancelButton);
                                                                },
                                                                wxID_CANCEL));
    EXPECT_EQ(DisplayMode, DisplayBlank);
    EXPECT_STREQ(SearchText.get(), L"ryzen");
    ASSERT_EQ(SearchHitCount, 1);
    EXPECT_EQ(wxString(SearchHits.get()), "AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes");
}

TEST_F(SearchCommand, TheCloseBoxRunsTheLastSearchAgain)
{
    Search(wxS("ryzen"));
    WriteBytes("cpu_results.csv", "Ryzen one\nryzen two\nother\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_searchItem),
                  ExpectDialog<SearchDialog>([](SearchDialog* d) { d->Close(); }, wxID_CLOSE));
    EXPECT_EQ(DialogCancelled, 0);
    EXPECT_EQ(DisplayMode, DisplaySearch);
    EXPECT_EQ(SearchHitCount, 2);
}

TEST_F(SearchCommand, AnEmptySearchListsEveryLineInFileOrder)
{
    // By speed Ryzen, Core, Athlon; by power Core, Athlon, Ryzen.
    WriteBytes("cpu_results.csv", "amd;Athlon;1;2;1;2;2;Linux;5;100;5000;yes\n"
                                  "AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes\n"
                                  "Intel;Core;1;2;1;4;8;Linux;6;800;8000;yes\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    Search(wxEmptyString);
    ASSERT_EQ(SearchHitCount, 3);
    std::vector<wxString> hits;
    for (int j = 0; j < SearchHitCount; ++j)
        hits.emplace_back(SearchHits.get() + std::size_t(j) * SearchHitWidth);
    EXPECT_EQ(hits, (std::vector<wxString>{"amd;Athlon;1;2;1;2;2;Linux;5;100;5000;yes",
                                           "AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes",
                                           "Intel;Core;1;2;1;4;8;Linux;6;800;8000;yes"}));
}

TEST_F(SearchCommand, CapitalsFindEveryCaseAndTheHeadingIsLowerCase)
{
    Search(wxS("AMD;"));
    EXPECT_EQ(SearchHitCount, 2);
    const wxImage image = CaptureClientArea(TheFrame());
    // The heading and two lines are drawn: ink at y 16, 64 and 80, none at 96.
    const wxColour lavender(242, 240, 250);
    EXPECT_FALSE(InkBounds(image, lavender, wxRect(10, 16, 300, 14)).IsEmpty());
    EXPECT_FALSE(InkBounds(image, lavender, wxRect(10, 64, 300, 14)).IsEmpty());
    EXPECT_FALSE(InkBounds(image, lavender, wxRect(10, 80, 300, 14)).IsEmpty());
    EXPECT_TRUE(InkBounds(image, lavender, wxRect(10, 96, 300, 14)).IsEmpty());
}

namespace {
class OptionsCommand : public ::testing::Test {
protected:
    void SetUp() override
    {
        WriteBytes("tarnwick.conf", "# options test\ncpulist\t\t20\nheattime\t10\n");
        ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
        DialogCancelled = 0;
    }
    void TearDown() override { ProcessIdle(); }

    StateGuard m_saved{"tarnwick.conf"};  ///< the file and the settings as they were
};

const wxString Positive = wxS("Please enter a positive number!");
}  // namespace

TEST_F(OptionsCommand, DialogTextsAndValues)
{
    auto* dialog = new OptionsDialog(nullptr);
    EXPECT_EQ(dialog->GetTitle(), "Options - configure application");
    EXPECT_GE(dialog->GetSize().x, 400);
    EXPECT_GE(dialog->GetSize().y, 300);
    EXPECT_EQ(dialog->m_resultLinesLabel->GetLabel(), "Result lines to display:");
    EXPECT_EQ(dialog->m_heatTimeLabel->GetLabel(), "Heat time (minutes):");
    EXPECT_EQ(dialog->m_resultLinesText->GetValue(), "20");
    EXPECT_EQ(dialog->m_heatTimeText->GetValue(), "10");
    EXPECT_EQ(dialog->m_cancelButton->GetLabel(), "Cancel");
    EXPECT_EQ(dialog->m_defaultButton->GetLabel(), "Default");
    EXPECT_EQ(dialog->m_saveButton->GetLabel(), "Save");
    EXPECT_EQ(dialog->m_okButton->GetLabel(), "OK");
    PressButton(dialog->m_cancelButton);
}

TEST_F(OptionsCommand, ADashAloneIsZeroAndANegativeNumberIsRefused)
{
    auto* dialog = new OptionsDialog(nullptr);
    dialog->m_resultLinesText->SetValue(wxS("-"));
    EXPECT_EQ(CpuListCount, 0);
    wxTEST_DIALOG(dialog->m_resultLinesText->SetValue(wxS("-5")), ExpectMessage(Positive, wxS("Message")));
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(dialog->m_resultLinesText->GetValue(), "20");
    dialog->m_heatTimeText->SetValue(wxS("-"));
    EXPECT_EQ(HeatTestMillis, 0);
    wxTEST_DIALOG(dialog->m_heatTimeText->SetValue(wxS("-5")), ExpectMessage(Positive, wxS("Message")));
    EXPECT_EQ(HeatTestMillis, 600000);
    EXPECT_EQ(dialog->m_heatTimeText->GetValue(), "10");
    PressButton(dialog->m_cancelButton);
}

TEST_F(OptionsCommand, DefaultThenCancelChangesNothing)
{
    // Settings other than the defaults, so that keeping the defaults would show.
    WriteBytes("tarnwick.conf", "# options test\ncpulist\t\t12\nheattime\t7\n");
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    ASSERT_EQ(CpuListCount, 12);
    ASSERT_EQ(HeatTestMillis, 420000);
    PaintRecorder paints(TheFrame());
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_optionsItem), ExpectDialog<OptionsDialog>(
                                                                 [](OptionsDialog* d) {
                                                                     EXPECT_EQ(d->m_resultLinesText->GetValue(), "12");
                                                                     EXPECT_EQ(d->m_heatTimeText->GetValue(), "7");
                                                                     PressButton(d->m_defaultButton);
                                                                     EXPECT_EQ(CpuListCount, 20);
                                                                     EXPECT_EQ(HeatTestMillis, 60000);
                                                                     EXPECT_EQ(d->m_resultLinesText->GetValue(), "20");
                                                                     EXPECT_EQ(d->m_heatTimeText->GetValue(), "1");
                                                                     PressButton(d->m_cancelButton);
                                                                 },
                                                                 wxID_CANCEL));
    EXPECT_EQ(CpuListCount, 12);
    EXPECT_EQ(CpuListHalf, 6);
    EXPECT_EQ(HeatTestMillis, 420000);
    EXPECT_EQ(DialogCancelled, 1);
    EXPECT_EQ(ReadBytes("tarnwick.conf"), "# options test\ncpulist\t\t12\nheattime\t7\n");
    EXPECT_EQ(DisplayMode, DisplayAfterOptions);
    EXPECT_EQ(paints.modes, (std::vector<int>{DisplayPleaseWait, DisplayAfterOptions}));
}

TEST_F(OptionsCommand, OkAppliesForThisRunOnly)
{
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_optionsItem), ExpectDialog<OptionsDialog>([](OptionsDialog* d) {
                      d->m_resultLinesText->SetValue(wxS("12"));
                      d->m_heatTimeText->SetValue(wxS("3"));
                      PressButton(d->m_okButton);
                  }));
    EXPECT_EQ(CpuListCount, 12);
    EXPECT_EQ(CpuListHalf, 6);
    EXPECT_EQ(HeatTestMillis, 180000);
    EXPECT_EQ(ConfigMode, 'k');
    EXPECT_EQ(DisplayMode, DisplayAfterOptions);
    EXPECT_EQ(ReadBytes("tarnwick.conf"), "# options test\ncpulist\t\t20\nheattime\t10\n");
}

TEST_F(OptionsCommand, SaveAlsoRewritesTheTwoLines)
{
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_optionsItem), ExpectDialog<OptionsDialog>([](OptionsDialog* d) {
                      d->m_resultLinesText->SetValue(wxS("12"));
                      d->m_heatTimeText->SetValue(wxS("3"));
                      PressButton(d->m_saveButton);
                  }));
    EXPECT_EQ(ConfigMode, 'm');
    EXPECT_EQ(CpuListHalf, 6);
    EXPECT_EQ(ReadBytes("tarnwick.conf"), "# options test\ncpulist\t\t12\nheattime\t3\n");
}

TEST_F(OptionsCommand, TextThatIsNoNumberIsZero)
{
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_optionsItem), ExpectDialog<OptionsDialog>([](OptionsDialog* d) {
                      d->m_resultLinesText->SetValue(wxS("abc"));
                      d->m_heatTimeText->SetValue(wxS("abc"));
                      PressButton(d->m_okButton);
                  }));
    EXPECT_EQ(CpuListCount, 0);
    EXPECT_EQ(HeatTestMillis, 0);
}

TEST_F(OptionsCommand, TheCloseBoxCancels)
{
    auto* dialog = new OptionsDialog(nullptr);
    dialog->m_resultLinesText->SetValue(wxS("7"));
    dialog->Close();
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(DialogCancelled, 1);
}
