// One line of the results table: its fields by name, split and joined, its
// points written and read, and what each field may hold.
#include "files/encoding.h"
#include "results/record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {
const wchar_t* const Full = L"AMD;Ryzen 7 5800X;3800;4700;1;8;16;Linux;6.1;900;9000;yes";

std::string Problem(std::string_view utf8)
{
    return RecordProblem(utf8).utf8_string();
}

std::string Problem(const std::wstring& line)
{
    return RecordProblem(std::wstring_view(line)).utf8_string();
}

// A record of `speed` and `power` with every other field filled.
std::wstring Line(const std::wstring& speed, const std::wstring& power, const std::wstring& display = L"yes")
{
    return L"AMD;Ryzen;3800;4700;1;8;16;Linux;6.1;" + speed + L";" + power + L";" + display;
}
}  // namespace

TEST(ResultRecord, EachFieldIsReachedByItsName)
{
    const ResultRecord r = ReadRecord(Full);
    EXPECT_EQ(r.count, 12u);
    EXPECT_EQ(r[FieldManufacturer], "AMD");
    EXPECT_EQ(r[FieldModel], "Ryzen 7 5800X");
    EXPECT_EQ(r[FieldRatedFrequency], "3800");
    EXPECT_EQ(r[FieldMaximumFrequency], "4700");
    EXPECT_EQ(r[FieldProcessors], "1");
    EXPECT_EQ(r[FieldCores], "8");
    EXPECT_EQ(r[FieldLogicalProcessors], "16");
    EXPECT_EQ(r[FieldOperatingSystem], "Linux");
    EXPECT_EQ(r[FieldOsVersion], "6.1");
    EXPECT_EQ(r[FieldSpeedPoints], "900");
    EXPECT_EQ(r[FieldPowerPoints], "9000");
    EXPECT_EQ(r[FieldDisplay], "yes");
    EXPECT_EQ(TitleOf(r), "AMD Ryzen 7 5800X @ 3800 MHz");
}

TEST(ResultRecord, SplitAndJoinGiveTheLineBack)
{
    for (const std::wstring& line : {std::wstring(Full), std::wstring(L";;;;;;;;;;;"), std::wstring(L";;;;;;;;;0;0;no"),
                                    std::wstring(L"\"AMD\";'Ryzen';\"\";;;;;;;1;2;\"yes\""),
                                    std::wstring(L"A\u00e9\u4e2d\U0001F600;B;;;;;;;;1;2;yes")}) {
        const ResultRecord record = ReadRecord(line);
        EXPECT_EQ(record.count, 12u);
        EXPECT_EQ(JoinRecord(record), wxString(line));
        // The views of UTF-8 bytes split where the decoded text does.
        const std::string utf8 = wxString(line).utf8_string();
        const RecordView<char> bytes = SplitRecord(std::string_view(utf8));
        for (int f = 0; f < RecordFieldCount; ++f)
            EXPECT_EQ(wxString::FromUTF8(std::string(bytes.fields[f])), record.fields[f]) << f;
    }
}

TEST(ResultRecord, QuotesAreTextAndOnlyTheSeparatorSplits)
{
    // No quoting and no escaping: a quoted ";" still separates.
    const ResultRecord r = ReadRecord(L"\"A;B\";M;;;;;;;;1;2;yes");
    EXPECT_EQ(r[FieldManufacturer], "\"A");
    EXPECT_EQ(r[FieldModel], "B\"");
    EXPECT_EQ(r[FieldDisplay], "2;yes");
    EXPECT_EQ(Problem(L"\"A;B\";M;;;;;;;;1;2;yes"), "13 fields, not 12");
    EXPECT_EQ(Problem(L"\"A,B\";\"M\";;;;;;;;1;2;yes"), "");
}

TEST(ResultRecord, EverythingAfterTheEleventhSeparatorIsTheLastField)
{
    const ResultRecord r = ReadRecord(L"A;B;;;;;;;;1;2;no;more;");
    EXPECT_EQ(r.count, 12u);
    EXPECT_EQ(r[FieldDisplay], "no;more;");
    EXPECT_EQ(JoinRecord(r), "A;B;;;;;;;;1;2;no;more;");
}

