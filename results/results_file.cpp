#include "results/results_file.h"

#include "core/notify.h"
#include "core/state.h"
#include "config/paths.h"
#include "files/atomic_file.h"
#include "files/encoding.h"
#include "files/path_text.h"
#include "files/text_document.h"
#include "results/results_table.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {
const wxString Caption = wxS("Tarnwick - results file");

struct Problem {
    FileFailure failure;
    bool told = false;
};

Problem& LastProblem()
{
    static Problem problem;
    return problem;
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

FileEdit ToFileEdit(ResultsEdit edit)
{
    switch (edit) {
    case ResultsEdit::Gone: return FileEdit::Gone;
    case ResultsEdit::Nothing: return FileEdit::Nothing;
    case ResultsEdit::Kept: return FileEdit::Kept;
    case ResultsEdit::Changed: return FileEdit::Changed;
    }
    return FileEdit::Nothing;
}

std::atomic<bool>& NewResultsFilesEmpty()
{
    static std::atomic<bool> empty{false};
    return empty;
}

// Every access: the file found or made from its template, read whole under
// its lock (held across the whole read-modify-write for a change, so that
// two running copies of the program never lose each other's change), the
// backup when it is pending, then the change.
int Access(bool change, const FileEditor& edit)
{
    const FilePaths paths = UpdateFilePaths();
    DataFileAccess access;
    access.path = paths.resultsFile;
    access.templatePath = paths.resultsTemplate;
    access.startEmpty = NewResultsFilesEmpty().load();
    if (access.startEmpty)
        access.created = [path = paths.resultsFile] {
            NotifyUser(wxString::Format(wxS("%s was created, empty"), AbsolutePath(path)), Caption);
        };
    else
        access.created = [] { NotifyUser(wxS("cpu_results.csv was created from original template!"), Caption); };
    access.backupName = ResultsBackupName;
    access.sizeLimit = ResultsFileLimit();
    access.change = change;
    access.backUp = BackupPending != 0;
    const FileOutcome outcome = AccessDataFile(access, edit);
    if (outcome.failure.kind != FileFailure::Kind::None) {
        LastProblem() = {outcome.failure, false};
        // A change refused before its backup is no change: the reload after
        // it must not take the backup in its place. (A backup that failed
        // stays pending, so that the next access tries it again.)
        if (change && outcome.failure.status != 3)
            BackupPending = 0;
        return outcome.failure.status;
    }
    // A record another program removed is not changed, so no backup is due:
    // the next load must not replace the backup that still holds it.
    BackupPending = 0;
    return outcome.edit == FileEdit::Gone ? ResultsRecordGone : 0;
}

// A change that was asked for and not made is never dropped in silence. (A
// reload after it, the backup still pending, fails quietly: the user knows.)
int Told(int status)
{
    if (status >= 1 && status <= 3) {
        NotifyUser(ResultsProblemText() + wxS("; the change was not saved."), Caption);
        LastProblem().told = true;
    }
    return status;
}

// Loads the whole file into the table. A table that would not fit in memory,
// or a file that is not one, is told, and the table stays as it was.
int Load()
{
    DecodedText text;
    const int status = Access(false, [&text](const std::string& bytes, FileContent&, FileFailure& failure) {
        if (!text.Decode(bytes.data(), bytes.size())) {
            failure.kind = FileFailure::Kind::Unreadable;
            failure.error = ENOMEM;
            return FileEdit::Nothing;
        }
        std::size_t longest = 0;
        for (std::size_t n = 0; n < text.Count(); ++n)
            longest = std::max(longest, text.Span(n).length);
        const std::uint64_t need = ResultTableBytes(text.Count(), longest);
        if (need > MemoryBound()) {
            failure.kind = FileFailure::Kind::TooLarge;
            failure.error = EFBIG;
            failure.size = need;
            failure.limit = MemoryBound();
            failure.other = wxS("its table would take");
            return FileEdit::Nothing;
        }
        ResultsFileLineType = text.LineEnding();
        return FileEdit::Kept;
    });
    if (status == 0 && !LoadResultTable(text.Count(), [&text](std::size_t n) { return text.Line(n); })) {
        FileFailure failure;
        failure.kind = FileFailure::Kind::Unreadable;
        failure.status = 2;
        failure.path = ResultsFilePath;
        failure.error = ENOMEM;
        LastProblem() = {failure, false};
        NotifyUser(ResultsProblemText() + wxS("; the results table is unchanged."), Caption);
        LastProblem().told = true;
        return 2;
    }
    const FileFailure::Kind kind = LastProblem().failure.kind;
    if (status != 0 && (kind == FileFailure::Kind::TooLarge || kind == FileFailure::Kind::NotRegular ||
                        kind == FileFailure::Kind::LinkRefused || kind == FileFailure::Kind::NoFolder)) {
        NotifyUser(ResultsProblemText() + wxS("; the results table is unchanged."), Caption);
        LastProblem().told = true;
    }
    return status;
}

// A record with a character no table takes is not written: it would change
// how the lines around it show, or break the line.
bool RecordRefused(int op)
{
    if (op != ResultsOpAppend && op != ResultsOpReplace)
        return false;
    const wxString line = JoinRecordFields();
    const std::string refused = RefusedCharacterIn(std::wstring_view(line.wc_str(), line.length()));
    if (refused.empty())
        return false;
    FileFailure failure;
    failure.kind = FileFailure::Kind::Refused;
    failure.status = 2;
    failure.path = UpdateFilePaths().resultsFile;
    failure.error = EINVAL;
    failure.other = wxS("holds ") + wxString::FromUTF8(refused);
    LastProblem() = {failure, false};
    BackupPending = 0;  // no change, so no backup is due
    return true;
}
}  // namespace

