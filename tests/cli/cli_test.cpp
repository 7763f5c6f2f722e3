// tarnwick-cli run as users run it: in a program directory of its own, its
// whole output compared with patterns for the numbers that vary.
#include "../support/sensor_tree.h"
#include "cli_fixture.h"
#include "core/version.h"
#include "tests/support/required_tool.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <algorithm>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

namespace fs = std::filesystem;

namespace {
using Json = nlohmann::json;

Json ParseJson(const std::string& text)
{
    return Json::parse(text);
}

const std::string Record = "AMD;Fast one;3800;4700;1;8;16;Linux;6.1;9000;60000;yes\n"
                           "Intel;Middle;3000;4000;1;4;8;Linux;6.1;7000;25000;yes\n"
                           "VIA;Hidden;1000;1000;1;1;1;Linux;4.0;800;800;no\n"
                           "Intel;Slow;1000;1000;1;1;1;Linux;4.0;900;900;yes\n";
}  // namespace

TEST_F(Cli, VersionIsPrinted)
{
    const Outcome o = Run("--version");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "tarnwick-cli " TARNWICK_VERSION "\n");
    EXPECT_EQ(o.err, "");
}

TEST_F(Cli, HelpListsTheCommandsAndEveryOption)
{
    const Outcome o = Run("--help");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.err, "");
    for (const char* text : {"Usage: tarnwick-cli COMMAND [OPTION...]\n",
                             "Commands: speed, power, heat, info, results, record, merge FILE...,\n          fleet DOCUMENT..., report [DOCUMENT...]\n",
                             "\n  report [DOCUMENT...]\n", "\n  --output FILE ", "\n  --title TEXT ",
                             "\n  fleet DOCUMENT...   compares the result documents", "\n  --host NAME ", "\n  --heat M ",
                             "\n  merge FILE...       adds the records", "\n  --seconds S         shorten a run",
                             "\n  --threads N ", "\n  --htt ", "\n  --no-htt ", "\n  --htt-off-result P ",
                             "\n  --minutes M ", "\n  --search TEXT ", "\n  --append ", "\n  --results PATH ",
                             "\n  --log FILE ", "\n  --plot FILE ", "\n  --repeat N ", "\n  --save FILE ",
                             "\n  --json ", "\n  --quiet ", "\n  --version ", "\n  -h, --help "})
        EXPECT_NE(o.out.find(text), std::string::npos) << text;
    // The value names are those of the descriptions, never the parser's own.
    EXPECT_EQ(o.out.find("<num>"), std::string::npos);
    EXPECT_EQ(o.out.find("<str>"), std::string::npos);
    // Nothing runs past 79 columns.
    std::istringstream lines(o.out);
    std::string line;
    while (std::getline(lines, line))
        EXPECT_LE(line.size(), 79u) << line;
}

TEST_F(Cli, SpeedShortened)
{
    const Outcome o = Run("speed --seconds 1");
    EXPECT_EQ(o.code, 0);
    EXPECT_TRUE(Matches(o.out, R"(Speed test: [1-9][0-9]*0 points \(run shortened to 1 s; points normalised to the full test\)\n)"
                               R"(This run: spread 0\.0 %(: the score may be low;|,|, .*: the score may be low;) too short to judge: )"
                               R"(1 one-second sample a thread, fewer than 3\.\n)"
                               R"((Note: .*\n)*)"))
        << o.out;
    EXPECT_EQ(o.err, "");  // no progress line: standard error is no terminal
}

TEST_F(Cli, SpeedAsJson)
{
    const Outcome o = Run("speed --seconds 1 --json");
    ASSERT_EQ(o.code, 0);
    const Json json = ParseJson(o.out);
    EXPECT_EQ(json.at("test").get<std::string>(), "speed");
    EXPECT_GT(json.at("points").get<double>(), 0.0);
    EXPECT_EQ(json.at("seconds").get<double>(), 1.0);
    EXPECT_TRUE(json.at("shortened").get<bool>());
}