TEST(ResultRecord, AShortLineLeavesTheFieldsItLacksEmptyAndJoinsToTwelve)
{
    const ResultRecord r = ReadRecord(L"A;B;3000");
    EXPECT_EQ(r.count, 3u);
    EXPECT_EQ(r[FieldRatedFrequency], "3000");
    EXPECT_EQ(r[FieldMaximumFrequency], "");
    EXPECT_EQ(r[FieldDisplay], "");
    EXPECT_EQ(JoinRecord(r), "A;B;3000;;;;;;;;;");
    EXPECT_EQ(TitleOf(r), "A B @ 3000 MHz");

    EXPECT_EQ(ReadRecord(L"").count, 1u);
    EXPECT_EQ(ReadRecord(L";").count, 2u);
    EXPECT_EQ(JoinRecord(ResultRecord()), ";;;;;;;;;;;");
}

TEST(ResultRecord, PointsAreWrittenWholeAsTheTestsFillThem)
{
    EXPECT_EQ(FormatPoints(0.0), "0");
    EXPECT_EQ(FormatPoints(9000.4), "9000");
    EXPECT_EQ(FormatPoints(9000.6), "9001");
    EXPECT_EQ(FormatPoints(0.5), "0");  // halves to even, as printf rounds
    EXPECT_EQ(FormatPoints(1.5), "2");
    EXPECT_EQ(FormatPoints(-3.0), "-3");
    EXPECT_EQ(PointsText(41248.0), "41248");
    // The largest double whole, every digit of it.
    const std::string largest = FormatPoints(std::numeric_limits<double>::max());
    EXPECT_EQ(largest.size(), 309u);
    EXPECT_EQ(largest.substr(0, 6), "179769");
    EXPECT_EQ(FormatPoints(1e300).size(), 301u);
    // No finite number: written as printf writes it, and no record takes it.
    EXPECT_EQ(FormatPoints(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(FormatPoints(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(FormatPoints(std::numeric_limits<double>::quiet_NaN()).find("nan") != std::string::npos, true);
    EXPECT_EQ(Problem(Line(L"1", PointsText(std::numeric_limits<double>::infinity()).ToStdWstring())),
              "the power points \"inf\" are not a number");
    EXPECT_EQ(Problem(Line(PointsText(std::numeric_limits<double>::quiet_NaN()).ToStdWstring(), L"1")),
              "the speed points \"nan\" are not a number");
    // A huge finite value written so is a record; one past the range is not.
    EXPECT_EQ(Problem(Line(L"1", wxString(largest).ToStdWstring())), "");
    EXPECT_EQ(Problem(Line(L"1", wxString(largest).ToStdWstring() + L"0")),
              "the power points \"179769313486231570814527...\" are not a number");
}

TEST(ResultRecord, NumbersAreReadAsTheTableReadsThem)
{
    EXPECT_EQ(ReadNumber(std::wstring_view(L"9000")), 9000.0);
    EXPECT_EQ(ReadNumber(std::string_view("1.5e3")), 1500.0);
    EXPECT_EQ(ReadNumber(std::wstring_view(L" 12abc")), 12.0);  // the number at its start
    EXPECT_EQ(ReadNumber(std::wstring_view(L"fast")), 0.0);
    EXPECT_EQ(ReadNumber(std::wstring_view(L"")), 0.0);
    EXPECT_EQ(ReadNumber(wxString(wxS("-2"))), -2.0);
    // Only the field: what follows it in the line is not read.
    const std::wstring line = L"12;34";
    EXPECT_EQ(ReadNumber(std::wstring_view(line).substr(0, 1)), 1.0);
    EXPECT_TRUE(std::isinf(ReadNumber(std::string_view("1e999"))));
    EXPECT_TRUE(std::isnan(ReadNumber(std::string_view("nan"))));
    // A long field is read whole, and UTF-8 past ASCII ends a number.
    EXPECT_EQ(ReadNumber(std::string_view(std::string(500, '0') + "7")), 7.0);
    EXPECT_EQ(ReadNumber(std::string_view("5\xC3\xA9")), 5.0);
    EXPECT_EQ(ReadNumber(std::string_view("\xFF" "5")), 0.0);
}

TEST(ResultRecord, OnlyThePointsAndTheDisplayFieldHaveRules)
{
    for (int f = 0; f < RecordFieldCount; ++f) {
        const FieldRule& rule = RuleOf(RecordField(f));
        const bool points = f == FieldSpeedPoints || f == FieldPowerPoints;
        EXPECT_EQ(rule.number, points) << f;
        EXPECT_EQ(rule.notNegative, f == FieldSpeedPoints) << f;
        EXPECT_EQ(rule.yesOrNo, f == FieldDisplay) << f;
        EXPECT_EQ(rule.name != nullptr, points || f == FieldDisplay) << f;
    }
    // Free text takes anything but the refused characters and ";".
    EXPECT_EQ(Problem(L"x;fast;-1;nan;inf;\"q\";'q';<b>;&lt;1;2;yes"), "");
}

TEST(ResultRecord, EachRuleIsHeldToWhateverTheTextIsGivenAs)
{
    const std::vector<std::pair<std::wstring, std::string>> cases = {
        {Line(L"900", L"9000"), ""},
        {Line(L"+1", L"1.5e3"), ""},
        {Line(L"-0", L"-2"), ""},  // power may be below zero, speed may not
        {Line(L".5", L"7.", L"no"), ""},
        {Line(L"", L"1"), "the speed points \"\" are not a number"},
        {Line(L"1 ", L"1"), "the speed points \"1 \" are not a number"},
        {Line(L"-5", L"1"), "the speed points \"-5\" are negative"},
        {Line(L"1", L"2,5"), "the power points \"2,5\" are not a number"},
        {Line(L"1", L"0x10"), "the power points \"0x10\" are not a number"},
        {Line(L"1", L"infinity"), "the power points \"infinity\" are not a number"},
        {Line(L"1", L"1e999"), "the power points \"1e999\" are not a number"},
        {Line(L"1", L"2", L"YES"), "\"Display\" is \"YES\", neither yes nor no"},
        {Line(L"1", L"2", L""), "\"Display\" is \"\", neither yes nor no"},
    };
    for (const auto& [line, problem] : cases) {
        EXPECT_EQ(Problem(line), problem) << wxString(line);
        EXPECT_EQ(Problem(std::string_view(wxString(line).utf8_string())), problem) << wxString(line);
    }
}

TEST(ResultRecord, HostileTextIsRefusedOrQuotedHarmlessly)
{
    // A separator or a direction change inside a field is refused before
    // any field is looked at.
    EXPECT_EQ(Problem(L"A\u2028B;M;;;;;;;;x;2;yes"), "holds a line separator (U+2028)");
    EXPECT_EQ(Problem(L"A\u202eB;M;;;;;;;;1;2;yes"), "holds a bidirectional control character (U+202E)");
    EXPECT_EQ(Problem(L"A\tB;M;;;;;;;;1;2;yes"), "holds a control character (U+0009)");
    // A quoted value shows at most 24 characters, refused ones and broken
    // UTF-8 as "?".
    EXPECT_EQ(QuotedText(std::string_view("a\"b")), "\"a\"b\"");
    EXPECT_EQ(QuotedText(std::string_view("x\xC3(y\xF5\x80\x80\x80z")), "\"x?(y????z\"");
    EXPECT_EQ(QuotedText(std::string_view("\xE2\x80\xAE" "evil")), "\"?evil\"");
    EXPECT_EQ(QuotedText(std::wstring_view(L"\u202eevil\x1b")), "\"?evil?\"");
    const wchar_t lone[] = {L'a', wchar_t(0xD800), wchar_t(0x110000), L'b', 0};
    EXPECT_EQ(QuotedText(std::wstring_view(lone)), "\"a??b\"");
    EXPECT_EQ(ShownText(std::string(30, 'x')), std::string(24, 'x') + "...");
    EXPECT_EQ(ShownText(std::wstring(L"\u00e9") + std::wstring(24, L'y')), "\xC3\xA9" + std::string(23, 'y') + "...");
    // Broken UTF-8 in a points field is no number, and its message is UTF-8.
    const std::string broken = "A;B;;;;;;;;1\xC3;2;yes";
    EXPECT_EQ(Problem(std::string_view(broken)), "the speed points \"1?\" are not a number");
}

TEST(ResultRecord, TheLengthIsCountedInCharactersUpToTheLongestRecord)
{
    const std::wstring fits = L"A;" + std::wstring(MaxRecordLength - 17, L'\u00e9') + L";;;;;;;;1;2;yes";
    ASSERT_EQ(fits.size(), MaxRecordLength);
    EXPECT_EQ(Problem(fits), "");
    EXPECT_EQ(Problem(std::string_view(wxString(fits).utf8_string())), "");  // more bytes than characters
    EXPECT_EQ(Problem(L"A;\u00e9" + fits.substr(2)), "longer than 4096 characters");
}
