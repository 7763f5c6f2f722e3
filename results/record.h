// One line of the results table, a record: twelve fields separated by ";",
// with no quoting and no escaping. Its fields by name, the one way a line
// is split into them and joined again, how its points are written, and
// what each field may hold.
#pragma once

#include "core/state.h"

#include <wx/string.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// The twelve fields of a record, in file order.
enum RecordField {
    FieldManufacturer, FieldModel, FieldRatedFrequency, FieldMaximumFrequency, FieldProcessors, FieldCores,
    FieldLogicalProcessors, FieldOperatingSystem, FieldOsVersion, FieldSpeedPoints, FieldPowerPoints, FieldDisplay
};
static_assert(FieldDisplay + 1 == RecordFieldCount, "a record has twelve fields");

/// The longest line taken as a record: a longer one would widen every row
/// of the table by as much.
constexpr std::size_t MaxRecordLength = 4096;

/// A record's fields, each reached by its name: views into a line
/// (RecordView) or texts of their own (ResultRecord).
template <typename Text>
struct BasicRecord {
    std::array<Text, RecordFieldCount> fields{};
    /// How many fields the line held, at most twelve; those it lacked are
    /// empty.
    std::size_t count = 0;

    Text& operator[](RecordField f) { return fields[f]; }
    const Text& operator[](RecordField f) const { return fields[f]; }
};

template <typename Char>
using RecordView = BasicRecord<std::basic_string_view<Char>>;
using ResultRecord = BasicRecord<wxString>;

/// Splits `line` into its fields: fields 0 to 10 each end at the next ";",
/// the last runs to the end of the line, whatever ";" it holds. A line of
/// fewer fields leaves the rest empty.
template <typename Char>
RecordView<Char> SplitRecord(std::basic_string_view<Char> line)
{
    RecordView<Char> record;
    std::size_t start = 0;
    for (int f = 0; f < RecordFieldCount; ++f) {
        const std::size_t end = f + 1 < RecordFieldCount ? line.find(Char(';'), start) : line.npos;
        record.fields[f] = line.substr(start, end == line.npos ? line.npos : end - start);
        record.count = static_cast<std::size_t>(f) + 1;
        if (end == line.npos)
            break;
        start = end + 1;
    }
    return record;
}

/// The record of `line`, its fields copied.
ResultRecord ReadRecord(std::wstring_view line);

/// The line of `record`: its twelve fields joined by ";", nothing before
/// the first and nothing after the last.
template <typename Text>
Text JoinRecord(const BasicRecord<Text>& record)
{
    Text line;
    for (int f = 0; f < RecordFieldCount; ++f) {
        if (f > 0)
            line += ';';
        line += record.fields[f];
    }
    return line;
}

/// How a record is titled: "manufacturer model @ rated MHz".
wxString TitleOf(const ResultRecord& record);

/// Points as a record holds them, and any whole number it holds (the
/// frequencies): "%.0f", no decimals; "nan" and "inf" for values that are
/// no finite number, which no record takes.
std::string FormatPoints(double points);
wxString PointsText(double points);

/// A number field read as the table reads it: the longest number at its
/// start, after white space, in the "C" locale; 0 when it starts with none.
double ReadNumber(std::wstring_view field);
double ReadNumber(std::string_view field);
inline double ReadNumber(const wxString& field)
{
    return ReadNumber(std::wstring_view(field.wc_str(), field.length()));
}

/// What a field may hold beyond free text. Every field is free text of
/// characters RefusedCharacterKind lets through, the line at most
/// MaxRecordLength characters.
struct FieldRule {
    const char* name = nullptr;  ///< how a message names the field ("the speed points")
    bool number = false;         ///< a decimal number (digits, a point, an exponent), finite
    bool notNegative = false;    ///< and not below zero
    bool yesOrNo = false;        ///< exactly "yes" or "no"
};
const FieldRule& RuleOf(RecordField field);

/// Why `line` is not a record (not twelve fields, too long, a refused
/// character, a field its rule does not take), or an empty text when it is
/// one. UTF-8 or decoded text alike.
wxString RecordProblem(std::wstring_view line);
wxString RecordProblem(std::string_view utf8);