TEST_F(Cli, PowerShortenedWithoutHtt)
{
    const Outcome o = Run("power --seconds 1 --threads 2 --no-htt");
    EXPECT_EQ(o.code, 0);
    EXPECT_TRUE(Matches(o.out, R"(Power test: [1-9][0-9]* points with 2 threads \(run shortened to 1 s; points normalised to the full test\)
Per core: [0-9]+ \(the per-thread average\)  Per thread: [0-9]+  HTT efficiency: 0%
This run: .*
(Note: .*
)*)")) << o.out;
}

TEST_F(Cli, PowerWithATypedReferenceAsJson)
{
    const Outcome o = Run("power --seconds 1 --threads 2 --htt --htt-off-result 1200 --json");
    ASSERT_EQ(o.code, 0);
    const Json json = ParseJson(o.out);
    EXPECT_EQ(json.at("test").get<std::string>(), "power");
    EXPECT_EQ(json.at("threads").get<double>(), 2.0);
    EXPECT_TRUE(json.at("htt").get<bool>());
    EXPECT_EQ(json.at("httOffResult").get<double>(), 1200.0);
    EXPECT_EQ(json.at("perCore").get<double>(), 1200.0);
    EXPECT_NEAR(json.at("perThread").get<double>(), json.at("points").get<double>() / 2, 1.0);
}

TEST_F(Cli, HeatShortened)
{
    // A machine whose kernel shows no sensor (an empty tree in its place):
    // the summary says so, whatever this machine has.
    fs::create_directory(dir / "silent");
    const Outcome o = Run("heat --minutes 1 --seconds 1", "TARNWICK_SENSOR_ROOT=silent ");
    EXPECT_EQ(o.code, 0);
    EXPECT_TRUE(Matches(o.out, "Heat test: " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) +
                                   R"( workers busy for [1-3] s \(run shortened to 1 s\); )"
                                   R"(no temperature or frequency sensor answered\n)"
                               R"(Work: work rate [0-9.]+ [kMG]? ?passes/s at the end(, slowest processor [0-9]+ % of )"
                               R"(the fastest)?; [0-9,]+ checks, no errors\n)"))
        << o.out;
}

TEST_F(Cli, HeatOnADesktopsSensorsNamesThemLogsThemAndPlotsThem)
{
    MachineTree machine;
    ASSERT_TRUE(machine.Create());
    machine.Desktop();  // k10temp Tctl 65.25, Tccd1 70.125, Tccd2 60 degrees; 3000 to 4500 MHz
    const Outcome o = Run("heat --minutes 1 --seconds 2 --log heat.csv --plot heat.svg", "TARNWICK_SENSOR_ROOT='" +
                                                                                           machine.root.string() + "' ");
    machine.Destroy();
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_TRUE(Matches(o.out, "Heat test: [1-9][0-9]* workers busy for [2-4] s \\(run shortened to 2 s\\); "
                               "highest temperature 65 \xC2\xB0" "C, lowest frequency 3\\.00 GHz\n"
                               "Work: .*\n"))
        << o.out;
    std::istringstream log(ReadFile(dir / "heat.csv"));
    std::string line;
    ASSERT_TRUE(std::getline(log, line));
    EXPECT_EQ(line, "seconds,busy %,k10temp:Tctl,k10temp:Tccd1,k10temp:Tccd2,average MHz,lowest MHz,passes per "
                    "second,errors");
    int rows = 0;
    while (std::getline(log, line)) {
        ++rows;
        // No /proc/stat in this tree: the busy share is left empty; the
        // work rate is this machine's.
        EXPECT_TRUE(Matches(line + "\n", std::to_string(rows) + ",,65\\.2,70\\.1,60\\.0,3750,3000,[1-9][0-9]*,0\n"))
            << line;
    }
    EXPECT_GE(rows, 1);
    const std::string svg = ReadFile(dir / "heat.svg");
    EXPECT_NE(svg.find(">Temperature:<"), std::string::npos);
    EXPECT_NE(svg.find("65 \xC2\xB0" "C (highest 65 \xC2\xB0" "C)"), std::string::npos);
    EXPECT_NE(svg.find("3.75 GHz (lowest 3.00 GHz)"), std::string::npos);
    EXPECT_NE(svg.find("stroke=\"#FF0000\""), std::string::npos) << "no temperature curve";
}

namespace {
std::vector<std::string> SplitLine(const std::string& line, char separator)
{
    std::vector<std::string> cells;
    std::string cell;
    std::istringstream in(line);
    while (std::getline(in, cell, separator))
        cells.push_back(cell);
    if (!line.empty() && line.back() == separator)
        cells.emplace_back();
    return cells;
}

bool NumberOrEmpty(const std::string& cell)
{
    return cell.empty() || std::regex_match(cell, std::regex(R"(-?[0-9]+(\.[0-9]+)?)"));
}
}  // namespace

