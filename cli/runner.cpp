
#include "cli/runner.h"
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"

#include "core/notify.h"
#include "core/numbers.h"
#include "cpu/processor_globals.h"
#include "core/state.h"
#include "core/version.h"
#include "bench/evidence.h"
#include "bench/heat.h"
#include "bench/heat_work.h"
#include "bench/power.h"
#include "bench/speed.h"
#include "bench/work_cycle.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/encoding.h"
#include "files/file_transaction.h"
#include "files/path_text.h"
#include "results/last_test.h"
#include "results/merge.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "results/search.h"
#include "sensors/heat_readings.h"
#include "sensors/run_conditions.h"
#include "views/heat_view.h"
#include "views/svg.h"

#include <wx/cmdline.h>
#include <wx/log.h>
#include <wx/msgout.h>
#include <wx/thread.h>
#include <wx/utils.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <cstring>
#include <cstdio>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace cli {
namespace {
// Collects what the command-line parser reports, to print it on one line.
class CollectOutput : public wxMessageOutput {
public:
    wxString first;

    void Output(const wxString& text) override
    {
        if (first.empty())
            first = wxString(text).Trim().Trim(false);
    }
};


void RemoveTemporariesAndStop(int signal)
{
    RemovePendingTemporaries();
    ::raise(signal);  // delivered as the handler returns, now with its default action
}

// The longest title a report takes.
constexpr std::size_t MaxTitleBytes = 1000;

// Checks the options against the command; an empty text when they fit.
wxString Problem(const wxCmdLineParser& parser, Options& options)
{
    const CliCommand* command = FindCliCommand(options.command.utf8_str());
    if (command == nullptr)
        return wxString::Format(wxS("unknown command '%s'"), options.command);
    const auto takes = [](const std::vector<const char*>& names, const char* name) {
        return std::any_of(names.begin(), names.end(), [name](const char* n) { return std::strcmp(n, name) == 0; });
    };
    for (const CliOption& option : CliOptions())
        if (parser.Found(option.name) && !takes(command->options, option.name) &&
            !takes(CliCommonOptions(), option.name))
            return wxString::Format(wxS("--%s does not go with '%s'"), option.name, options.command);
    // Whole numbers are read here, not by the parser: one message for a
    // value that is no number and one that is out of range.
    const auto number = [&](const wxString& name, long minimum, long maximum, long& value) -> wxString {
        wxString text;
        if (!parser.Found(name, &text))
            return wxString();
        if (text.empty())
            return wxString::FromUTF8(NeedsValue(*FindCliOption(name.utf8_str())));
        long read = 0;
        const bool digits = text.find_first_not_of(wxS("+-0123456789")) == wxString::npos;
        if (!digits || !text.ToLong(&read) || read < minimum || read > maximum)
            return wxString::Format(wxS("--%s must be a whole number from %ld to %ld"), name, minimum, maximum);
        value = read;
        return wxString();
    };
    for (const wxString& problem :
         {number(wxS("seconds"), 1, 35791 * 60, options.seconds), number(wxS("threads"), 1, 100000, options.threads),
          number(wxS("htt-off-result"), 0, std::numeric_limits<std::int32_t>::max(), options.httOffResult),
          number(wxS("minutes"), 0, 35791, options.minutes), number(wxS("heat"), 0, 35791, options.heatMinutes)})
        if (!problem.empty())
            return problem;
    if (parser.Found(wxS("htt")) && parser.Found(wxS("no-htt")))
        return wxS("--htt and --no-htt exclude each other");
    if (parser.Found(wxS("htt")))
        options.htt = 1;
    if (parser.Found(wxS("no-htt")))
        options.htt = 0;
    if (*command->required != '\0' && !parser.Found(command->required) &&
        !(*command->unless != '\0' && parser.Found(command->unless))) {
        const CliOption* needed = FindCliOption(command->required);
        return wxString::Format(wxS("%s needs --%s %s"), command->name, command->required,
                                needed != nullptr && needed->value != nullptr ? needed->value : "");
    }
    for (std::size_t k = 1; k < parser.GetParamCount(); ++k)
        options.files.push_back(parser.GetParam(k));
    const bool operandsOptional = *command->operands == '[';
    if (*command->operands != '\0' && !operandsOptional && options.files.empty())
        return std::strcmp(command->operands, "FILE...") == 0
                   ? wxString::Format(wxS("%s needs at least one FILE (- reads standard input)"), command->name)
                   : wxString::Format(wxS("%s needs at least one %s"), command->name,
                                      wxString(command->operands).BeforeFirst('.'));
    if (*command->operands == '\0' && !options.files.empty())
        return wxString::Format(wxS("unexpected '%s' after '%s'"), options.files.front(), options.command);
    for (auto [name, value] : {std::pair{"results", &options.results}, {"log", &options.log}, {"plot", &options.plot},
                               {"output", &options.output}})
        if (parser.Found(name, value) && value->empty())
            return wxString::FromUTF8(NeedsValue(*FindCliOption(name)));
    if (wxString host; parser.Found(wxS("host"), &host)) {
        if (host.empty())
            return wxString::FromUTF8(NeedsValue(*FindCliOption("host")));
        options.host = PathToBytes(ArgumentText(host));
        // The name as typed, when it is text; else as its bytes read as Latin-1.
        if (!IsStrictUtf8(reinterpret_cast<const unsigned char*>(options.host.data()), options.host.size()))
            options.host = wxString::From8BitData(options.host.data(), options.host.size()).utf8_string();
        if (const std::string why = HostNameProblem(options.host); !why.empty())
            return wxS("--host NAME is no host name: ") + wxString::FromUTF8(why);
    }
    if (wxString title; parser.Found(wxS("title"), &title)) {
        if (title.empty())
            return wxString::FromUTF8(NeedsValue(*FindCliOption("title")));
        options.title = PathToBytes(ArgumentText(title));
        if (!IsStrictUtf8(reinterpret_cast<const unsigned char*>(options.title.data()), options.title.size()))
            options.title = wxString::From8BitData(options.title.data(), options.title.size()).utf8_string();
        if (options.title.size() > MaxTitleBytes)
            return wxString::Format(wxS("--title TEXT is longer than %zu bytes"), MaxTitleBytes);
        if (const std::string refused = RefusedCharacterIn(std::string_view(options.title)); !refused.empty())
            return wxS("--title TEXT holds ") + wxString::FromUTF8(refused);
    }
    options.searching = parser.Found(wxS("search"), &options.search);
    options.search = ArgumentText(options.search);
    options.noLock = parser.Found(wxS("no-lock"));
    options.strict = parser.Found(wxS("strict"));
    options.steadyOnly = parser.Found(wxS("steady-only"));
    if (parser.Found(wxS("save"), &options.save) && options.save.empty())
        return wxString::FromUTF8(NeedsValue(*FindCliOption("save")));
    wxString repeat;
    if (parser.Found(wxS("repeat"), &repeat)) {
        long runs = 0;
        if (repeat == wxS("auto"))
            options.repeat = RepeatAuto;
        else if (repeat.ToLong(&runs) && runs >= 1 && runs <= 100)
            options.repeat = static_cast<int>(runs);
        else
            return wxS("--repeat must be a whole number from 1 to 100, or auto");
    }
    options.append = parser.Found(wxS("append"));
    options.json = parser.Found(wxS("json"));
    options.quiet = parser.Found(wxS("quiet"));
    return wxString();
}
}  // namespace
}  // namespace cli

