#include "config/config_file.h"

#include "app/notify.h"
#include "app/numbers.h"
#include "app/state.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/file_lock.h"
#include "files/text_document.h"

#include <wx/filefn.h>
#include <wx/log.h>

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

void LoadSettings(const TextDocument& file)
{
    bool sawCpuList = false;
    for (std::size_t n = 0; n < file.LineCount(); ++n) {
        const wxString& line = file.Line(n);
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
            HeatTestMillis = WrappingMultiply(ValueAfter(line, heatTime + 8), 60000);
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

// False when the file could not be written.
bool SaveSettings(TextDocument& file)
{
    ReplaceLine(file, ConfigCpuListLine, wxString::Format(wxS("cpulist\t\t%i"), CpuListCount));
    ReplaceLine(file, ConfigHeatTimeLine, wxString::Format(wxS("heattime\t%i"), HeatTestMillis / 60000));
    return file.Write();
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
// Why an access failed, for the user: the file, what went wrong, the reason.
int Fail(wxString& problem, int status, const wxString& format, const wxString& path, int error)
{
    problem = wxString::Format(format, AbsolutePath(path), ErrorText(error));
    return status;
}

int AccessConfigFile(int mode, wxString& problem)
{
    wxLogNull quiet;
    UpdateFilePaths();

    if (!wxFileExists(ConfigFilePath)) {
        const int error = CreateFileFrom(ConfigTemplatePath, ConfigFilePath);
        if (error == 0)
            NotifyUser(wxS("tarnwick.conf was created from original template!"), Caption);
        else if (error != EEXIST)  // EEXIST: another copy of the program has just made it
            return Fail(problem, 1, wxS("%s does not exist and could not be made from the template (%s)"),
                        ConfigFilePath, error);
    }
    if (const int error = ReadError(ConfigFilePath))
        return Fail(problem, 2, wxS("%s could not be read (%s)"), ConfigFilePath, error);

    // Two copies of the program saving at once each write a whole file, and
    // what a killed one left behind goes with the next save.
    const bool saving = mode == ConfigModeSave;
    const FileLock lock(ConfigFilePath, saving ? FileLock::Mode::Exclusive : FileLock::Mode::Shared);
    if (saving && lock.IsLocked()) {
        RemoveStaleTemporaries(ConfigFilePath);
        RemoveStaleTemporaries(ConfigBackupPath);
    }

    TextDocument file;
    if (!file.Open(ConfigFilePath))
        return Fail(problem, 2, wxS("%s could not be read (%s)"), ConfigFilePath, EIO);
    if (ConfigBackupEnabled) {
        if (const int error = CopyFileAtomically(ConfigFilePath, ConfigBackupPath))
            return Fail(problem, 3, wxS("The backup %s could not be written (%s)"), ConfigBackupPath, error);
    }
    ConfigLineType = file.LineEnding();

    switch (mode) {
    case ConfigModeLoad:
        LoadSettings(file);
        break;
    case ConfigModeApply:
        ApplyChartRows();
        break;
    case ConfigModeSave:
        if (!SaveSettings(file))
            Fail(problem, 0, wxS("%s could not be written (%s)"), FollowLinks(ConfigFilePath), file.WriteError());
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
    wxString problem;
    const int status = AccessConfigFile(mode, problem);
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
    return status;
}