TEST_F(Cli, HeatLogAndPlotReadBack)
{
    const Outcome o = Run("heat --minutes 1 --seconds 3 --log heat.csv --plot heat.svg");
    ASSERT_EQ(o.code, 0) << o.err;
    std::istringstream log(ReadFile(dir / "heat.csv"));
    std::string line;
    ASSERT_TRUE(std::getline(log, line));
    const std::vector<std::string> header = SplitLine(line, ',');
    ASSERT_GE(header.size(), 4u);
    EXPECT_EQ(header[0], "seconds");
    EXPECT_EQ(header[1], "busy %");
    EXPECT_EQ(header[header.size() - 4], "average MHz");
    EXPECT_EQ(header[header.size() - 3], "lowest MHz");
    EXPECT_EQ(header[header.size() - 2], "passes per second");
    EXPECT_EQ(header.back(), "errors");
    for (std::size_t k = 2; k + 4 < header.size(); ++k)
        EXPECT_TRUE(std::regex_match(header[k], std::regex(R"([^:,]+:.+)"))) << header[k];  // chip:label
    int rows = 0, previous = 0;
    while (std::getline(log, line)) {
        const std::vector<std::string> cells = SplitLine(line, ',');
        ASSERT_EQ(cells.size(), header.size()) << line;
        const int seconds = std::stoi(cells[0]);
        EXPECT_GT(seconds, previous);
        previous = seconds;
        for (const std::string& cell : cells) {
            EXPECT_TRUE(NumberOrEmpty(cell)) << line;
        }
        if (!cells[1].empty()) {
            EXPECT_LE(std::stod(cells[1]), 100.0);
        }
        EXPECT_FALSE(cells[cells.size() - 2].empty()) << "every second of a live test finishes blocks: " << line;
        EXPECT_EQ(cells.back(), "0") << line;
        ++rows;
    }
    EXPECT_GE(rows, 2);
    EXPECT_LE(rows, 4);

    const std::string svg = ReadFile(dir / "heat.svg");
    EXPECT_EQ(svg.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"", 0), 0u);
    EXPECT_NE(svg.find(">CPU Heat Test</text>"), std::string::npos);
    EXPECT_NE(svg.find("<text x=\"280\" y=\"91\">100 %</text>"),
              std::string::npos);
    EXPECT_EQ(svg.substr(svg.size() - 12), "</g>\n</svg>\n");
    // The picture shows what the summary says the sensors answered.
    EXPECT_EQ(svg.find(">Temperature:</text>") != std::string::npos,
              o.out.find("highest temperature") != std::string::npos);
    EXPECT_EQ(svg.find(">Frequency:</text>") != std::string::npos,
              o.out.find("lowest frequency") != std::string::npos);
}

TEST_F(Cli, AHeatLogThatCannotBeWrittenStopsBeforeTheTest)
{
    const Outcome o = Run("heat --minutes 1 --seconds 1 --log nowhere/heat.csv");
    EXPECT_EQ(o.code, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "tarnwick-cli: " + (dir / "nowhere/heat.csv").string() +
                         " could not be written (No such file or directory)\n");
}

