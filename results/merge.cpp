#include "results/merge.h"

#include "app/numbers.h"
#include "app/state.h"
#include "files/big_block.h"
#include "results/results_file.h"
#include "files/text_document.h"

#include <wx/textbuf.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

namespace {
// A decimal number and nothing else: sign, digits, a point, an exponent.
template <typename Char>
bool IsDecimalNumber(std::basic_string_view<Char> text)
{
    std::size_t i = 0;
    const auto digits = [&] {
        const std::size_t from = i;
        while (i < text.size() && text[i] >= Char('0') && text[i] <= Char('9'))
            ++i;
        return i - from;
    };
    const auto sign = [&] {
        if (i < text.size() && (text[i] == Char('+') || text[i] == Char('-')))
            ++i;
    };
    sign();
    std::size_t mantissa = digits();
    if (i < text.size() && text[i] == Char('.')) {
        ++i;
        mantissa += digits();
    }
    if (mantissa == 0)
        return false;
    bool exponent = false;
    if (i < text.size() && (text[i] == Char('e') || text[i] == Char('E'))) {
        ++i;
        sign();
        if (digits() == 0)
            return false;
        exponent = true;
    }
    if (i != text.size())
        return false;
    // Only an exponent or hundreds of digits can leave the range of a real.
    if (!exponent && text.size() < 300)
        return true;
    const std::wstring copy(text.begin(), text.end());  // ASCII by now
    return std::isfinite(ParseReal(copy.c_str()));
}

// A field's text as a message quotes it: at most 24 characters.
wxString Quoted(const wxString& field)
{
    const std::size_t shown = 24;
    wxString text = field.Left(shown);
    if (field.length() > shown)
        text << wxS("...");
    return wxS("\"") + text + wxS("\"");
}

wxString Text(std::wstring_view text)
{
    return wxString(text.data(), text.size());
}

wxString Text(std::string_view utf8)
{
    return wxString::FromUTF8(utf8.data(), utf8.size());
}

// Whether `c` starts a character: in UTF-8 text a byte that does not
// continue one, in decoded text every element.
bool StartsCharacter(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

bool StartsCharacter(wchar_t)
{
    return true;
}

// The checks of a record, on decoded text or on UTF-8 bytes alike: every
// character they look at is ASCII, which UTF-8 never uses inside another.
template <typename Char>
wxString ProblemOf(std::basic_string_view<Char> line)
{
    if (line.empty())
        return wxS("an empty line");
    std::size_t characters = 0, fields = 1;
    std::size_t fieldStart[RecordFieldCount] = {0};
    for (std::size_t i = 0; i < line.size(); ++i) {
        const Char c = line[i];
        characters += StartsCharacter(c) ? 1 : 0;
        if ((c >= 0 && c < 0x20 && c != Char('\t')) || c == 0x7F)
            return wxS("holds a control character");
        if (c == Char(';')) {
            if (fields < RecordFieldCount)
                fieldStart[fields] = i + 1;
            ++fields;
        }
    }
    if (characters > MaxRecordLength)
        return wxString::Format(wxS("longer than %zu characters"), MaxRecordLength);
    if (fields != RecordFieldCount)
        return wxString::Format(fields == 1 ? wxS("%zu field, not %d") : wxS("%zu fields, not %d"), fields,
                                RecordFieldCount);
    const auto field = [&](int f) {
        const std::size_t end = f + 1 < RecordFieldCount ? fieldStart[f + 1] - 1 : line.size();
        return line.substr(fieldStart[f], end - fieldStart[f]);
    };
    if (!IsDecimalNumber(field(9)))
        return wxS("the speed points ") + Quoted(Text(field(9))) + wxS(" are not a number");
    if (!IsDecimalNumber(field(10)))
        return wxS("the power points ") + Quoted(Text(field(10))) + wxS(" are not a number");
    const std::basic_string_view<Char> display = field(11);
    const bool yes = display.size() == 3 && display[0] == Char('y') && display[1] == Char('e') && display[2] == Char('s');
    const bool no = display.size() == 2 && display[0] == Char('n') && display[1] == Char('o');
    if (!yes && !no)
        return wxS("\"Display\" is ") + Quoted(Text(display)) + wxS(", neither yes nor no");
    return wxString();
}

void AppendUtf8(std::string& out, std::wstring_view text)
{
    for (const wchar_t c : text) {
        const auto code = static_cast<char32_t>(c);
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            out += static_cast<char>(0xE0 | (code >> 12));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (code >> 18));
            out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
}

// A text's lines as UTF-8, read as the file reader reads it: strict UTF-8
// (after its mark) is taken as it is, anything else decoded and encoded.
class Utf8Lines {
public:
    /// False when the bytes were not strict UTF-8 and had to be decoded.
    bool Read(const std::string& bytes)
    {
        std::size_t from = bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
        const bool marked = from == 3;
        const bool utf8 = (marked || bytes.empty() ||
                           (static_cast<unsigned char>(bytes[0]) < 0xFE && bytes[0] != 0)) &&
                          DecodeStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()) + from,
                                           bytes.size() - from, nullptr) != std::size_t(-1);
        if (utf8) {
            m_data = bytes.data() + from;
            SplitIntoLines(m_data, bytes.size() - from, m_lines);
            return true;
        }
        TextLines text;
        text.Decode(bytes.data(), bytes.size());
        m_owned.clear();
        m_lines.clear();
        for (std::size_t n = 0; n < text.Count(); ++n) {
            const std::size_t start = m_owned.size();
            AppendUtf8(m_owned, text.Line(n));
            m_lines.push_back({start, m_owned.size() - start, text.Type(n)});
        }
        m_data = m_owned.data();
        return false;
    }

