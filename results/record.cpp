#include "results/record.h"

#include "core/numbers.h"
#include "files/encoding.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <cstdio>

namespace {
constexpr FieldRule FreeText{};
constexpr FieldRule SpeedPoints{"the speed points", true, true, false};
constexpr FieldRule PowerPoints{"the power points", true, false, false};
constexpr FieldRule Display{"\"Display\"", false, false, true};

// A number field read through a terminated copy: short fields, the rule,
// from the stack. A byte of UTF-8 past ASCII is no part of a number, as the
// character it begins is none.
template <typename Char>
double ReadCopy(std::basic_string_view<Char> field)
{
    const auto wide = [](Char c) {
        if constexpr (sizeof(Char) == 1)
            return static_cast<wchar_t>(static_cast<unsigned char>(c));
        else
            return c;
    };
    wchar_t buffer[128];
    if (field.size() < std::size(buffer)) {
        std::transform(field.begin(), field.end(), buffer, wide);
        buffer[field.size()] = L'\0';
        return ParseReal(buffer);
    }
    std::wstring copy(field.size(), L'\0');
    std::transform(field.begin(), field.end(), copy.begin(), wide);
    return ParseReal(copy.c_str());
}

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
    return (!exponent && text.size() < 300) || std::isfinite(ReadCopy(text));
}

// A decimal number below zero ("-0" is none).
template <typename Char>
bool IsNegative(std::basic_string_view<Char> number)
{
    return !number.empty() && number[0] == Char('-') && ReadCopy(number) < 0;
}

template <typename Char>
bool Is(std::basic_string_view<Char> text, std::string_view word)
{
    return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                      [](Char a, char b) { return a == Char(b); });
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

template <typename Char>
wxString Quoted(std::basic_string_view<Char> field)
{
    return wxString::FromUTF8(QuotedText(field));
}

// Why a field breaks its rule, or an empty text.
template <typename Char>
wxString FieldProblem(const FieldRule& rule, std::basic_string_view<Char> field)
{
    if (rule.number && !IsDecimalNumber(field))
        return wxString::FromUTF8(rule.name) + wxS(" ") + Quoted(field) + wxS(" are not a number");
    if (rule.notNegative && IsNegative(field))
        return wxString::FromUTF8(rule.name) + wxS(" ") + Quoted(field) + wxS(" are negative");
    if (rule.yesOrNo && !Is(field, "yes") && !Is(field, "no"))
        return wxString::FromUTF8(rule.name) + wxS(" is ") + Quoted(field) + wxS(", neither yes nor no");
    return wxString();
}

// The checks of a record, on decoded text or on UTF-8 bytes alike: every
// character they look at is ASCII, which UTF-8 never uses inside another.
template <typename Char>
wxString ProblemOf(std::basic_string_view<Char> line)
{
    if (line.empty())
        return wxS("an empty line");
    std::size_t characters = 0, fields = 1;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const Char c = line[i];
        characters += StartsCharacter(c) ? 1 : 0;
        if (MayBeRefused(c)) {
            const std::string refused = RefusedCharacterIn(line.substr(i, sizeof(Char) == 1 ? 3 : 1));
            if (!refused.empty())
                return wxS("holds ") + wxString::FromUTF8(refused);
        }
        fields += c == Char(';') ? 1 : 0;
    }
    if (characters > MaxRecordLength)
        return wxString::Format(wxS("longer than %zu characters"), MaxRecordLength);
    if (fields != RecordFieldCount)
        return wxString::Format(fields == 1 ? wxS("%zu field, not %d") : wxS("%zu fields, not %d"), fields,
                                RecordFieldCount);
    const RecordView<Char> record = SplitRecord(line);
    for (int f = 0; f < RecordFieldCount; ++f) {
        const FieldRule& rule = RuleOf(RecordField(f));
        if (rule.name == nullptr)  // free text: the checks above were all
            continue;
        const wxString problem = FieldProblem(rule, record.fields[f]);
        if (!problem.empty())
            return problem;
    }
    return wxString();
}
}  // namespace

ResultRecord ReadRecord(std::wstring_view line)
{
    const RecordView<wchar_t> view = SplitRecord(line);
    ResultRecord record;
    record.count = view.count;
    for (int f = 0; f < RecordFieldCount; ++f)
        record.fields[f] = wxString(view.fields[f].data(), view.fields[f].size());
    return record;
}

wxString TitleOf(const ResultRecord& record)
{
    wxString title;
    title << record[FieldManufacturer] << wxS(" ") << record[FieldModel] << wxS(" @ ") << record[FieldRatedFrequency]
          << wxS(" MHz");
    return title;
}

std::string FormatPoints(double points)
{
    char text[400];  // the largest double has 309 digits
    std::snprintf(text, sizeof text, "%.0f", points);
    return text;
}

wxString PointsText(double points)
{
    return wxString::FromAscii(FormatPoints(points).c_str());
}

double ReadNumber(std::wstring_view field)
{
    return ReadCopy(field);
}

double ReadNumber(std::string_view field)
{
    return ReadCopy(field);
}

const FieldRule& RuleOf(RecordField field)
{
    switch (field) {
    case FieldSpeedPoints:
        return SpeedPoints;
    case FieldPowerPoints:
        return PowerPoints;
    case FieldDisplay:
        return Display;
    default:
        return FreeText;
    }
}

wxString RecordProblem(std::wstring_view line)
{
    return ProblemOf(line);
}

wxString RecordProblem(std::string_view utf8)
{
    return ProblemOf(utf8);
}
