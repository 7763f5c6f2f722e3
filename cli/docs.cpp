// Writes the manual page tarnwick-cli(1) and the runner's bash completion
// from the runner's own tables, so that both know exactly the commands and
// options the runner takes.
//   tarnwick-cli-docs man > tarnwick-cli.1
//   tarnwick-cli-docs bash-completion > tarnwick-cli
#include "cli/options.h"
#include "core/version.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {
// Text for roff: backslashes doubled, hyphens as minus signs (so that
// options can be copied), no line starting with a control character.
std::string Roff(const char* text)
{
    std::string out;
    for (const char* c = text; *c != '\0'; ++c) {
        if (*c == '\\')
            out += "\\e";
        else if (*c == '-')
            out += "\\-";
        else
            out += *c;
        if (*c == '\n' && (c[1] == '.' || c[1] == '\''))
            out += "\\&";
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\''))
        out.insert(0, "\\&");
    return out;
}

// "\fB\-\-threads\fR \fIN\fR"
std::string Usage(const CliOption& option)
{
    std::string usage = "\\fB\\-\\-" + Roff(option.name) + "\\fR";
    if (option.value != nullptr)
        usage += " \\fI" + Roff(option.value) + "\\fR";
    return usage;
}

void ManualPage()
{
    std::printf(".TH TARNWICK\\-CLI 1 \"%s\" \"Tarnwick %s\" \"User Commands\"\n", Roff(TARNWICK_RELEASE_DATE).c_str(),
                TARNWICK_VERSION);
    std::printf(".SH NAME\ntarnwick\\-cli \\- the Tarnwick processor tests without a window\n");

    std::printf(".SH SYNOPSIS\n.ad l\n");
    for (const CliCommand& command : CliCommands()) {
        std::printf(".B tarnwick\\-cli\n.B %s\n", command.name);
        // An option needed only without another (heat's minutes, not
        // needed for a shortened run) is shown as optional.
        if (*command.required != '\0')
            std::printf(*command.unless != '\0' ? "[%s]\n" : "%s\n", Usage(*FindCliOption(command.required)).c_str());
        for (const char* name : command.options)
            if (std::strcmp(name, command.required) != 0)
                std::printf("[%s]\n", Usage(*FindCliOption(name)).c_str());
        for (const char* name : CliCommonOptions())
            std::printf("[%s]\n", Usage(*FindCliOption(name)).c_str());
        if (*command.operands != '\0')
            std::printf(".IR %s\n", Roff(command.operands).c_str());
        std::printf(".br\n");
    }
    std::printf(".B tarnwick\\-cli\n\\fB\\-\\-help\\fR | \\fB\\-\\-version\\fR\n.ad b\n");

    std::printf(".SH DESCRIPTION\n%s\n.PP\n%s\n", Roff(
        "tarnwick-cli runs the speed, power and heat tests of Tarnwick from the same code as the window, shows "
        "what CPUID reports about the processor, lists and searches the stored results, stores this machine's "
        "result and merges the results of other machines. Its scores are the window's: a run shortened with "
        "--seconds is normalised to the full test.").c_str(), Roff(
        "Without a terminal on standard error it prints no progress; a wrong command line gets one line naming "
        "the problem.").c_str());
    std::printf(".SS Starting it\n%s\n.PP\n%s\n", Roff(
        "Installed from the Debian package or with make install, run it as tarnwick-cli: a launcher runs it from "
        "your own program directory, ~/.local/share/tarnwick, whose cpu_results.csv it uses (see FILES).").c_str(),
        Roff("In a build folder of the source tree, run it there as ./tarnwick-cli (or by its path from anywhere): "
             "it uses the cpu_results.csv beside itself and the templates in doc/ beside itself.").c_str());

    std::printf(".SH COMMANDS\n");
    for (const CliCommand& command : CliCommands()) {
        std::printf(".TP\n\\fB%s\\fR", Roff(command.name).c_str());
        if (*command.operands != '\0')
            std::printf(" \\fI%s\\fR", Roff(command.operands).c_str());
        std::printf("\n%s.\n", Roff(command.summary).c_str());
        if (!command.options.empty()) {
            std::printf("Options:");
            for (const char* name : command.options)
                std::printf(" \\fB\\-\\-%s\\fR", Roff(name).c_str());
            std::printf(".\n");
        }
    }

    std::printf(".SH OPTIONS\n");
    for (const CliOption& option : CliOptions())
        std::printf(".TP\n%s\n%s.\n", Usage(option).c_str(), Roff(option.help).c_str());
    std::printf(".TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nshow the commands and options.\n");
    std::printf(".TP\n\\fB\\-\\-version\\fR\nshow the version.\n");

    std::printf(".SH EXIT STATUS\n.TP\n0\nDone (for merge: the table was written, or nothing needed writing).\n"
                ".TP\n1\n%s\n.TP\n2\nThe command line was wrong.\n.TP\n3\n%s\n.TP\n4\n%s\n.TP\n5\n%s\n",
                Roff("A file could not be read or written: one line on standard error says which and why, and the "
                     "results table is as it was.").c_str(),
                Roff("With --strict: a run was unsteady (another program was busy, the rate varied from second to "
                     "second, the processor throttled, the machine ran on battery, more threads than processors, or an "
                     "HTT run on cores of one thread each); the results are printed all the same.").c_str(),
                Roff("heat, record --heat: a processor computed a wrong result (a check failed); the summary names "
                     "it, and the log, the picture, the record and the document are written all the same.").c_str(),
                Roff("fleet: a host was flagged (slow, fast, unsteady, limited, throttled, on battery, not stable "
                     "under load or not sustained) or a document was refused; the comparison is printed, and the "
                     "table --results names is written, all the same.").c_str());

    std::printf(".SH ENVIRONMENT\n.TP\n.B TARNWICK_SENSOR_ROOT\n%s\n",
                Roff("A directory that holds another /sys and /proc (a host's, mounted into a container): the heat "
                     "test reads its temperatures and frequencies there instead of under /, and every test the "
                     "conditions of its run (other programs' processor time, governors, throttle counters, power "
                     "supply, topology, the process's affinity and control group, machine-id).").c_str());
    std::printf(".TP\n.B TARNWICK_HEAT_FAULT\n%s\n",
                Roff("PROCESSOR:SECONDS, for testing the heat test's checks: from SECONDS after the start on, the "
                     "checks of processor PROCESSOR (as the heat test numbers it) expect a deliberately wrong value, "
                     "so the errors, the log, the picture and exit status 4 appear as on a failing machine. A value "
                     "that is not two whole numbers is refused with status 1.").c_str());

    std::printf(".SH FILES\n");
    const char* files[][2] = {
        {"cpu_results.csv", "the results table, beside the program (or the file --results names)"},
        {"cpu_result.bak", "the table as it was before the last change, beside the table; another table's backup "
                           "is named after it (lab.csv.bak)"},
        {"doc/cpu_results_original.csv", "the template a missing table is made from"},
        {"~/.local/share/tarnwick", "an installed Tarnwick's program directory of the user, made by the launcher"},
    };
    for (const auto& file : files)
        std::printf(".TP\n.I %s\n%s.\n", Roff(file[0]).c_str(), Roff(file[1]).c_str());

    std::printf(".SH EXAMPLES\n");
    const char* examples[][2] = {
        {"tarnwick-cli power --threads 8 --no-htt", "the power test with 8 threads and no per-core run"},
        {"tarnwick-cli speed --seconds 2 --json", "a shortened speed test as one JSON object"},
        {"tarnwick-cli record --append --results /mnt/lab/cpu_results.csv",
         "measures this machine and stores it in a lab's shared table"},
        {"ssh lab-7 cat .local/share/tarnwick/cpu_results.csv | tarnwick-cli merge -",
         "adds another machine's results to the table"},
        {"tarnwick-cli results --search ryzen", "the stored results that mention Ryzen"},
        {"tarnwick-cli speed --repeat auto --strict",
         "speed tests until three or more agree within 3.5 %; status 3 when a run was disturbed"},
        {"tarnwick-cli record --save lab-7.json", "measures this machine and keeps the result with its evidence"},
        {"tarnwick-cli merge --steady-only *.json",
         "adds the result documents whose samples check out and whose runs were steady"},
        {"tarnwick-cli record --quiet --host web-01 --heat 10 --save web-01.json",
         "measures this host, then a 10-minute heat test, and keeps the result under the host's inventory name"},
        {"tarnwick-cli fleet lab/*.json --results lab/fleet.csv",
         "compares many hosts' documents by processor, names the hosts that are off (status 5) and writes the "
         "steady hosts' records"},
        {"tarnwick-cli report --title \"Lab 7\" --output lab/report.html lab/*.json",
         "one self-contained HTML page of the hosts' charts, the fleet and each document's evidence, to open in a "
         "browser or print"},
    };
    for (const auto& example : examples)
        // A text line, not .B: the quotes of an example are its own, and .B
        // would take them for its arguments' quotes.
        std::printf(".TP\n\\fB%s\\fR\n%s.\n", Roff(example[0]).c_str(), Roff(example[1]).c_str());

    std::printf(".SH SEE ALSO\n.BR tarnwick (1)\n");
}

