#include "cli/options.h"

#include "cli/command.h"
#include "core/version.h"
#include "files/encoding.h"
#include "files/path_text.h"
#include "results/result_document.h"

#include <wx/buffer.h>
#include <wx/chartype.h>
#include <wx/unichar.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

using cli::Options;

namespace {
// The longest title a report takes.
constexpr std::size_t MaxTitleBytes = 1000;

CliOption Switch(const char* name, const char* help, bool Options::*to, const char* excludes = nullptr)
{
    CliOption option{name, nullptr, help, CliOption::Kind::Switch, to};
    option.excludes = excludes;
    return option;
}

CliOption WholeNumber(const char* name, const char* value, const char* help, long minimum, long maximum,
                      std::optional<long> Options::*to)
{
    CliOption option{name, value, help, CliOption::Kind::WholeNumber, to};
    option.minimum = minimum;
    option.maximum = maximum;
    return option;
}

CliOption Runs(const char* name, const char* value, const char* help, long minimum, long maximum, const char* word,
               std::optional<cli::Repeat> Options::*to)
{
    CliOption option{name, value, help, CliOption::Kind::Runs, to};
    option.minimum = minimum;
    option.maximum = maximum;
    option.word = word;
    return option;
}

CliOption FileName(const char* name, const char* value, const char* help, std::optional<wxString> Options::*to)
{
    return {name, value, help, CliOption::Kind::FileName, to};
}

CliOption Text(const char* name, const char* value, const char* help, std::optional<wxString> Options::*to)
{
    return {name, value, help, CliOption::Kind::Text, to};
}

CliOption Name(const char* name, const char* value, const char* help, std::optional<std::string> Options::*to,
               std::string (*check)(const std::string& text))
{
    CliOption option{name, value, help, CliOption::Kind::Name, to};
    option.check = check;
    return option;
}

std::string HostProblem(const std::string& host)
{
    const std::string why = HostNameProblem(host);
    return why.empty() ? std::string() : "is no host name: " + why;
}

std::string TitleProblem(const std::string& title)
{
    if (title.size() > MaxTitleBytes)
        return "is longer than " + std::to_string(MaxTitleBytes) + " bytes";
    if (const std::string refused = RefusedCharacterIn(std::string_view(title)); !refused.empty())
        return "holds " + refused;
    return std::string();
}
}  // namespace