    std::size_t Count() const { return m_lines.size(); }
    std::string_view Line(std::size_t n) const { return {m_data + m_lines[n].start, m_lines[n].length}; }
    wxTextFileType Type(std::size_t n) const { return m_lines[n].type; }
    wxTextFileType LineEnding() const
    {
        return MostCommonLineEnd(Count(), [this](std::size_t n) { return Type(n); });
    }

private:
    std::string m_owned;
    const char* m_data = nullptr;
    std::vector<LineSpan> m_lines;
};

// Lines by their text: an open-addressing set of views, for hundreds of
// thousands of lines without a node each.
template <typename View>
class LineSet {
public:
    explicit LineSet(std::size_t expected)
    {
        std::size_t capacity = 16;
        while (capacity < 2 * expected)
            capacity <<= 1;
        m_slots.reserve(capacity);
        AdviseHugePages(m_slots.data(), capacity * sizeof(View));
        m_slots.resize(capacity);
        m_used.resize(capacity);
    }

    /// False when an equal line is in the set already.
    bool Insert(View line)
    {
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = std::hash<View>{}(line) & mask;; i = (i + 1) & mask) {
            if (!m_used[i]) {
                m_used[i] = 1;
                m_slots[i] = line;
                return true;
            }
            if (m_slots[i] == line)
                return false;
        }
    }

private:
    std::vector<View> m_slots;
    std::vector<unsigned char> m_used;
};

std::string End(wxTextFileType type)
{
    return wxString(wxTextBuffer::GetEOL(type)).ToStdString();
}

// The new lines after the table's bytes, as a text file writes them: the
// bytes untouched, a line end after an unended last line, each new line
// with the table's line end. `encode` appends one line in the table's
// encoding, or returns false when that encoding cannot hold it.
template <typename Lines, typename Encode>
bool Extend(const Lines& table, const std::vector<std::string_view>& lines, Encode encode, ResultsBytes& out)
{
    const std::string end = End(table.LineEnding());
    out.keepOld = true;
    out.tail.clear();
    out.tail.reserve(end.size() * (lines.size() + 1) +
                     std::accumulate(lines.begin(), lines.end(), std::size_t{0},
                                     [](std::size_t sum, std::string_view line) { return sum + line.size(); }));
    AdviseHugePages(out.tail.data(), out.tail.capacity());
    if (table.Count() > 0 && table.Type(table.Count() - 1) == wxTextFileType_None)
        out.tail += end;
    for (const std::string_view line : lines) {
        if (!encode(line, out.tail))
            return false;
        out.tail += end;
    }
    return true;
}

