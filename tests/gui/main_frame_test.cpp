#include "gui/resources.h"
#include "core/state.h"
#include "gui/main_frame.h"
#include "gui_support.h"

#include <wx/accel.h>
#include <wx/display.h>
#include <wx/menu.h>
#include <wx/statusbr.h>
#include <wx/stockitem.h>

#include <gtest/gtest.h>

#include <memory>

namespace {
const wxColour Lavender(242, 240, 250);

// Where "Please wait ..." would be: its first line of text at (10, 16).
const wxRect WaitTextRegion(0, 0, 200, 40);

class MainWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        DisplayMode = DisplayBlank;
        DialogCancelled = 0;
        TheFrame().RepaintNow();
    }
    void TearDown() override
    {
        DisplayMode = DisplayBlank;
        TheFrame().RepaintNow();
    }
};

struct MenuEntry {
    wxString label;
    wxString help;
};

void ExpectMenu(wxMenu* menu, const std::vector<MenuEntry>& entries)
{
    ASSERT_EQ(menu->GetMenuItemCount(), entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        wxMenuItem* item = menu->FindItemByPosition(i);
        EXPECT_EQ(item->GetItemLabel(), entries[i].label);
        EXPECT_EQ(item->GetHelp(), entries[i].help);
        EXPECT_EQ(item->GetKind(), wxITEM_NORMAL);
        EXPECT_FALSE(item->IsSeparator());
        EXPECT_FALSE(item->IsSubMenu());
    }
}

void ExpectAltAccelerator(wxMenuItem* item, int key)
{
    std::unique_ptr<wxAcceleratorEntry> accel(item->GetAccel());
    ASSERT_NE(accel, nullptr);
    EXPECT_EQ(accel->GetFlags(), wxACCEL_ALT);
    EXPECT_EQ(accel->GetKeyCode(), key);
}
}  // namespace

TEST_F(MainWindow, TitleIsTarnwickBenchmark)
{
    EXPECT_EQ(TheFrame().GetTitle(), "Tarnwick Benchmark");
}

TEST_F(MainWindow, Is900By600InTheMiddleOfTheScreen)
{
    MainFrame& frame = TheFrame();
    EXPECT_EQ(frame.GetSize(), wxSize(900, 600));
    const wxRect screen = wxDisplay(0u).GetClientArea();
    EXPECT_EQ(frame.GetPosition(), wxPoint(screen.x + (screen.width - 900) / 2,
                                           screen.y + (screen.height - 600) / 2));
    EXPECT_TRUE(frame.IsShown());
    EXPECT_TRUE(frame.HasFlag(wxDEFAULT_FRAME_STYLE));
    EXPECT_TRUE(frame.HasFlag(wxTAB_TRAVERSAL));
}

TEST_F(MainWindow, StatusBarHasOneFieldWithTheProgramsPurpose)
{
    wxStatusBar* bar = TheFrame().GetStatusBar();
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar, TheFrame().m_statusBar);
    EXPECT_EQ(bar->GetFieldsCount(), 1);
    EXPECT_EQ(bar->GetStatusText(0), "Processor benchmark tool");
    EXPECT_TRUE(bar->HasFlag(wxSTB_SIZEGRIP));
}

TEST_F(MainWindow, CarriesThe32PixelIcon)
{
    const wxIcon icon = TheFrame().GetIcon();
    ASSERT_TRUE(icon.IsOk());
    EXPECT_EQ(icon.GetWidth(), 32);
    EXPECT_EQ(icon.GetHeight(), 32);
}

TEST_F(MainWindow, MenuBarHasFileProcessorHelpInOrder)
{
    wxMenuBar* bar = TheFrame().GetMenuBar();
    ASSERT_EQ(bar, TheFrame().m_menuBar);
    ASSERT_EQ(bar->GetMenuCount(), 3u);
    EXPECT_EQ(bar->GetMenuLabel(0), "&File");
    EXPECT_EQ(bar->GetMenuLabel(1), "&Processor");
    EXPECT_EQ(bar->GetMenuLabel(2), "&Help");
    EXPECT_EQ(bar->GetMenu(0), TheFrame().m_fileMenu);
    EXPECT_EQ(bar->GetMenu(1), TheFrame().m_processorMenu);
    EXPECT_EQ(bar->GetMenu(2), TheFrame().m_helpMenu);
}

