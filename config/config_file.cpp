#include "config/config_file.h"

#include "core/notify.h"
#include "core/numbers.h"
#include "core/state.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/file_transaction.h"
#include "files/text_document.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>

namespace {
const wxString Caption = wxS("Tarnwick - ConfigFile");

bool IsBlank(wxUniChar c)
{
    return c == ' ' || c == '\t';
}

// A comment starts, after blanks and tabs, with "#" or ";".
bool IsComment(const wxString& line)
{
    for (wxUniChar c : line) {
        if (IsBlank(c))
            continue;
        return c == '#' || c == ';';
    }
    return false;
}

bool IsWhiteSpace(wxUniChar c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The value of a key: the rest of the line after it, trimmed, read as atoi does.
std::int32_t ValueAfter(const wxString& line, std::size_t keyEnd)
{
    std::size_t begin = keyEnd, end = line.length();
    while (begin < end && IsWhiteSpace(line[begin]))
        ++begin;
    while (end > begin && IsWhiteSpace(line[end - 1]))
        --end;
    return ParseInt(line.substr(begin, end - begin).wc_str());
}

// The largest settings file read: two settings and their comments.
constexpr std::uint64_t ConfigFileLimit = 1 << 20;

// Minutes as milliseconds: beyond what 32 bits hold, the most whole minutes
// they do hold.
std::int32_t HeatMillis(std::int32_t minutes)
{
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max() / 60000;
    return std::clamp(minutes, -most, most) * 60000;
}

void LoadSettings(const TextDocument& file)
{
    bool sawCpuList = false;
    for (std::size_t n = 0; n < file.LineCount(); ++n) {
        const wxString line(file.Line(n).data(), file.Line(n).size());
        if (line.empty() || IsComment(line))
            continue;
        const std::size_t cpuList = line.find(wxS("cpulist"));
        if (cpuList != wxString::npos) {
            ConfigCpuListLine = static_cast<std::int32_t>(n);
            CpuListCount = ValueAfter(line, cpuList + 7);
            ApplyChartRows();
            sawCpuList = true;
        }
        const std::size_t heatTime = line.find(wxS("heattime"));
        if (heatTime != wxString::npos) {
            ConfigHeatTimeLine = static_cast<std::int32_t>(n);
            HeatTestMillis = HeatMillis(ValueAfter(line, heatTime + 8));
        }
    }
    // Without a cpulist line the charts still get rows for the built-in count.
    if (!sawCpuList)
        ApplyChartRows();
}

// Puts `text` in place of line `index`; past the end of the file it is
// appended instead.
void ReplaceLine(TextDocument& file, std::int32_t index, const wxString& text)
{
    const std::size_t n = index < 0 ? 0 : static_cast<std::size_t>(index);
    file.Remove(n);
    file.Insert(text, n, ConfigLineType);
}

void SaveSettings(TextDocument& file)
{
    ReplaceLine(file, ConfigCpuListLine, wxString::Format(wxS("cpulist\t\t%i"), CpuListCount));
    ReplaceLine(file, ConfigHeatTimeLine, wxString::Format(wxS("heattime\t%i"), HeatTestMillis / 60000));
}
}  // namespace

void ApplyChartRows()
{
    CpuListHalf = CpuListCount / 2;
    SpeedChartRows.reset();
    PowerChartRows.reset();
    ChartRowsCapacity = 0;
    const std::size_t rows = CpuListCount > 0 ? static_cast<std::size_t>(CpuListCount) : 0;
    const std::size_t width = ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
    if (width != 0 && rows > std::numeric_limits<std::size_t>::max() / sizeof(wchar_t) / width)
        return;
    SpeedChartRows.reset(new (std::nothrow) wchar_t[rows * width]);
    PowerChartRows.reset(new (std::nothrow) wchar_t[rows * width]);
    if (SpeedChartRows && PowerChartRows)
        ChartRowsCapacity = rows * width;
}

namespace {
// Every call: the file found or made from its template and read whole (under
// its lock for writing when saving, so that two copies of the program saving
// at once each write a whole file); then the mode's work. `failure` says
// what went wrong, also for a save that applies but was not written.
int AccessConfigFile(int mode, FileFailure& failure)
{
    UpdateFilePaths();
    DataFileAccess access;
    access.path = ConfigFilePath;
    access.templatePath = ConfigTemplatePath;
    access.created = [] { NotifyUser(wxS("tarnwick.conf was created from original template!"), Caption); };
    access.backupName = [](const std::string&) { return std::string("tarnwick.bak"); };
    access.sizeLimit = ConfigFileLimit;
    access.change = mode == ConfigModeSave;
    access.backUp = ConfigBackupEnabled;

    TextDocument file;
    const FileOutcome outcome =
        AccessDataFile(access, [&](const std::string& bytes, FileContent& next, FileFailure& refused) {
            if (!file.Parse(bytes)) {
                refused.kind = FileFailure::Kind::Unreadable;
                refused.error = ENOMEM;
                return FileEdit::Nothing;
            }
            ConfigLineType = file.LineEnding();
            if (mode != ConfigModeSave)
                return FileEdit::Kept;
            SaveSettings(file);
            TextDocument::Refusal refusal = TextDocument::Refusal::None;
            if (!file.Encode(next.bytes, refused.line, &refusal)) {
                refused.kind = refusal == TextDocument::Refusal::CutUnit ? FileFailure::Kind::CutUnit
                                                                         : FileFailure::Kind::NotEncodable;
                refused.error = EILSEQ;
                refused.other = EncodingName(file.Encoding());
                return FileEdit::Nothing;
            }
            return FileEdit::Changed;
        });
    failure = outcome.failure;
    // A save that reached the file but could not be written still applies;
    // the write's result is the user's to know, not the caller's.
    const bool notWritten = mode == ConfigModeSave &&
                            (failure.kind == FileFailure::Kind::NotLocked || failure.kind == FileFailure::Kind::Moved ||
                             failure.kind == FileFailure::Kind::FolderClosed ||
                             failure.kind == FileFailure::Kind::NotEncodable ||
                             failure.kind == FileFailure::Kind::CutUnit ||
                             failure.kind == FileFailure::Kind::Unwritable);
    if (failure.kind != FileFailure::Kind::None && !notWritten)
        return failure.status;
    switch (mode) {
    case ConfigModeLoad:
        LoadSettings(file);
        break;
    case ConfigModeApply:
    case ConfigModeSave:
        ApplyChartRows();
        break;
    default:
        break;
    }
    return 0;
}
}  // namespace

int ProcessConfigFile(int mode)
{
    FileFailure failure;
    const int status = AccessConfigFile(mode, failure);
    const wxString problem = failure.Text();
    // Without a readable file the built-in settings still get chart rows.
    if (status != 0 && mode == ConfigModeLoad)
        ApplyChartRows();
    // Settings the user saved and the file did not take: they still apply,
    // and the user learns why they were not kept.
    if (mode == ConfigModeSave && !problem.empty()) {
        if (status != 0)
            ApplyChartRows();
        NotifyUser(problem + wxS("; the settings apply to this run only."), Caption);
    }
    // A file that cannot be a settings file, or is not to be followed, is
    // said at every start.
    if (mode == ConfigModeLoad && (failure.kind == FileFailure::Kind::NotRegular ||
                                   failure.kind == FileFailure::Kind::TooLarge ||
                                   failure.kind == FileFailure::Kind::LinkRefused))
        NotifyUser(problem + wxS("; the settings stay as they were."), Caption);
    return status;
}
