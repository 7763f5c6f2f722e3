// Any bytes as cpu_results.csv: load, split every record, then append,
// delete and replace through the file, reloading after each change. Lines a
// change does not touch keep their bytes exactly.
#include "core/state.h"
#include "files/encoding.h"
#include "fuzz_support.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <algorithm>
#include <string>

namespace {
// Whether the record of `line` is split and joined back to the same text:
// twelve fields or more (the last takes every ";" after the eleventh), and
// no NUL, where a row ends.
bool JoinsBack(std::wstring_view line)
{
    return std::count(line.begin(), line.end(), L';') >= RecordFieldCount - 1 &&
           line.find(L'\0') == std::wstring_view::npos;
}

// Whether no change may write `record` (a control character, a line
// separator or a direction control in it): such a change is refused as a
// whole, the file as it was.
bool Refused(const std::wstring& record)
{
    return !RefusedCharacterIn(record).empty();
}

// Replaces record `index` by itself: every other line keeps its bytes, and
// the record's own text is written again.
void ReplaceByItself(int index)
{
    const FuzzText before(ReadFuzzFile("cpu_results.csv"));
    FUZZ_CHECK(before.Count() == static_cast<std::size_t>(ResultLineCount));
    SplitResultRecord(static_cast<std::uint32_t>(index));
    const std::wstring record = JoinRecordFields().ToStdWstring();
    CurrentResult = index;
    if (Refused(record)) {
        FUZZ_CHECK(AccessResultsFile(ResultsOpReplace) == 2);
        FUZZ_CHECK(LastResultsProblem().kind == FileFailure::Kind::Refused);
        FUZZ_CHECK(ReadFuzzFile("cpu_results.csv") == before.bytes);
        return;
    }
    FUZZ_CHECK(AccessResultsFile(ResultsOpReplace) == 0);

    const FuzzText after(ReadFuzzFile("cpu_results.csv"));
    FUZZ_CHECK(after.Count() == before.Count());
    const std::size_t at = static_cast<std::size_t>(index);
    for (std::size_t n = 0; n < before.Count(); ++n)
        if (n != at)
            FUZZ_CHECK(KeptLine(before, n, after, n));
    // New text can only make a Latin-1 file UTF-8, by dropping the bytes
    // that were no UTF-8.
    const TextEncoding was = before.text.Encoding(), is = after.text.Encoding();
    FUZZ_CHECK(is == was || (was == TextEncoding::Latin1 && is == TextEncoding::Utf8));
    if (is == was)
        FUZZ_CHECK(after.Line(at) == record);
    if (JoinsBack(before.Line(at)) && before.text.Exact(at))
        FUZZ_CHECK(after.Content(at) == before.Content(at));

    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(static_cast<std::size_t>(ResultLineCount) == before.Count());
}
}  // namespace

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
    // An append keeps the file's bytes and adds the record after them,
    // unless the record needs more than a Latin-1 file holds: then the file
    // becomes UTF-8 as a whole, its lines the same text.
    SplitResultRecord(0);
    const FuzzText before(ReadFuzzFile("cpu_results.csv"));
    const std::wstring record = JoinRecordFields().ToStdWstring();
    std::string latin1;
    const bool anew = before.text.Encoding() == TextEncoding::Latin1 &&
                      !EncodeText(record, TextEncoding::Latin1, latin1);
    // The record is looked at before the file.
    if (Refused(record)) {
        FUZZ_CHECK(AccessResultsFile(ResultsOpAppend) == 2);
        FUZZ_CHECK(LastResultsProblem().kind == FileFailure::Kind::Refused);
        FUZZ_CHECK(ReadFuzzFile("cpu_results.csv") == before.bytes);
        return 0;
    }
    if (before.text.EndsInACutUnit()) {
        // A table ending in a cut UTF-16 or UTF-32 unit takes no line after
        // it: refused, the file as it was.
        FUZZ_CHECK(AccessResultsFile(ResultsOpAppend) == 2);
        FUZZ_CHECK(LastResultsProblem().kind == FileFailure::Kind::CutUnit);
        FUZZ_CHECK(ReadFuzzFile("cpu_results.csv") == before.bytes);
        if (count > 0)
            ReplaceByItself(count - 1);
        return 0;
    }
    FUZZ_CHECK(AccessResultsFile(ResultsOpAppend) == 0);
    const FuzzText appended(ReadFuzzFile("cpu_results.csv"));
    FUZZ_CHECK(appended.Count() == before.Count() + 1);
    for (std::size_t n = 0; n < before.Count(); ++n)
        FUZZ_CHECK(appended.Line(n) == before.Line(n));
    FUZZ_CHECK(appended.Line(before.Count()) == record);
    if (anew)
        FUZZ_CHECK(appended.text.Encoding() == TextEncoding::Utf8 && appended.text.Exact());
    else
        FUZZ_CHECK(StartsWithBytes(appended.bytes, before.bytes));
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(ResultLineCount == count + 1);

    // Deleting the record appended leaves every other line as it was.
    CurrentResult = ResultLineCount - 1;
    FUZZ_CHECK(AccessResultsFile(ResultsOpDelete) == 0);
    const FuzzText deleted(ReadFuzzFile("cpu_results.csv"));
    FUZZ_CHECK(deleted.Count() == before.Count());
    for (std::size_t n = 0; n < deleted.Count(); ++n)
        FUZZ_CHECK(KeptLine(appended, n, deleted, n));
    FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
    FUZZ_CHECK(ResultLineCount == count);

    if (count > 0) {
        ReplaceByItself(0);
        if (count > 1)
            ReplaceByItself(count - 1);
    } else {
        // No record to replace: the file is not changed.
        const std::string unchanged = ReadFuzzFile("cpu_results.csv");
        SplitResultRecord(0);
        CurrentResult = 0;
        FUZZ_CHECK(AccessResultsFile(ResultsOpReplace) == 0);
        FUZZ_CHECK(ReadFuzzFile("cpu_results.csv") == unchanged);
        FUZZ_CHECK(AccessResultsFile(ResultsOpLoad) == 0);
        FUZZ_CHECK(ResultLineCount == 0);
    }
    return 0;
}