TEST_F(Cli, InfoShowsTheProcessorFacts)
{
    const Outcome o = Run("info");
    EXPECT_EQ(o.code, 0);
    EXPECT_TRUE(Matches(o.out, R"(Processor: +.*
Vendor: +[ -~]{12}
Signature: +[0-9A-F]+
Family: [0-9A-F]+  Model: [0-9A-F]+  Stepping: [0-9A-F]+
Extended family: [0-9A-F]+  Extended model: [0-9A-F]+  Type: [0-9A-F]+
Cores: [0-9]+  HTT: [01]
Logical processors: +[1-9][0-9]*
\(as CPUID reports them; they may not match the hardware\)
)")) << o.out;
    const std::string cpuinfo = ReadFile("/proc/cpuinfo");
    std::smatch vendor;
    // Twelve characters, spaces included (a Zhaoxin's is "  Shanghai  ").
    ASSERT_TRUE(std::regex_search(cpuinfo, vendor, std::regex(R"(vendor_id\t: ([ -~]{12})\n)")));
    EXPECT_NE(o.out.find("Vendor:              " + vendor[1].str() + "\n"), std::string::npos);
}

TEST_F(Cli, InfoAsJson)
{
    const Outcome o = Run("info --json");
    ASSERT_EQ(o.code, 0);
    const Json json = ParseJson(o.out);
    EXPECT_EQ(json.at("vendor").get<std::string>().size(), 12u);
    EXPECT_GE(json.at("logicalProcessors").get<double>(), 1.0);
}

TEST_F(Cli, ResultsInRankingOrderWithoutHiddenOnes)
{
    WriteFile("cpu_results.csv", Record);
    const Outcome o = Run("results");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "Place     Speed     Power  Processor\n"
                     "    1      9000     60000  AMD Fast one @ 3800 MHz\n"
                     "    2      7000     25000  Intel Middle @ 3000 MHz\n"
                     "    3       900       900  Intel Slow @ 1000 MHz\n");
}

TEST_F(Cli, ResultsSearchListsTheHitsInFileOrder)
{
    WriteFile("cpu_results.csv", Record);
    const Outcome o = Run("results --search INTEL");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "2 search results for: intel\n"
                     "Intel;Middle;3000;4000;1;4;8;Linux;6.1;7000;25000;yes\n"
                     "Intel;Slow;1000;1000;1;1;1;Linux;4.0;900;900;yes\n");
    // The slower line first in the file: ranked by speed or by power it would be second.
    WriteFile("cpu_results.csv", "Intel;Slow;1000;1000;1;1;1;Linux;4.0;900;900;yes\n"
                                 "Intel;Middle;3000;4000;1;4;8;Linux;6.1;7000;25000;yes\n");
    EXPECT_EQ(Run("results --search intel").out, "2 search results for: intel\n"
                                                 "Intel;Slow;1000;1000;1;1;1;Linux;4.0;900;900;yes\n"
                                                 "Intel;Middle;3000;4000;1;4;8;Linux;6.1;7000;25000;yes\n");
    WriteFile("cpu_results.csv", Record);
    const Json json = ParseJson(Run("results --search hidden --json").out);
    ASSERT_EQ(json.at("hits").size(), 1u);
    EXPECT_EQ(json.at("hits").at(0).get<std::string>(), "VIA;Hidden;1000;1000;1;1;1;Linux;4.0;800;800;no");
}

TEST_F(Cli, ResultsFromTheTemplateWhenThereIsNoFile)
{
    const Outcome o = Run("results --json");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.err, "tarnwick-cli: cpu_results.csv was created from the template doc/cpu_results_original.csv\n");
    const std::string table = ReadFile(dir / "doc/cpu_results_original.csv");
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), table);
    // Every record of the template is listed once, fastest first, places 1, 2, 3 ...
    const Json json = ParseJson(o.out);
    const Json& results = json.at("results");
    std::istringstream lines(table);
    std::vector<std::string> records;
    for (std::string line; std::getline(lines, line);)
        records.push_back(line);
    ASSERT_EQ(results.size(), records.size());
    std::vector<std::string> listed;
    for (std::size_t k = 0; k < results.size(); ++k) {
        EXPECT_EQ(results[k].at("place").get<std::size_t>(), k + 1);
        if (k > 0) {
            EXPECT_GE(results[k - 1].at("speed").get<double>(), results[k].at("speed").get<double>());
        }
        const std::string line = results[k].at("line").get<std::string>();
        EXPECT_EQ(results[k].at("speed").get<double>(), std::stod(SplitLine(line, ';').at(9))) << line;
        EXPECT_EQ(results[k].at("power").get<double>(), std::stod(SplitLine(line, ';').at(10))) << line;
        listed.push_back(line);
    }
    std::sort(listed.begin(), listed.end());
    std::sort(records.begin(), records.end());
    EXPECT_EQ(listed, records);
}