// A table that is not UTF-8 (Latin-1, UTF-16, text that is not what its
// mark says): compared as decoded text, written as the text file writes.
ResultsEdit AppendToDecodedTable(const std::string& bytes, const std::vector<std::string_view>& candidates,
                                 std::vector<std::string_view>& added, std::size_t& present, ResultsBytes& out)
{
    TextLines table;
    table.Decode(bytes.data(), bytes.size());
    std::vector<std::wstring> wide(candidates.size());
    LineSet<std::wstring_view> held(table.Count() + candidates.size());
    for (std::size_t n = 0; n < table.Count(); ++n)
        held.Insert(table.Line(n));
    for (std::size_t k = 0; k < candidates.size(); ++k) {
        wide[k] = Text(candidates[k]).ToStdWstring();
        if (held.Insert(wide[k]))
            added.push_back(candidates[k]);
        else
            ++present;
    }
    if (added.empty())
        return ResultsEdit::Nothing;
    if (table.TextEncoding() == TextLines::Encoding::Latin1) {
        const auto latin1 = [](std::string_view line, std::string& to) {
            const std::wstring text = Text(line).ToStdWstring();
            for (const wchar_t c : text) {
                if (static_cast<char32_t>(c) > 0xFF)
                    return false;  // the whole file then becomes UTF-8
                to += static_cast<char>(c);
            }
            return true;
        };
        if (Extend(table, added, latin1, out))
            return ResultsEdit::Changed;
    }
    TextDocument file;
    if (!file.Open(ResultsFilePath))
        return ResultsEdit::Nothing;
    for (const std::string_view line : added)
        file.Insert(Text(line), file.LineCount(), file.LineEnding());
    out.keepOld = false;
    return file.Encode(out.tail) ? ResultsEdit::Changed : ResultsEdit::Nothing;
}
}  // namespace

wxString RecordProblem(std::wstring_view line)
{
    return ProblemOf(line);
}

MergeOutcome MergeResults(const std::vector<MergeSource>& sources)
{
    MergeOutcome outcome;
    std::vector<Utf8Lines> texts(sources.size());
    std::vector<std::string_view> candidates;
    for (std::size_t s = 0; s < sources.size(); ++s) {
        Utf8Lines& lines = texts[s];
        lines.Read(sources[s].bytes);
        for (std::size_t n = 0; n < lines.Count(); ++n) {
            const std::string_view line = lines.Line(n);
            const wxString problem = ProblemOf(line);
            if (problem.empty())
                candidates.push_back(line);
            else
                outcome.refused.push_back({sources[s].name, n + 1, problem});
        }
    }
    if (candidates.empty())
        return outcome;

    std::size_t present = 0;
    std::vector<std::string_view> added;
    BackupPending = 1;
    outcome.status = ChangeResultsBytes([&](const std::string& bytes, ResultsBytes& replacement) {
        present = 0;
        added.clear();
        Utf8Lines table;
        ResultsEdit result;
        if (table.Read(bytes)) {
            // Equal text is equal UTF-8: the lines are compared as bytes.
            LineSet<std::string_view> held(table.Count() + candidates.size());
            for (std::size_t n = 0; n < table.Count(); ++n)
                held.Insert(table.Line(n));
            for (const std::string_view line : candidates) {
                if (held.Insert(line))
                    added.push_back(line);
                else
                    ++present;
            }
            const auto utf8 = [](std::string_view line, std::string& to) {
                to.append(line);
                return true;
            };
            result = added.empty() ? ResultsEdit::Nothing
                                   : (Extend(table, added, utf8, replacement), ResultsEdit::Changed);
        } else {
            result = AppendToDecodedTable(bytes, candidates, added, present, replacement);
        }
        if (result == ResultsEdit::Nothing) {
            added.clear();
            BackupPending = 0;
        }
        return result;
    });
    if (outcome.status == 0) {
        outcome.added = added.size();
        outcome.present = present;
        outcome.written = !added.empty();
    }
    return outcome;
}
