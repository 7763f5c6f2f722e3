#include "results/search.h"

#include "core/state.h"
#include "results/results_table.h"

#include <limits>
#include <new>

bool LineMatches(const wchar_t* line, const wxString& lowerText)
{
    return wxString(line).Lower().find(lowerText) != wxString::npos;
}

void SetSearchText(const wxString& text)
{
    const wxString lower = text.Lower();
    SearchText.reset(new wchar_t[lower.length() + 1]);
    CopyBounded(SearchText.get(), lower.length() + 1, lower.wc_str(), lower.length());
}

void FindResults()
{
    const wxString text = SearchText ? wxString(SearchText.get()) : wxString();
    const std::size_t width = ResultLineWidth > 0 ? static_cast<std::size_t>(ResultLineWidth) : 0;
    const std::int32_t rows = ResultLines ? ResultLineCount : 0;
    const auto row = [&](std::int32_t i) { return ResultLines.get() + std::size_t(i) * width; };

    std::int32_t hits = 0;
    for (std::int32_t i = 0; i < rows; ++i)
        if (LineMatches(row(i), text))
            ++hits;

    SearchHits.reset(new (std::nothrow) wchar_t[std::size_t(hits) * width]);
    SearchHitCount = SearchHits ? hits : 0;
    SearchHitWidth = width;
    std::int32_t j = 0;
    for (std::int32_t i = 0; i < rows && j < SearchHitCount; ++i)
        if (LineMatches(row(i), text))
            CopyBounded(SearchHits.get() + std::size_t(j++) * width, width, row(i), std::wcslen(row(i)));
}