TEST_F(Cli, RecordPrintsALineForThisMachine)
{
    // A machine whose kernel says nothing: what it cannot tell stays empty.
    WriteFile("cpu_results.csv", Record);
    fs::create_directory(dir / "silent");
    const Outcome o = Run("record --seconds 1 --threads 2 --no-htt", "TARNWICK_SENSOR_ROOT=silent ");
    EXPECT_EQ(o.code, 0);
    ASSERT_FALSE(o.out.empty());
    const std::vector<std::string> fields = SplitLine(o.out.substr(0, o.out.size() - 1), ';');
    ASSERT_EQ(fields.size(), 12u) << o.out;
    // What CPUID says names the machine: the vendor's short name, the brand
    // and the processors.
    const Json info = ParseJson(Run("info --json").out);
    const std::string vendor = info.at("vendor").get<std::string>();
    EXPECT_EQ(fields[0], vendor == "AuthenticAMD" ? "AMD" : vendor == "GenuineIntel" ? "Intel" : "");
    EXPECT_EQ(fields[1], info.at("processor").get<std::string>());
    EXPECT_EQ(fields[6], std::to_string(info.at("logicalProcessors").get<int>()));
    EXPECT_EQ(fields[7], "Linux");
    // The kernel said nothing: frequencies, packages, cores and the system's version stay empty.
    for (const int k : {2, 3, 4, 5, 8})
        EXPECT_EQ(fields[k], "") << k;
    // Whole points, power from two threads above the speed of one, shown.
    EXPECT_TRUE(Matches(fields[9], "[1-9][0-9]*")) << fields[9];
    EXPECT_TRUE(Matches(fields[10], "[1-9][0-9]*")) << fields[10];
    EXPECT_EQ(fields[11], "yes");
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Record);
}

TEST_F(Cli, RecordAppendAddsTheLineAfterABackup)
{
    WriteFile("cpu_results.csv", Record);
    const Outcome o = Run("record --seconds 1 --threads 1 --append");
    ASSERT_EQ(o.code, 0);
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Record + o.out);
    EXPECT_EQ(ReadFile(dir / "cpu_result.bak"), Record);
}

TEST_F(Cli, TwoRecordAppendsAtOnceBothLand)
{
    WriteFile("cpu_results.csv", Record);
    const std::string command = "cd '" + dir.string() + "' && (./tarnwick-cli record --seconds 1 --threads 1 "
                                "--append > a.txt & ./tarnwick-cli record --seconds 1 --threads 1 --append > b.txt; "
                                "wait)";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string a = ReadFile(dir / "a.txt"), b = ReadFile(dir / "b.txt");
    const std::string after = ReadFile(dir / "cpu_results.csv");
    EXPECT_TRUE(after == Record + a + b || after == Record + b + a) << after;
    const std::string backup = ReadFile(dir / "cpu_result.bak");
    // The backup holds the file as it was before the last change.
    EXPECT_TRUE(backup == Record + a || backup == Record + b) << backup;
}

namespace {
const std::string Old = "Intel;Old;1;1;1;1;1;Linux;1;10;10;yes\n";
const std::string New1 = "AMD;New one;1;1;1;1;1;Linux;1;20;20;yes\n";
const std::string New2 = "AMD;New two;1;1;1;1;1;Linux;1;30;30;no\n";
}  // namespace

TEST_F(Cli, MergeAddsNewLinesSkipsPresentOnesAndRefusesTheRest)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", New1 + Old + "not a record\n" + New2 + "A;B;;;;;;;;1;2;maybe\n");
    const Outcome o = Run("merge in.csv");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "2 added, 1 already present, 2 refused\n");
    EXPECT_EQ(o.err, "tarnwick-cli: in.csv:3: refused: 1 field, not 12\n"
                     "tarnwick-cli: in.csv:5: refused: \"Display\" is \"maybe\", neither yes nor no\n");
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old + New1 + New2);
    EXPECT_EQ(ReadFile(dir / "cpu_result.bak"), Old);
}

TEST_F(Cli, MergeStrictExitsThreeWhenALineWasRefusedAndStillWritesTheTable)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", New1 + "not a record\n");
    const Outcome o = Run("merge --strict in.csv");
    EXPECT_EQ(o.code, 3);
    EXPECT_EQ(o.out, "1 added, 0 already present, 1 refused\n");
    EXPECT_EQ(o.err, "tarnwick-cli: in.csv:2: refused: 1 field, not 12\n");
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old + New1);
    // Nothing refused: 0, with --strict as without.
    WriteFile("clean.csv", New2);
    const Outcome clean = Run("merge --strict clean.csv");
    EXPECT_EQ(clean.code, 0) << clean.err;
    EXPECT_EQ(clean.out, "1 added, 0 already present, 0 refused\n");
}

