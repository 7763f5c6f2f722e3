#include "results/results_table.h"

#include "core/numbers.h"
#include "core/state.h"
#include "config/config_file.h"
#include "files/atomic_file.h"
#include "files/big_block.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <limits>
#include <memory>
#include <new>

namespace {
constexpr std::size_t WidthReserve = 201;  // terminator and 200 characters to spare


double Score(std::wstring_view field)
{
    const double value = ReadNumber(field);
    return std::isnan(value) ? 0.0 : value;  // "nan" is no number for a ranking
}

// Fills the slots of one row. A score counts once the ";" that ends its
// field is seen: the speed (field 9) in a row of eleven fields, the power
// (field 10) in one of twelve; a row of exactly twelve fields whose last is
// "no" is not ranked.
bool RankRow(const wchar_t* row, double index, RankedResult& speed, RankedResult& power)
{
    const RecordView<wchar_t> record = SplitRecord(std::wstring_view(row));
    speed = {index, record.count > FieldPowerPoints ? Score(record[FieldSpeedPoints]) : 0.0};
    power = {index, record.count > FieldDisplay ? Score(record[FieldPowerPoints]) : 0.0};
    // More than eleven ";" leave one in the last field, which is then never "no".
    return !(record.count == RecordFieldCount && record[FieldDisplay] == L"no");
}

// The text of table row `index`, or null when there is no such row.
const wchar_t* Row(std::uint32_t index)
{
    const bool exists = ResultLines && ResultLineWidth > 0 &&
                        index < static_cast<std::uint32_t>(std::max(ResultLineCount, 0));
    return exists ? ResultLines.get() + std::size_t{index} * std::size_t(ResultLineWidth) : nullptr;
}

std::size_t RowWidth()
{
    return ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
}
}  // namespace

void CopyBounded(wchar_t* buffer, std::size_t width, const wchar_t* text, std::size_t length)
{
    if (buffer == nullptr || width == 0)
        return;
    const std::size_t copied = std::min(length, width - 1);
    std::wmemcpy(buffer, text, copied);
    buffer[copied] = L'\0';
}

std::uint64_t ResultTableBytes(std::size_t count, std::size_t longest)
{
    const long double width = static_cast<long double>(longest) + WidthReserve;
    const long double bytes = (static_cast<long double>(count) + 1 + RecordFieldCount) * width * sizeof(wchar_t) +
                              2.0L * static_cast<long double>(count) * sizeof(RankedResult);
    return bytes >= 1.8e19L ? std::numeric_limits<std::uint64_t>::max() : static_cast<std::uint64_t>(bytes);
}

bool LoadResultTable(std::size_t count, const LineSource& line)
{
    std::size_t longest = 0;
    for (std::size_t i = 0; i < count; ++i)
        longest = std::max(longest, line(i).length());

    constexpr std::size_t limit = std::numeric_limits<std::int32_t>::max();
    const std::size_t width = longest + WidthReserve;
    if (longest > limit - WidthReserve || count > limit ||
        (count != 0 && width > std::numeric_limits<std::size_t>::max() / sizeof(wchar_t) / count) ||
        ResultTableBytes(count, longest) > MemoryBound())
        return false;

    auto lines = AllocateBlock<wchar_t>(count * width);
    auto title = AllocateBlock<wchar_t>(width);
    std::unique_ptr<wchar_t[]> fields[RecordFieldCount];
    for (auto& field : fields)
        field = AllocateBlock<wchar_t>(width);
    auto speed = AllocateBlock<RankedResult>(count);
    auto power = AllocateBlock<RankedResult>(count);
    if (!lines || !title || !speed || !power ||
        std::any_of(std::begin(fields), std::end(fields), [](const auto& f) { return !f; }))
        return false;

    std::size_t ranked = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::wstring_view text = line(i);
        wchar_t* row = lines.get() + i * width;
        CopyBounded(row, width, text.data(), text.length());
        if (RankRow(row, static_cast<double>(i), speed[ranked], power[ranked]))
            ++ranked;
    }
    // Descending by score, equal scores in file order.
    const auto higher = [](const RankedResult& a, const RankedResult& b) { return a.score > b.score; };
    std::stable_sort(speed.get(), speed.get() + ranked, higher);
    std::stable_sort(power.get(), power.get() + ranked, higher);

    title[0] = L'\0';
    for (auto& field : fields)
        field[0] = L'\0';

    ResultLines = std::move(lines);
    RecordTitle = std::move(title);
    for (int f = 0; f < RecordFieldCount; ++f)
        RecordFields[f] = std::move(fields[f]);
    SpeedRanking = std::move(speed);
    PowerRanking = std::move(power);
    ResultLineCount = static_cast<std::int32_t>(count);
    ResultLineWidth = static_cast<std::int32_t>(width);
    RankedCount = static_cast<std::int32_t>(ranked);
    // Chart rows made for a narrower table are made anew, by the routine of
    // the configuration that made them (none are made before it has run).
    if (ChartRowsCapacity != 0 && CpuListCount > 0 && std::size_t(CpuListCount) * width > ChartRowsCapacity)
        ApplyChartRows();
    return true;
}

ResultRecord TableRecord(std::uint32_t index)
{
    const wchar_t* row = Row(index);
    return row != nullptr ? ReadRecord(row) : ResultRecord();
}

void ShowRecord(const ResultRecord& record, const wxString& title)
{
    const std::size_t width = RowWidth();
    if (!RecordTitle || width == 0)
        return;
    std::wmemset(RecordTitle.get(), L'\0', width);
    for (auto& field : RecordFields)
        if (field)
            std::wmemset(field.get(), L'\0', width);
    for (int f = 0; f < RecordFieldCount; ++f)
        CopyBounded(RecordFields[f].get(), width, record.fields[f].wc_str(), record.fields[f].length());
    CopyBounded(RecordTitle.get(), width, title.wc_str(), title.length());
}

ResultRecord CurrentRecord()
{
    ResultRecord record;
    record.count = RecordFieldCount;
    for (int f = 0; f < RecordFieldCount; ++f)
        if (RecordFields[f])
            record.fields[f] = RecordFields[f].get();
    return record;
}

void SplitRow(const wchar_t* row)
{
    if (row == nullptr) {
        ShowRecord(ResultRecord(), wxString());
        return;
    }
    const ResultRecord record = ReadRecord(row);
    ShowRecord(record, TitleOf(record));
}

void SplitResultRecord(std::uint32_t index)
{
    SplitRow(Row(index));
}

void SetRecordField(RecordField field, const wxString& text)
{
    CopyBounded(RecordFields[field].get(), RowWidth(), text.wc_str(), text.length());
}

wxString JoinRecordFields()
{
    return JoinRecord(CurrentRecord());
}
