#include "results/merge.h"

#include "core/numbers.h"
#include "core/state.h"
#include "files/atomic_file.h"
#include "files/big_block.h"
#include "files/encoding.h"
#include "files/text_document.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <wx/textbuf.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <type_traits>
#include <unordered_map>

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

// A decimal number below zero ("-0" is none).
template <typename Char>
bool IsNegative(std::basic_string_view<Char> number)
{
    if (number.empty() || number[0] != Char('-'))
        return false;
    const std::wstring copy(number.begin(), number.end());  // ASCII by now
    return ParseReal(copy.c_str()) < 0;
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

// Whether `c` may start a character a record may not hold: a quick look
// before the exact one (RefusedCharacterIn).
bool MayBeRefused(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F || byte == 0xC2 || byte == 0xE2;  // C0, DEL; C1; U+2028 to U+2069
}

bool MayBeRefused(wchar_t c)
{
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || (c >= 0x2028 && c <= 0x2069);
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
        if (MayBeRefused(c)) {
            const std::string refused = RefusedCharacterIn(line.substr(i, sizeof(Char) == 1 ? 3 : 1));
            if (!refused.empty())
                return wxS("holds ") + wxString::FromUTF8(refused);
        }
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
    if (IsNegative(field(9)))
        return wxS("the speed points ") + Quoted(Text(field(9))) + wxS(" are negative");
    if (!IsDecimalNumber(field(10)))
        return wxS("the power points ") + Quoted(Text(field(10))) + wxS(" are not a number");
    const std::basic_string_view<Char> display = field(11);
    const bool yes = display.size() == 3 && display[0] == Char('y') && display[1] == Char('e') && display[2] == Char('s');
    const bool no = display.size() == 2 && display[0] == Char('n') && display[1] == Char('o');
    if (!yes && !no)
        return wxS("\"Display\" is ") + Quoted(Text(display)) + wxS(", neither yes nor no");
    return wxString();
}

// A text's lines as UTF-8, read as the file reader reads it: strict UTF-8
// (after its mark) is taken as it is, anything else decoded and encoded.
class Utf8Lines {
public:
    /// False when the bytes were not strict UTF-8 and had to be decoded.
    bool Read(const std::string& bytes)
    {
        m_inexact.clear();
        if (IsStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) {
            const std::size_t from = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
            m_data = bytes.data() + from;
            SplitByteLines(m_data, bytes.size() - from, m_lines);
            m_encoding = from == 3 ? TextEncoding::Utf8WithMark : TextEncoding::Utf8;
            return true;
        }
        DecodedText text;
        text.Decode(bytes.data(), bytes.size());
        m_encoding = text.Encoding();
        m_owned.clear();
        m_lines.clear();
        for (std::size_t n = 0; n < text.Count(); ++n) {
            const std::size_t start = m_owned.size();
            EncodeText(text.Line(n), TextEncoding::Utf8, m_owned);
            m_lines.push_back({start, m_owned.size() - start, text.Type(n)});
            if (!text.Exact(n))
                m_inexact.push_back(n);
        }
        m_data = m_owned.data();
        return false;
    }

    std::size_t Count() const { return m_lines.size(); }
    std::string_view Line(std::size_t n) const { return {m_data + m_lines[n].start, m_lines[n].length}; }
    wxTextFileType Type(std::size_t n) const { return m_lines[n].type; }
    /// The lines that held units that decode to no character, in order.
    const std::vector<std::size_t>& Inexact() const { return m_inexact; }
    TextEncoding Encoding() const { return m_encoding; }
    wxTextFileType LineEnding() const
    {
        return MostCommonLineEnd(Count(), [this](std::size_t n) { return Type(n); });
    }

private:
    std::string m_owned;
    const char* m_data = nullptr;
    std::vector<ByteLine> m_lines;
    std::vector<std::size_t> m_inexact;
    TextEncoding m_encoding = TextEncoding::Utf8;
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

// A line to be merged: its text and where it was read.
struct Candidate {
    std::string_view text;  ///< UTF-8
    std::size_t source;
    std::size_t line;          ///< from 1; 0 for a result document
    bool transcribed = false;  ///< a transcribed document's record
};

// Field `f` of a record (which ProblemOf took: twelve fields).
template <typename Char>
std::basic_string_view<Char> FieldOf(std::basic_string_view<Char> record, int f)
{
    std::size_t start = 0;
    for (int k = 0; k < f; ++k)
        start = record.find(Char(';'), start) + 1;
    const std::size_t end = record.find(Char(';'), start);
    return record.substr(start, end == std::basic_string_view<Char>::npos ? end : end - start);
}

// The model of any line: its second field, when it has a third.
template <typename Char>
bool ModelOf(std::basic_string_view<Char> line, std::basic_string_view<Char>& model)
{
    const std::size_t first = line.find(Char(';'));
    if (first == std::basic_string_view<Char>::npos)
        return false;
    const std::size_t second = line.find(Char(';'), first + 1);
    if (second == std::basic_string_view<Char>::npos)
        return false;
    model = line.substr(first + 1, second - first - 1);
    return true;
}

// A score field of a record, read as the table reads it.
template <typename Char>
double ScoreOf(std::basic_string_view<Char> field)
{
    const std::wstring text(field.begin(), field.end());  // ASCII: a decimal number
    return ParseReal(text.c_str());
}

// The logical processors of a record; 0 when the field is no count.
std::uint32_t LogicalProcessorsOf(std::string_view record)
{
    const std::string_view field = FieldOf(record, FieldLogicalProcessors);
    if (field.empty() || field.size() > 9)
        return 0;
    std::uint32_t count = 0;
    for (const char c : field) {
        if (c < '0' || c > '9')
            return 0;
        count = count * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return count;
}

// A score as a message shows it.
wxString ScoreText(double score)
{
    return wxString::FromUTF8(FormatFixed(score, score == std::trunc(score) ? 0 : 2));
}

// The scores of one model, and how far one of them lies from the others:
// its modified Z-score, 0.6745 x (score - median) / MAD over the others.
class ScoreGroup {
public:
    void Add(double score) { m_scores.push_back(score); }

    /// Why `score`, one of the group's, is implausible against the others
    /// (at least three), or an empty text.
    wxString Judge(double score, const wxString& what)
    {
        const std::size_t n = m_scores.size();
        if (n < 4)
            return wxString();
        if (!m_sorted) {
            std::sort(m_scores.begin(), m_scores.end());
            m_sorted = true;
        }
        const std::size_t self = std::lower_bound(m_scores.begin(), m_scores.end(), score) - m_scores.begin();
        if (self == n || m_scores[self] != score)
            return wxString();
        // The others: the sorted scores with this one left out.
        const std::size_t others = n - 1;
        const double median = MedianWithout(m_scores, self);
        const Centre& centre = CentreAt(median);
        const double own = std::fabs(score - median);
        const std::size_t ownAt =
            std::lower_bound(centre.deviations.begin(), centre.deviations.end(), own) - centre.deviations.begin();
        const double mad = MedianWithout(centre.deviations, ownAt);
        double z = 0.0;
        if (mad > 0) {
            z = 0.6745 * (score - median) / mad;
        } else if (const double mean = (centre.total - own) / static_cast<double>(others); mean > 0) {
            // Most of the others equal: their mean absolute deviation instead.
            z = (score - median) / (1.253314 * mean);
        } else {
            if (score == median)
                return wxString();
            return wxString::Format(wxS("its %s points (%s) differ from those of the %zu other records of its model, "
                                        "which all have %s"),
                                    what, ScoreText(score), others, ScoreText(median));
        }
        if (!(std::fabs(z) > 3.5))  // a NaN of infinite scores is no finding
            return wxString();
        return wxString::Format(wxS("its %s points (%s) are far from those of the %zu other records of its model "
                                    "(median %s, modified Z-score %s)"),
                                what, ScoreText(score), others, ScoreText(median),
                                wxString::FromUTF8(FormatFixed(z, 1)));
    }

private:
    // The scores' absolute deviations from one median, sorted, and their sum.
    struct Centre {
        double median;
        std::vector<double> deviations;
        double total = 0.0;
    };

    // The median of `sorted` with element `left` left out.
    static double MedianWithout(const std::vector<double>& sorted, std::size_t left)
    {
        const std::size_t count = sorted.size() - 1;
        const auto at = [&](std::size_t rank) { return sorted[rank < left ? rank : rank + 1]; };
        return count % 2 == 1 ? at(count / 2) : at(count / 2 - 1) / 2 + at(count / 2) / 2;
    }

    // Leaving one score out moves the median to one of at most three values:
    // the deviations are sorted once for each.
    const Centre& CentreAt(double median)
    {
        for (const Centre& centre : m_centres)
            if (centre.median == median)
                return centre;
        Centre centre{median, {}, 0.0};
        centre.deviations.reserve(m_scores.size());
        for (const double score : m_scores) {
            centre.deviations.push_back(std::fabs(score - median));
            centre.total += centre.deviations.back();
        }
        std::sort(centre.deviations.begin(), centre.deviations.end());
        m_centres.push_back(std::move(centre));
        return m_centres.back();
    }

    std::vector<double> m_scores;
    bool m_sorted = false;
    std::vector<Centre> m_centres;
};

// The added records whose scores look wrong: against each other, and
// against the other records of their model in the table after the merge.
class Plausibility {
public:
    /// Only the records of the models of `added` are gathered.
    void Expect(const std::vector<const Candidate*>& added)
    {
        for (const Candidate* candidate : added) {
            std::string_view model;
            if (ModelOf(candidate->text, model))
                m_models.try_emplace(std::string(model));
        }
    }

    /// One line of the table (after the merge): its scores join its
    /// model's, when it is a record of a model expected.
    template <typename Char>
    void Gather(std::basic_string_view<Char> line)
    {
        std::basic_string_view<Char> model;
        if (m_models.empty() || !ModelOf(line, model))
            return;
        if constexpr (std::is_same_v<Char, char>)
            m_key.assign(model);
        else
            m_key = Text(model).utf8_string();
        const auto found = m_models.find(m_key);
        if (found == m_models.end() || !ProblemOf(line).empty())
            return;
        found->second.speed.Add(ScoreOf(FieldOf(line, FieldSpeedPoints)));
        found->second.power.Add(ScoreOf(FieldOf(line, FieldPowerPoints)));
    }

    void Judge(const std::vector<const Candidate*>& added, const std::vector<MergeSource>& sources,
               std::vector<ImplausibleRecord>& implausible, std::size_t& count)
    {
        for (const Candidate* candidate : added) {
            const std::string_view record = candidate->text;
            // Every reason a record gives, in one note: a record is counted once.
            wxString reasons;
            const auto report = [&](const wxString& reason) {
                if (!reason.empty())
                    reasons << (reasons.empty() ? wxS("") : wxS("; ")) << reason;
            };
            JudgeRecord(record, report);
            if (reasons.empty())
                continue;
            if (implausible.size() < MergeReasonsKept)
                implausible.push_back({sources[candidate->source].name, candidate->line, reasons});
            ++count;
        }
    }

private:
    /// Calls `report` with each reason `record` looks implausible for.
    template <typename Report>
    void JudgeRecord(std::string_view record, const Report& report)
    {
        const double speed = ScoreOf(FieldOf(record, FieldSpeedPoints));
        const double power = ScoreOf(FieldOf(record, FieldPowerPoints));
        // The processors the machine had (a document's record gives its machine's), not the threads it ran.
        const std::uint32_t threads = LogicalProcessorsOf(record);
        if (threads > 0 && power > 1.5 * threads * speed)
            report(wxString::Format(wxS("its power points (%s) are more than 1.5 x %u logical processors x its "
                                        "speed points (%s)"),
                                    ScoreText(power), threads, ScoreText(speed)));
        if (power < 0.5 * speed)
            report(wxString::Format(wxS("its power points (%s) are less than half its speed points (%s)"),
                                    ScoreText(power), ScoreText(speed)));
        std::string_view model;
        if (!ModelOf(record, model))
            return;
        const auto found = m_models.find(std::string(model));
        if (found == m_models.end())
            return;
        report(found->second.speed.Judge(speed, wxS("speed")));
        report(found->second.power.Judge(power, wxS("power")));
    }

    struct Scores {
        ScoreGroup speed, power;
    };
    std::unordered_map<std::string, Scores> m_models;
    std::string m_key;
};

// Why a document that can join the table is kept out when only steady runs
// may: an empty text when both runs were steady.
wxString UnsteadyProblem(const ResultDocument& document)
{
    if (document.transcribed)
        return wxS("it carries no samples (transcribed)");
    std::string text;
    for (const TestEvidence* evidence : {&document.speed, &document.power}) {
        if (evidence->verdict.steady)
            continue;
        text += (text.empty() ? "its " : "; its ") + evidence->test + " test was unsteady";
        for (std::size_t k = 0; k < evidence->verdict.reasons.size(); ++k)
            text += (k == 0 ? ": " : "; ") + evidence->verdict.reasons[k];
    }
    return wxString::FromUTF8(text);
}

// How far the table may grow: every line added must leave the table within
// the memory one table may take, its rows as wide as its longest line.
class TableGrowth {
public:
    TableGrowth(std::size_t count, std::size_t longest) : m_count(count), m_longest(longest), m_bound(MemoryBound()) {}

    /// Whether `lines` more lines of at most `bytes` bytes each fit, so that
    /// none of them needs to be looked at alone.
    bool AllFit(std::size_t lines, std::size_t bytes) const
    {
        return ResultTableBytes(m_count + lines, std::max(m_longest, bytes)) <= m_bound;
    }

    /// False, with the table it would make in `need`, when a line of
    /// `characters` does not fit.
    bool Take(std::size_t characters, std::uint64_t& need)
    {
        const std::size_t longest = std::max(m_longest, characters);
        need = ResultTableBytes(m_count + 1, longest);
        if (need > m_bound)
            return false;
        ++m_count;
        m_longest = longest;
        return true;
    }

private:
    std::size_t m_count;
    std::size_t m_longest;
    std::uint64_t m_bound;
};

wxString TooLargeReason(std::uint64_t need)
{
    return wxString::Format(wxS("would make the table too large to load (%.1f MB of memory, at most %.1f MB on this "
                                "machine)"),
                            double(need) / 1e6, double(MemoryBound()) / 1e6);
}

// The new lines after the table's bytes, as a text file writes them: the
// bytes untouched, a line end after an unended last line, each new line
// in the table's encoding with the table's line end.
template <typename Lines>
void Extend(const Lines& table, TextEncoding encoding, const std::vector<std::string_view>& lines, ResultsBytes& out)
{
    const std::string end = LineEndBytes(table.LineEnding(), encoding);
    out.keepOld = true;
    out.tail.clear();
    const bool utf8 = encoding == TextEncoding::Utf8 || encoding == TextEncoding::Utf8WithMark;
    out.tail.reserve((utf8 ? 1 : 4) * std::accumulate(lines.begin(), lines.end(), std::size_t{0},
                                                     [](std::size_t sum, std::string_view line) {
                                                         return sum + line.size();
                                                     }) +
                     end.size() * (lines.size() + 1));
    AdviseHugePages(out.tail.data(), out.tail.capacity());
    if (table.Count() > 0 && table.Type(table.Count() - 1) == wxTextFileType_None)
        out.tail += end;
    for (const std::string_view line : lines) {
        if (utf8)
            out.tail.append(line);
        else
            EncodeText(Text(line).ToStdWstring(), encoding, out.tail);
        out.tail += end;
    }
}

// A table that is not strict UTF-8 (Latin-1, UTF-16, a mark over text that
// is not what it says): compared as decoded text. Its bytes stay as they
// are, units that decode to nothing included; the new lines follow in its
// encoding, unless Latin-1 cannot hold them: then the table becomes UTF-8
// as a whole, its Latin-1 lines decoded without loss.
ResultsEdit AppendToDecodedTable(const std::string& bytes, const std::vector<Candidate>& candidates,
                                 std::vector<std::string_view>& added, std::vector<const Candidate*>& addedFrom,
                                 std::size_t& present,
                                 std::vector<std::pair<const Candidate*, std::uint64_t>>& tooLarge, ResultsBytes& out,
                                 FileFailure& failure, Plausibility& plausibility)
{
    DecodedText table;
    if (!table.Decode(bytes.data(), bytes.size()))
        return ResultsEdit::Nothing;
    std::size_t longest = 0;
    for (std::size_t n = 0; n < table.Count(); ++n)
        longest = std::max(longest, table.Span(n).length);
    TableGrowth growth(table.Count(), longest);
    std::vector<std::wstring> wide(candidates.size());
    LineSet<std::wstring_view> held(table.Count() + candidates.size());
    for (std::size_t n = 0; n < table.Count(); ++n)
        held.Insert(table.Line(n));
    bool latin1 = true;
    for (std::size_t k = 0; k < candidates.size(); ++k) {
        wide[k] = Text(candidates[k].text).ToStdWstring();
        if (!held.Insert(wide[k])) {
            ++present;
            continue;
        }
        std::uint64_t need = 0;
        if (!growth.Take(wide[k].size(), need)) {
            tooLarge.emplace_back(&candidates[k], need);
            continue;
        }
        added.push_back(candidates[k].text);
        addedFrom.push_back(&candidates[k]);
        latin1 = latin1 && std::all_of(wide[k].begin(), wide[k].end(), [](wchar_t c) { return c <= 0xFF; });
    }
    if (added.empty())
        return ResultsEdit::Nothing;
    plausibility.Expect(addedFrom);
    for (std::size_t n = 0; n < table.Count(); ++n)
        plausibility.Gather(table.Line(n));
    if (table.EndsInACutUnit()) {
        // Its last unit cut short: a new line after it would be read out of step.
        failure.kind = FileFailure::Kind::CutUnit;
        failure.error = EILSEQ;
        failure.line = table.Count();
        failure.other = EncodingName(table.Encoding());
        return ResultsEdit::Nothing;
    }
    if (table.Encoding() != TextEncoding::Latin1 || latin1) {
        Extend(table, table.Encoding(), added, out);
        return ResultsEdit::Changed;
    }
    TextDocument file;
    if (!file.Parse(bytes))
        return ResultsEdit::Nothing;
    for (const std::string_view line : added)
        file.Insert(Text(line), file.LineCount(), file.LineEnding());
    out.keepOld = false;
    std::size_t badLine = 0;
    return file.Encode(out.tail, badLine) ? ResultsEdit::Changed : ResultsEdit::Nothing;
}
}  // namespace

wxString RecordProblem(std::wstring_view line)
{
    return ProblemOf(line);
}

void MergeOutcome::Refuse(RefusedLine line)
{
    if (refused.size() < MergeReasonsKept)
        refused.push_back(std::move(line));
    ++refusedCount;
}

MergeOutcome MergeResults(const std::vector<MergeSource>& sources, const MergeOptions& options)
{
    MergeOutcome outcome;
    std::vector<Utf8Lines> texts(sources.size());
    std::vector<Candidate> candidates;
    // The record lines of the documents, which the candidates view: never
    // more than one a source, so never moved.
    std::vector<std::string> records;
    records.reserve(sources.size());
    for (std::size_t s = 0; s < sources.size(); ++s) {
        if (LooksLikeResultDocument(sources[s].bytes) || OtherDocumentEncoding(sources[s].bytes) != nullptr) {
            ResultDocument document;
            std::string problem = ReadResultDocument(sources[s].bytes, document);
            if (problem.empty())
                problem = CheckResultDocument(document);
            wxString reason = wxString::FromUTF8(problem);
            if (problem.empty() && options.steadyOnly)
                reason = UnsteadyProblem(document);
            if (!reason.empty()) {
                outcome.Refuse({sources[s].name, 0, reason});
                continue;
            }
            ++outcome.documents;
            records.push_back(std::move(document.record));
            candidates.push_back({records.back(), s, 0, document.transcribed});
            continue;
        }
        Utf8Lines& lines = texts[s];
        lines.Read(sources[s].bytes);
        auto inexact = lines.Inexact().begin();
        for (std::size_t n = 0; n < lines.Count(); ++n) {
            const std::string_view line = lines.Line(n);
            wxString problem = ProblemOf(line);
            const bool lost = inexact != lines.Inexact().end() && *inexact == n;
            inexact += lost ? 1 : 0;
            if (problem.empty() && lost)
                problem = wxString::Format(wxS("holds bytes that are not %s text"), EncodingName(lines.Encoding()));
            if (problem.empty())
                candidates.push_back({line, s, n + 1});
            else
                outcome.Refuse({sources[s].name, n + 1, problem});
        }
    }
    if (candidates.empty())
        return outcome;
    std::size_t longestCandidate = 0;
    for (const Candidate& candidate : candidates)
        longestCandidate = std::max(longestCandidate, candidate.text.size());

    std::size_t present = 0;
    std::vector<std::string_view> added;
    std::vector<const Candidate*> addedFrom;
    std::vector<std::pair<const Candidate*, std::uint64_t>> tooLarge;
    std::vector<ImplausibleRecord> implausible;
    std::size_t implausibleCount = 0;
    BackupPending = 1;
    outcome.status = ChangeResultsBytes([&](const std::string& bytes, ResultsBytes& replacement,
                                            FileFailure& failure) {
        present = 0;
        added.clear();
        addedFrom.clear();
        tooLarge.clear();
        implausible.clear();
        implausibleCount = 0;
        Plausibility plausibility;
        Utf8Lines table;
        ResultsEdit result;
        if (table.Read(bytes)) {
            // Equal text is equal UTF-8: the lines are compared as bytes.
            std::size_t longest = 0;
            for (std::size_t n = 0; n < table.Count(); ++n) {
                const std::string_view line = table.Line(n);
                if (line.size() > longest)
                    longest = std::max(longest, Utf8Characters(line.data(), line.size()));
            }
            TableGrowth growth(table.Count(), longest);
            // UTF-8 has no more characters than bytes: when every candidate
            // fits at its length in bytes, none is counted.
            const bool allFit = growth.AllFit(candidates.size(), longestCandidate);
            LineSet<std::string_view> held(table.Count() + candidates.size());
            for (std::size_t n = 0; n < table.Count(); ++n)
                held.Insert(table.Line(n));
            for (const Candidate& candidate : candidates) {
                std::uint64_t need = 0;
                if (!held.Insert(candidate.text))
                    ++present;
                else if (!allFit && !growth.Take(Utf8Characters(candidate.text.data(), candidate.text.size()), need))
                    tooLarge.emplace_back(&candidate, need);
                else {
                    added.push_back(candidate.text);
                    addedFrom.push_back(&candidate);
                }
            }
            if (!added.empty()) {
                plausibility.Expect(addedFrom);
                for (std::size_t n = 0; n < table.Count(); ++n)
                    plausibility.Gather(table.Line(n));
            }
            result = added.empty() ? ResultsEdit::Nothing
                                   : (Extend(table, table.Encoding(), added, replacement), ResultsEdit::Changed);
            // A table begun by a line that starts with U+FEFF would read it
            // back as a byte-order mark: it gets a real one first.
            if (result == ResultsEdit::Changed && bytes.empty() && StartsLikeAMark(replacement.tail))
                replacement.tail.insert(0, ByteOrderMark(TextEncoding::Utf8WithMark));
        } else {
            result = AppendToDecodedTable(bytes, candidates, added, addedFrom, present, tooLarge, replacement,
                                          failure, plausibility);
        }
        if (result == ResultsEdit::Nothing) {
            added.clear();
            addedFrom.clear();
            BackupPending = 0;
        } else {
            // The table after the merge: its lines, then the lines added.
            for (const Candidate* candidate : addedFrom)
                plausibility.Gather(candidate->text);
            plausibility.Judge(addedFrom, sources, implausible, implausibleCount);
        }
        return result;
    });
    if (outcome.status == 0) {
        outcome.added = added.size();
        outcome.present = present;
        outcome.written = !added.empty();
        outcome.implausible = std::move(implausible);
        outcome.implausibleCount = implausibleCount;
        for (const auto& [candidate, need] : tooLarge)
            outcome.Refuse({sources[candidate->source].name, candidate->line, TooLargeReason(need)});
        for (const Candidate* candidate : addedFrom)
            if (candidate->transcribed)
                outcome.transcribed.push_back(sources[candidate->source].name);
    }
    return outcome;
}
