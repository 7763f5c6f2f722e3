// The command table that drives the runner, --help, the manual page and the
// completion: every command has its handler, and every option it names is
// one the runner knows.
#include "cli/command.h"
#include "cli/options.h"

#include <gtest/gtest.h>

#include <wx/string.h>

#include <cstring>
#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

TEST(CommandTable, EveryCommandHasItsOwnHandler)
{
    std::set<int (*)(const cli::Options&)> handlers;
    std::set<std::string> names;
    for (const CliCommand& command : CliCommands()) {
        SCOPED_TRACE(command.name);
        ASSERT_NE(command.run, nullptr);
        EXPECT_TRUE(handlers.insert(command.run).second) << "two commands share a handler";
        EXPECT_TRUE(names.insert(command.name).second);
        EXPECT_EQ(FindCliCommand(command.name), &command);
    }
    EXPECT_EQ(FindCliCommand("record")->run, &cli::RunRecord);
    EXPECT_EQ(FindCliCommand("merge")->run, &cli::RunMerge);
    EXPECT_EQ(FindCliCommand("heat")->run, &cli::RunHeat);
    // No default: an unknown name finds nothing (the runner says so).
    EXPECT_EQ(FindCliCommand("bogus"), nullptr);
}

TEST(CommandTable, EveryOptionACommandNamesExistsAndItsNeedsAreAmongThem)
{
    for (const CliCommand& command : CliCommands()) {
        SCOPED_TRACE(command.name);
        for (const char* name : command.options)
            EXPECT_NE(FindCliOption(name), nullptr) << name;
        const auto takes = [&](const char* name) {
            for (const char* option : command.options)
                if (std::strcmp(option, name) == 0)
                    return true;
            return false;
        };
        if (*command.required != '\0') {
            EXPECT_TRUE(takes(command.required)) << command.required;
        }
        if (*command.unless != '\0') {
            EXPECT_NE(*command.required, '\0');
            EXPECT_TRUE(takes(command.unless)) << command.unless;
        }
    }
    for (const char* name : CliCommonOptions())
        EXPECT_NE(FindCliOption(name), nullptr) << name;
}

namespace {
using Words = std::vector<std::string>;

// The runner's arguments: its name, then `words`.
std::vector<wxString> Arguments(const Words& words)
{
    std::vector<wxString> arguments{wxS("tarnwick-cli")};
    for (const std::string& word : words)
        arguments.push_back(wxString::FromUTF8(word));
    return arguments;
}

// What reading, then checking, says about `words`; "" when both pass.
std::string Problem(const Words& words)
{
    std::vector<wxString> arguments = Arguments(words);
    GivenCommandLine given;
    wxString problem = ReadArguments(arguments, given);
    if (problem.empty() && !given.help && !given.operands.empty())
        problem = CheckCommandLine(given);
    return problem.utf8_string();
}

// The options `words` fill; the test fails when they do not pass.
cli::Options Filled(const Words& words)
{
    std::vector<wxString> arguments = Arguments(words);
    GivenCommandLine given;
    EXPECT_EQ(ReadArguments(arguments, given).utf8_string(), "");
    EXPECT_FALSE(given.help);
    EXPECT_FALSE(given.operands.empty());
    if (given.operands.empty())
        return cli::Options();
    EXPECT_EQ(CheckCommandLine(given).utf8_string(), "");
    return FillOptions(std::move(given));
}

// A command that takes `option`.
const CliCommand& CommandTaking(const CliOption& option)
{
    for (const CliCommand& command : CliCommands())
        for (const char* name : command.options)
            if (std::strcmp(name, option.name) == 0)
                return command;
    return *FindCliCommand("speed");  // json and quiet go with every command
}

// A line for `option`: a command that takes it, `words`, then what the
// command cannot do without.
Words LineFor(const CliOption& option, const Words& words)
{
    const CliCommand& command = CommandTaking(option);
    Words line{command.name};
    line.insert(line.end(), words.begin(), words.end());
    if (*command.required != '\0' && std::strcmp(command.required, option.name) != 0 &&
        std::strcmp(command.unless, option.name) != 0)
        line.insert(line.end(), {std::string("--") + command.required, "1"});
    if (*command.operands != '\0')
        line.push_back("a.json");
    return line;
}

// Whether the destination of `option` in `options` holds a value.
bool Holds(const cli::Options& options, const CliOption& option)
{
    return std::visit(
        [&](auto member) {
            if constexpr (std::is_same_v<decltype(member), bool cli::Options::*>)
                return options.*member;
            else
                return (options.*member).has_value();
        },
        option.target);
}
}  // namespace

