// Any bytes as a result document: reading either refuses them with a reason
// or gives a document that writes a text read back alike (and written again
// the same); merged into a table, a document refused leaves the table as it
// was, one accepted adds its record line, and one whose runs were unsteady
// is refused when only steady runs may join.
#include "files/encoding.h"
#include "fuzz_support.h"
#include "results/merge.h"
#include "results/result_document.h"
#include "results/results_file.h"

#include <string>

namespace {
bool IsText(const std::string& message)
{
    return !message.empty() && IsStrictUtf8(reinterpret_cast<const unsigned char*>(message.data()), message.size());
}

bool Steady(const ResultDocument& document)
{
    return !document.transcribed && document.speed.verdict.steady && document.power.verdict.steady;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    EnterFuzzProgramDirectory();
    const std::string bytes(reinterpret_cast<const char*>(data), size);

    ResultDocument document;
    const std::string problem = ReadResultDocument(bytes, document);
    std::string check;
    if (problem.empty()) {
        FUZZ_CHECK(LooksLikeResultDocument(bytes));
        check = CheckResultDocument(document);
        FUZZ_CHECK(check.empty() || IsText(check));
        const std::string written = WriteResultDocument(document);
        ResultDocument again;
        const std::string reread = ReadResultDocument(written, again);
        if (!reread.empty())
            std::fprintf(stderr, "written document refused: %s\n", reread.c_str());
        FUZZ_CHECK(reread.empty());
        FUZZ_CHECK(WriteResultDocument(again) == written);
        FUZZ_CHECK(CheckResultDocument(again) == check);
        FUZZ_CHECK(again.record == document.record);
        FUZZ_CHECK(again.speed.points == document.speed.points && again.power.points == document.power.points);
        FUZZ_CHECK(again.speed.verdict.reasons == document.speed.verdict.reasons);
        FUZZ_CHECK(again.power.verdict.reasons == document.power.verdict.reasons);
    } else {
        FUZZ_CHECK(IsText(problem));
    }
    if (!LooksLikeResultDocument(bytes))
        return 0;

    // As a source of a merge into an empty table.
    WriteFuzzFile("cpu_results.csv", nullptr, 0);
    const bool accepted = problem.empty() && check.empty();
    const MergeOutcome outcome = MergeResults({MergeSource{wxS("input"), bytes}});
    FUZZ_CHECK(outcome.status == 0);
    if (!accepted) {
        FUZZ_CHECK(outcome.refused.size() == 1 && outcome.refused[0].line == 0 && !outcome.refused[0].reason.empty());
        FUZZ_CHECK(outcome.refused[0].reason.utf8_string() == (problem.empty() ? check : problem));
        FUZZ_CHECK(outcome.documents == 0 && outcome.added == 0);
        FUZZ_CHECK(ReadFuzzFile("cpu_results.csv").empty());
        return 0;
    }
    FUZZ_CHECK(outcome.refused.empty() && outcome.documents == 1 && outcome.added == 1);
    const FuzzText table(ReadFuzzFile("cpu_results.csv"));
    FUZZ_CHECK(table.Count() == 1);
    FUZZ_CHECK(table.Line(0) == wxString::FromUTF8(document.record).ToStdWstring());
    for (const MergeNote& finding : outcome.implausible)
        FUZZ_CHECK(finding.line == 0 && !finding.reason.empty());

    WriteFuzzFile("cpu_results.csv", nullptr, 0);
    const MergeOutcome steady = MergeResults({MergeSource{wxS("input"), bytes}}, MergeOptions{true});
    FUZZ_CHECK(steady.status == 0);
    FUZZ_CHECK(steady.documents == (Steady(document) ? 1u : 0u));
    FUZZ_CHECK(steady.refused.size() == (Steady(document) ? 0u : 1u));
    FUZZ_CHECK(steady.added == steady.documents);
    return 0;
}
