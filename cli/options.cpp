#include "cli/options.h"

#include "core/version.h"
#include "cli/command.h"

#include <wx/cmdline.h>

#include <algorithm>
#include <cstring>
#include <regex>

const std::vector<CliOption>& CliOptions()
{
    static const std::vector<CliOption> options = {
        {"json", nullptr, "print the result as one JSON object"},
        {"quiet", nullptr, "no progress line"},
        {"seconds", "S", "shorten a run to S whole seconds (speed, power, heat, record)"},
        {"threads", "N",
         "threads of the power test (default: the processors this process may use, by its affinity and its control "
         "group's CPU limit)"},
        {"htt", nullptr,
         "also find the per-core reference with half the threads (default where the cores run two threads or more)"},
        {"no-htt", nullptr, "no per-core reference run"},
        {"htt-off-result", "P", "per-core points measured with Hyper-Threading switched off"},
        {"minutes", "M", "length of the heat test (a run shortened with --seconds needs none)"},
        {"search", "TEXT", "list the stored results containing TEXT"},
        {"append", nullptr, "add the record to the results file"},
        {"results", "PATH",
         "use the results file PATH instead of the one beside the program (results, record, merge, report); fleet: "
         "write the steady hosts' records to PATH, each naming its host (a new file holds them only)"},
        {"log", "FILE", "write the heat test's readings to FILE, one CSV row a second"},
        {"plot", "FILE", "draw the finished heat view with its temperature curve into FILE as SVG"},
        {"repeat", "N",
         "run the test N times (1 to 100) and report each run, the median and the spread between runs; auto: three "
         "runs, and more while their spread exceeds 3.5 %, at most six (speed, power, record: the run nearest the "
         "median is kept, every run's summary in the document)"},
        {"strict", nullptr,
         "exit with status 3 when a run was unsteady (speed, power, record: then nothing is appended) or a line or "
         "document was refused or a transcribed document added (merge)"},
        {"save", "FILE",
         "write the result document to FILE (-: standard output, the record line then going to standard error): "
         "the record with both tests' samples, conditions and verdicts (record)"},
        {"steady-only", nullptr, "refuse result documents with an unsteady run (merge)"},
        {"host", "NAME", "the host name the result document gives, beside the machine's own (record)"},
        {"heat", "M",
         "also run the heat test for M minutes after speed and power, its evidence in the document (record; a run "
         "shortened with --seconds heats for S seconds)"},
        {"no-lock", nullptr,
         "UNSAFE: change the results file even where it cannot be locked (a network file system without locks); "
         "a change another program makes at the same time can then be lost (record, merge, fleet)"},
        {"output", "FILE", "write the report's HTML page to FILE (-: standard output) (report)"},
        {"title", "TEXT", "the report's title (default: Tarnwick report) (report)"},
    };
    return options;
}

const std::vector<CliCommand>& CliCommands()
{
    static const std::vector<CliCommand> commands = {
        {"speed", "", "the speed test: one task for 10 s", {"seconds", "repeat", "strict"}, "", "", cli::RunSpeed, true},
        {"power", "", "the power test: N threads for 10 s, with the per-core reference and the HTT efficiency",
         {"seconds", "threads", "htt", "no-htt", "htt-off-result", "repeat", "strict"}, "", "", cli::RunPower, true},
        {"heat", "", "the heat test: every processor busy for M minutes, with the temperatures and frequencies "
                     "the machine's sensors report",
         {"seconds", "minutes", "log", "plot"}, "minutes", "seconds", cli::RunHeat, true},
        {"info", "", "what CPUID reports about the processor", {}, "", "", cli::RunInfo},
        {"results", "", "the stored results, fastest first, or those containing TEXT", {"search", "results"}, "",
         "", cli::RunResults},
        {"record", "", "the speed and power tests, printed as a results-file line (stored with --append)",
         {"seconds", "threads", "htt", "no-htt", "htt-off-result", "repeat", "heat", "host", "append", "results", "save",
          "strict", "no-lock"},
         "", "", cli::RunRecord, true},
        {"merge", "FILE...",
         "adds the records of other results files and result documents (- reads standard input) that the table "
         "does not hold yet; a document is checked against its samples first",
         {"results", "steady-only", "strict", "no-lock"}, "", "", cli::RunMerge},
        {"fleet", "DOCUMENT...",
         "compares the result documents of many machines: verifies each as merge does, groups them by processor "
         "(vendor, brand, CPUID signature, logical processors) and names every host that is slow, fast, unsteady, "
         "limited, throttled, on battery, not stable under load or not sustained (exit status 5)",
         {"results", "no-lock"}, "", "", cli::RunFleet},
        {"report", "[DOCUMENT...]",
         "writes one self-contained HTML page: the ranked speed and power charts of the table's records (all of "
         "them), and with result documents the fleet's groups and flagged hosts and each document's samples, "
         "conditions, verdict and heat test; with documents, the table only when --results names one",
         {"results", "output", "title"}, "output", "", cli::RunReport},
    };
    return commands;
}

