#include "config/paths.h"

#include "app/state.h"

#include <wx/filename.h>
#include <wx/stdpaths.h>

namespace {
wxString& ExecutablePathOverride()
{
    static wxString path;
    return path;
}

wxString& ResultsPathOverride()
{
    static wxString path;
    return path;
}
}  // namespace

FilePaths ResolveFilePaths(const wxString& executablePath, const wxString& workingDirectory)
{
    wxFileName results(executablePath);
    results.SetFullName(wxS("cpu_results.csv"));
    const wxString directory = results.GetPath(wxPATH_GET_VOLUME);

    FilePaths paths;
    paths.exePath = executablePath;
    // Case-sensitive, exact comparison: only the very same directory string
    // lets the program use bare names.
    paths.appBaseDir = directory == workingDirectory ? wxString() : directory + wxS("/");
    const wxString& base = paths.appBaseDir;
    paths.configFile = base + wxS("tarnwick.conf");
    paths.configTemplate = base + wxS("doc/tarnwick_original.conf");
    paths.configBackup = base + wxS("tarnwick.bak");
    paths.manualFile = base + wxS("doc/manual_tarnwick.txt");
    paths.historyFile = base + wxS("doc/history_tarnwick.txt");
    paths.resultsFile = base + wxS("cpu_results.csv");
    paths.resultsTemplate = base + wxS("doc/cpu_results_original.csv");
    paths.resultsBackup = base + wxS("cpu_result.bak");
    return paths;
}

wxString ExecutablePath()
{
    const wxString& path = ExecutablePathOverride();
    return path.empty() ? wxStandardPaths::Get().GetExecutablePath() : path;
}

void SetExecutablePathForTests(const wxString& path)
{
    ExecutablePathOverride() = path;
}

void SetResultsFilePath(const wxString& path)
{
    ResultsPathOverride() = path;
}

FilePaths UpdateFilePaths()
{
    FilePaths paths = ResolveFilePaths(ExecutablePath(), wxFileName::GetCwd());
    if (const wxString& results = ResultsPathOverride(); !results.empty()) {
        paths.resultsFile = results;
        paths.resultsBackup = wxFileName(results).GetPath(wxPATH_GET_VOLUME | wxPATH_GET_SEPARATOR) +
                              wxS("cpu_result.bak");
    }
    ExePath = paths.exePath;
    AppBaseDir = paths.appBaseDir;
    ConfigFilePath = paths.configFile;
    ConfigTemplatePath = paths.configTemplate;
    ConfigBackupPath = paths.configBackup;
    ManualFileFullPath = paths.manualFile;
    HistoryFileFullPath = paths.historyFile;
    ResultsFilePath = paths.resultsFile;
    ResultsTemplatePath = paths.resultsTemplate;
    ResultsBackupPath = paths.resultsBackup;
    return paths;
}
