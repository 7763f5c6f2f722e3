#include "core/state.h"
#include "results/results_table.h"
#include "results/search.h"
#include "../support/saved_state.h"
#include "views/search_view.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
class Search : public ::testing::Test {
protected:
    // The file order differs from both rankings: by speed Ryzen, Xeon,
    // Athlon; by power Xeon, Athlon, Ryzen; Core is hidden and not ranked.
    void SetUp() override
    {
        Load({wxS("amd;Athlon;1;2;1;2;2;Linux;5;100;5000;yes"), wxS("Intel;Core;1;2;1;4;8;Linux;6;800;8000;no"),
              wxS("AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes"), wxS("Intel;Xeon;1;2;2;8;16;Linux;6;500;9000;yes")});
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
    StateGuard m_saved;
    std::vector<wxString> m_lines;
};
}  // namespace

TEST_F(Search, HitsAreWholeLinesInFileOrderAndTheirOwnCase)
{
    SetSearchText(wxS("amd"));
    FindResults();
    EXPECT_EQ(Hits(), (std::vector<std::wstring>{L"amd;Athlon;1;2;1;2;2;Linux;5;100;5000;yes",
                                                 L"AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes"}));
}

TEST_F(Search, HitsAreListedInFileOrderNotInRankingOrder)
{
    // The rankings put the lines in other orders than the file.
    ASSERT_EQ(RankedCount, 3);
    EXPECT_EQ((std::vector<double>{SpeedRanking[0].line, SpeedRanking[1].line, SpeedRanking[2].line}),
              (std::vector<double>{2, 3, 0}));
    EXPECT_EQ((std::vector<double>{PowerRanking[0].line, PowerRanking[1].line, PowerRanking[2].line}),
              (std::vector<double>{3, 0, 2}));
    SetSearchText(wxS("yes"));
    FindResults();
    EXPECT_EQ(Hits(), (std::vector<std::wstring>{L"amd;Athlon;1;2;1;2;2;Linux;5;100;5000;yes",
                                                 L"AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes",
                                                 L"Intel;Xeon;1;2;2;8;16;Linux;6;500;9000;yes"}));
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
    EXPECT_EQ(SearchHitCount, 4);
}

TEST_F(Search, WithoutAConfirmedTextEveryLineMatches)
{
    SearchText.reset();
    FindResults();
    EXPECT_EQ(SearchHitCount, 4);
}

TEST_F(Search, ASemicolonMatchesAcrossNeighbouringFields)
{
    SetSearchText(wxS(";yes"));
    FindResults();
    EXPECT_EQ(SearchHitCount, 3);
    SetSearchText(wxS("linux;6"));
    FindResults();
    EXPECT_EQ(SearchHitCount, 3);
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
    ASSERT_EQ(layout.size(), 5u);
    EXPECT_EQ(layout[0], TextItem(wxS("4 search results for: linux"), 10, 16));
    EXPECT_EQ(layout[1], TextItem(wxS("amd;Athlon;1;2;1;2;2;Linux;5;100;5000;yes"), 10, 64));
    EXPECT_EQ(layout[2], TextItem(wxS("Intel;Core;1;2;1;4;8;Linux;6;800;8000;no"), 10, 80));
    EXPECT_EQ(layout[3], TextItem(wxS("AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes"), 10, 96));
    EXPECT_EQ(layout[4], TextItem(wxS("Intel;Xeon;1;2;2;8;16;Linux;6;500;9000;yes"), 10, 112));
}

TEST_F(Search, HitsStayAsTheyWereWhenTheTableIsReloaded)
{
    SetSearchText(wxS("ryzen"));
    FindResults();
    Load({wxString(500, 'x'), wxS("short")});  // a wider table
    EXPECT_EQ(Hits(), std::vector<std::wstring>{L"AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes"});
    EXPECT_EQ(LayoutSearchResults()[1].text, "AMD;Ryzen;1;2;1;8;16;Linux;6;900;200;yes");
}
