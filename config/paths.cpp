#include "config/paths.h"

#include "core/state.h"
#include "files/path_text.h"

#include <wx/filename.h>

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

std::string ResultsBackupName(const std::string& name)
{
    return name == "cpu_results.csv" ? "cpu_result.bak" : name + ".bak";
}

FilePaths ResolveFilePaths(const wxString& executablePath, const wxString& workingDirectory)
{
    FilePaths paths;
    paths.exePath = executablePath;
    // Without the program's own folder there is no other place to go.
    if (executablePath.empty() || !executablePath.StartsWith(wxS("/")))
        return paths;
    wxFileName results(executablePath);
    results.SetFullName(wxS("cpu_results.csv"));
    const wxString directory = results.GetPath(wxPATH_GET_VOLUME);

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
    return path.empty() ? RunningProgramPath() : path;
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
    FilePaths paths = ResolveFilePaths(ExecutablePath(), WorkingDirectory());
    if (const wxString& results = ResultsPathOverride(); !results.empty()) {
        paths.resultsFile = results;
        const std::string bytes = PathToBytes(results);
        const std::size_t slash = bytes.rfind('/');
        paths.resultsBackup = PathFromBytes(bytes.substr(0, slash == std::string::npos ? 0 : slash + 1) +
                                            ResultsBackupName(bytes.substr(slash == std::string::npos ? 0 : slash + 1)));
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
