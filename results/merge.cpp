#include "results/merge.h"

#include "app/numbers.h"
#include "app/state.h"
#include "results/results_file.h"
#include "results/text_document.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_set>

namespace {
// A decimal number and nothing else: sign, digits, a point, an exponent.
bool IsDecimalNumber(std::wstring_view text)
{
    std::size_t i = 0;
    const auto digits = [&] {
        const std::size_t from = i;
        while (i < text.size() && text[i] >= L'0' && text[i] <= L'9')
            ++i;
        return i - from;
    };
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
        ++i;
    std::size_t mantissa = digits();
    if (i < text.size() && text[i] == L'.') {
        ++i;
        mantissa += digits();
    }
    if (mantissa == 0)
        return false;
    if (i < text.size() && (text[i] == L'e' || text[i] == L'E')) {
        ++i;
        if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
            ++i;
        if (digits() == 0)
            return false;
    }
    if (i != text.size())
        return false;
    const std::wstring copy(text);
    return std::isfinite(ParseReal(copy.c_str()));
}

// A field's text as a message quotes it: at most 24 characters.
wxString Quoted(std::wstring_view field)
{
    const std::size_t shown = 24;
    wxString text(field.data(), std::min(field.size(), shown));
    if (field.size() > shown)
        text << wxS("...");
    return wxS("\"") + text + wxS("\"");
}
}  // namespace

wxString RecordProblem(std::wstring_view line)
{
    if (line.empty())
        return wxS("an empty line");
    if (line.size() > MaxRecordLength)
        return wxString::Format(wxS("longer than %zu characters"), MaxRecordLength);
    std::vector<std::wstring_view> fields;
    std::size_t start = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const wchar_t c = line[i];
        if ((c < 0x20 && c != L'\t') || c == 0x7F)
            return wxS("holds a control character");
        if (c == L';') {
            fields.push_back(line.substr(start, i - start));
            start = i + 1;
        }
    }
    fields.push_back(line.substr(start));
    if (fields.size() != RecordFieldCount)
        return wxString::Format(fields.size() == 1 ? wxS("%zu field, not %d") : wxS("%zu fields, not %d"),
                                fields.size(), RecordFieldCount);
    if (!IsDecimalNumber(fields[9]))
        return wxS("the speed points ") + Quoted(fields[9]) + wxS(" are not a number");
    if (!IsDecimalNumber(fields[10]))
        return wxS("the power points ") + Quoted(fields[10]) + wxS(" are not a number");
    if (fields[11] != L"yes" && fields[11] != L"no")
        return wxS("\"Display\" is ") + Quoted(fields[11]) + wxS(", neither yes nor no");
    return wxString();
}

MergeOutcome MergeResults(const std::vector<MergeSource>& sources)
{
    MergeOutcome outcome;
    std::vector<std::wstring> candidates;
    for (const MergeSource& source : sources) {
        TextLines lines;
        lines.Decode(source.bytes.data(), source.bytes.size());
        for (std::size_t n = 0; n < lines.Count(); ++n) {
            const std::wstring_view line = lines.Line(n);
            const wxString problem = RecordProblem(line);
            if (problem.empty())
                candidates.emplace_back(line);
            else
                outcome.refused.push_back({source.name, n + 1, problem});
        }
    }
    if (candidates.empty())
        return outcome;

    std::size_t added = 0, present = 0;
    BackupPending = 1;
    outcome.status = ChangeResultsFile([&](TextDocument& file) {
        std::unordered_set<std::wstring> held;
        held.reserve(file.LineCount() + candidates.size());
        for (std::size_t n = 0; n < file.LineCount(); ++n)
            held.emplace(file.Line(n).wc_str(), file.Line(n).length());
        const wxTextFileType type = file.LineEnding();
        added = present = 0;
        for (const std::wstring& line : candidates) {
            if (!held.insert(line).second) {
                ++present;
                continue;
            }
            file.Insert(wxString(line.data(), line.size()), file.LineCount(), type);
            ++added;
        }
        if (added == 0)
            BackupPending = 0;
        return added == 0 ? ResultsEdit::Nothing : ResultsEdit::Changed;
    });
    if (outcome.status == 0) {
        outcome.added = added;
        outcome.present = present;
        outcome.written = added != 0;
    }
    return outcome;
}