// Whether an option's value is a file name: the shell offers files for it.
bool TakesFile(const CliOption& option)
{
    return option.value != nullptr && (std::strcmp(option.value, "PATH") == 0 || std::strcmp(option.value, "FILE") == 0);
}

void BashCompletion()
{
    std::string valued, files;
    for (const CliOption& option : CliOptions()) {
        if (option.value == nullptr)
            continue;
        valued += valued.empty() ? "--" : "|--";
        valued += option.name;
        if (TakesFile(option)) {
            files += files.empty() ? "--" : "|--";
            files += option.name;
        }
    }
    std::string commands;
    for (const CliCommand& command : CliCommands()) {
        commands += commands.empty() ? "" : " ";
        commands += command.name;
    }

    std::printf("# bash completion for tarnwick-cli, made from its own option table\n"
                "_tarnwick_cli()\n"
                "{\n"
                "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
                "    # --option=value: the shell splits it at \"=\"\n"
                "    if [ \"$cur\" = \"=\" ]; then\n"
                "        prev=${COMP_WORDS[COMP_CWORD-1]}\n"
                "        cur=\n"
                "    elif [ \"$prev\" = \"=\" ]; then\n"
                "        prev=${COMP_WORDS[COMP_CWORD-2]}\n"
                "    fi\n"
                "    # The command: the first word that is neither an option nor an option's value.\n"
                "    local command= i=1\n"
                "    while [ $i -lt $COMP_CWORD ]; do\n"
                "        case ${COMP_WORDS[i]} in\n"
                "            %s) i=$((i + 1)); [ \"${COMP_WORDS[i]}\" = \"=\" ] && i=$((i + 1)) ;;\n"
                "            -*|=) ;;\n"
                "            *) command=${COMP_WORDS[i]}; break ;;\n"
                "        esac\n"
                "        i=$((i + 1))\n"
                "    done\n"
                "    case $prev in\n"
                "        %s) mapfile -t COMPREPLY < <(compgen -f -- \"$cur\"); return ;;\n"
                "        %s) COMPREPLY=(); return ;;\n"
                "    esac\n"
                "    local options\n"
                "    case $command in\n"
                "        \"\") mapfile -t COMPREPLY < <(compgen -W \"%s --help --version\" -- \"$cur\"); return ;;\n",
                valued.c_str(), files.empty() ? "--no-file-option" : files.c_str(), valued.c_str(), commands.c_str());
    for (const CliCommand& command : CliCommands()) {
        std::string options;
        for (const char* name : command.options)
            options += (options.empty() ? "--" : " --") + std::string(name);
        for (const char* name : CliCommonOptions())
            options += (options.empty() ? "--" : " --") + std::string(name);
        std::printf("        %s) options=\"%s\" ;;\n", command.name, options.c_str());
    }
    std::printf("        *) return ;;\n"
                "    esac\n");
    for (const CliCommand& command : CliCommands())
        if (*command.operands != '\0')
            std::printf("    # Its operands are files, and - for standard input.\n"
                        "    if [ \"$command\" = %s ] && [ \"${cur#-}\" = \"$cur\" ]; then\n"
                        "        mapfile -t COMPREPLY < <(compgen -f -- \"$cur\"; [ -z \"$cur\" ] && echo -)\n"
                        "        return\n"
                        "    fi\n",
                        command.name);
    std::printf("    # Nothing else takes a word that is no option.\n"
                "    [ -n \"$cur\" ] && [ \"${cur#-}\" = \"$cur\" ] && return\n"
                "    mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$cur\")\n"
                "}\n"
                "complete -o filenames -F _tarnwick_cli tarnwick-cli\n");
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "man") == 0) {
        ManualPage();
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "bash-completion") == 0) {
        BashCompletion();
        return 0;
    }
    std::fprintf(stderr, "usage: tarnwick-cli-docs man|bash-completion\n");
    return 2;
}