TEST(OptionTable, EachNumberRowEnforcesItsRangeInItsOwnWords)
{
    int rows = 0;
    for (const CliOption& option : CliOptions()) {
        if (option.kind != CliOption::Kind::WholeNumber && option.kind != CliOption::Kind::Runs)
            continue;
        SCOPED_TRACE(option.name);
        ++rows;
        const std::string name = std::string("--") + option.name;
        std::string wanted = name + " must be a whole number from " + std::to_string(option.minimum) + " to " +
                             std::to_string(option.maximum);
        if (option.word != nullptr)
            wanted += std::string(", or ") + option.word;
        for (const std::string& wrong : {std::to_string(option.minimum - 1), std::to_string(option.maximum + 1),
                                         std::string("4x"), std::string("0x5"), std::string("1e3"),
                                         std::string("99999999999999999999999")})
            EXPECT_EQ(Problem(LineFor(option, {name, wrong})), wanted) << wrong;
        // The ends of the range are taken, into the row's destination.
        for (const long edge : {option.minimum, option.maximum})
            EXPECT_TRUE(Holds(Filled(LineFor(option, {name + "=" + std::to_string(edge)})), option)) << edge;
    }
    EXPECT_EQ(rows, 6);
    EXPECT_EQ(Filled({"power", "--threads", "+7"}).threads, std::optional<long>(7));
    EXPECT_EQ(Filled({"power", "--threads", "100000"}).threads, std::optional<long>(100000));
    EXPECT_EQ(Filled({"heat", "--minutes", "0"}).minutes, std::optional<long>(0));
    EXPECT_EQ(Filled({"record", "--heat", "35791"}).heatMinutes, std::optional<long>(35791));
    EXPECT_EQ(Filled({"power", "--htt-off-result", "2147483647"}).httOffResult, std::optional<long>(2147483647));
    const cli::Options automatic = Filled({"speed", "--repeat", "auto"});
    ASSERT_TRUE(automatic.repeat);
    EXPECT_TRUE(automatic.repeat->automatic);
    const cli::Options hundred = Filled({"speed", "--repeat", "100"});
    ASSERT_TRUE(hundred.repeat);
    EXPECT_FALSE(hundred.repeat->automatic);
    EXPECT_EQ(hundred.repeat->runs, 100);
    EXPECT_EQ(Problem({"speed", "--repeat", "AUTO"}), "--repeat must be a whole number from 1 to 100, or auto");
    // The runs, unlike the other numbers, may follow white space; never
    // precede it.
    EXPECT_EQ(Filled({"speed", "--repeat", " 5"}).repeat->runs, 5);
    EXPECT_EQ(Problem({"speed", "--repeat", "5 "}), "--repeat must be a whole number from 1 to 100, or auto");
    EXPECT_EQ(Problem({"speed", "--seconds", " 5"}), "--seconds must be a whole number from 1 to 2147460");
}

TEST(OptionTable, AnOptionNotGivenIsEmpty)
{
    const cli::Options options = Filled({"record"});
    for (const CliOption& option : CliOptions()) {
        SCOPED_TRACE(option.name);
        EXPECT_FALSE(Holds(options, option));
    }
    EXPECT_EQ(options.command, wxS("record"));
    EXPECT_TRUE(options.files.empty());
}

