// Decoding and encoding the program's text files: what the toolkit's own
// conversion reads is read the same, and nothing is ever lost on the way
// back, not even bytes that are no character.
#include "files/encoding.h"
#include "files/text_document.h"

#include <gtest/gtest.h>

#include <wx/convauto.h>

#include <random>
#include <string>
#include <vector>

namespace {
// The text's lines split as the file reader splits them.
std::vector<std::pair<std::wstring, wxTextFileType>> SplitLines(const std::wstring& text)
{
    std::vector<std::pair<std::wstring, wxTextFileType>> lines;
    std::size_t start = 0;
    for (std::size_t p = 0; p < text.size(); ++p) {
        if (text[p] == L'\n') {
            lines.emplace_back(text.substr(start, p - start), wxTextFileType_Unix);
            start = p + 1;
        } else if (text[p] == L'\r') {
            const bool dos = p + 1 < text.size() && text[p + 1] == L'\n';
            lines.emplace_back(text.substr(start, p - start), dos ? wxTextFileType_Dos : wxTextFileType_Mac);
            p += dos ? 1 : 0;
            start = p + 1;
        }
    }
    if (start < text.size())
        lines.emplace_back(text.substr(start), wxTextFileType_None);
    return lines;
}

// What the toolkit's automatic conversion makes of `bytes`, when it makes
// characters of them all.
bool ByConvAuto(const std::string& bytes, std::wstring& text)
{
    wxConvAuto conv;
    std::size_t length = 0;
    const wxWCharBuffer decoded = conv.cMB2WC(bytes.data(), bytes.size(), &length);
    if (!decoded)
        return false;
    text.assign(decoded.data(), length);
    for (const wchar_t c : text)
        if (std::uint32_t(c) > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return false;  // not a character at all: no file has it
    return true;
}

std::string RoundTrip(const std::string& bytes)
{
    TextDocument document;
    EXPECT_TRUE(document.Parse(bytes));
    std::string out;
    std::size_t bad = 0;
    EXPECT_TRUE(document.Encode(out, bad));
    return out;
}

std::string Utf16(const std::wstring& text)
{
    std::string out;
    EncodeText(text, TextEncoding::Utf16Le, out);
    return out;
}

std::string RandomBytes(std::mt19937& random)
{
    // Bytes biased towards line ends, separators, high Latin-1, NUL and the
    // halves of UTF-8 sequences and UTF-16 surrogates, with and without marks.
    const unsigned char alphabet[] = {'\n', '\r', ';', 'a', 'z', '0', ' ', 0xE9, 0xC3, 0xA9, 0x00, 0xFF, 0xD8, 0xDC, 0xF4, 0x97};
    const std::string marks[] = {"", "\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF", std::string("\xFF\xFE\0\0", 4),
                                 std::string("\0\0\xFE\xFF", 4)};
    std::string bytes = marks[random() % 6];
    const int length = int(random() % 64);
    for (int i = 0; i < length; ++i)
        bytes += char(alphabet[random() % sizeof alphabet]);
    return bytes;
}
}  // namespace

TEST(TextFiles, WhatTheToolkitReadsIsReadTheSameLineByLine)
{
    std::mt19937 random(42);
    int compared = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string bytes = RandomBytes(random);
        std::wstring expected;
        if (!ByConvAuto(bytes, expected))
            continue;
        ++compared;
        DecodedText text;
        ASSERT_TRUE(text.Decode(bytes.data(), bytes.size()));
        const auto lines = SplitLines(expected);
        ASSERT_EQ(text.Count(), lines.size()) << "round " << round;
        for (std::size_t n = 0; n < lines.size(); ++n) {
            EXPECT_EQ(std::wstring(text.Line(n)), lines[n].first) << "round " << round << " line " << n;
            EXPECT_EQ(text.Type(n), lines[n].second) << "round " << round << " line " << n;
        }
        EXPECT_TRUE(text.Exact());
    }
    EXPECT_GT(compared, 400);
}

TEST(TextFiles, AnyBytesAreWrittenBackExactlyAsTheyWereRead)
{
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        const std::string bytes = RandomBytes(random);
        ASSERT_EQ(RoundTrip(bytes), bytes) << "round " << round;
    }
}

