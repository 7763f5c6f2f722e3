#include "results/results_file.h"

#include "app/notify.h"
#include "app/state.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/file_lock.h"
#include "results/results_table.h"
#include "files/text_document.h"

#include <wx/filefn.h>
#include <wx/log.h>

#include <cerrno>
#include <cstdlib>

namespace {
const wxString Caption = wxS("Tarnwick - results file");

FileProblem& Problem()
{
    static FileProblem problem;
    return problem;
}

int Fail(int status, const wxString& path, int error, bool writing = false)
{
    Problem() = {path, error, writing};
    return status;
}

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

ResultsEdit Modify(TextDocument& file, int op)
{
    switch (op) {
    case ResultsOpDelete:
        if (!IsValidRecordIndex(file))
            return ResultsEdit::Kept;
        file.Remove(static_cast<std::size_t>(CurrentResult));
        return ResultsEdit::Changed;
    case ResultsOpReplace:
        if (!IsValidRecordIndex(file))
            return ResultsEdit::Kept;
        file.Remove(static_cast<std::size_t>(CurrentResult));
        file.Insert(JoinRecordFields(), static_cast<std::size_t>(CurrentResult), InsertedLineType());
        return ResultsEdit::Changed;
    case ResultsOpAppend:
        file.Insert(JoinRecordFields(), file.LineCount(), InsertedLineType());
        return ResultsEdit::Changed;
    default:
        return ResultsEdit::Kept;
    }
}

// The copy taken before a change, written whole or not at all. A change
// that cannot be backed up is not made.
bool BackUp(const wxString& data, const wxString& backup)
{
    if (BackupPending == 0)
        return true;
    const int error = CopyFileAtomically(data, backup);
    if (error == 0)
        return true;
    Fail(3, backup, error);
    return false;
}

// Loads the whole file into the table; the lines are kept in one block while
// the rows are filled, so a large file needs little more than the table.
int Load(const wxString& data, const wxString& backup)
{
    TextLines lines;
    if (!lines.Read(data))
        return Fail(2, data, EIO);
    if (!BackUp(data, backup))
        return 3;
    ResultsFileLineType = lines.LineEnding();
    if (!LoadResultTable(lines.Count(), [&lines](std::size_t n) { return lines.Line(n); })) {
        NotifyUser(wxS("cpu_results.csv is too large to load; the results table is unchanged."), Caption);
        return Fail(2, data, ENOMEM);
    }
    return 0;
}

int Change(const wxString& data, const wxString& backup, const ResultsEditor& edit)
{
    TextDocument file;
    if (!file.Open(data))
        return Fail(2, data, EIO);
    ResultsFileLineType = file.LineEnding();
    const ResultsEdit result = edit(file);
    if (result == ResultsEdit::Gone)
        return ResultsRecordGone;
    if (result == ResultsEdit::Nothing)
        return 0;
    if (!BackUp(data, backup))
        return 3;
    if (result == ResultsEdit::Changed && !file.Write())
        return Fail(2, FollowLinks(data), file.WriteError(), true);
    return 0;
}

int ChangeBytes(const wxString& data, const wxString& backup, const ResultsBytesEditor& edit)
{
    std::string bytes;
    ResultsBytes replacement;
    if (const int error = ReadWholeFile(data, bytes))
        return Fail(2, data, error);
    const ResultsEdit result = edit(bytes, replacement);
    if (result == ResultsEdit::Gone)
        return ResultsRecordGone;
    if (result == ResultsEdit::Nothing)
        return 0;
    // The backup is the bytes just read: the file as it is under the lock.
    if (BackupPending != 0) {
        if (const int error = WriteFileAtomically(backup, bytes.data(), bytes.size()))
            return Fail(3, backup, error);
    }
    if (result == ResultsEdit::Changed) {
        Pieces pieces;
        if (replacement.keepOld)
            pieces.push_back(bytes);
        pieces.push_back(replacement.tail);
        if (const int error = WriteFileAtomically(data, pieces))
            return Fail(2, FollowLinks(data), error, true);
    }
    return 0;
}

// Every access: the file found or made from its template, its lock held
// across the whole read-modify-write (so that two running copies of the
// program never lose each other's change), then `work`.
int Access(bool changes, const std::function<int(const FilePaths&)>& work)
{
    wxLogNull quiet;
    const FilePaths paths = UpdateFilePaths();
    const wxString& data = paths.resultsFile;

    if (!wxFileExists(data)) {
        const int error = CreateFileFrom(paths.resultsTemplate, data);
        if (error == 0)
            NotifyUser(wxS("cpu_results.csv was created from original template!"), Caption);
        else if (error != EEXIST)  // EEXIST: another copy of the program has just made it
            return Fail(1, data, error);
    }
    if (const int error = ReadError(data))
        return Fail(2, data, error);

    const FileLock lock(data, changes ? FileLock::Mode::Exclusive : FileLock::Mode::Shared);
    if (changes && lock.IsLocked()) {
        // What writers killed before their rename left; no live writer has a
        // temporary file while we hold the lock.
        RemoveStaleTemporaries(data);
        RemoveStaleTemporaries(paths.resultsBackup);
    }
    const int status = work(paths);
    // A record another program removed is not changed, so no backup is due:
    // the next load must not replace the backup that still holds it.
    if (status == 0 || status == ResultsRecordGone)
        BackupPending = 0;
    return status;
}

// A change that was asked for and not made is never dropped in silence. (A
// reload after it, the backup still pending, fails quietly: the user knows.)
int Told(int status)
{
    if (status >= 1 && status <= 3)
        NotifyUser(ResultsProblemText(status) + wxS("; the change was not saved."), Caption);
    return status;
}
}  // namespace

