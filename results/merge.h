// Adding the records of other results files to the table.
#pragma once

#include <wx/string.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The longest line taken as a record: a longer one would widen every row
/// of the table by as much.
constexpr std::size_t MaxRecordLength = 4096;

/// Why `line` is not a record (twelve fields; speed and power decimal
/// numbers; "Display" yes or no; no control characters), or an empty text
/// when it is one.
wxString RecordProblem(std::wstring_view line);

/// The text of another results file, read whole.
struct MergeSource {
    wxString name;      ///< how messages name it
    std::string bytes;  ///< in any encoding the program reads
};

struct RefusedLine {
    wxString source;
    std::size_t line = 0;  ///< from 1; 0 for a result document refused as a whole
    wxString reason;
};

/// A record added although its scores look wrong: reported, not refused.
struct ImplausibleRecord {
    wxString source;
    std::size_t line = 0;  ///< from 1; 0 for a result document
    wxString reason;
};

struct MergeOptions {
    /// Refuses result documents whose speed or power run was unsteady, and
    /// transcribed ones (they carry no samples to judge).
    bool steadyOnly = false;
};

struct MergeOutcome {
    int status = 0;           ///< as AccessResultsFile
    std::size_t added = 0;    ///< lines appended to the table
    std::size_t present = 0;  ///< lines the table held already
    std::size_t documents = 0;  ///< result documents accepted (their lines added or present)
    std::vector<RefusedLine> refused;
    std::vector<ImplausibleRecord> implausible;  ///< of the lines added
    bool written = false;     ///< the table was backed up and written
};

/// Appends every record line of `sources`, in the order read, that the
/// table does not hold yet (exactly, line end aside); lines that are no
/// record are refused and never reach the table. A source that is a result
/// document (LooksLikeResultDocument) gives its record line once it has been
/// read and checked, else it is refused as a whole. One backup first and one
/// write, under the lock every change of the table takes.
///
/// Added records are reported as implausible when their power points are
/// above 1.5 x threads x their speed points (threads: a document's power
/// threads, a line's logical processors) or below half their speed points,
/// or when their speed or power points lie more than 3.5 modified Z-scores
/// from those of at least three other records of the same model.
MergeOutcome MergeResults(const std::vector<MergeSource>& sources, const MergeOptions& options = MergeOptions());
