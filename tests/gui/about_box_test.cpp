#include "core/state.h"
#include "core/version.h"
#include "gui/about_box.h"
#include "gui/main_frame.h"
#include "gui_support.h"

#include <wx/collpane.h>
#include <wx/generic/aboutdlgg.h>
#include <wx/hyperlink.h>
#include <wx/stattext.h>
#include <wx/testing.h>

#include <gtest/gtest.h>

namespace {
struct AboutSeen {
    bool shown = false;
    wxString title;
    wxWindow* parent = nullptr;
    std::vector<wxString> texts;  // every label, link and pane title, in window order
    wxString url;
    int panes = 0;
};

void CollectTexts(wxWindow* window, AboutSeen& seen)
{
    for (wxWindow* child : window->GetChildren()) {
        if (auto* link = dynamic_cast<wxHyperlinkCtrl*>(child)) {
            seen.url = link->GetURL();
            seen.texts.push_back(link->GetLabel());
        } else if (dynamic_cast<wxCollapsiblePane*>(child) != nullptr) {
            ++seen.panes;
        } else if (auto* text = dynamic_cast<wxStaticText*>(child)) {
            seen.texts.push_back(text->GetLabel());
        }
        CollectTexts(child, seen);
    }
}

class ExpectAbout : public wxExpectModalBase<wxGenericAboutDialog, ExpectAbout> {
public:
    explicit ExpectAbout(AboutSeen& seen) : m_seen(seen) {}

protected:
    int OnInvoked(wxGenericAboutDialog* dialog) const override
    {
        m_seen.shown = true;
        m_seen.title = dialog->GetTitle();
        m_seen.parent = dialog->GetParent();
        CollectTexts(dialog, m_seen);
        return wxID_OK;
    }

private:
    AboutSeen& m_seen;
};

bool Contains(const std::vector<wxString>& texts, const wxString& part)
{
    for (const wxString& text : texts)
        if (text.Contains(part))
            return true;
    return false;
}
}  // namespace

TEST(AboutBox, InfoHoldsNameVersionAndDescription)
{
    const wxAboutDialogInfo info = MakeAboutInfo();
    EXPECT_EQ(info.GetName(), "Tarnwick");
    EXPECT_EQ(info.GetVersion(), "\n v. " TARNWICK_VERSION);
    EXPECT_EQ(info.GetDescription(), "Processor benchmark freeware application.");
    EXPECT_FALSE(info.HasIcon());
}

TEST(AboutBox, WebAddressIsItsOwnLinkText)
{
    const wxAboutDialogInfo info = MakeAboutInfo();
    ASSERT_TRUE(info.HasWebSite());
    EXPECT_EQ(info.GetWebSiteURL(), TARNWICK_WEBSITE);
    EXPECT_EQ(info.GetWebSiteDescription(), TARNWICK_WEBSITE);
}

TEST(AboutBox, LicencePointsToTheFileThenHasItsThreeSections)
{
    const wxString licence = MakeAboutInfo().GetLicence();
    const size_t pointer = licence.find("LICENSE beside the program (installed, in share/doc/tarnwick/copyright)");
    const size_t license = licence.find("\nLICENSE\n");
    const size_t disclaimer = licence.find("\nDISCLAIMER\n");
    const size_t notice = licence.find("\nNOTICE\n");
    ASSERT_NE(pointer, wxString::npos);
    ASSERT_NE(license, wxString::npos);
    ASSERT_NE(disclaimer, wxString::npos);
    ASSERT_NE(notice, wxString::npos);
    EXPECT_LT(pointer, license);
    EXPECT_LT(license, disclaimer);
    EXPECT_LT(disclaimer, notice);
    EXPECT_TRUE(licence.Contains("MIT"));
}

TEST(AboutBox, CreditsTheDevelopersAndStatesTheirRights)
{
    const wxAboutDialogInfo info = MakeAboutInfo();
    ASSERT_EQ(info.GetDevelopers().size(), 1u);
    EXPECT_EQ(info.GetDevelopers()[0], "The Tarnwick developers");
    EXPECT_TRUE(info.GetCopyright().Contains("The Tarnwick developers"));
}

TEST(AboutBox, MenuCommandShowsTheBoxModallyWithEveryField)
{
    const int modeBefore = DisplayMode;
    AboutSeen seen;
    wxTEST_DIALOG(SendMenuCommand(TheFrame().m_aboutItem), ExpectAbout(seen));

    ASSERT_TRUE(seen.shown);
    EXPECT_EQ(seen.parent, nullptr);
    EXPECT_TRUE(seen.title.Contains("Tarnwick"));
    EXPECT_TRUE(Contains(seen.texts, "Tarnwick"));
    EXPECT_TRUE(Contains(seen.texts, "v. " TARNWICK_VERSION));
    EXPECT_TRUE(Contains(seen.texts, "Processor benchmark freeware application."));
    EXPECT_TRUE(Contains(seen.texts, "The Tarnwick developers"));
    EXPECT_EQ(seen.url, TARNWICK_WEBSITE);
    EXPECT_TRUE(Contains(seen.texts, TARNWICK_WEBSITE));
    EXPECT_EQ(seen.panes, 2);  // licence and developers, folded
    EXPECT_TRUE(Contains(seen.texts, "DISCLAIMER"));
    EXPECT_TRUE(Contains(seen.texts, "NOTICE"));
    EXPECT_EQ(DisplayMode, modeBefore);
}
