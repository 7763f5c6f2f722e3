// Where the program's files are: beside the executable, named by bare
// relative names when the working directory is the executable's directory.
#pragma once

#include <wx/string.h>

#include <string>

struct FilePaths {
    wxString exePath;
    wxString appBaseDir;  ///< "" or the executable's directory followed by "/"
    wxString configFile;
    wxString configTemplate;
    wxString configBackup;
    wxString manualFile;
    wxString historyFile;
    wxString resultsFile;
    wxString resultsTemplate;
    wxString resultsBackup;
};

/// The backup's name for a results file named `name`: cpu_result.bak for
/// cpu_results.csv, else the name followed by ".bak", so that every table
/// has its own.
std::string ResultsBackupName(const std::string& name);

/// The paths for an executable at `executablePath` run from `workingDirectory`.
FilePaths ResolveFilePaths(const wxString& executablePath, const wxString& workingDirectory);

/// The running executable's path, or the one a test has put in its place;
/// empty when it cannot be found (the paths are empty then, never
/// somewhere else).
wxString ExecutablePath();

/// Makes the file routines act as if the executable were at `path`; an empty
/// path goes back to the real one. For tests.
void SetExecutablePathForTests(const wxString& path);

/// Makes the results file `path` instead of the one beside the executable,
/// with its own backup beside it (the template stays the program's); an
/// empty path goes back to the one beside the executable.
void SetResultsFilePath(const wxString& path);

/// Resolves the paths for the running program and stores them in the path
/// globals (ExePath, AppBaseDir, the configuration and results paths).
FilePaths UpdateFilePaths();