TEST(OptionTable, EveryRowFillsItsOwnDestination)
{
    for (const CliOption& option : CliOptions()) {
        SCOPED_TRACE(option.name);
        Words words{std::string("--") + option.name};
        if (option.value != nullptr)
            words.push_back("1");
        const Words line = LineFor(option, words);
        const cli::Options options = Filled(line);
        EXPECT_TRUE(Holds(options, option));
        // No other row's, but the one the command needs.
        for (const CliOption& other : CliOptions()) {
            const bool inLine = std::find(line.begin(), line.end(), std::string("--") + other.name) != line.end();
            if (&other != &option && !inLine) {
                EXPECT_FALSE(Holds(options, other)) << other.name;
            }
        }
    }
    const cli::Options options = Filled({"report", "--output", "page.html", "--title", "Lab 7", "--results", "r.csv"});
    EXPECT_EQ(options.output, std::optional<wxString>(wxS("page.html")));
    EXPECT_EQ(options.title, std::optional<std::string>("Lab 7"));
    EXPECT_EQ(options.results, std::optional<wxString>(wxS("r.csv")));
    EXPECT_EQ(Filled({"record", "--host", "web-01"}).host, std::optional<std::string>("web-01"));
    EXPECT_EQ(Filled({"results", "--search", ""}).search, std::optional<wxString>(wxString()));
    const cli::Options power = Filled({"power", "--no-htt"});
    EXPECT_TRUE(power.noHtt);
    EXPECT_FALSE(power.htt);
}

TEST(OptionTable, ANameOrTitleIsCheckedByItsRow)
{
    EXPECT_EQ(Problem({"report", "--output", "x.html", "--title", std::string(1001, 'a')}),
              "--title TEXT is longer than 1000 bytes");
    EXPECT_TRUE(Filled({"report", "--output", "x.html", "--title", std::string(1000, 'a')}).title);
    EXPECT_EQ(Problem({"record", "--host", "lab;7"}),
              "--host NAME is no host name: it holds \";\", which separates the fields of a record");
    EXPECT_EQ(Filled({"record", "--host", "lab 7"}).host, std::optional<std::string>("lab 7"));
}

TEST(OptionTable, AMissingValueIsNamedWithItsValueName)
{
    for (const CliOption& option : CliOptions()) {
        if (option.value == nullptr)
            continue;
        SCOPED_TRACE(option.name);
        const std::string name = std::string("--") + option.name;
        const std::string wanted = name + " needs a value " + option.value;
        // At the end of the line,
        EXPECT_EQ(Problem({CommandTaking(option).name, name}), wanted);
        // and given empty, where an empty value is no value.
        if (option.kind != CliOption::Kind::Text && option.kind != CliOption::Kind::Runs) {
            EXPECT_EQ(Problem(LineFor(option, {name + "="})), wanted);
            EXPECT_EQ(Problem(LineFor(option, {name, ""})), wanted);
        }
    }
}

TEST(OptionTable, AnUnknownOptionIsNamedAsGiven)
{
    EXPECT_EQ(Problem({"speed", "--frob"}), "unknown option --frob");
    EXPECT_EQ(Problem({"speed", "--frob=3"}), "unknown option --frob");
    EXPECT_EQ(Problem({"speed", "--SECONDS", "5"}), "unknown option --SECONDS");
    EXPECT_EQ(Problem({"speed", "-f"}), "unknown option -f");
    EXPECT_EQ(Problem({"speed", "-x=1"}), "unknown option -x");
    EXPECT_EQ(Problem({"speed", "-."}), "unknown option ''");
    EXPECT_EQ(Problem({"speed", "--=x"}), "unknown long option ''");
    EXPECT_EQ(Problem({"speed", "---"}), "unknown long option ''");
    EXPECT_EQ(Problem({"speed", "--json=1"}), "unexpected characters following option 'json'");
    EXPECT_EQ(Problem({"speed", "--json-"}), "option 'json' can't be negated");
    EXPECT_EQ(Problem({"speed", "--seconds-"}), "option 'seconds' can't be negated");
    EXPECT_EQ(Problem({"speed", "--threads", "2"}), "--threads does not go with 'speed'");
    // The first problem counts, and nothing after it is read.
    EXPECT_EQ(Problem({"speed", "--frob", "--help"}), "unknown option --frob");
    EXPECT_EQ(Problem({"speed", "--seconds", "x", "--frob"}), "unknown option --frob");
    EXPECT_EQ(Problem({"speed", "-h=1"}), "unexpected characters following option 'h'");
    // Help ends the reading.
    for (const Words& words : {Words{"speed", "--help", "--frob"}, Words{"-hx"}, Words{"bogus", "-h"}}) {
        std::vector<wxString> arguments = Arguments(words);
        GivenCommandLine given;
        EXPECT_EQ(ReadArguments(arguments, given).utf8_string(), "");
        EXPECT_TRUE(given.help);
    }
}

