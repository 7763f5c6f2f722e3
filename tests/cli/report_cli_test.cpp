// tarnwick-cli report as users run it: the page of a table, of a fleet's
// documents and of both, what it refuses, and where it writes.
#include "../support/html_check.h"
#include "cli_fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {
using Json = nlohmann::json;

class CliReport : public Cli {
protected:
    // Documents node-1.json ... node-N.json of a made-up fleet.
    void MakeDocuments(int count, const std::string& flags = "") const
    {
        const std::string command =
            std::string(TARNWICK_MAKE_DOCUMENTS) + " '" + dir.string() + "' " + std::to_string(count) + " " + flags;
        ASSERT_EQ(std::system(command.c_str()), 0);
    }

    std::size_t Count(const std::string& text, const std::string& what) const
    {
        std::size_t n = 0;
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
            ++n;
        return n;
    }
};

const char* Table = "AMD;Ryzen 7 5800X;3800;4700;1;8;16;Linux;6.1;13500;120000;yes\n"
                    "Intel;<b>Core</b> i5;3000;;1;4;4;Linux;6.1;11000;40000;yes\n"
                    "Intel;Hidden one;3000;;1;4;4;Linux;6.1;99999;99999;no\n";
}  // namespace

TEST_F(CliReport, ATablesPageRanksEveryDisplayedRecord)
{
    WriteFile("t.csv", Table);
    const Outcome o = Run("report --results t.csv --output r.html --title 'Lab <7>'");
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "Report: r.html (2 records)\n");
    const std::string page = ReadFile(dir / "r.html");
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_NE(page.find("<title>Lab &lt;7&gt;</title>"), std::string::npos);
    EXPECT_NE(page.find("&lt;b&gt;Core&lt;/b&gt; i5"), std::string::npos);
    EXPECT_EQ(page.find("Hidden one"), std::string::npos);
    EXPECT_EQ(Count(page, "<g class=\"row\""), 4u);  // two records, two charts
    EXPECT_EQ(page.find("<section id=\"fleet\">"), std::string::npos);
}

TEST_F(CliReport, WithoutDocumentsItIsTheProgramsOwnTable)
{
    const Outcome o = Run("report --output r.html --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json j = Json::parse(o.out);
    EXPECT_GT(j["records"].get<int>(), 0);
    EXPECT_EQ(j["documents"], 0);
    EXPECT_NE(ReadFile(dir / "r.html").find("cpu_results.csv</dd>"), std::string::npos);
}

TEST_F(CliReport, AFleetsPageShowsItsHostsAndNamesWhatItRefuses)
{
    MakeDocuments(5, "--slow --heat");
    WriteFile("broken.json", "{\"format\": 1}");
    const Outcome o = Run("report node-1.json node-2.json node-3.json node-4.json node-5.json broken.json "
                          "missing.json --output f.html --json");
    ASSERT_EQ(o.code, 0) << o.err;
    const Json j = Json::parse(o.out);
    EXPECT_EQ(j["records"], 0);
    EXPECT_EQ(j["documents"], 7);
    EXPECT_EQ(j["shown"], 5);
    EXPECT_EQ(j["flaggedCount"], 1);
    EXPECT_EQ(j["refusedCount"], 2);
    const std::string page = ReadFile(dir / "f.html");
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_NE(page.find("<dd>none: no table</dd>"), std::string::npos);
    EXPECT_EQ(Count(page, "<g class=\"row mine-row\""), 10u);
    EXPECT_EQ(Count(page, "<article class=\"document\""), 5u);
    EXPECT_NE(page.find("<td>node-5</td><td class=\"warn\">slow</td>"), std::string::npos);
    EXPECT_NE(page.find("<polyline class=\"line temp\""), std::string::npos);
    EXPECT_NE(page.find("<td>broken.json</td>"), std::string::npos);
    EXPECT_NE(page.find("<td>missing.json</td><td>it could not be read ("), std::string::npos);
    // The page's parts in their order.
    EXPECT_LT(page.find("<section id=\"speed\""), page.find("<section id=\"power\""));
    EXPECT_LT(page.find("<section id=\"power\""), page.find("<section id=\"fleet\""));
    EXPECT_LT(page.find("<section id=\"fleet\""), page.find("<section id=\"documents\""));
    EXPECT_LT(page.find("<section id=\"documents\""), page.find("<section id=\"refused\""));
}

TEST_F(CliReport, ADocumentWhoseRecordTheTableHoldsIsHighlightedNotShownTwice)
{
    MakeDocuments(2);
    WriteFile("t.csv", Table);
    ASSERT_EQ(Run("merge --results t.csv node-1.json").code, 0);
    const Outcome o = Run("report --results t.csv node-1.json node-2.json --output r.html");
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "Report: r.html (3 records, 2 of 2 documents, 0 flagged)\n");
    const std::string page = ReadFile(dir / "r.html");
    EXPECT_EQ(Count(page, "<g class=\"row mine-row\""), 4u);  // both hosts, both charts
    EXPECT_EQ(Count(page, "<g class=\"row\""), 4u);           // the table's other two
    EXPECT_NE(page.find(">[node-1] AMD AMD EPYC @ 2596 MHz</text>"), std::string::npos);
    EXPECT_NE(page.find(">[node-2] AMD EPYC</text>"), std::string::npos);
}

