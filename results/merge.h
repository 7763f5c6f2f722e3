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
    std::size_t line = 0;  ///< from 1
    wxString reason;
};

struct MergeOutcome {
    int status = 0;           ///< as AccessResultsFile
    std::size_t added = 0;    ///< lines appended to the table
    std::size_t present = 0;  ///< lines the table held already
    std::vector<RefusedLine> refused;
    bool written = false;     ///< the table was backed up and written
};

/// Appends every record line of `sources`, in the order read, that the
/// table does not hold yet (exactly, line end aside); lines that are no
/// record are refused and never reach the table. One backup first and one
/// write, under the lock every change of the table takes.
MergeOutcome MergeResults(const std::vector<MergeSource>& sources);
