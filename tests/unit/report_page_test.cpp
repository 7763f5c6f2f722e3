// The report page: texts escaped in one place, the page well-formed, the
// charts ranked with the documents' records highlighted, the fleet, each
// document's evidence, and the heat curves documents carry.
#include "../support/html_check.h"
#include "../support/document_builder.h"
#include "core/version.h"
#include "results/fleet.h"
#include "views/html.h"
#include "views/report_page.h"

#include <gtest/gtest.h>

#include <regex>

namespace {
const std::string Hostile = "<script>alert(1)</script>\"><img src=x onerror=alert(2)>'&";

std::string Page(const std::vector<ReportRecord>& records, const FleetOutcome* fleet = nullptr,
                 const std::vector<std::pair<std::string, ResultDocument>>& documents = {})
{
    std::string page = ReportStart({"Title", "2026-11-24 09:30 UTC", TARNWICK_VERSION, "/tmp/t.csv", records.size(),
                                    documents.size(), 0});
    page += ReportCharts(records);
    if (fleet != nullptr)
        page += ReportFleet(*fleet);
    page += ReportDocumentsStart(documents.size());
    for (std::size_t k = 0; k < documents.size(); ++k)
        page += ReportDocument(k, documents[k].first, documents[k].second);
    page += "</section>\n";
    if (fleet != nullptr)
        page += ReportRefused(fleet->refused);
    return page + ReportEnd();
}

ReportRecord Record(const std::string& name, double speed, double power, const std::string& host = "")
{
    ReportRecord r;
    r.name = name;
    r.speed = speed;
    r.power = power;
    r.host = host;
    r.brand = name;
    r.signature = host.empty() ? "" : "A10F11";
    return r;
}

// The data-score of each row of one chart, in page order.
std::vector<std::string> Scores(const std::string& page, const std::string& chart)
{
    const std::size_t start = page.find("<section id=\"" + chart + "\"");
    const std::size_t end = page.find("</section>", start);
    const std::string part = page.substr(start, end - start);
    std::vector<std::string> scores;
    const std::regex score("data-score=\"([0-9]+)\"");
    for (auto it = std::sregex_iterator(part.begin(), part.end(), score); it != std::sregex_iterator(); ++it)
        scores.push_back((*it)[1]);
    return scores;
}
}  // namespace