const CliOption* FindCliOption(const char* name)
{
    for (const CliOption& option : CliOptions())
        if (std::strcmp(option.name, name) == 0)
            return &option;
    return nullptr;
}

const CliCommand* FindCliCommand(const char* name)
{
    for (const CliCommand& command : CliCommands())
        if (std::strcmp(command.name, name) == 0)
            return &command;
    return nullptr;
}

const std::vector<const char*>& CliCommonOptions()
{
    static const std::vector<const char*> common = {"json", "quiet"};
    return common;
}

void DescribeCommandLine(wxCmdLineParser& parser)
{
    wxString names;
    for (const CliCommand& command : CliCommands()) {
        names << (names.empty() ? wxS("") : wxS(", ")) << command.name;
        if (*command.operands != '\0')
            names << wxS(" ") << command.operands;
    }
    parser.SetSwitchChars(wxS("-"));
    parser.EnableLongOptions();
    parser.SetLogo(wxS("tarnwick-cli " TARNWICK_VERSION " - the Tarnwick processor tests without a window\n"
                       "Commands: ") + names);
    parser.AddSwitch(wxS("h"), wxS("help"), wxS("show this help"), wxCMD_LINE_OPTION_HELP);
    parser.AddSwitch(wxEmptyString, wxS("version"), wxS("show the version"));
    for (const CliOption& option : CliOptions()) {
        if (option.value == nullptr)
            parser.AddSwitch(wxEmptyString, option.name, option.help);
        else
            parser.AddOption(wxEmptyString, option.name, option.help, wxCMD_LINE_VAL_STRING);
    }
    parser.AddParam(wxS("command"), wxCMD_LINE_VAL_STRING, wxCMD_LINE_PARAM_OPTIONAL | wxCMD_LINE_PARAM_MULTIPLE);
}

namespace {
// `text` after `indent` spaces from column `column` on, broken between
// words before column 80.
std::string Wrapped(const std::string& text, std::size_t column)
{
    std::string out, line;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find(' ', at);
        if (end == std::string::npos)
            end = text.size();
        const std::string word = text.substr(at, end - at);
        if (!line.empty() && column + line.size() + 1 + word.size() > 79) {
            out += line + "\n" + std::string(column, ' ');
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
        at = end + 1;
    }
    return out + line;
}

std::string Entry(const std::string& left, const std::string& help)
{
    constexpr std::size_t column = 22;
    std::string entry = "  " + left;
    entry += entry.size() + 1 < column ? std::string(column - entry.size(), ' ') : "\n" + std::string(column, ' ');
    return entry + Wrapped(help, column) + "\n";
}
}  // namespace

std::string HelpText()
{
    std::string text = "tarnwick-cli " TARNWICK_VERSION " - the Tarnwick processor tests without a window\n"
                       "Usage: tarnwick-cli COMMAND [OPTION...]\n";
    // A command and its operands stay on one line: joined by a mark that
    // becomes a space once the line is wrapped.
    std::string names;
    for (const CliCommand& command : CliCommands())
        names += std::string(command.name) + (*command.operands != '\0' ? std::string("\x01") + command.operands : "") +
                 (&command == &CliCommands().back() ? "" : ", ");
    std::string wrapped = Wrapped(names, 10);
    std::replace(wrapped.begin(), wrapped.end(), '\x01', ' ');
    text += "Commands: " + wrapped + "\n\n";
    for (const CliCommand& command : CliCommands())
        text += Entry(std::string(command.name) + (*command.operands != '\0' ? std::string(" ") + command.operands : ""),
                      command.summary);
    text += "\nOptions:\n";
    text += Entry("-h, --help", "show this help");
    text += Entry("--version", "show the version");
    for (const CliOption& option : CliOptions())
        text += Entry(std::string("--") + option.name + (option.value != nullptr ? std::string(" ") + option.value : ""),
                      option.help);
    return text;
}

std::string NeedsValue(const CliOption& option)
{
    return std::string("--") + option.name + " needs a value " + (option.value != nullptr ? option.value : "");
}

std::string ParserProblem(const std::string& message)
{
    std::smatch match;
    if (std::regex_match(message, match, std::regex("Option '(.+)' requires a value\\.?"))) {
        if (const CliOption* option = FindCliOption(match[1].str().c_str()))
            return NeedsValue(*option);
        return "--" + match[1].str() + " needs a value";
    }
    if (std::regex_match(message, match, std::regex("Unknown long option '(.+)'\\.?")))
        return "unknown option --" + match[1].str();
    if (std::regex_match(message, match, std::regex("Unknown option '(.+)'\\.?")))
        return "unknown option -" + match[1].str();
    if (std::regex_match(message, match, std::regex("Unexpected parameter '(.+)'\\.?")))
        return "unexpected '" + match[1].str() + "'";
    // Anything else the parser says, in the same shape: lower case, no stop.
    std::string text = message;
    while (!text.empty() && (text.back() == '.' || text.back() == '\n'))
        text.pop_back();
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z' && !(text.size() > 1 && text[1] >= 'A' && text[1] <= 'Z'))
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    return text.empty() ? std::string("bad command line") : text;
}
