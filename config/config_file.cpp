#include "config/config_file.h"

#include "app/notify.h"
#include "app/numbers.h"
#include "app/state.h"
#include "app/text_document.h"
#include "config/paths.h"

#include <wx/filefn.h>
#include <wx/log.h>

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

void SaveSettings(TextDocument& file)
{
    ReplaceLine(file, ConfigCpuListLine, wxString::Format(wxS("cpulist\t\t%i"), CpuListCount));
    ReplaceLine(file, ConfigHeatTimeLine, wxString::Format(wxS("heattime\t%i"), HeatTestMillis / 60000));
    if (!file.Write())
        NotifyUser(wxS("tarnwick.conf could not be written; the settings apply to this run only."),
                   Caption);
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
int AccessConfigFile(int mode)
{
    wxLogNull quiet;
    UpdateFilePaths();

    if (!wxFileExists(ConfigFilePath)) {
        if (!wxCopyFile(ConfigTemplatePath, ConfigFilePath, false))
            return 1;
        NotifyUser(wxS("tarnwick.conf was created from original template!"), Caption);
    } else if (!CanRead(ConfigFilePath)) {
        return 2;
    }

    TextDocument file;
    if (!file.Open(ConfigFilePath))
        return 2;
    if (ConfigBackupEnabled && !wxCopyFile(ConfigFilePath, ConfigBackupPath, true))
        return 3;
    ConfigLineType = file.LineEnding();

    switch (mode) {
    case ConfigModeLoad:
        LoadSettings(file);
        break;
    case ConfigModeApply:
        ApplyChartRows();
        break;
    case ConfigModeSave:
        SaveSettings(file);
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
    const int status = AccessConfigFile(mode);
    // Without a readable file the built-in settings still get chart rows.
    if (status != 0 && mode == ConfigModeLoad)
        ApplyChartRows();
    return status;
}