TEST_F(MainWindow, FileMenuItemsLabelsAndHelp)
{
    // Exit is given no help text; being the stock exit item, the toolkit
    // supplies its own.
    const wxString exitHelp = wxGetStockHelpString(wxID_EXIT);
    ExpectMenu(TheFrame().m_fileMenu, {{"&Search", "Search"},
                                       {"&Options", "Configuration for application"},
                                       {"E&xit\tAlt+X", exitHelp}});
}

TEST_F(MainWindow, ProcessorMenuItemsLabelsAndHelp)
{
    ExpectMenu(TheFrame().m_processorMenu,
               {{"&Power", "Processors powerfulness benchmark"},
                {"&Speed (single task)", "Processors speed benchmark"},
                {"&Heat", "Warms up processor"},
                {"&Info (*)", "Display informations about processor."},
                {"&Results", "Results management"}});
}

TEST_F(MainWindow, HelpMenuItemsLabelsAndHelp)
{
    ExpectMenu(TheFrame().m_helpMenu, {{"&Manual", "Application's manual"},
                                       {"&History", "Application's change log"},
                                       {"&About\tAlt+A", "About this application"}});
}

TEST_F(MainWindow, ExitIsAltXWithTheExitId)
{
    EXPECT_EQ(TheFrame().m_exitItem->GetId(), wxID_EXIT);
    ExpectAltAccelerator(TheFrame().m_exitItem, 'X');
}

TEST_F(MainWindow, AboutIsAltA)
{
    ExpectAltAccelerator(TheFrame().m_aboutItem, 'A');
}

TEST_F(MainWindow, OnlyExitAndAboutHaveAccelerators)
{
    MainFrame& frame = TheFrame();
    for (wxMenuItem* item : {frame.m_searchItem, frame.m_optionsItem, frame.m_powerItem,
                             frame.m_speedItem, frame.m_heatItem, frame.m_infoItem,
                             frame.m_resultsItem, frame.m_manualItem, frame.m_historyItem}) {
        std::unique_ptr<wxAcceleratorEntry> accel(item->GetAccel());
        EXPECT_EQ(accel, nullptr) << item->GetItemLabel();
    }
}