int AccessResultsFile(int op)
{
    if (op == ResultsOpLoad)
        return Access(false, [](const FilePaths& paths) { return Load(paths.resultsFile, paths.resultsBackup); });
    return ChangeResultsFile([op](TextDocument& file) { return Modify(file, op); });
}

int ChangeResultsFile(const ResultsEditor& edit)
{
    return Told(Access(
        true, [&edit](const FilePaths& paths) { return Change(paths.resultsFile, paths.resultsBackup, edit); }));
}

int ChangeResultsBytes(const ResultsBytesEditor& edit)
{
    return Told(Access(
        true, [&edit](const FilePaths& paths) { return ChangeBytes(paths.resultsFile, paths.resultsBackup, edit); }));
}

int ChangeShownResult(int op, const wxString& shownLine)
{
    return ChangeResultsFile([op, &shownLine](TextDocument& file) {
        const std::size_t count = file.LineCount();
        if (!IsValidRecordIndex(file) || file.Line(std::size_t(CurrentResult)) != shownLine) {
            // Another program changed the table since it was shown: the
            // record is wherever its text now is, the nearest copy first.
            std::int64_t found = -1;
            for (std::size_t n = 0; n < count; ++n)
                if (file.Line(n) == shownLine &&
                    (found < 0 || std::llabs(std::int64_t(n) - CurrentResult) < std::llabs(found - CurrentResult)))
                    found = std::int64_t(n);
            if (found < 0)
                return ResultsEdit::Gone;
            CurrentResult = static_cast<std::int32_t>(found);
        }
        return Modify(file, op);
    });
}

const FileProblem& LastResultsProblem()
{
    return Problem();
}

wxString ResultsProblemText(int status)
{
    const FileProblem& problem = Problem();
    const wxString path = AbsolutePath(problem.path), reason = ErrorText(problem.error);
    switch (status) {
    case 1:
        return wxString::Format(wxS("%s does not exist and could not be made from the template (%s)"), path,
                                reason);
    case 3:
        return wxString::Format(wxS("The backup %s could not be written (%s)"), path, reason);
    default:
        return wxString::Format(problem.writing ? wxS("%s could not be written (%s)") : wxS("%s could not be read (%s)"),
                                path, reason);
    }
}