TEST_F(Cli, MergeReadsStandardInputAndSeveralFilesInOrder)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", New2);
    const Outcome o = Run("merge - in.csv < /dev/null && printf '" + New1.substr(0, New1.size() - 1) +
                          "\\r\\n' | ./tarnwick-cli merge - in.csv");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "1 added, 1 already present, 0 refused\n");
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old + New2 + New1);
}

TEST_F(Cli, MergeAsJsonNamesEveryRefusedLine)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", Old + "\n" + New1);
    const Outcome o = Run("merge --json in.csv");
    ASSERT_EQ(o.code, 0);
    EXPECT_EQ(o.err, "");
    const Json json = ParseJson(o.out);
    EXPECT_EQ(json.at("added").get<double>(), 1);
    EXPECT_EQ(json.at("present").get<double>(), 1);
    EXPECT_TRUE(json.at("written").get<bool>());
    ASSERT_EQ(json.at("refused").size(), 1u);
    EXPECT_EQ(json.at("refused").at(0).at("file").get<std::string>(), "in.csv");
    EXPECT_EQ(json.at("refused").at(0).at("line").get<double>(), 2);
    EXPECT_EQ(json.at("refused").at(0).at("reason").get<std::string>(), "an empty line");
}

TEST_F(Cli, MergeWithNothingNewWritesNothing)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", Old);
    const Outcome o = Run("merge in.csv");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "0 added, 1 already present, 0 refused\n");
    EXPECT_FALSE(fs::exists(dir / "cpu_result.bak"));
}

TEST_F(Cli, MergeOfAFileThatCannotBeReadChangesNothing)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", New1);
    fs::create_directory(dir / "folder");
    for (const auto& [arguments, reason] :
         std::vector<std::pair<std::string, std::string>>{{"in.csv missing.csv", "missing.csv could not be read (No such file or directory)"},
                                                          {"folder in.csv", "folder could not be read (Is a directory)"}}) {
        const Outcome o = Run("merge " + arguments);
        EXPECT_EQ(o.code, 1) << arguments;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, "tarnwick-cli: " + reason + "; the results table is unchanged\n");
        EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old);
    }
}

TEST_F(Cli, MergeIntoAReadOnlyTableSaysWhichAndWhy)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", New1);
    fs::permissions(dir, fs::perms(0777));
    fs::permissions(dir / "cpu_results.csv", fs::perms(0444));
    // As an ordinary user: root may write any file.
    const std::string as = geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    const std::string command = "cd '" + dir.string() + "' && " + as + "./tarnwick-cli merge in.csv > out.txt 2> err.txt";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1);
    EXPECT_EQ(ReadFile(dir / "out.txt"), "");
    EXPECT_EQ(ReadFile(dir / "err.txt"), "tarnwick-cli: " + (dir / "cpu_results.csv").string() +
                         " could not be written (Permission denied); the change was not saved.\n");
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old);
}

TEST_F(Cli, AChangeInAFolderThatTakesNoNewFilesIsRefusedWithTheReasonAndNoTableIsRewrittenInPlace)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("in.csv", New1);
    fs::create_directory(dir / "outside");
    fs::permissions(dir / "cpu_results.csv", fs::perms(0666));
    fs::permissions(dir, fs::perms(0555));  // the table may be written, nothing may be made beside it
    const std::string as = geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    const std::string told = "tarnwick-cli: " + (dir / "cpu_results.csv").string() + " could not be written: its "
                             "folder " + dir.string() + " takes no new files from this user (Permission denied), "
                             "and the file is only ever replaced whole; the change was not saved.\n";
    for (const std::string arguments : {"merge in.csv", "record --seconds 1 --threads 1 --no-htt --append"}) {
        const std::string command = "cd '" + dir.string() + "' && " + as + "./tarnwick-cli " + arguments +
                                    " > outside/out.txt 2> outside/err.txt";
        const int status = std::system(command.c_str());
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1) << arguments;
        EXPECT_EQ(ReadFile(dir / "outside/err.txt"), told) << arguments;
        EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old) << arguments;
        EXPECT_FALSE(fs::exists(dir / "cpu_result.bak")) << arguments;
    }
    fs::permissions(dir, fs::perms(0755));
}