TEST(TextFiles, UnitsThatAreNoCharacterAreShownAsReplacementsAndKeptWhenOtherLinesChange)
{
    // An unpaired surrogate in the second line of a UTF-16 table, and a cut
    // last unit.
    const std::string first = Utf16(L"Maker;Model A;1;1;1;1;1;L;1;10;20;yes\n");
    const std::string second = Utf16(L"X;") + std::string("\x00\xD8", 2) + Utf16(L"bad;1;1;1;1;1;L;1;10;20;yes\n");
    const std::string bytes = "\xFF\xFE" + first + second + "Z";
    DecodedText text;
    ASSERT_TRUE(text.Decode(bytes.data(), bytes.size()));
    EXPECT_EQ(text.Encoding(), TextEncoding::Utf16Le);
    ASSERT_EQ(text.Count(), 3u);
    EXPECT_TRUE(text.Exact(0));
    EXPECT_FALSE(text.Exact(1));
    EXPECT_EQ(std::wstring(text.Line(1)), L"X;\xFFFD" L"bad;1;1;1;1;1;L;1;10;20;yes");
    EXPECT_EQ(std::wstring(text.Line(2)), L"\xFFFD");
    EXPECT_FALSE(text.Exact());

    TextDocument document;
    ASSERT_TRUE(document.Parse(bytes));
    document.Remove(0);
    std::string out;
    std::size_t bad = 0;
    ASSERT_TRUE(document.Encode(out, bad));
    EXPECT_EQ(out, "\xFF\xFE" + second + "Z");  // the broken line and the cut unit kept byte for byte

    // A line before the cut unit is written; one after it could only be
    // read out of step, and is refused with the line it would follow.
    document.Insert(wxS("New;line;1;1;1;1;1;L;1;10;20;yes"), 0, wxTextFileType_Unix);
    ASSERT_TRUE(document.Encode(out, bad));
    EXPECT_EQ(out, "\xFF\xFE" + Utf16(L"New;line;1;1;1;1;1;L;1;10;20;yes\n") + second + "Z");
    document.Insert(wxS("Last;line;1;1;1;1;1;L;1;10;20;yes"), document.LineCount(), wxTextFileType_Unix);
    TextDocument::Refusal refusal = TextDocument::Refusal::None;
    EXPECT_FALSE(document.Encode(out, bad, &refusal));
    EXPECT_EQ(refusal, TextDocument::Refusal::CutUnit);
    EXPECT_EQ(bad, 3u);
}

TEST(TextFiles, TextWithoutAMarkThatWouldStartAsOneGetsAUtf8Mark)
{
    // U+FEFF first in a UTF-8 text, and "\xFF\xFE" first in a Latin-1 one,
    // would read back as marks.
    TextDocument utf8;
    ASSERT_TRUE(utf8.Parse(""));
    utf8.Insert(wxString(L"\uFEFF" L"AMD;x"), 0, wxTextFileType_Unix);
    std::string out;
    std::size_t bad = 0;
    ASSERT_TRUE(utf8.Encode(out, bad));
    EXPECT_EQ(out, "\xEF\xBB\xBF\xEF\xBB\xBF" "AMD;x\n");
    TextDocument latin1;
    ASSERT_TRUE(latin1.Parse("Pentium\xAE\n"));
    latin1.Insert(wxString(L"\xFF\xFEx"), 0, wxTextFileType_Unix);
    ASSERT_TRUE(latin1.Encode(out, bad));
    EXPECT_EQ(out, "\xEF\xBB\xBF\xC3\xBF\xC3\xBEx\nPentium\xC2\xAE\n");
    for (TextDocument* document : {&utf8, &latin1}) {
        ASSERT_TRUE(document->Encode(out, bad));
        DecodedText text;
        ASSERT_TRUE(text.Decode(out.data(), out.size()));
        EXPECT_EQ(std::wstring(text.Line(0)), std::wstring(document->Line(0)));
    }
}

TEST(TextFiles, ABrokenSequenceAfterAUtf8MarkIsKeptAndTheRestReadAsUtf8)
{
    const std::string bytes = "\xEF\xBB\xBF" "Caf\xC3\xA9;\xFF\n" "ok\n";
    DecodedText text;
    ASSERT_TRUE(text.Decode(bytes.data(), bytes.size()));
    EXPECT_EQ(text.Encoding(), TextEncoding::Utf8WithMark);
    EXPECT_EQ(std::wstring(text.Line(0)), L"Caf\xE9;\xFFFD");
    EXPECT_FALSE(text.Exact(0));
    EXPECT_TRUE(text.Exact(1));
    EXPECT_EQ(RoundTrip(bytes), bytes);
}

TEST(TextFiles, TextThatIsNotUtf8IsLatin1AndEveryByteACharacter)
{
    // The settings file a fuzzer found: a sequence past U+10FFFF and NUL bytes.
    const std::string bytes("# tingq\ncpuset\xF4\x97\x9A\x9Ettitingq\ncpuli\x01\0\0\0\0\0\0\x01st\t\t20&hateit\tme10\n", 59);
    DecodedText text;
    ASSERT_TRUE(text.Decode(bytes.data(), bytes.size()));
    EXPECT_EQ(text.Encoding(), TextEncoding::Latin1);
    EXPECT_TRUE(text.Exact());
    ASSERT_EQ(text.Count(), 3u);
    EXPECT_EQ(std::wstring(text.Line(1)), L"cpuset\xF4\x97\x9A\x9Ettitingq");
    EXPECT_EQ(text.Line(2).size(), 31u);
    EXPECT_EQ(RoundTrip(bytes), bytes);
}

