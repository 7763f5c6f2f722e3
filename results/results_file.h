// The results file cpu_results.csv beside the executable.
#pragma once

#include "files/file_transaction.h"

#include <wx/string.h>

#include <cstdint>
#include <functional>
#include <string>

class TextDocument;

constexpr int ResultsOpDelete = 'd';
constexpr int ResultsOpLoad = 'i';
constexpr int ResultsOpReplace = 'm';
constexpr int ResultsOpAppend = 'n';

/// Performs `op` on the results file: load it into the table, or delete,
/// replace (both at CurrentResult) or append the record of RecordFields.
/// Any other code only opens the file. Creates the file from its template
/// when it is missing and backs it up first when BackupPending is set.
/// Returns 0 on success, 1 when the template could not be copied, 2 when the
/// file could not be opened (or written), 3 when the backup failed.
int AccessResultsFile(int op);

/// Whether a missing results file is made empty rather than from the
/// template (a fleet's table holds the fleet's records only).
void StartNewResultsFilesEmpty(bool empty);

/// Status of a change whose record is no longer in the file.
constexpr int ResultsRecordGone = 4;

/// Deletes or replaces (`op`) the record the user was shown, `shownLine`:
/// line CurrentResult when it still holds that text, else the same text
/// where it now is (the nearest such line), and CurrentResult follows it.
/// When another program removed it, nothing changes and the result is
/// ResultsRecordGone. Otherwise as AccessResultsFile.
int ChangeShownResult(int op, const wxString& shownLine);

/// What an edit did to the lines of the results file.
enum class ResultsEdit {
    Gone,     ///< what it was to change is no longer there: nothing is done
    Nothing,  ///< nothing to change: no backup, no write
    Kept,     ///< nothing changed, but the file counts as accessed (backed up when pending)
    Changed,  ///< the lines changed: backed up when pending, then written
};
using ResultsEditor = std::function<ResultsEdit(TextDocument& file)>;

/// Opens the results file as every access does (creating it from its
/// template), holds its lock for writing, lets `edit` change its lines and
/// writes them back, after the backup when BackupPending is set. Returns the
/// status of AccessResultsFile, or ResultsRecordGone.
int ChangeResultsFile(const ResultsEditor& edit);

/// What a results file is to hold after an edit of its bytes: its old
/// bytes when `keepOld`, then `tail`.
struct ResultsBytes {
    bool keepOld = false;
    std::string tail;
};

/// The same for an edit of the file's bytes: `edit` gets what the file
/// holds and says what it is to hold (and may set a failure, which stops
/// the change).
using ResultsBytesEditor =
    std::function<ResultsEdit(const std::string& bytes, ResultsBytes& replacement, FileFailure& failure)>;
int ChangeResultsBytes(const ResultsBytesEditor& edit);

/// The last access that failed: which file, what and why.
const FileFailure& LastResultsProblem();

/// Whether the user was already told of that failure (a change, or a table
/// that cannot be loaded for a reason the user must know).
bool LastResultsProblemTold();

/// What went wrong in the last access that failed, naming the file and the
/// reason, for the user.
wxString ResultsProblemText();

/// The most bytes a results file may have: a file of more cannot make a
/// table that fits in MemoryBound(), every byte being a character of four.
std::uint64_t ResultsFileLimit();