TEST(OptionTable, AnOptionGivenTwiceTakesTheLastValue)
{
    EXPECT_EQ(Filled({"speed", "--seconds", "3", "--seconds", "4"}).seconds, std::optional<long>(4));
    EXPECT_EQ(Filled({"speed", "--seconds=x", "--seconds:5"}).seconds, std::optional<long>(5));
    EXPECT_EQ(Problem({"speed", "--seconds", "3", "--seconds", "0"}),
              "--seconds must be a whole number from 1 to 2147460");
    EXPECT_TRUE(Filled({"speed", "--json", "--json"}).json);
    EXPECT_EQ(Problem({"power", "--no-htt", "--htt"}), "--htt and --no-htt exclude each other");
}

TEST(OptionTable, OperandsAreMovedOutInTheirOrder)
{
    std::vector<wxString> arguments = Arguments({"merge", "a.csv", "--results", "r.csv", "-", "--", "--json"});
    GivenCommandLine given;
    ASSERT_EQ(ReadArguments(arguments, given).utf8_string(), "");
    ASSERT_EQ(CheckCommandLine(given).utf8_string(), "");
    const cli::Options options = FillOptions(std::move(given));
    EXPECT_EQ(options.command, wxS("merge"));
    EXPECT_EQ(options.files, (std::vector<wxString>{wxS("a.csv"), wxS("-"), wxS("--json")}));
    EXPECT_EQ(options.results, std::optional<wxString>(wxS("r.csv")));
    EXPECT_FALSE(options.json);
    // Taken, not copied: the runner's list keeps no second copy.
    for (const std::size_t k : {1, 2, 4, 5, 7})
        EXPECT_TRUE(arguments[k].empty()) << k;
    EXPECT_EQ(Problem({"info", "extra"}), "unexpected 'extra' after 'info'");
    EXPECT_EQ(Problem({"fleet"}), "fleet needs at least one DOCUMENT");
}

TEST(OptionTable, HelpListsEveryRowWithItsValueNameAndHelp)
{
    const std::string help = HelpText();
    for (const CliOption& option : CliOptions()) {
        SCOPED_TRACE(option.name);
        const std::string entry =
            std::string("\n  --") + option.name + (option.value != nullptr ? std::string(" ") + option.value : "");
        const std::size_t at = help.find(entry);
        ASSERT_NE(at, std::string::npos);
        const char next = help[at + entry.size()];
        EXPECT_TRUE(next == ' ' || next == '\n');
        // Its help follows, wrapped: the same words, spaces and line breaks aside.
        const std::size_t end = help.find("\n  -", at + entry.size());
        std::string shown;
        for (const char c : help.substr(at + entry.size(), end - at - entry.size()))
            if (c != ' ' && c != '\n')
                shown += c;
        std::string wanted;
        for (const char* c = option.help; *c != '\0'; ++c)
            if (*c != ' ')
                wanted += *c;
        EXPECT_EQ(shown, wanted);
    }
    EXPECT_NE(help.find("\n  -h, --help          show this help\n"), std::string::npos);
    EXPECT_NE(help.find("\n  --version           show the version\n"), std::string::npos);
}
