// tarnwick-cli merge: other tables' records and result documents added.
#include "cli/command.h"
#include "cli/options.h"
#include "cli/report.h"
#include "files/atomic_file.h"
#include "files/descriptor.h"
#include "files/path_text.h"
#include "results/merge.h"
#include "results/results_file.h"

#include <wx/chartype.h>
#include <wx/string.h>

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace cli {
// Reads an input to merge whole, at most `limit` bytes; 0 or the errno
// (EFBIG when there is more).
int ReadInputFile(const wxString& file, std::string& bytes, std::size_t limit)
{
    if (file == wxS("-"))
        return ReadAll(STDIN_FILENO, bytes, limit);
    const Descriptor input(::open(PathToBytes(file).c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    if (!input.Valid())
        return errno;
    struct stat info {};
    int error = ::fstat(input.Get(), &info) != 0 ? errno : S_ISDIR(info.st_mode) ? EISDIR : 0;
    if (error == 0)
        error = ReadAll(input.Get(), bytes, limit);
    return error;
}

// Every file read whole, with a size bound, before the table is touched:
// one that cannot be read stops the merge with the table unchanged.
int RunMerge(const Options& options)
{
    std::vector<MergeSource> sources;
    const std::uint64_t limit = ResultsFileLimit();
    for (const wxString& file : options.files) {
        MergeSource source;
        source.name = file == wxS("-") ? wxString(wxS("(standard input)")) : file;
        const int error = ReadInputFile(file, source.bytes, limit);
        if (error == EFBIG) {
            std::fprintf(stderr, "tarnwick-cli: %s is too large to merge (more than %.1f MB); the results table is "
                                 "unchanged\n",
                         Utf8(source.name).c_str(), double(limit) / 1e6);
            return 1;
        }
        if (error != 0) {
            std::fprintf(stderr, "tarnwick-cli: %s could not be read (%s); the results table is unchanged\n",
                         Utf8(source.name).c_str(), Utf8(ErrorText(error)).c_str());
            return 1;
        }
        sources.push_back(std::move(source));
    }

    // A table that cannot be changed is told by the file routine: which
    // file, and why.
    MergeOptions mergeOptions;
    mergeOptions.steadyOnly = options.steadyOnly;
    const MergeOutcome outcome = MergeResults(sources, mergeOptions);
    if (outcome.status != 0) {
        HintAfterRefusal();
        return 1;
    }
    // Where a refused line or an implausible record is: the file, and the
    // line when it is one of a results file.
    const auto place = [](const wxString& source, std::size_t line) {
        return line == 0 ? Utf8(source) : Utf8(source) + ":" + std::to_string(line);
    };
    Report report(options.json);
    report["added"] = outcome.added;
    report["present"] = outcome.present;
    report["documents"] = outcome.documents;
    // At most MergeReasonsKept reasons of each kind are named, then counted.
    const auto list = [&](const char* member, const char* what, const char* rest, const std::vector<MergeNote>& lines,
                          std::size_t count) {
        report[member] = nlohmann::ordered_json::array();
        for (const MergeNote& line : lines) {
            report[member].push_back(
                {{"file", ShownUtf8(line.source)}, {"line", line.line}, {"reason", ShownUtf8(line.reason)}});
            if (!options.json)
                std::fprintf(stderr, "tarnwick-cli: %s: %s: %s\n", place(line.source, line.line).c_str(), what,
                             Utf8(line.reason).c_str());
        }
        if (count > lines.size() && !options.json)
            std::fprintf(stderr, "tarnwick-cli: and %zu more %s\n", count - lines.size(), rest);
    };
    list("refused", "refused", "refused", outcome.refused, outcome.refusedCount);
    report["refusedCount"] = outcome.refusedCount;
    list("implausible", "looks implausible", "that look implausible", outcome.implausible, outcome.implausibleCount);
    report["implausibleCount"] = outcome.implausibleCount;
    report["transcribed"] = nlohmann::ordered_json::array();
    for (const wxString& name : outcome.transcribed)
        report["transcribed"].push_back(ShownUtf8(name));
    report["written"] = outcome.Written();
    std::string summary = std::to_string(outcome.added) + " added, " + std::to_string(outcome.present) +
                          " already present, " + std::to_string(outcome.refusedCount) + " refused";
    if (outcome.implausibleCount > 0)
        summary += ", " + std::to_string(outcome.implausibleCount) + " implausible";
    // A transcribed document carries no samples: only its word backs it.
    if (!outcome.transcribed.empty()) {
        summary += ", " + std::to_string(outcome.transcribed.size()) + " transcribed (";
        for (std::size_t k = 0; k < outcome.transcribed.size() && k < MergeReasonsKept; ++k)
            summary += (k == 0 ? "" : ", ") + Utf8(outcome.transcribed[k]);
        if (outcome.transcribed.size() > MergeReasonsKept)
            summary += " and " + std::to_string(outcome.transcribed.size() - MergeReasonsKept) + " more";
        summary += ")";
    }
    report.Line(summary);
    report.Print();
    // The table was written either way; --strict tells a script that not
    // everything was taken, or that something was taken on its word alone.
    return options.strict && (outcome.refusedCount > 0 || !outcome.transcribed.empty()) ? UnsteadyExit : 0;
}
}  // namespace cli
