// Adding the records of other results files to the table.
#pragma once

#include <wx/string.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The text of another results file, read whole.
struct MergeSource {
    wxString name;      ///< how messages name it
    std::string bytes;  ///< in any encoding the program reads
};

/// A line merge refused, or a record it added although its scores look
/// wrong (reported, not refused): where it was and why.
struct MergeNote {
    wxString source;
    std::size_t line = 0;  ///< from 1; 0 for a result document as a whole
    wxString reason;
};

struct MergeOptions {
    /// Refuses result documents whose speed or power run was unsteady, and
    /// transcribed ones (they carry no samples to judge).
    bool steadyOnly = false;
};

/// How many refused lines and implausible records an outcome names; the
/// rest are counted (a file of a million bad lines must not take a million
/// messages' memory).
constexpr std::size_t MergeReasonsKept = 20;

struct MergeOutcome {
    int status = 0;           ///< as AccessResultsFile
    std::size_t added = 0;    ///< lines appended to the table
    std::size_t present = 0;  ///< lines the table held already
    std::size_t documents = 0;  ///< result documents accepted (their lines added or present)
    std::vector<MergeNote> refused;              ///< the first MergeReasonsKept
    std::size_t refusedCount = 0;                ///< all of them
    std::vector<MergeNote> implausible;          ///< of the lines added: the first MergeReasonsKept
    std::size_t implausibleCount = 0;
    /// The transcribed documents whose records were added: they carry no
    /// samples, so nothing but their own word backs their scores.
    std::vector<wxString> transcribed;

    /// Whether the table was backed up and written: it was when, and only
    /// when, lines were added.
    bool Written() const { return added > 0; }

    void Refuse(MergeNote line);
};

/// Appends every record line of `sources`, in the order read, that the
/// table does not hold yet (exactly, line end aside); lines that are no
/// record are refused and never reach the table. A source that is a result
/// document (LooksLikeResultDocument) gives its record line once it has been
/// read and checked, else it is refused as a whole. One backup first and one
/// write, under the lock every change of the table takes.
///
/// Added records are reported as implausible when their power points are
/// above 1.5 x their logical processors x their speed points (a document's
/// record gives those of its machine) or below half their speed points,
/// or when their speed or power points lie more than 3.5 modified Z-scores
/// from those of at least three other records of the same model.
MergeOutcome MergeResults(const std::vector<MergeSource>& sources, const MergeOptions& options = MergeOptions());
