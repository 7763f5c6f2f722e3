// The in-memory results table: fixed-width rows, the current record, and the
// speed and power rankings.
#pragma once

#include "results/record.h"

#include <wx/string.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

/// Lines of a results file, by index.
using LineSource = std::function<std::wstring_view(std::size_t)>;

/// The memory a table of `count` lines whose longest has `longest`
/// characters takes: its rows, the record buffers and both rankings.
std::uint64_t ResultTableBytes(std::size_t count, std::size_t longest);

/// Replaces the table with `count` lines: rows of the longest length + 201
/// wide characters, fresh record buffers, and both rankings rebuilt. Returns
/// false, leaving the table as it was, when the table would not fit in memory
/// or would take more than MemoryBound().
bool LoadResultTable(std::size_t count, const LineSource& line);

/// The record of table row `index`; an empty one (no fields) for a row
/// that does not exist.
ResultRecord TableRecord(std::uint32_t index);

/// Puts `record` into the twelve RecordFields and `title` into RecordTitle,
/// each cut to the row width.
void ShowRecord(const ResultRecord& record, const wxString& title);

/// The record the twelve RecordFields hold.
ResultRecord CurrentRecord();

/// Shows the record of `row` (ShowRecord, titled TitleOf). A null row gives
/// empty fields and an empty title.
void SplitRow(const wchar_t* row);

/// SplitRow of table row `index`; a row that does not exist gives empty
/// fields and an empty title.
void SplitResultRecord(std::uint32_t index);

/// Puts `text` into one record buffer, cut to the row width.
void SetRecordField(RecordField field, const wxString& text);

/// The line the table's record buffers make (JoinRecord of CurrentRecord).
wxString JoinRecordFields();

/// Copies at most width - 1 characters of `text` into `buffer` and ends it.
void CopyBounded(wchar_t* buffer, std::size_t width, const wchar_t* text, std::size_t length);