const std::vector<CliOption>& CliOptions()
{
    static const std::vector<CliOption> options = {
        Switch("json", "print the result as one JSON object", &Options::json),
        Switch("quiet", "no progress line", &Options::quiet),
        WholeNumber("seconds", "S", "shorten a run to S whole seconds (speed, power, heat, record)", 1, 35791 * 60,
                    &Options::seconds),
        WholeNumber("threads", "N",
                    "threads of the power test (default: the processors this process may use, by its affinity and "
                    "its control group's CPU limit)",
                    1, 100000, &Options::threads),
        Switch("htt",
               "also find the per-core reference with half the threads (default where the cores run two threads or "
               "more)",
               &Options::htt, "no-htt"),
        Switch("no-htt", "no per-core reference run", &Options::noHtt, "htt"),
        WholeNumber("htt-off-result", "P", "per-core points measured with Hyper-Threading switched off", 0,
                    std::numeric_limits<std::int32_t>::max(), &Options::httOffResult),
        WholeNumber("minutes", "M", "length of the heat test (a run shortened with --seconds needs none)", 0, 35791,
                    &Options::minutes),
        Text("search", "TEXT", "list the stored results containing TEXT", &Options::search),
        Switch("append", "add the record to the results file", &Options::append),
        FileName("results", "PATH",
                 "use the results file PATH instead of the one beside the program (results, record, merge, report); "
                 "fleet: write the steady hosts' records to PATH, each naming its host (a new file holds them only)",
                 &Options::results),
        FileName("log", "FILE", "write the heat test's readings to FILE, one CSV row a second", &Options::log),
        FileName("plot", "FILE", "draw the finished heat view with its temperature curve into FILE as SVG",
                 &Options::plot),
        Runs("repeat", "N",
             "run the test N times (1 to 100) and report each run, the median and the spread between runs; auto: "
             "three runs, and more while their spread exceeds 3.5 %, at most six (speed, power, record: the run "
             "nearest the median is kept, every run's summary in the document)",
             1, 100, "auto", &Options::repeat),
        Switch("strict",
               "exit with status 3 when a run was unsteady (speed, power, record: then nothing is appended) or a line "
               "or document was refused or a transcribed document added (merge)",
               &Options::strict),
        FileName("save", "FILE",
                 "write the result document to FILE (-: standard output, the record line then going to standard "
                 "error): the record with both tests' samples, conditions and verdicts (record)",
                 &Options::save),
        Switch("steady-only", "refuse result documents with an unsteady run (merge)", &Options::steadyOnly),
        Name("host", "NAME", "the host name the result document gives, beside the machine's own (record)",
             &Options::host, HostProblem),
        WholeNumber("heat", "M",
                    "also run the heat test for M minutes after speed and power, its evidence in the document "
                    "(record; a run shortened with --seconds heats for S seconds)",
                    0, 35791, &Options::heatMinutes),
        Switch("no-lock",
               "UNSAFE: change the results file even where it cannot be locked (a network file system without "
               "locks); a change another program makes at the same time can then be lost (record, merge, fleet)",
               &Options::noLock),
        FileName("output", "FILE", "write the report's HTML page to FILE (-: standard output) (report)",
                 &Options::output),
        Name("title", "TEXT", "the report's title (default: Tarnwick report) (report)", &Options::title,
             TitleProblem),
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


namespace {
// A long option's name: letters, digits, '-' and '_'. A short one's:
// letters, digits, '_' and '?'.
bool InLongName(wxUniChar c)
{
    return c.IsAscii() && (std::isalnum(static_cast<unsigned char>(c.GetValue())) != 0 || c == '-' || c == '_');
}

bool InShortName(wxUniChar c)
{
    return c.IsAscii() && (std::isalnum(static_cast<unsigned char>(c.GetValue())) != 0 || c == '_' || c == '?');
}

// The run of name characters at the start of `text`, and what follows it.
std::pair<std::string, wxString> SplitName(const wxString& text, bool (*inName)(wxUniChar))
{
    std::size_t end = 0;
    while (end < text.length() && inName(text[end]))
        ++end;
    return {text.Left(end).ToStdString(), text.Mid(end)};
}

wxString NeedsValue(const CliOption& option)
{
    return wxString::Format(wxS("--%s needs a value %s"), option.name, option.value != nullptr ? option.value : "");
}

wxString Unexpected(const std::string& name)
{
    return wxString::Format(wxS("unexpected characters following option '%s'"), name);
}

std::size_t Row(const CliOption& option)
{
    return std::size_t(&option - CliOptions().data());
}

// "--NAME", "--NAME=VALUE" or "--NAME VALUE" (the next argument): "" when
// read.
wxString ReadLongOption(std::vector<wxString>& arguments, std::size_t& k, GivenCommandLine& given)
{
    auto [name, rest] = SplitName(arguments[k].Mid(2), InLongName);
    // A name that ends in '-' asks for the option to be switched off, which
    // none can be.
    const bool negated = !name.empty() && name.back() == '-';
    if (negated)
        name.pop_back();
    if (name.empty())
        return wxS("unknown long option ''");
    const CliOption* option = FindCliOption(name.c_str());
    if (option == nullptr && name != "help" && name != "version")
        return wxS("unknown option --") + wxString(name);
    if (negated)
        return wxString::Format(wxS("option '%s' can't be negated"), name);
    if (option == nullptr || option->value == nullptr) {
        if (!rest.empty())
            return Unexpected(name);
        if (option != nullptr)
            given.values[Row(*option)] = wxString();
        else if (name == "help")
            given.help = true;
        else
            given.version = true;
        return wxString();
    }
    wxString value;
    if (rest.empty()) {
        if (k + 1 == arguments.size())
            return NeedsValue(*option);
        value.swap(arguments[++k]);
    } else {
        value = rest[0] == '=' || rest[0] == ':' ? rest.Mid(1) : rest;
    }
    given.values[Row(*option)] = std::move(value);
    return wxString();
}

// "-h", the only short option: "" when read.
wxString ReadShortOption(const wxString& argument, GivenCommandLine& given)
{
    const auto [name, rest] = SplitName(argument.Mid(1), InShortName);
    if (name.empty())
        return wxS("unknown option ''");
    if (name[0] != 'h')
        return wxS("unknown option -") + wxString(name);
    // Switches may be run together ("-hx"): help, coming first, ends it.
    if (name.size() == 1 && !rest.empty())
        return Unexpected(name);
    given.help = true;
    return wxString();
}

// A whole number: a sign perhaps, then digits only.
std::optional<long> ReadWholeNumber(const wxString& text)
{
    if (!text.IsAscii())
        return std::nullopt;
    const std::string digits = text.ToStdString();
    const bool negative = !digits.empty() && digits[0] == '-';
    const std::size_t from = !digits.empty() && (digits[0] == '-' || digits[0] == '+') ? 1 : 0;
    if (from == digits.size() ||
        !std::all_of(digits.begin() + long(from), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    unsigned long magnitude = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data() + from, end, magnitude);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    constexpr unsigned long most = std::numeric_limits<long>::max();
    if (magnitude > most + (negative ? 1UL : 0UL))
        return std::nullopt;
    return negative ? static_cast<long>(0UL - magnitude) : static_cast<long>(magnitude);
}

// The number of runs --repeat gives: a whole number, white space before it
// taken as it always was.
std::optional<long> ReadRuns(const wxString& text)
{
    std::size_t from = 0;
    while (from < text.length() && (text[from] == ' ' || (text[from] >= '\t' && text[from] <= '\r')))
        ++from;
    return ReadWholeNumber(text.Mid(from));
}

bool InRange(const CliOption& option, const std::optional<long>& number)
{
    return number && *number >= option.minimum && *number <= option.maximum;
}

wxString OutOfRange(const CliOption& option)
{
    return wxString::Format(wxS("--%s must be a whole number from %ld to %ld"), option.name, option.minimum,
                            option.maximum) +
           (option.word != nullptr ? wxS(", or ") + wxString(option.word) : wxString());
}

// Text typed as a name or title, in UTF-8: as typed when it is text, else
// its bytes read as Latin-1.
std::string TypedText(const wxString& argument)
{
    const std::string bytes = PathToBytes(cli::ArgumentText(argument));
    if (IsStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()))
        return bytes;
    return wxString::From8BitData(bytes.data(), bytes.size()).utf8_string();
}

bool Takes(const std::vector<const char*>& names, const char* name)
{
    return std::any_of(names.begin(), names.end(), [name](const char* n) { return std::strcmp(n, name) == 0; });
}

bool Given(const GivenCommandLine& given, const char* name)
{
    const CliOption* option = FindCliOption(name);
    return option != nullptr && given.values[Row(*option)].has_value();
}
}  // namespace

wxString ReadArguments(std::vector<wxString>& arguments, GivenCommandLine& given)
{
    given = GivenCommandLine();
    given.values.assign(CliOptions().size(), std::nullopt);
    bool ended = false;  // after "--" every argument is an operand
    for (std::size_t k = 1; k < arguments.size(); ++k) {
        wxString& argument = arguments[k];
        if (ended || argument == wxS("-") || !argument.StartsWith(wxS("-"))) {
            // Taken, not copied: wxString has no move.
            given.operands.emplace_back().swap(argument);
            continue;
        }
        if (argument == wxS("--")) {
            ended = true;
            continue;
        }
        const wxString problem =
            argument.StartsWith(wxS("--")) ? ReadLongOption(arguments, k, given) : ReadShortOption(argument, given);
        if (!problem.empty() || given.help)
            return problem;
    }
    return wxString();
}

wxString CheckCommandLine(const GivenCommandLine& given)
{
    const wxString& name = given.operands.front();
    const CliCommand* command = FindCliCommand(name.utf8_str());
    if (command == nullptr)
        return wxString::Format(wxS("unknown command '%s'"), name);
    const std::vector<CliOption>& rows = CliOptions();
    for (std::size_t k = 0; k < rows.size(); ++k)
        if (given.values[k] && !Takes(command->options, rows[k].name) && !Takes(CliCommonOptions(), rows[k].name))
            return wxString::Format(wxS("--%s does not go with '%s'"), rows[k].name, name);
    for (std::size_t k = 0; k < rows.size(); ++k) {
        if (!given.values[k] || rows[k].kind != CliOption::Kind::WholeNumber)
            continue;
        if (given.values[k]->empty())
            return NeedsValue(rows[k]);
        if (!InRange(rows[k], ReadWholeNumber(*given.values[k])))
            return OutOfRange(rows[k]);
    }
    for (std::size_t k = 0; k < rows.size(); ++k)
        if (given.values[k] && rows[k].excludes != nullptr && Given(given, rows[k].excludes))
            return wxString::Format(wxS("--%s and --%s exclude each other"), rows[k].name, rows[k].excludes);
    if (*command->required != '\0' && !Given(given, command->required) &&
        !(*command->unless != '\0' && Given(given, command->unless))) {
        const CliOption* needed = FindCliOption(command->required);
        return wxString::Format(wxS("%s needs --%s %s"), command->name, command->required,
                                needed != nullptr && needed->value != nullptr ? needed->value : "");
    }
    const bool operandsOptional = *command->operands == '[';
    if (*command->operands != '\0' && !operandsOptional && given.operands.size() == 1)
        return std::strcmp(command->operands, "FILE...") == 0
                   ? wxString::Format(wxS("%s needs at least one FILE (- reads standard input)"), command->name)
                   : wxString::Format(wxS("%s needs at least one %s"), command->name,
                                      wxString(command->operands).BeforeFirst('.'));
    if (*command->operands == '\0' && given.operands.size() > 1)
        return wxString::Format(wxS("unexpected '%s' after '%s'"), given.operands[1], name);
    for (std::size_t k = 0; k < rows.size(); ++k) {
        const CliOption& row = rows[k];
        if (!given.values[k] || (row.kind != CliOption::Kind::FileName && row.kind != CliOption::Kind::Name))
            continue;
        if (given.values[k]->empty())
            return NeedsValue(row);
        if (row.check != nullptr)
            if (const std::string why = row.check(TypedText(*given.values[k])); !why.empty())
                return wxString::Format(wxS("--%s %s "), row.name, row.value) + wxString::FromUTF8(why);
    }
    for (std::size_t k = 0; k < rows.size(); ++k)
        if (given.values[k] && rows[k].kind == CliOption::Kind::Runs && *given.values[k] != rows[k].word &&
            !InRange(rows[k], ReadRuns(*given.values[k])))
            return OutOfRange(rows[k]);
    return wxString();
}

namespace {
// Puts one given value where its row says, read as its kind.
struct PutValue {
    Options& options;
    const CliOption& row;
    const wxString& text;

    void operator()(bool Options::*to) const { options.*to = true; }
    void operator()(std::optional<long> Options::*to) const { options.*to = ReadWholeNumber(text); }
    void operator()(std::optional<cli::Repeat> Options::*to) const
    {
        if (text == row.word)
            options.*to = cli::Repeat{true, 0};
        else if (const std::optional<long> runs = ReadRuns(text))
            options.*to = cli::Repeat{false, *runs};
    }
    void operator()(std::optional<wxString> Options::*to) const
    {
        options.*to = row.kind == CliOption::Kind::Text ? cli::ArgumentText(text) : text;
    }
    void operator()(std::optional<std::string> Options::*to) const { options.*to = TypedText(text); }
};
}  // namespace

Options FillOptions(GivenCommandLine&& given)
{
    Options options;
    options.command.swap(given.operands.front());
    options.files.resize(given.operands.size() - 1);
    for (std::size_t k = 1; k < given.operands.size(); ++k)
        options.files[k - 1].swap(given.operands[k]);
    std::vector<wxString>().swap(given.operands);
    const std::vector<CliOption>& rows = CliOptions();
    for (std::size_t k = 0; k < rows.size(); ++k)
        if (given.values[k])
            std::visit(PutValue{options, rows[k], *given.values[k]}, rows[k].target);
    return options;
}
