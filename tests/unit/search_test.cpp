#include "app/state.h"
#include "results/results_table.h"
#include "results/search.h"
#include "views/search_view.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
class Search : public ::testing::Test {
protected:
    void SetUp() override
    {
        Load({wxS("AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes"), wxS("Intel;Core;1;2;1;4;8;Linux;6;800;8000;no"),
              wxS("amd;Athlon;1;2;1;2;2;Linux;5;100;200;yes")});
    }
    void TearDown() override
    {
        ReleaseGlobalArrays();
        ResultLineCount = ResultLineWidth = RankedCount = SearchHitCount = 0;
        SearchHitWidth = 0;
    }
    void Load(std::vector<wxString> lines)
    {
        m_lines = std::move(lines);
        ASSERT_TRUE(LoadResultTable(m_lines.size(), [this](std::size_t n) {
            return std::wstring_view(m_lines[n].wc_str(), m_lines[n].length());
        }));
    }
    static std::vector<std::wstring> Hits()
    {
        std::vector<std::wstring> hits;
        for (int j = 0; j < SearchHitCount; ++j)
            hits.emplace_back(SearchHits.get() + std::size_t(j) * SearchHitWidth);
        return hits;
    }
    std::vector<wxString> m_lines;
};
}  // namespace

TEST_F(Search, HitsAreWholeLinesInFileOrderAndTheirOwnCase)
{
    SetSearchText(wxS("amd"));
    FindResults();
    EXPECT_EQ(Hits(), (std::vector<std::wstring>{L"AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes",
                                                 L"amd;Athlon;1;2;1;2;2;Linux;5;100;200;yes"}));
}

TEST_F(Search, CapitalsFindAnyCaseAndTheTextIsKeptLowerCase)
{
    SetSearchText(wxS("ATHLON"));
    EXPECT_STREQ(SearchText.get(), L"athlon");
    FindResults();
    EXPECT_EQ(SearchHitCount, 1);
}

TEST_F(Search, AnEmptyTextMatchesEveryLine)
{
    SetSearchText(wxEmptyString);
    FindResults();
    EXPECT_EQ(SearchHitCount, 3);
}

TEST_F(Search, WithoutAConfirmedTextEveryLineMatches)
{
    SearchText.reset();
    FindResults();
    EXPECT_EQ(SearchHitCount, 3);
}

TEST_F(Search, ASemicolonMatchesAcrossNeighbouringFields)
{
    SetSearchText(wxS(";yes"));
    FindResults();
    EXPECT_EQ(SearchHitCount, 2);
    SetSearchText(wxS("linux;6"));
    FindResults();
    EXPECT_EQ(SearchHitCount, 2);
}

TEST_F(Search, TheTextIsNotTrimmed)
{
    SetSearchText(wxS(" ryzen"));
    FindResults();
    EXPECT_EQ(SearchHitCount, 0);
}

TEST_F(Search, NoMatchGivesZeroAndTheHeadingOnly)
{
    SetSearchText(wxS("Pentium"));
    FindResults();
    EXPECT_EQ(SearchHitCount, 0);
    const ViewLayout layout = LayoutSearchResults();
    ASSERT_EQ(layout.size(), 1u);
    EXPECT_EQ(layout[0], TextItem(wxS("0 search results for: pentium"), 10, 16));
}

TEST_F(Search, ViewListsTheRawLinesBelowTheHeading)
{
    SetSearchText(wxS("LINUX"));
    FindResults();
    const ViewLayout layout = LayoutSearchResults();
    ASSERT_EQ(layout.size(), 4u);
    EXPECT_EQ(layout[0], TextItem(wxS("3 search results for: linux"), 10, 16));
    EXPECT_EQ(layout[1], TextItem(wxS("AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes"), 10, 64));
    EXPECT_EQ(layout[2], TextItem(wxS("Intel;Core;1;2;1;4;8;Linux;6;800;8000;no"), 10, 80));
    EXPECT_EQ(layout[3], TextItem(wxS("amd;Athlon;1;2;1;2;2;Linux;5;100;200;yes"), 10, 96));
}

TEST_F(Search, HitsStayAsTheyWereWhenTheTableIsReloaded)
{
    SetSearchText(wxS("ryzen"));
    FindResults();
    Load({wxString(500, 'x'), wxS("short")});  // a wider table
    EXPECT_EQ(Hits(), std::vector<std::wstring>{L"AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes"});
    EXPECT_EQ(LayoutSearchResults()[1].text, "AMD;Ryzen;1;2;1;8;16;Linux;6;900;9000;yes");
}