void StartNewResultsFilesEmpty(bool empty)
{
    NewResultsFilesEmpty().store(empty);
}

std::uint64_t ResultsFileLimit()
{
    return MemoryBound() / sizeof(wchar_t);
}

int AccessResultsFile(int op)
{
    if (op == ResultsOpLoad)
        return Load();
    if (RecordRefused(op))
        return Told(2);
    return ChangeResultsFile([op](TextDocument& file) { return Modify(file, op); });
}

int ChangeResultsFile(const ResultsEditor& edit)
{
    return Told(Access(true, [&edit](const std::string& bytes, FileContent& next, FileFailure& failure) {
        TextDocument file;
        if (!file.Parse(bytes)) {
            failure.kind = FileFailure::Kind::Unreadable;
            failure.error = ENOMEM;
            return FileEdit::Nothing;
        }
        ResultsFileLineType = file.LineEnding();
        const ResultsEdit result = edit(file);
        TextDocument::Refusal refusal = TextDocument::Refusal::None;
        if (result == ResultsEdit::Changed && !file.Encode(next.bytes, failure.line, &refusal)) {
            failure.kind = refusal == TextDocument::Refusal::CutUnit ? FileFailure::Kind::CutUnit
                                                                     : FileFailure::Kind::NotEncodable;
            failure.error = EILSEQ;
            failure.other = EncodingName(file.Encoding());
            return FileEdit::Nothing;
        }
        return ToFileEdit(result);
    }));
}

int ChangeResultsBytes(const ResultsBytesEditor& edit)
{
    return Told(Access(true, [&edit](const std::string& bytes, FileContent& next, FileFailure& failure) {
        ResultsBytes replacement;
        const ResultsEdit result = edit(bytes, replacement, failure);
        next.keepOld = replacement.keepOld;
        next.bytes = std::move(replacement.tail);
        return ToFileEdit(result);
    }));
}

int ChangeShownResult(int op, const wxString& shownLine)
{
    if (RecordRefused(op))
        return Told(2);
    const std::wstring shown = shownLine.ToStdWstring();
    return ChangeResultsFile([op, &shown](TextDocument& file) {
        const std::size_t count = file.LineCount();
        if (!IsValidRecordIndex(file) || file.Line(std::size_t(CurrentResult)) != shown) {
            // Another program changed the table since it was shown: the
            // record is wherever its text now is, the nearest copy first.
            std::int64_t found = -1;
            for (std::size_t n = 0; n < count; ++n)
                if (file.Line(n) == shown &&
                    (found < 0 || std::llabs(std::int64_t(n) - CurrentResult) < std::llabs(found - CurrentResult)))
                    found = std::int64_t(n);
            if (found < 0)
                return ResultsEdit::Gone;
            CurrentResult = static_cast<std::int32_t>(found);
        }
        return Modify(file, op);
    });
}

const FileFailure& LastResultsProblem()
{
    return LastProblem().failure;
}

bool LastResultsProblemTold()
{
    return LastProblem().told;
}

wxString ResultsProblemText()
{
    return LastProblem().failure.Text();
}