TEST_F(Cli, TwoMergesOf200RecordsAtOnceBothLand)
{
    std::string a, b;
    for (int k = 0; k < 200; ++k) {
        a += "AMD;A" + std::to_string(k) + ";1;1;1;1;1;Linux;1;" + std::to_string(1000 + k) + ";1500;yes\n";
        b += "AMD;B" + std::to_string(k) + ";1;1;1;1;1;Linux;1;" + std::to_string(1000 + k) + ";1500;yes\n";
    }
    WriteFile("cpu_results.csv", "");
    WriteFile("a.csv", a);
    WriteFile("b.csv", b);
    const std::string command = "cd '" + dir.string() + "' && (./tarnwick-cli merge a.csv > a.txt & "
                                "./tarnwick-cli merge b.csv > b.txt; wait)";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(ReadFile(dir / "a.txt"), "200 added, 0 already present, 0 refused\n");
    EXPECT_EQ(ReadFile(dir / "b.txt"), "200 added, 0 already present, 0 refused\n");
    const std::string after = ReadFile(dir / "cpu_results.csv");
    EXPECT_TRUE(after == a + b || after == b + a);
}

TEST_F(Cli, AnotherResultsFileIsMadeListedAndRecordedInto)
{
    fs::create_directory(dir / "lab");
    const Outcome made = Run("results --results lab/table.csv");
    EXPECT_EQ(made.code, 0);
    // The file made is named, not the usual one.
    EXPECT_EQ(made.err, "tarnwick-cli: lab/table.csv was created from the template doc/cpu_results_original.csv\n");
    EXPECT_EQ(ReadFile(dir / "lab/table.csv"), ReadFile(dir / "doc/cpu_results_original.csv"));
    EXPECT_FALSE(fs::exists(dir / "cpu_results.csv"));

    const Outcome recorded = Run("record --seconds 1 --threads 1 --no-htt --append --results lab/table.csv");
    ASSERT_EQ(recorded.code, 0);
    EXPECT_EQ(ReadFile(dir / "lab/table.csv"), ReadFile(dir / "doc/cpu_results_original.csv") + recorded.out);
    // The table's own backup, beside it.
    EXPECT_EQ(ReadFile(dir / "lab/table.csv.bak"), ReadFile(dir / "doc/cpu_results_original.csv"));
    EXPECT_FALSE(fs::exists(dir / "lab/cpu_result.bak"));

    WriteFile("in.csv", New1);
    EXPECT_EQ(Run("merge --results lab/table.csv in.csv").out, "1 added, 0 already present, 0 refused\n");
    EXPECT_FALSE(fs::exists(dir / "cpu_results.csv"));
}

TEST_F(Cli, AnotherResultsFileInAMissingDirectoryIsOneLineAndCode1)
{
    const Outcome o = Run("results --results nowhere/table.csv");
    EXPECT_EQ(o.code, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "tarnwick-cli: " + (dir / "nowhere/table.csv").string() + " could not be made: the folder " +
                         (dir / "nowhere").string() + " does not exist\n");
}

TEST_F(Cli, ATableBehindALinkStaysALink)
{
    fs::create_directory(dir / "drive");
    WriteFile("drive/lab.csv", Old);
    fs::create_symlink("drive/lab.csv", dir / "cpu_results.csv");
    WriteFile("in.csv", New1);
    EXPECT_EQ(Run("merge in.csv").code, 0);
    EXPECT_TRUE(fs::is_symlink(dir / "cpu_results.csv"));
    EXPECT_EQ(ReadFile(dir / "drive/lab.csv"), Old + New1);
}

