// What tarnwick-cli takes on its command line: one table, from which the
// parser, --help, the check of each command's options and the manual page
// are all made.
#pragma once

#include <string>
#include <vector>

class wxCmdLineParser;

namespace cli {
struct Options;
}

/// An option: its long name, the name of its value (null for a switch) and
/// what it does.
struct CliOption {
    const char* name;
    const char* value;
    const char* help;
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

/// Sets `parser` up from the tables. Every value is taken as text: the
/// runner checks numbers itself, so that each message is in its words.
void DescribeCommandLine(wxCmdLineParser& parser);

/// What --help prints: the commands and every option with the name of its
/// value (the same names as the manual page and the descriptions use),
/// wrapped to 80 columns.
std::string HelpText();

/// A message of the parser ("Option 'seconds' requires a value.") in the
/// runner's words ("--seconds needs a value S").
std::string ParserProblem(const std::string& message);

/// "--NAME needs a value VALUE", for an option given without one.
std::string NeedsValue(const CliOption& option);
