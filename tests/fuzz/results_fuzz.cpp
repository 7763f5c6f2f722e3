// Any bytes as cpu_results.csv: load, split every record, then replace,
// append and delete through the file, reloading after each change.
#include "app/state.h"
#include "fuzz_support.h"
#include "results/results_file.h"
#include "results/results_table.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    EnterFuzzProgramDirectory();
    WriteFuzzFile("cpu_results.csv", data, size);
    BackupPending = 1;
    const int loaded = AccessResultsFile(ResultsOpLoad);
    FUZZ_CHECK(loaded == 0 || loaded == 2);
    if (loaded != 0)
        return 0;
    FUZZ_CHECK(RankedCount >= 0 && RankedCount <= ResultLineCount);
    for (int k = 1; k < RankedCount; ++k) {
        FUZZ_CHECK(!(SpeedRanking[k].score > SpeedRanking[k - 1].score));
        FUZZ_CHECK(!(PowerRanking[k].score > PowerRanking[k - 1].score));
    }
    for (int i = 0; i <= ResultLineCount; ++i)
        SplitResultRecord(static_cast<std::uint32_t>(i));

    const int count = ResultLineCount;
    SplitResultRecord(0);
    CurrentResult = 0;
    FUZZ_CHECK(AccessResultsFile(ResultsOpReplace) == 0);
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(ResultLineCount == count);

    FUZZ_CHECK(AccessResultsFile(ResultsOpAppend) == 0);
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(ResultLineCount == count + 1);

    CurrentResult = ResultLineCount - 1;
    FUZZ_CHECK(AccessResultsFile(ResultsOpDelete) == 0);
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(ResultLineCount == count);
    return 0;
}
