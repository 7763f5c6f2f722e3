#include "cli/options.h"

#include "app/version.h"

#include <wx/cmdline.h>

#include <cstring>

const std::vector<CliOption>& CliOptions()
{
    static const std::vector<CliOption> options = {
        {"json", nullptr, false, "print the result as one JSON object"},
        {"quiet", nullptr, false, "no progress line"},
        {"seconds", "S", true, "shorten a run to S whole seconds (speed, power, heat, record)"},
        {"threads", "N", true, "threads of the power test (default: the processors)"},
        {"htt", nullptr, false, "also find the per-core reference with half the threads"},
        {"no-htt", nullptr, false, "no per-core reference run"},
        {"htt-off-result", "P", true, "per-core points measured with Hyper-Threading switched off"},
        {"minutes", "M", true, "length of the heat test (a run shortened with --seconds needs none)"},
        {"search", "TEXT", false, "list the stored results containing TEXT"},
        {"append", nullptr, false, "add the record to the results file"},
        {"results", "PATH", false,
         "use the results file PATH instead of the one beside the program (results, record, merge)"},
        {"log", "FILE", false, "write the heat test's readings to FILE, one CSV row a second"},
        {"plot", "FILE", false, "draw the finished heat view with its temperature curve into FILE as SVG"},
        {"repeat", "N", false,
         "run the test N times (1 to 100) and report each run, the median and the spread between runs; auto: three "
         "runs, and more while their spread exceeds 3.5 %, at most six (speed, power)"},
        {"strict", nullptr, false,
         "exit with status 3 when a run was unsteady (speed, power, record) or a line or document was refused "
         "(merge)"},
        {"save", "FILE", false,
         "write the result document to FILE: the record with both tests' samples, conditions and verdicts (record)"},
        {"steady-only", nullptr, false, "refuse result documents with an unsteady run (merge)"},
        {"no-lock", nullptr, false,
         "UNSAFE: change the results file even where it cannot be locked (a network file system without locks); "
         "a change another program makes at the same time can then be lost (record, merge)"},
    };
    return options;
}

const std::vector<CliCommand>& CliCommands()
{
    static const std::vector<CliCommand> commands = {
        {"speed", "", "the speed test: one task for 10 s", {"seconds", "repeat", "strict"}, ""},
        {"power", "", "the power test: N threads for 10 s, with the per-core reference and the HTT efficiency",
         {"seconds", "threads", "htt", "no-htt", "htt-off-result", "repeat", "strict"}, ""},
        {"heat", "", "the heat test: every processor busy for M minutes, with the temperatures and frequencies "
                     "the machine's sensors report",
         {"seconds", "minutes", "log", "plot"}, "minutes", "seconds"},
        {"info", "", "what CPUID reports about the processor", {}, ""},
        {"results", "", "the stored results, fastest first, or those containing TEXT", {"search", "results"}, ""},
        {"record", "", "the speed and power tests, printed as a results-file line (stored with --append)",
         {"seconds", "threads", "htt", "no-htt", "htt-off-result", "append", "results", "save", "strict", "no-lock"},
         ""},
        {"merge", "FILE...",
         "adds the records of other results files and result documents (- reads standard input) that the table "
         "does not hold yet; a document is checked against its samples first",
         {"results", "steady-only", "strict", "no-lock"}, ""},
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
            parser.AddOption(wxEmptyString, option.name, option.help,
                             option.number ? wxCMD_LINE_VAL_NUMBER : wxCMD_LINE_VAL_STRING);
    }
    parser.AddParam(wxS("command"), wxCMD_LINE_VAL_STRING, wxCMD_LINE_PARAM_OPTIONAL | wxCMD_LINE_PARAM_MULTIPLE);
}