TEST_F(CliReport, NeverWritesOverADocumentItReads)
{
    MakeDocuments(1);
    const std::string before = ReadFile(dir / "node-1.json");
    const Outcome o = Run("report node-1.json --output node-1.json");
    EXPECT_EQ(o.code, 1);
    EXPECT_NE(o.err.find("node-1.json"), std::string::npos) << o.err;
    EXPECT_EQ(ReadFile(dir / "node-1.json"), before);
}

TEST_F(CliReport, NeverWritesOverTheDocumentOnItsStandardInput)
{
    MakeDocuments(1);
    const std::string before = ReadFile(dir / "node-1.json");
    const Outcome o = Run("report - --output node-1.json < node-1.json");
    EXPECT_EQ(o.code, 1);
    EXPECT_NE(o.err.find("the document on standard input"), std::string::npos) << o.err;
    EXPECT_EQ(ReadFile(dir / "node-1.json"), before);
    EXPECT_EQ(Run("report - --output r.html < node-1.json").code, 0);
}

TEST_F(CliReport, RanksAPointsFieldThatIsNoNumberAsNone)
{
    WriteFile("t.csv", std::string(Table) + "Intel;Odd;3000;;1;4;4;Linux;6.1;nan;inf;yes\n");
    ASSERT_EQ(Run("report --results t.csv --output r.html").code, 0);
    const std::string page = ReadFile(dir / "r.html");
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_EQ(Count(page, "<g class=\"row\" data-score=\"0\">"), 2u);
    EXPECT_EQ(page.find("data-score=\"\""), std::string::npos);
}

TEST_F(CliReport, WritesToStandardOutputWithItsSummaryOnStandardError)
{
    WriteFile("t.csv", Table);
    const Outcome o = Run("report --results t.csv --output -");
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(HtmlPageProblem(o.out), "");
    EXPECT_EQ(o.err, "Report: - (2 records)\n");
}

TEST_F(CliReport, RefusesAWrongCommandLine)
{
    Outcome o = Run("report --results t.csv");
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("report needs --output FILE"), std::string::npos) << o.err;
    o = Run("report --output r.html --title \"$(printf 'a\\tb')\"");
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("--title TEXT holds a control character (U+0009)"), std::string::npos) << o.err;
    o = Run("report --output r.html --title \"$(head -c 1001 /dev/zero | tr '\\0' x)\"");
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("--title TEXT is longer than 1000 bytes"), std::string::npos) << o.err;
    o = Run("report --output r.html --threads 2");
    EXPECT_EQ(o.code, 2);
    EXPECT_FALSE(fs::exists(dir / "r.html"));
}

TEST_F(CliReport, OperandsMayStandAmongTheOptionsAndAfterADoubleDash)
{
    MakeDocuments(2);
    fs::rename(dir / "node-2.json", dir / "-2.json");
    WriteFile("t.csv", Table);
    const Outcome o = Run("report node-1.json --results t.csv --output r.html --title T -- -2.json");
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "Report: r.html (2 records, 2 of 2 documents, 0 flagged)\n");
    // A value that looks like a document stays its option's.
    EXPECT_EQ(Run("report --output node-1.json").code, 0);
    EXPECT_EQ(ReadFile(dir / "node-1.json").substr(0, 15), "<!DOCTYPE html>");
}
