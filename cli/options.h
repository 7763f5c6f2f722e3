// What tarnwick-cli takes on its command line: one table of options and one
// of commands, from which the parser, the checks, --help, the manual page and
// the completion are all made.
#pragma once

#include <wx/string.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>
// Used by std::vector's own members, not here:
// IWYU pragma: no_include <algorithm>

namespace cli {
/// --repeat: a number of runs, or auto (three, and more while they differ).
struct Repeat {
    bool automatic = false;
    long runs = 0;  ///< when not automatic
};

/// What the command line asks for; an option not given is empty.
struct Options {
    wxString command;
    std::vector<wxString> files;  ///< the operands after the command; "-" is standard input
    bool json = false;
    bool quiet = false;
    std::optional<long> seconds;       ///< --seconds: a shortened run
    std::optional<long> threads;       ///< --threads: threads of the power test
    bool htt = false;                  ///< --htt: the per-core reference run
    bool noHtt = false;                ///< --no-htt: no per-core reference run
    std::optional<long> httOffResult;  ///< --htt-off-result: per-core points measured without HTT
    std::optional<long> minutes;       ///< --minutes: the heat test's length
    std::optional<wxString> search;    ///< --search: the text the stored results must contain
    bool append = false;               ///< --append: the record goes into the results file
    std::optional<wxString> results;   ///< --results: another results file
    std::optional<wxString> log;       ///< --log: the heat test's readings, one CSV row a second
    std::optional<wxString> plot;      ///< --plot: the heat view with its readings, as SVG
    std::optional<Repeat> repeat;      ///< --repeat
    bool strict = false;               ///< --strict: exit 3 on an unsteady run
    std::optional<wxString> save;      ///< --save: the result document
    bool steadyOnly = false;           ///< --steady-only: merge refuses unsteady documents
    std::optional<std::string> host;   ///< --host: the host name a document gives (UTF-8)
    std::optional<long> heatMinutes;   ///< --heat: minutes of the heat test after record's tests
    bool noLock = false;               ///< --no-lock: change the table even where it cannot be locked
    std::optional<wxString> output;    ///< --output: the report's page
    std::optional<std::string> title;  ///< --title: the report's title (UTF-8)
};
}  // namespace cli

/// An option: its long name, the name of its value (null for a switch), what
/// it does, how its value is read and checked, and where it goes.
struct CliOption {
    enum class Kind {
        Switch,       ///< no value
        WholeNumber,  ///< from `minimum` to `maximum`
        Runs,         ///< a whole number from `minimum` to `maximum`, or `word`
        FileName,     ///< a file's name, its bytes as given; not empty
        Text,         ///< text as typed; may be empty
        Name,         ///< text as typed, in UTF-8; not empty, and as `check` wants it
    };
    using Target = std::variant<bool cli::Options::*, std::optional<long> cli::Options::*,
                                std::optional<cli::Repeat> cli::Options::*, std::optional<wxString> cli::Options::*,
                                std::optional<std::string> cli::Options::*>;

    const char* name;
    const char* value;
    const char* help;
    Kind kind;
    Target target;
    long minimum = 0;
    long maximum = 0;
    const char* word = nullptr;
    const char* excludes = nullptr;  ///< a switch that cannot be given with this one
    /// Name: why a value is refused, said after "--NAME VALUE ", or "".
    std::string (*check)(const std::string& text) = nullptr;
};

/// A command: its name, the operands after it, what it does, the options it
/// takes and the one of them it needs.
struct CliCommand {
    const char* name;
    const char* operands;  ///< "" or, for merge, "FILE..."
    const char* summary;
    std::vector<const char*> options;
    const char* required;  ///< an option the command cannot do without, or ""
    const char* unless;    ///< an option that makes `required` unneeded, or ""
    int (*run)(const cli::Options& options);  ///< the command's handler (command.h)
    bool measures = false;                     ///< runs tests, reading the machine's sensors and conditions
};

/// Every option but --help and --version, in the order --help lists them.
const std::vector<CliOption>& CliOptions();

/// Every command, in the order --help names them.
const std::vector<CliCommand>& CliCommands();

/// The option named `name`, or null.
const CliOption* FindCliOption(const char* name);

/// The command named `name`, or null.
const CliCommand* FindCliCommand(const char* name);

/// Options that go with every command.
const std::vector<const char*>& CliCommonOptions();

/// A command line as read against the option table, before it is checked.
struct GivenCommandLine {
    bool help = false;                             ///< -h or --help came before anything wrong
    bool version = false;                          ///< --version
    std::vector<wxString> operands;                ///< the command first
    std::vector<std::optional<wxString>> values;   ///< by row of CliOptions(): the value given last ("" for a switch)
};

/// Reads `arguments` (the program's name first) against the option table
/// into `given`, moving the operands out of `arguments`. Returns what is
/// wrong with them in the runner's words, or "". Reading stops at the first
/// problem or at -h/--help.
wxString ReadArguments(std::vector<wxString>& arguments, GivenCommandLine& given);

/// Checks a command line that was read (a command given) against the
/// command table and each option's row: what is wrong, or "".
wxString CheckCommandLine(const GivenCommandLine& given);

/// The options of a checked command line, each value where its row puts it.
cli::Options FillOptions(GivenCommandLine&& given);

/// What --help prints: the commands and every option with the name of its
/// value (the same names as the manual page and the descriptions use),
/// wrapped to 80 columns.
std::string HelpText();
