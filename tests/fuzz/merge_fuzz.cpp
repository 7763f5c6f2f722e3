// Any bytes as a results table and as another table merged into it: the
// merge adds only records, keeps every line the table had, and a second
// merge of the same input adds nothing.
#include "app/state.h"
#include "fuzz_support.h"
#include "results/merge.h"
#include "results/results_file.h"
#include "results/results_table.h"
#include "files/atomic_file.h"
#include "files/text_document.h"

#include <string>
#include <vector>

namespace {
std::vector<std::wstring> Lines(const std::string& bytes)
{
    TextLines lines;
    lines.Decode(bytes.data(), bytes.size());
    std::vector<std::wstring> all;
    for (std::size_t n = 0; n < lines.Count(); ++n)
        all.emplace_back(lines.Line(n));
    return all;
}
}  // namespace

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

    const std::vector<std::wstring> before = Lines(table);
    const MergeOutcome first = MergeResults({MergeSource{wxS("input"), input}});
    FUZZ_CHECK(first.status == 0);
    std::string after;
    FUZZ_CHECK(ReadWholeFile(wxS("cpu_results.csv"), after) == 0);
    const std::vector<std::wstring> now = Lines(after);
    FUZZ_CHECK(now.size() == before.size() + first.added);
    for (std::size_t n = 0; n < before.size(); ++n)
        FUZZ_CHECK(now[n] == before[n]);
    for (std::size_t n = before.size(); n < now.size(); ++n)
        FUZZ_CHECK(RecordProblem(now[n]).empty());
    FUZZ_CHECK(first.added + first.present + first.refused.size() == Lines(input).size());

    const MergeOutcome second = MergeResults({MergeSource{wxS("input"), input}});
    FUZZ_CHECK(second.status == 0 && second.added == 0 && !second.written);
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    return 0;
}
