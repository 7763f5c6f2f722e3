#include "results/results_file.h"

#include "app/notify.h"
#include "app/state.h"
#include "app/text_document.h"
#include "config/paths.h"
#include "results/file_lock.h"
#include "results/results_table.h"

#include <wx/filefn.h>
#include <wx/log.h>

namespace {
const wxString Caption = wxS("Tarnwick - results file");

bool IsValidRecordIndex(const TextDocument& file)
{
    return CurrentResult >= 0 && static_cast<std::size_t>(CurrentResult) < file.LineCount();
}

// Lines the program writes end as the configuration file's lines do; before
// that file was ever read, as the results file's own.
wxTextFileType InsertedLineType()
{
    return ConfigLineType != wxTextFileType_None ? ConfigLineType : ResultsFileLineType;
}

bool Modify(TextDocument& file, int op)
{
    switch (op) {
    case ResultsOpDelete:
        if (!IsValidRecordIndex(file))
            return false;
        file.Remove(static_cast<std::size_t>(CurrentResult));
        return true;
    case ResultsOpReplace:
        if (!IsValidRecordIndex(file))
            return false;
        file.Remove(static_cast<std::size_t>(CurrentResult));
        file.Insert(JoinRecordFields(), static_cast<std::size_t>(CurrentResult), InsertedLineType());
        return true;
    case ResultsOpAppend:
        file.Insert(JoinRecordFields(), file.LineCount(), InsertedLineType());
        return true;
    default:
        return false;
    }
}
bool BackUp(const wxString& data, const wxString& backup)
{
    return BackupPending == 0 || wxCopyFile(data, backup, true);
}

// Loads the whole file into the table; the lines are kept in one block while
// the rows are filled, so a large file needs little more than the table.
int Load(const wxString& data, const wxString& backup)
{
    TextLines lines;
    if (!lines.Read(data))
        return 2;
    if (!BackUp(data, backup))
        return 3;
    ResultsFileLineType = lines.LineEnding();
    if (!LoadResultTable(lines.Count(), [&lines](std::size_t n) { return lines.Line(n); })) {
        NotifyUser(wxS("cpu_results.csv is too large to load; the results table is unchanged."), Caption);
        return 2;
    }
    return 0;
}

int Change(const wxString& data, const wxString& backup, int op)
{
    TextDocument file;
    if (!file.Open(data))
        return 2;
    if (!BackUp(data, backup))
        return 3;
    ResultsFileLineType = file.LineEnding();
    if (Modify(file, op) && !file.Write()) {
        NotifyUser(wxS("cpu_results.csv could not be written; the change was not saved."), Caption);
        return 2;
    }
    return 0;
}
}  // namespace

int AccessResultsFile(int op)
{
    wxLogNull quiet;
    const FilePaths paths = UpdateFilePaths();
    const wxString& data = paths.resultsFile;

    if (!wxFileExists(data)) {
        if (wxCopyFile(paths.resultsTemplate, data, false))
            NotifyUser(wxS("cpu_results.csv was created from original template!"), Caption);
        else if (!wxFileExists(data))  // another copy of the program may just have made it
            return 1;
    } else if (!CanRead(data)) {
        return 2;
    }

    // Held across the whole read-modify-write, so that two running copies of
    // the program never lose each other's change.
    const FileLock lock(data, op == ResultsOpLoad ? FileLock::Mode::Shared : FileLock::Mode::Exclusive);
    const int status = op == ResultsOpLoad ? Load(data, paths.resultsBackup) : Change(data, paths.resultsBackup, op);
    if (status == 0)
        BackupPending = 0;
    return status;
}
