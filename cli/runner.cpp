
#include "cli/runner.h"

#include "cli/command.h"
#include "cli/options.h"
#include "config/paths.h"
#include "core/notify.h"
#include "core/state.h"
#include "core/version.h"
#include "cpu/processor_globals.h"
#include "files/atomic_file.h"
#include "files/file_transaction.h"
#include "sensors/heat_readings.h"
#include "sensors/run_conditions.h"

#include <wx/buffer.h>
#include <wx/chartype.h>
#include <wx/thread.h>

#include <signal.h>

#include <cstdio>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {
namespace {
void RemoveTemporariesAndStop(int signal)
{
    RemovePendingTemporaries();
    ::raise(signal);  // delivered as the handler returns, now with its default action
}

// Reads the command line into `options`: -1 to go on, else the status to
// end with (help, version, a wrong command line). The operands are moved
// out of `arguments`, not copied: a fleet of thousands of documents is
// thousands of arguments.
int ParseCommandLine(std::vector<wxString>& arguments, Options& options)
{
    GivenCommandLine given;
    if (const wxString wrong = ReadArguments(arguments, given); !wrong.empty()) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n", Utf8(wrong).c_str());
        return UsageError;
    }
    if (given.help) {
        std::fputs(HelpText().c_str(), stdout);
        return 0;
    }
    if (given.version) {
        std::printf("tarnwick-cli " TARNWICK_VERSION "\n");
        return 0;
    }
    if (given.operands.empty()) {
        std::fprintf(stderr, "tarnwick-cli: no command given (see tarnwick-cli --help)\n");
        return UsageError;
    }
    if (const wxString problem = CheckCommandLine(given); !problem.empty()) {
        std::fprintf(stderr, "tarnwick-cli: %s (see tarnwick-cli --help)\n", Utf8(problem).c_str());
        return UsageError;
    }
    options = FillOptions(std::move(given));
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
    if (options.results)
        SetResultsFilePath(*options.results);
    return command->run(options);
}