TEST(ReportPage, EscapesTheFiveMarkupCharacters)
{
    EXPECT_EQ(EscapeHtml("<a href=\"x\">'&'</a>"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;");
    EXPECT_EQ(EscapeHtml("plain \xC3\x9C \xF0\x9F\x94\xA5"), "plain \xC3\x9C \xF0\x9F\x94\xA5");
}

TEST(ReportPage, ShowsBrokenBytesAndControlsAsReplacementCharacters)
{
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(EscapeHtml("a\xFF" "b"), "a" + replacement + "b");
    EXPECT_EQ(EscapeHtml("a\xC3"), "a" + replacement);  // cut sequence
    EXPECT_EQ(EscapeHtml(std::string("a\0b\x1B", 4)), "a" + replacement + "b" + replacement);
    EXPECT_EQ(EscapeHtml("\xE2\x80\xAE" "evil"), replacement + "evil");  // right-to-left override
}

TEST(ReportPage, ForbidsEveryLoadAndNamesNoAddress)
{
    const std::string page = Page({Record("Ryzen", 9000, 30000)});
    EXPECT_NE(page.find("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none';"),
              std::string::npos);
    EXPECT_LT(page.find("Content-Security-Policy"), page.find("<style>"));
    EXPECT_EQ(page.find("http:"), std::string::npos);
    EXPECT_EQ(page.find("https:"), std::string::npos);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page.find("src="), std::string::npos);
    EXPECT_EQ(HtmlPageProblem(page), "");
}

TEST(ReportPage, RanksEachChartByItsOwnScore)
{
    const std::string page = Page({Record("A", 5000, 9000), Record("B", 9000, 1000), Record("C", 7000, 20000)});
    EXPECT_EQ(Scores(page, "speed"), (std::vector<std::string>{"9000", "7000", "5000"}));
    EXPECT_EQ(Scores(page, "power"), (std::vector<std::string>{"20000", "9000", "1000"}));
    EXPECT_NE(page.find("data-rows=\"3\""), std::string::npos);
    // The description carries the numbers, in rank order.
    EXPECT_NE(page.find("1. B: 9000 points; 2. C: 7000 points; 3. A: 5000 points."), std::string::npos);
}

TEST(ReportPage, HighlightsTheDocumentsRecordsAndNamesTheirHosts)
{
    const std::string page = Page({Record("Ryzen", 9000, 30000), Record("EPYC", 8000, 16000, "web01")});
    EXPECT_NE(page.find("<g class=\"row mine-row\" data-score=\"8000\">"), std::string::npos);
    EXPECT_NE(page.find("<g class=\"row\" data-score=\"9000\">"), std::string::npos);
    EXPECT_NE(page.find(">[web01] EPYC</text>"), std::string::npos);
    EXPECT_NE(page.find("<rect class=\"mine\""), std::string::npos);
    EXPECT_NE(page.find("<rect class=\"bar\""), std::string::npos);
    // No signature beside a brand that has one.
    EXPECT_EQ(page.find("(signature A10F11)"), std::string::npos);
}

TEST(ReportPage, ShowsTheSignatureBesideABrandThatTwoProcessorsShare)
{
    ReportRecord other = Record("EPYC", 7000, 14000, "db01");
    other.signature = "B00F21";
    const std::string page = Page({Record("EPYC", 8000, 16000, "web01"), other});
    EXPECT_NE(page.find(">[web01] (signature A10F11) EPYC</text>"), std::string::npos);
    EXPECT_NE(page.find(">[db01] (signature B00F21) EPYC</text>"), std::string::npos);
}

TEST(ReportPage, KeepsTheHostInSightOfALongNameAndNeverTwice)
{
    const std::string page = Page({Record("Intel(R) Xeon(R) Platinum 8375C CPU @ 2.90GHz", 9000, 30000, "web01"),
                                   Record("AMD AMD EPYC [node-3] @ 2596 MHz", 8000, 16000, "node-3")});
    EXPECT_NE(page.find(">[web01] Intel(R) Xeon(R) Platinu\xE2\x80\xA6</text>"), std::string::npos);
    EXPECT_NE(page.find(">AMD AMD EPYC [node-3] @ 2596 MHz</text>"), std::string::npos);
}

TEST(ReportPage, KnowsAThreadsPointsAsACoresOnlyWhenEachCoreRanOne)
{
    ResultDocument d = Document("EPYC", 900, 880, 16, 16);
    d.power.conditions.threadsPerCore = 1;
    ReportRecord r = DocumentReportRecord(d, "web01");
    ASSERT_TRUE(r.perThread.has_value());
    EXPECT_DOUBLE_EQ(*r.perThread, d.power.points / 16.0);
    ASSERT_TRUE(r.perCore.has_value());
    EXPECT_EQ(r.host, "web01");
    d.power.conditions.threadsPerCore = 2;  // two threads share a core
    EXPECT_FALSE(DocumentReportRecord(d, "web01").perCore.has_value());
    d = Document("EPYC", 900, 880, 4, 16);  // fewer threads than cores
    d.power.conditions.threadsPerCore = 1;
    EXPECT_TRUE(DocumentReportRecord(d, "web01").perThread.has_value());
    EXPECT_FALSE(DocumentReportRecord(d, "web01").perCore.has_value());
    d = Document("EPYC", 900, 880, 16, 16);
    d.power.conditions.threadsPerCore = 1;
    d.power.conditions.affinity = 8;  // held to half the processors
    EXPECT_FALSE(DocumentReportRecord(d, "web01").perCore.has_value());
    EXPECT_FALSE(DocumentReportRecord(TranscribedDocument(), "old").perThread.has_value());
}

TEST(ReportPage, DrawsAtMostThirtyTwoThreadsAndSaysSo)
{
    ResultDocument d = Document("EPYC", 900, 880, 40, 40);
    const std::string page = Page({}, nullptr, {{"many.json", d}});
    const std::string power = page.substr(page.find("Power test: "));
    std::size_t lines = 0;
    for (std::size_t at = power.find("<polyline"); at != std::string::npos; at = power.find("<polyline", at + 1))
        ++lines;
    EXPECT_EQ(lines, 32u);
    EXPECT_NE(power.find("(the first 32 of 40 threads)."), std::string::npos);
    EXPECT_NE(power.find("Points a second of the first 32 threads, 10 seconds"), std::string::npos);
}

TEST(ReportPage, ShowsThePowerFiguresWhereKnown)
{
    ReportRecord known = Record("EPYC", 8000, 16000, "web01");
    known.perThread = 8000;
    known.perCore = 8000;
    const std::string page = Page({known, Record("Ryzen", 9000, 30000)});
    EXPECT_NE(page.find(">16000 ( 8000 / 8000 )</text>"), std::string::npos);
    EXPECT_NE(page.find("Power: points ( per core / per thread ) where a document tells them."), std::string::npos);
    EXPECT_EQ(Page({Record("Ryzen", 9000, 30000)}).find("per core / per thread"), std::string::npos);
    EXPECT_NE(page.find(">30000</text>"), std::string::npos);
}

TEST(ReportPage, KeepsHostileTextsAsTextEverywhere)
{
    ResultDocument d = Document(Hostile);
    d.host = {Hostile, Hostile, ""};
    d.speed.verdict.reasons.push_back(Hostile);
    FleetOutcome fleet;
    fleet.refused.push_back({Hostile, Hostile});
    const std::string page = Page({Record(Hostile, 9000, 30000, Hostile)}, &fleet, {{Hostile, d}});
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_EQ(page.find("<script>"), std::string::npos);
    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_NE(page.find("&lt;script&gt;alert(1)&lt;/script&gt;&quot;&gt;&lt;img src=x onerror=alert(2)&gt;&#39;&amp;"),
              std::string::npos);
    ReportHeader header{Hostile, Hostile, Hostile, Hostile, 1, 1, 1};
    EXPECT_EQ(HtmlPageProblem(ReportStart(header) + ReportEnd()), "");
    EXPECT_EQ((ReportStart(header) + ReportEnd()).find("<script>"), std::string::npos);
}

TEST(ReportPage, TheCheckOfThePageFindsMarkupThatWasNotEscaped)
{
    std::string page = Page({Record("Ryzen", 9000, 30000)});
    EXPECT_EQ(HtmlPageProblem(page), "");
    std::string broken = page;
    broken.insert(broken.find("Ryzen"), "<script>");
    EXPECT_NE(HtmlPageProblem(broken), "");
    broken = page;
    broken.insert(broken.find("Ryzen"), "a & b");
    EXPECT_NE(HtmlPageProblem(broken), "");
    broken = page;
    broken.replace(broken.find("</h1>"), 5, "</h2>");
    EXPECT_NE(HtmlPageProblem(broken), "");
}

TEST(ReportPage, ShowsEachDocumentsProcessorSamplesConditionsAndVerdict)
{
    ResultDocument d = Document("Ryzen 7 5800X");
    d.host = {"web01", "web01.lab", "0123456789abcdef0123456789abcdef"};
    d.power.verdict.steady = false;
    d.power.verdict.reasons = {"another program used 48 % of a processor"};
    const std::string page = Page({}, nullptr, {{"web01.json", d}});
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_NE(page.find("<h3>web01</h3>"), std::string::npos);
    EXPECT_NE(page.find("<dd>A20F10: family 19h, model 21h, stepping 0</dd>"), std::string::npos);
    EXPECT_NE(page.find("<dd>web01.lab (01234567)</dd>"), std::string::npos);
    EXPECT_NE(page.find("<li>another program used 48 % of a processor</li>"), std::string::npos);
    // A plot a thread, with the samples' numbers in its description.
    const std::size_t power = page.find("Power test: ");
    ASSERT_NE(power, std::string::npos);
    const std::string part = page.substr(power);
    std::size_t lines = 0;
    for (std::size_t at = part.find("<polyline"); at != std::string::npos; at = part.find("<polyline", at + 1))
        ++lines;
    EXPECT_EQ(lines, 4u);
    EXPECT_NE(part.find("thread 4: 8830, 8840, 8850, 8830"), std::string::npos);
    EXPECT_NE(page.find("role=\"img\" class=\"plot\""), std::string::npos);
}

TEST(ReportPage, ShowsTheFleetsGroupsAndFlaggedHostsWithTheirReasons)
{
    std::vector<FleetSource> sources;
    for (int k = 0; k < 5; ++k) {
        ResultDocument d = Document("Ryzen 7 5800X", k == 4 ? 700 : 900 + k);
        d.host = {"node-" + std::to_string(k), "node-" + std::to_string(k), ""};
        sources.push_back({"node-" + std::to_string(k) + ".json", WriteResultDocument(d)});
    }
    sources.push_back({"broken.json", "{"});
    const FleetOutcome fleet = CompareFleet(sources);
    ASSERT_EQ(fleet.FlaggedCount(), 1u);
    const std::string page = Page({}, &fleet);
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_NE(page.find("Flagged: 1 of 5 hosts"), std::string::npos);
    EXPECT_NE(page.find("<td>node-4</td><td class=\"warn\">slow</td>"), std::string::npos);
    EXPECT_NE(page.find("Ryzen 7 5800X (AuthenticAMD, signature A20F10), 16 logical processors"), std::string::npos);
    EXPECT_NE(page.find("<section id=\"refused\">"), std::string::npos);
    EXPECT_NE(page.find("<td>broken.json</td>"), std::string::npos);
    EXPECT_EQ(ReportRefused({}), "");
}

TEST(ReportPage, DrawsTheHeatCurves)
{
    ResultDocument d = Document();
    d.heat.measured = true;
    d.heat.seconds = 3;
    d.heat.workers = 2;
    d.heat.checks = 10;
    d.heat.errors = 1;
    d.heat.rateCurve = {{1, 1800}, {2, 1790}, {3, 1780}};
    d.heat.temperatureCurve = {{1, 50.6}, {3, 60}};
    const std::string page = Page({}, nullptr, {{"heat.json", d}});
    EXPECT_EQ(HtmlPageProblem(page), "");
    EXPECT_NE(page.find("<polyline class=\"line rate\""), std::string::npos);
    EXPECT_NE(page.find("<polyline class=\"line temp\""), std::string::npos);
    EXPECT_NE(page.find("1 s 1800, 2 s 1790, 3 s 1780. Temperature: 1 s 50.6 \xC2\xB0" "C, 3 s 60.0 \xC2\xB0" "C."),
              std::string::npos);
    EXPECT_NE(page.find("The processor computed 1 wrong result: it is not stable under load."), std::string::npos);
    EXPECT_NE(page.find("Work rate (blue) and temperature (red) over 3 s"), std::string::npos);
    EXPECT_NE(page.find(">60 \xC2\xB0" "C</text>"), std::string::npos);  // the temperature's own scale
    EXPECT_NE(page.find(">41 \xC2\xB0" "C</text>"), std::string::npos);

    // Only a temperature: its scale on the left, from 10 degrees below its lowest.
    d.heat.rateCurve.clear();
    const std::string alone = Page({}, nullptr, {{"heat.json", d}});
    EXPECT_NE(alone.find("Temperature (red) over 3 s"), std::string::npos);
    EXPECT_NE(alone.find(">41 \xC2\xB0" "C</text>"), std::string::npos);
    EXPECT_EQ(alone.find("line rate"), std::string::npos);
}

TEST(ReportPage, NamesTheFamilyAndModelOfASignature)
{
    EXPECT_EQ(SignatureFacts("A10F11"), "family 19h, model 11h, stepping 1");
    EXPECT_EQ(SignatureFacts("906EA"), "family 6h, model 9Eh, stepping 10");
    EXPECT_EQ(SignatureFacts("00000F43"), "family Fh, model 4h, stepping 3");
    EXPECT_EQ(SignatureFacts(""), "");
    EXPECT_EQ(SignatureFacts("A10G11"), "");
    EXPECT_EQ(SignatureFacts("123456789"), "");
}

TEST(HeatCurve, IsThinnedEvenlyKeepingItsEnds)
{
    std::vector<HeatCurvePoint> points;
    for (int k = 0; k < 3600; ++k)
        points.push_back({static_cast<double>(k), static_cast<double>(k)});
    const std::vector<HeatCurvePoint> thinned = ThinnedCurve(points);
    ASSERT_EQ(thinned.size(), HeatCurveMost);
    EXPECT_EQ(thinned.front(), points.front());
    EXPECT_EQ(thinned.back(), points.back());
    for (std::size_t k = 1; k < thinned.size(); ++k)
        EXPECT_NEAR(thinned[k].seconds - thinned[k - 1].seconds, 3599.0 / 719.0, 1.0);
    points.resize(10);
    EXPECT_EQ(ThinnedCurve(points), points);
}

TEST(HeatCurve, TravelsInTheDocumentAndIsChecked)
{
    ResultDocument d = Document();
    d.heat.measured = true;
    d.heat.seconds = 60;
    d.heat.workers = 2;
    d.heat.rateCurve = {{1, 1800.25}, {2, 1790}};
    d.heat.temperatureCurve = {{1, 50.04}};
    ResultDocument read;
    ASSERT_EQ(ReadResultDocument(WriteResultDocument(d), read), "");
    EXPECT_EQ(read.heat.rateCurve, (std::vector<HeatCurvePoint>{{1, 1800.3}, {2, 1790}}));
    EXPECT_EQ(read.heat.temperatureCurve, (std::vector<HeatCurvePoint>{{1, 50.0}}));

    // Older documents have none.
    ResultDocument old;
    ASSERT_EQ(ReadResultDocument(EditedText(d, [](nlohmann::ordered_json& j) {
                                     j["heat"].erase("rateCurve");
                                     j["heat"].erase("temperatureCurve");
                                 }),
                                 old),
              "");
    EXPECT_TRUE(old.heat.rateCurve.empty());

    ResultDocument refused;
    EXPECT_EQ(ReadResultDocument(EditedText(d, [](nlohmann::ordered_json& j) {
                                     j["heat"]["rateCurve"] = {{5, 1}, {4, 1}};
                                 }),
                                 refused),
              "heat.rateCurve[1][0] is not a number from 5 to 1000000000");
    EXPECT_EQ(ReadResultDocument(EditedText(d, [](nlohmann::ordered_json& j) {
                                     j["heat"]["temperatureCurve"] = {{1, 2, 3}};
                                 }),
                                 refused),
              "heat.temperatureCurve[0] is not a pair of numbers [seconds, value]");
    EXPECT_EQ(ReadResultDocument(EditedText(d, [](nlohmann::ordered_json& j) {
                                     j["heat"]["rateCurve"] = {{1, -5}};
                                 }),
                                 refused),
              "heat.rateCurve[0][1] is not a number from 0 to 1000000000000000");
    nlohmann::ordered_json tooMany = nlohmann::ordered_json::array();
    for (std::size_t k = 0; k <= HeatCurveMost; ++k)
        tooMany.push_back({k, 1});
    EXPECT_EQ(ReadResultDocument(EditedText(d, [&](nlohmann::ordered_json& j) { j["heat"]["rateCurve"] = tooMany; }),
                                 refused),
              "heat.rateCurve holds more than 720 entries");
}