TEST(TextFiles, ALatin1FileGivenACharacterLatin1LacksBecomesUtf8AsAWhole)
{
    TextDocument document;
    ASSERT_TRUE(document.Parse("Pentium\xAE\r\n"));
    document.Insert(wxString::FromUTF8("Core\xE2\x84\xA2"), 1, wxTextFileType_Dos);
    std::string out;
    std::size_t bad = 0;
    ASSERT_TRUE(document.Encode(out, bad));
    EXPECT_EQ(out, "Pentium\xC2\xAE\r\nCore\xE2\x84\xA2\r\n");
}

TEST(TextFiles, ACharacterNoEncodingHoldsIsRefusedWithItsLine)
{
    TextDocument document;
    ASSERT_TRUE(document.Parse("one\ntwo\n"));
    document.Insert(wxString(wxUniChar(0xD800)), 1, wxTextFileType_Unix);
    std::string out;
    std::size_t bad = 0;
    EXPECT_FALSE(document.Encode(out, bad));
    EXPECT_EQ(bad, 2u);
}

TEST(TextFiles, AnEmptyLineAfterALoneCarriageReturnKeepsToIt)
{
    TextDocument document;
    ASSERT_TRUE(document.Parse("a\rb\r"));
    document.Remove(1);
    document.Insert(wxString(), 1, wxTextFileType_Unix);
    std::string out;
    std::size_t bad = 0;
    ASSERT_TRUE(document.Encode(out, bad));
    EXPECT_EQ(out, "a\r\r");  // "a\r\n" would read back as one line
    DecodedText text;
    ASSERT_TRUE(text.Decode(out.data(), out.size()));
    EXPECT_EQ(text.Count(), 2u);
}

TEST(TextFiles, LineEndingIsTheMostCommonOne)
{
    DecodedText text;
    const std::string dos = "a\r\nb\r\nc\nd\r\n", tie = "a\rb\nc";
    ASSERT_TRUE(text.Decode(dos.data(), dos.size()));
    EXPECT_EQ(text.LineEnding(), wxTextFileType_Dos);
    ASSERT_TRUE(text.Decode(tie.data(), tie.size()));
    EXPECT_EQ(text.LineEnding(), wxTextFileType_Mac);  // the first line's on a tie
    ASSERT_TRUE(text.Decode("abc", 3));
    EXPECT_EQ(text.LineEnding(), wxTextFileType_Unix);
}

TEST(TextFiles, EveryMarkIsReadAndKept)
{
    const std::wstring line = L"Intel;Core\x2122 \x1F600;1;1;1;1;1;Linux;6;10;20;yes";
    for (TextEncoding encoding : {TextEncoding::Utf8WithMark, TextEncoding::Utf16Le, TextEncoding::Utf16Be,
                                  TextEncoding::Utf32Le, TextEncoding::Utf32Be}) {
        std::string bytes(ByteOrderMark(encoding));
        ASSERT_TRUE(EncodeText(line + L"\r\n", encoding, bytes));
        DecodedText text;
        ASSERT_TRUE(text.Decode(bytes.data(), bytes.size()));
        EXPECT_EQ(text.Encoding(), encoding) << EncodingName(encoding);
        ASSERT_EQ(text.Count(), 1u);
        EXPECT_EQ(std::wstring(text.Line(0)), line);
        EXPECT_EQ(text.Type(0), wxTextFileType_Dos);
        std::wstring expected;
        ASSERT_TRUE(ByConvAuto(bytes, expected));
        EXPECT_EQ(expected, line + L"\r\n");
    }
}

TEST(StrictUtf8, AcceptsEveryBoundaryOfUtf8)
{
    for (const char* text : {"plain ASCII;1;2;yes", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                             "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
                             "Intel\xC2\xAE Core\xE2\x84\xA2 \xF0\x9F\x98\x80;1;2;yes"}) {
        const std::string bytes = text;
        EXPECT_TRUE(IsStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) << bytes;
        std::wstring expected;
        ASSERT_TRUE(ByConvAuto(bytes, expected));
        DecodedText decoded;
        ASSERT_TRUE(decoded.Decode(bytes.data(), bytes.size()));
        EXPECT_EQ(std::wstring(decoded.Line(0)), expected);
    }
}

TEST(StrictUtf8, RefusesEverythingThatIsNotStrictUtf8)
{
    for (const char* text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xED\xBF\xBF",
                             "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF",
                             "\xC2", "\xE2\x84", "\xF0\x9F\x98", "ok\xC2x", "Pentium\xAE", "\xF4\x97\x9A\x9E"}) {
        const std::string bytes = text;
        EXPECT_FALSE(IsStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) << bytes;
    }
}