namespace cli {
namespace {
// Reads the command line into `options`: -1 to go on, else the status to
// end with (help, version, a wrong command line). The parser and its copies
// of the arguments are gone before the command runs: a fleet of thousands
// of documents is thousands of arguments.
int ParseCommandLine(const std::vector<wxString>& arguments, Options& options)
{
    // The operands after the command are set aside before the parser sees
    // them: it holds several copies of every argument. An option's value
    // stays with its option; a command line with "--" anywhere is left to
    // the parser whole.
    std::vector<const wxString*> given;
    const bool ended = std::find(arguments.begin(), arguments.end(), wxS("--")) != arguments.end();
    bool command = false;
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        const wxString& argument = arguments[k];
        const bool operand = k > 0 && (argument == wxS("-") || !argument.StartsWith(wxS("-")));
        if (!operand || ended || !command) {
            command = command || (k > 0 && operand);
            given.push_back(&argument);
            const CliOption* option =
                argument.StartsWith(wxS("--")) && !argument.Contains(wxS("="))
                    ? FindCliOption(argument.Mid(2).utf8_string().c_str())
                    : nullptr;
            if (option != nullptr && option->value != nullptr && k + 1 < arguments.size())
                given.push_back(&arguments[++k]);
            continue;
        }
        options.files.push_back(argument);
    }
    std::vector<std::wstring> texts;
    std::vector<wchar_t*> argv;
    for (const wxString* argument : given)
        texts.push_back(argument->ToStdWstring());
    for (std::wstring& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    wxCmdLineParser parser(int(texts.size()), argv.data());
    DescribeCommandLine(parser);
    auto* collected = new CollectOutput;
    wxMessageOutput* previous = wxMessageOutput::Set(collected);
    const int parsed = parser.Parse(false);
    wxMessageOutput::Set(previous);
    const wxString parseError = collected->first;
    delete collected;

    if (parsed == -1) {
        std::fputs(HelpText().c_str(), stdout);
        return 0;
    }
    if (parsed != 0) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n",
                     ParserProblem(Utf8(parseError)).c_str());
        return UsageError;
    }
    if (parser.Found(wxS("version"))) {
        std::printf("tarnwick-cli " TARNWICK_VERSION "\n");
        return 0;
    }
    if (parser.GetParamCount() == 0) {
        std::fprintf(stderr, "tarnwick-cli: no command given (see tarnwick-cli --help)\n");
        return UsageError;
    }
    options.command = parser.GetParam(0);
    const wxString problem = Problem(parser, options);
    if (!problem.empty()) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n", Utf8(problem).c_str());
        return UsageError;
    }
    return -1;
}
}  // namespace
}  // namespace cli