TEST_F(MainWindow, MenuItemsHaveDistinctGeneratedIds)
{
    MainFrame& frame = TheFrame();
    std::vector<int> ids;
    for (wxMenuItem* item : {frame.m_searchItem, frame.m_optionsItem, frame.m_exitItem,
                             frame.m_powerItem, frame.m_speedItem, frame.m_heatItem,
                             frame.m_infoItem, frame.m_resultsItem, frame.m_manualItem,
                             frame.m_historyItem, frame.m_aboutItem})
        ids.push_back(item->GetId());
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST_F(MainWindow, ClientAreaIsLavenderWhenBlank)
{
    const wxImage image = CaptureClientArea(TheFrame());
    ASSERT_TRUE(image.IsOk());
    const wxRect all(0, 0, image.GetWidth(), image.GetHeight());
    EXPECT_TRUE(InkBounds(image, Lavender, all).IsEmpty());
    EXPECT_EQ(image.GetRed(450, 250), 242);
    EXPECT_EQ(image.GetGreen(450, 250), 240);
    EXPECT_EQ(image.GetBlue(450, 250), 250);
}

TEST_F(MainWindow, PleaseWaitModeDrawsTheTextAt10And16)
{
    DisplayMode = DisplayPleaseWait;
    TheFrame().RepaintNow();
    const wxImage image = CaptureClientArea(TheFrame());
    const wxRect ink = InkBounds(image, Lavender, wxRect(0, 0, image.GetWidth(), image.GetHeight()));
    ASSERT_FALSE(ink.IsEmpty());
    EXPECT_GE(ink.GetLeft(), 10);
    EXPECT_LE(ink.GetLeft(), 12);
    EXPECT_GE(ink.GetTop(), 16);
    EXPECT_LE(ink.GetTop(), 20);
    EXPECT_LE(ink.GetBottom(), 36);
    EXPECT_GT(ink.GetWidth(), 40);
}

TEST_F(MainWindow, RepaintNowPaintsBeforeReturning)
{
    PaintRecorder paints(TheFrame());
    DisplayMode = DisplayPleaseWait;
    TheFrame().RepaintNow();
    EXPECT_EQ(paints.modes, std::vector<int>{DisplayPleaseWait});
}

TEST_F(MainWindow, InfoShowsModeFourAtOnceWithoutPleaseWait)
{
    PaintRecorder paints(TheFrame());
    SendMenuCommand(TheFrame().m_infoItem);
    EXPECT_EQ(DisplayMode, DisplayInfo);
    EXPECT_EQ(paints.modes, std::vector<int>{DisplayInfo});

    // The rules of the information view are on the screen at once.
    const wxImage image = CaptureClientArea(TheFrame());
    for (int x : {11, 400, 774}) {
        EXPECT_EQ(image.GetRed(x, 36) + image.GetGreen(x, 36) + image.GetBlue(x, 36), 0) << x;
        EXPECT_EQ(image.GetRed(x, 188) + image.GetGreen(x, 188) + image.GetBlue(x, 188), 0) << x;
    }
}

TEST_F(MainWindow, ResizingRepaintsTheCurrentView)
{
    MainFrame& frame = TheFrame();
    DisplayMode = DisplayPleaseWait;
    frame.RepaintNow();
    {
        PaintRecorder paints(frame);
        frame.SetSize(1000, 700);
        PumpEvents(400);
        ASSERT_FALSE(paints.modes.empty());
        EXPECT_EQ(paints.modes.back(), DisplayPleaseWait);
    }
    const wxImage image = CaptureClientArea(frame);
    EXPECT_GT(image.GetWidth(), 900);
    const wxRect text = InkBounds(image, Lavender, WaitTextRegion);
    EXPECT_FALSE(text.IsEmpty());
    const wxRect grown(905, 0, image.GetWidth() - 905, image.GetHeight());
    EXPECT_TRUE(InkBounds(image, Lavender, grown).IsEmpty());

    frame.SetSize(900, 600);
    frame.Centre(wxBOTH);
    PumpEvents(200);
}

TEST_F(MainWindow, StateAfterTheInitialiser)
{
    EXPECT_STREQ(OsName, L"Linux");
    EXPECT_GE(CpuCount, 1u);
    EXPECT_EQ(ThreadCount, CpuCount);
    EXPECT_EQ(HttOption, CpuHtt);
    EXPECT_EQ(FontSize, 9);
}

TEST_F(MainWindow, DrawingResourcesAfterTheInitialiser)
{
    EXPECT_EQ(BackgroundColour, wxColour(242, 240, 250));
    EXPECT_EQ(WhiteColour, *wxWHITE);
    EXPECT_EQ(BlackColour, *wxBLACK);
    EXPECT_EQ(WhiteBrush.GetColour(), *wxWHITE);
    EXPECT_EQ(WhiteBrush.GetStyle(), wxBRUSHSTYLE_SOLID);
    EXPECT_EQ(BlackPen.GetColour(), *wxBLACK);
    EXPECT_EQ(BlackPen.GetWidth(), 1);
    EXPECT_EQ(BlackPen.GetStyle(), wxPENSTYLE_SOLID);
    ASSERT_TRUE(ViewFont.IsOk());
    EXPECT_EQ(ViewFont.GetPointSize(), 9);
    EXPECT_EQ(ViewFont.GetStyle(), wxFONTSTYLE_NORMAL);
    EXPECT_EQ(ViewFont.GetWeight(), wxFONTWEIGHT_NORMAL);
    EXPECT_FALSE(ViewFont.GetUnderlined());
}
