// Any bytes as a results table and as another table merged into it: the
// merge adds only records after the lines the table had, keeps the table's
// bytes (a Latin-1 table may become UTF-8 as a whole, when a record needs
// more), and a second merge of the same input adds nothing.
#include "core/state.h"
#include "fuzz_support.h"
#include "results/merge.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <algorithm>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    EnterFuzzProgramDirectory();
    // The first byte says where the table ends and the merged input begins.
    if (size == 0)
        return 0;
    const std::size_t split = (size - 1) * data[0] / 255;
    const std::string table(reinterpret_cast<const char*>(data) + 1, split);
    const std::string input(reinterpret_cast<const char*>(data) + 1 + split, size - 1 - split);
    WriteFuzzFile("cpu_results.csv", reinterpret_cast<const unsigned char*>(table.data()), table.size());

    const FuzzText before(table);
    const MergeOutcome first = MergeResults({MergeSource{wxS("input"), input}});
    // A table ending in a cut UTF-16 or UTF-32 unit takes no line after it.
    if (before.text.EndsInACutUnit() && first.status != 0) {
        FUZZ_CHECK(first.status == 2 && LastResultsProblem().kind == FileFailure::Kind::CutUnit);
        FUZZ_CHECK(ReadFuzzFile("cpu_results.csv") == table);
        return 0;
    }
    FUZZ_CHECK(first.status == 0);
    const FuzzText after(ReadFuzzFile("cpu_results.csv"));
    // Written, after a backup of the table as it was, exactly when lines were added.
    if (first.Written())
        FUZZ_CHECK(ReadFuzzFile("cpu_result.bak") == table);
    else
        FUZZ_CHECK(after.bytes == table);
    FUZZ_CHECK(after.Count() == before.Count() + first.added);
    for (std::size_t n = 0; n < before.Count(); ++n)
        FUZZ_CHECK(after.Line(n) == before.Line(n));
    bool beyondLatin1 = false;
    for (std::size_t n = before.Count(); n < after.Count(); ++n) {
        FUZZ_CHECK(RecordProblem(after.Line(n)).empty());
        beyondLatin1 = beyondLatin1 || std::any_of(after.Line(n).begin(), after.Line(n).end(),
                                                   [](wchar_t c) { return c > 0xFF; });
    }
    if (before.text.Encoding() == TextEncoding::Latin1 && beyondLatin1) {
        FUZZ_CHECK(after.text.Encoding() == TextEncoding::Utf8 && after.text.Exact());
    } else {
        FUZZ_CHECK(StartsWithBytes(after.bytes, before.bytes));
        // An empty table begun by a record that starts with U+FEFF gets a
        // mark, so that the character is not read as one.
        const bool marked = before.bytes.empty() && after.Count() > 0 && !after.Line(0).empty() &&
                            after.Line(0)[0] == 0xFEFF && after.text.Encoding() == TextEncoding::Utf8WithMark;
        FUZZ_CHECK(after.text.Encoding() == before.text.Encoding() || marked);
    }
    // Every refusal is counted; the first ones are named.
    FUZZ_CHECK(first.refused.size() == std::min(first.refusedCount, MergeReasonsKept));
    if (LooksLikeResultDocument(input) || OtherDocumentEncoding(input) != nullptr) {
        // A document gives its one record, or is refused as a whole.
        FUZZ_CHECK(first.added + first.present + first.refusedCount == 1);
        FUZZ_CHECK(first.documents == first.added + first.present);
        FUZZ_CHECK(first.refused.empty() || first.refused[0].line == 0);
    } else {
        const FuzzText merged(input);
        FUZZ_CHECK(first.added + first.present + first.refusedCount == merged.Count());
        FUZZ_CHECK(first.documents == 0);
    }

    const MergeOutcome second = MergeResults({MergeSource{wxS("input"), input}});
    FUZZ_CHECK(second.status == 0 && second.added == 0);
    FUZZ_CHECK(ReadFuzzFile("cpu_results.csv") == after.bytes);
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(static_cast<std::size_t>(ResultLineCount) == after.Count());
    return 0;
}
