// The in-memory results table: fixed-width rows, the current record, and the
// speed and power rankings.
#pragma once

#include <wx/string.h>

#include <cstddef>
#include <functional>
#include <string_view>

/// Lines of a results file, by index.
using LineSource = std::function<std::wstring_view(std::size_t)>;

/// Replaces the table with `count` lines: rows of the longest length + 201
/// wide characters, fresh record buffers, and both rankings rebuilt. Returns
/// false, leaving the table as it was, when the table would not fit in memory.
bool LoadResultTable(std::size_t count, const LineSource& line);

/// Fills RecordTitle and the twelve RecordFields from row `index`. A row
/// that does not exist gives empty fields and an empty title.
void SplitResultRecord(std::uint32_t index);

/// The line the table's record buffers make: the twelve fields joined by ";".
wxString JoinRecordFields();

/// Copies at most width - 1 characters of `text` into `buffer` and ends it.
void CopyBounded(wchar_t* buffer, std::size_t width, const wchar_t* text, std::size_t length);
