#include "results/merge.h"

#include "core/numbers.h"
#include "core/state.h"
#include "files/atomic_file.h"
#include "files/big_block.h"
#include "files/encoding.h"
#include "files/text_document.h"
#include "results/result_document.h"
#include "results/results_file.h"
#include "results/record.h"
#include "results/results_table.h"

#include <wx/textbuf.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <type_traits>
#include <unordered_map>

namespace {
wxString Text(std::wstring_view text)
{
    return wxString(text.data(), text.size());
}

wxString Text(std::string_view utf8)
{
    return wxString::FromUTF8(utf8.data(), utf8.size());
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

// The logical processors of a record; 0 when the field is no count.
std::uint32_t LogicalProcessorsOf(const RecordView<char>& record)
{
    const std::string_view field = record[FieldLogicalProcessors];
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
        for (const Candidate* candidate : added)
            m_models.try_emplace(std::string(SplitRecord(candidate->text)[FieldModel]));
    }

    /// One line of the table (after the merge): its scores join its
    /// model's, when it is a record of a model expected.
    template <typename Char>
    void Gather(std::basic_string_view<Char> line)
    {
        if (m_models.empty())
            return;
        const RecordView<Char> record = SplitRecord(line);
        if (record.count <= FieldRatedFrequency)  // a model only where a field follows it
            return;
        const std::basic_string_view<Char> model = record[FieldModel];
        if constexpr (std::is_same_v<Char, char>)
            m_key.assign(model);
        else
            m_key = Text(model).utf8_string();
        const auto found = m_models.find(m_key);
        if (found == m_models.end() || !RecordProblem(line).empty())
            return;
        found->second.speed.Add(ReadNumber(record[FieldSpeedPoints]));
        found->second.power.Add(ReadNumber(record[FieldPowerPoints]));
    }

    void Judge(const std::vector<const Candidate*>& added, const std::vector<MergeSource>& sources,
               std::vector<MergeNote>& implausible, std::size_t& count)
    {
        for (const Candidate* candidate : added) {
            const RecordView<char> record = SplitRecord(candidate->text);
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
    void JudgeRecord(const RecordView<char>& record, const Report& report)
    {
        const double speed = ReadNumber(record[FieldSpeedPoints]);
        const double power = ReadNumber(record[FieldPowerPoints]);
        // The processors the machine had (a document's record gives its machine's), not the threads it ran.
        const std::uint32_t threads = LogicalProcessorsOf(record);
        if (threads > 0 && power > 1.5 * threads * speed)
            report(wxString::Format(wxS("its power points (%s) are more than 1.5 x %u logical processors x its "
                                        "speed points (%s)"),
                                    ScoreText(power), threads, ScoreText(speed)));
        if (power < 0.5 * speed)
            report(wxString::Format(wxS("its power points (%s) are less than half its speed points (%s)"),
                                    ScoreText(power), ScoreText(speed)));
        const auto found = m_models.find(std::string(record[FieldModel]));
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

// What the merge takes from its candidates on one look at the table, in
// the order read.
struct Appended {
    std::vector<const Candidate*> lines;  ///< new to the table: appended
    std::size_t present = 0;              ///< the table holds them already, or a candidate before
    /// New, but the table would grow too large to load: each with the
    /// memory the table would then take.
    std::vector<std::pair<const Candidate*, std::uint64_t>> tooLarge;
};

std::size_t Characters(std::string_view utf8)
{
    return Utf8Characters(utf8.data(), utf8.size());
}

std::size_t Characters(std::wstring_view text)
{
    return text.size();
}

// Chooses the candidates the table does not hold, comparing `texts` (the
// candidates as the table's lines are: UTF-8 bytes, or decoded text) with
// its lines, while the table stays small enough to load; when any are
// new, gathers the table's records of the models they name.
template <typename Table, typename View>
Appended Choose(const Table& table, const std::vector<Candidate>& candidates, const std::vector<View>& texts,
                std::size_t longestCandidate, Plausibility& plausibility)
{
    Appended appended;
    std::size_t longest = 0;
    for (std::size_t n = 0; n < table.Count(); ++n) {
        const View line = table.Line(n);
        if (line.size() > longest)
            longest = std::max(longest, Characters(line));
    }
    TableGrowth growth(table.Count(), longest);
    // No candidate has more characters than bytes of UTF-8: when every one
    // fits at its length in bytes, none is counted.
    const bool allFit = growth.AllFit(candidates.size(), longestCandidate);
    LineSet<View> held(table.Count() + candidates.size());
    for (std::size_t n = 0; n < table.Count(); ++n)
        held.Insert(table.Line(n));
    for (std::size_t k = 0; k < candidates.size(); ++k) {
        std::uint64_t need = 0;
        if (!held.Insert(texts[k]))
            ++appended.present;
        else if (!allFit && !growth.Take(Characters(texts[k]), need))
            appended.tooLarge.emplace_back(&candidates[k], need);
        else
            appended.lines.push_back(&candidates[k]);
    }
    if (!appended.lines.empty()) {
        plausibility.Expect(appended.lines);
        for (std::size_t n = 0; n < table.Count(); ++n)
            plausibility.Gather(table.Line(n));
    }
    return appended;
}

// The new lines after the table's bytes, as a text file writes them: the
// bytes untouched, a line end after an unended last line, each new line
// in the table's encoding with the table's line end.
template <typename Lines>
void Extend(const Lines& table, const std::vector<const Candidate*>& lines, ResultsBytes& out)
{
    const TextEncoding encoding = table.Encoding();
    const std::string end = LineEndBytes(table.LineEnding(), encoding);
    out.keepOld = true;
    out.tail.clear();
    const bool utf8 = encoding == TextEncoding::Utf8 || encoding == TextEncoding::Utf8WithMark;
    out.tail.reserve((utf8 ? 1 : 4) * std::accumulate(lines.begin(), lines.end(), std::size_t{0},
                                                     [](std::size_t sum, const Candidate* line) {
                                                         return sum + line->text.size();
                                                     }) +
                     end.size() * (lines.size() + 1));
    AdviseHugePages(out.tail.data(), out.tail.capacity());
    if (table.Count() > 0 && table.Type(table.Count() - 1) == wxTextFileType_None)
        out.tail += end;
    for (const Candidate* line : lines) {
        if (utf8)
            out.tail.append(line->text);
        else
            EncodeText(Text(line->text).ToStdWstring(), encoding, out.tail);
        out.tail += end;
    }
}

// The new lines after a strict UTF-8 table.
ResultsEdit AppendToUtf8Table(const Utf8Lines& table, const std::string& bytes,
                              const std::vector<const Candidate*>& lines, ResultsBytes& out)
{
    if (lines.empty())
        return ResultsEdit::Nothing;
    Extend(table, lines, out);
    // A table begun by a line that starts with U+FEFF would read it back as
    // a byte-order mark: it gets a real one first.
    if (bytes.empty() && StartsLikeAMark(out.tail))
        out.tail.insert(0, ByteOrderMark(TextEncoding::Utf8WithMark));
    return ResultsEdit::Changed;
}

// The new lines after a table that is not strict UTF-8 (Latin-1, UTF-16, a
// mark over text that is not what it says). Its bytes stay as they are,
// units that decode to nothing included; the new lines follow in its
// encoding, unless Latin-1 cannot hold them: then the table becomes UTF-8
// as a whole, its Latin-1 lines decoded without loss.
ResultsEdit AppendToDecodedTable(const DecodedText& table, const std::string& bytes,
                                 const std::vector<const Candidate*>& lines, ResultsBytes& out, FileFailure& failure)
{
    if (lines.empty())
        return ResultsEdit::Nothing;
    if (table.EndsInACutUnit()) {
        // Its last unit cut short: a new line after it would be read out of step.
        failure.kind = FileFailure::Kind::CutUnit;
        failure.error = EILSEQ;
        failure.line = table.Count();
        failure.other = EncodingName(table.Encoding());
        return ResultsEdit::Nothing;
    }
    // UTF-8 past U+00FF starts with a byte above 0xC3.
    const bool latin1 = std::all_of(lines.begin(), lines.end(), [](const Candidate* line) {
        return std::all_of(line->text.begin(), line->text.end(),
                           [](char c) { return static_cast<unsigned char>(c) <= 0xC3; });
    });
    if (table.Encoding() != TextEncoding::Latin1 || latin1) {
        Extend(table, lines, out);
        return ResultsEdit::Changed;
    }
    TextDocument file;
    if (!file.Parse(bytes))
        return ResultsEdit::Nothing;
    for (const Candidate* line : lines)
        file.Insert(Text(line->text), file.LineCount(), file.LineEnding());
    out.keepOld = false;
    std::size_t badLine = 0;
    return file.Encode(out.tail, badLine) ? ResultsEdit::Changed : ResultsEdit::Nothing;
}
}  // namespace

void MergeOutcome::Refuse(MergeNote line)
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
            wxString problem = RecordProblem(line);
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
    std::vector<std::string_view> utf8Texts;
    utf8Texts.reserve(candidates.size());
    for (const Candidate& candidate : candidates) {
        longestCandidate = std::max(longestCandidate, candidate.text.size());
        utf8Texts.push_back(candidate.text);
    }

    Appended appended;
    std::vector<MergeNote> implausible;
    std::size_t implausibleCount = 0;
    BackupPending = 1;
    outcome.status = ChangeResultsBytes([&](const std::string& bytes, ResultsBytes& replacement,
                                            FileFailure& failure) {
        appended = Appended();
        implausible.clear();
        implausibleCount = 0;
        Plausibility plausibility;
        ResultsEdit result = ResultsEdit::Nothing;
        Utf8Lines table;
        if (table.Read(bytes)) {
            // Equal text is equal UTF-8: the lines are compared as bytes.
            appended = Choose(table, candidates, utf8Texts, longestCandidate, plausibility);
            result = AppendToUtf8Table(table, bytes, appended.lines, replacement);
        } else if (DecodedText decoded; decoded.Decode(bytes.data(), bytes.size())) {
            std::vector<std::wstring> wide(candidates.size());
            std::vector<std::wstring_view> wideTexts(candidates.size());
            for (std::size_t k = 0; k < candidates.size(); ++k) {
                wide[k] = Text(candidates[k].text).ToStdWstring();
                wideTexts[k] = wide[k];
            }
            appended = Choose(decoded, candidates, wideTexts, longestCandidate, plausibility);
            result = AppendToDecodedTable(decoded, bytes, appended.lines, replacement, failure);
        }
        if (result == ResultsEdit::Nothing) {
            appended.lines.clear();
            BackupPending = 0;
        } else {
            // The table after the merge: its lines, then the lines added.
            for (const Candidate* candidate : appended.lines)
                plausibility.Gather(candidate->text);
            plausibility.Judge(appended.lines, sources, implausible, implausibleCount);
        }
        return result;
    });
    if (outcome.status == 0) {
        outcome.added = appended.lines.size();
        outcome.present = appended.present;
        outcome.implausible = std::move(implausible);
        outcome.implausibleCount = implausibleCount;
        for (const auto& [candidate, need] : appended.tooLarge)
            outcome.Refuse({sources[candidate->source].name, candidate->line, TooLargeReason(need)});
        for (const Candidate* candidate : appended.lines)
            if (candidate->transcribed)
                outcome.transcribed.push_back(sources[candidate->source].name);
    }
    return outcome;
}