int RunCommandLine(std::vector<wxString> arguments)
{
    using namespace cli;
    Options options;
    if (const int status = ParseCommandLine(arguments, options); status >= 0)
        return status;
    // The options hold what the command needs.
    std::vector<wxString>().swap(arguments);

    // Interrupted, it leaves no temporary file of an output behind.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {}, old {};
        action.sa_handler = RemoveTemporariesAndStop;
        action.sa_flags = SA_RESETHAND;
        sigemptyset(&action.sa_mask);
        if (::sigaction(signal, nullptr, &old) == 0 && old.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
    // A reader that goes away (a FIFO, a pipe) makes a write fail, which
    // is said, rather than end the program before it has printed its result.
    ::signal(SIGPIPE, SIG_IGN);
    SetFileNoticeSink([](const wxString& text) { std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(text).c_str()); });
    const CliCommand* command = FindCliCommand(options.command.utf8_str());
    if (command->measures)
        if (const std::string why = SensorRootProblem(); !why.empty())
            std::fprintf(stderr, "tarnwick-cli: TARNWICK_SENSOR_ROOT %s cannot be read (%s): no sensor or run "
                                 "condition can be read, so no speed or power run is judged steady\n",
                         SensorRoot.c_str(), why.c_str());
    SetNotifier([](const wxString& text, const wxString&) {
        // The window's words name the usual file; a script may have named
        // another with --results, so the runner names the file it made.
        if (text == wxS("cpu_results.csv was created from original template!"))
            std::fprintf(stderr, "tarnwick-cli: %s was created from the template %s\n",
                         Utf8(ResultsFilePath).c_str(), Utf8(ResultsTemplatePath).c_str());
        else
            std::fprintf(stderr, "tarnwick-cli: %s\n", Utf8(text).c_str());
    });
    AllowChangesWithoutLock(options.noLock);
    InitProcessorGlobals(wxThread::GetCPUCount());
    // The defaults of the commands that measure follow the machine as it is:
    // the processors this process may use (a container, taskset), and an
    // HTT run only where the cores run more than one thread (virtual
    // machines set CPUID's HTT bit on cores of one). Others read nothing.
    if (command->measures) {
        ThreadCount = UsableProcessors(ReadProcessLimits(SensorRoot), CpuCount);
        HttOption = ReadMachineTopology(SensorRoot).threadsPerCore > 1 ? 1 : 0;
    }
    if (!options.results.empty())
        SetResultsFilePath(options.results);
    return command->run(options);
}