TEST_F(Cli, ProgressOnATerminalOnlyAndNotWhenQuiet)
{
    TARNWICK_REQUIRE_TOOL(std::system("command -v script > /dev/null") == 0, "script (bsdutils)");
    const std::string shown = "cd '" + dir.string() + "' && script -qec './tarnwick-cli speed --seconds 2' /dev/null > tty.txt";
    ASSERT_EQ(std::system(shown.c_str()), 0);
    // The phase names the test, never "full run" for a shortened one.
    const std::string tty = ReadFile(dir / "tty.txt");
    EXPECT_TRUE(std::regex_search(tty, std::regex(R"(\r +[0-2] / 2 s, speed test)"))) << tty;
    EXPECT_EQ(tty.find("full run"), std::string::npos);
    const std::string power = "cd '" + dir.string() + "' && script -qec './tarnwick-cli power --seconds 1 --threads 2 --htt' /dev/null > tty.txt";
    ASSERT_EQ(std::system(power.c_str()), 0);
    const std::string phases = ReadFile(dir / "tty.txt");
    EXPECT_TRUE(std::regex_search(phases, std::regex(R"(\r +[0-4] / 4 s, power test, all threads)"))) << phases;
    EXPECT_TRUE(std::regex_search(phases, std::regex(R"(\r +[0-4] / 4 s, per-core run, half the threads)")))
        << phases;
    const std::string quiet = "cd '" + dir.string() + "' && script -qec './tarnwick-cli speed --seconds 1 --quiet' /dev/null > tty.txt";
    ASSERT_EQ(std::system(quiet.c_str()), 0);
    EXPECT_EQ(ReadFile(dir / "tty.txt").find(" s, speed test"), std::string::npos);
}

namespace {
struct BadInput {
    const char* arguments;
    const char* message;
};

class CliBadInput : public Cli, public ::testing::WithParamInterface<BadInput> {};
}  // namespace

TEST_P(CliBadInput, OneLineNamingTheProblemAndCode2)
{
    const Outcome o = Run(GetParam().arguments);
    EXPECT_EQ(o.code, 2);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, std::string("tarnwick-cli: ") + GetParam().message + " (see tarnwick-cli --help)\n");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CliBadInput,
    ::testing::Values(BadInput{"", "no command given"}, BadInput{"bogus", "unknown command 'bogus'"},
                      BadInput{"speed --frob", "unknown option --frob"},
                      BadInput{"speed -f", "unknown option -f"},
                      BadInput{"speed --seconds", "--seconds needs a value S"},
                      BadInput{"speed --seconds x", "--seconds must be a whole number from 1 to 2147460"},
                      BadInput{"speed --seconds 2x", "--seconds must be a whole number from 1 to 2147460"},
                      BadInput{"results --search", "--search needs a value TEXT"},
                      BadInput{"heat --log", "--log needs a value FILE"},
                      BadInput{"record --save ''", "--save needs a value FILE"},
                      BadInput{"results --results ''", "--results needs a value PATH"},
                      BadInput{"power --threads -3", "--threads must be a whole number from 1 to 100000"},
                      BadInput{"power --threads abc", "--threads must be a whole number from 1 to 100000"},
                      BadInput{"speed --seconds 0", "--seconds must be a whole number from 1 to 2147460"},
                      BadInput{"heat --minutes -1", "--minutes must be a whole number from 0 to 35791"},
                      BadInput{"heat", "heat needs --minutes M"},
                      BadInput{"power --htt --no-htt", "--htt and --no-htt exclude each other"},
                      BadInput{"power --htt-off-result -5",
                               "--htt-off-result must be a whole number from 0 to 2147483647"},
                      BadInput{"speed --threads 2", "--threads does not go with 'speed'"},
                      BadInput{"info --append", "--append does not go with 'info'"},
                      BadInput{"merge", "merge needs at least one FILE (- reads standard input)"},
                      BadInput{"merge --json", "merge needs at least one FILE (- reads standard input)"},
                      BadInput{"speed --results x.csv", "--results does not go with 'speed'"},
                      BadInput{"info extra", "unexpected 'extra' after 'info'"},
                      BadInput{"merge --append a.csv", "--append does not go with 'merge'"},
                      BadInput{"speed --log x.csv", "--log does not go with 'speed'"},
                      BadInput{"power --plot x.svg", "--plot does not go with 'power'"},
                      BadInput{"speed --seconds 5 --frob", "unknown option --frob"},
                      BadInput{"speed --json=1", "unexpected characters following option 'json'"},
                      BadInput{"speed --json-", "option 'json' can't be negated"},
                      BadInput{"speed --=x", "unknown long option ''"},
                      BadInput{"speed -x=1", "unknown option -x"},
                      BadInput{"speed --seconds=5 --seconds=", "--seconds needs a value S"},
                      BadInput{"record --heat 35792", "--heat must be a whole number from 0 to 35791"},
                      BadInput{"report --output x.html --title ''", "--title needs a value TEXT"}));
