#include "files/text_document.h"
#include "file_fixture.h"

#include <random>

namespace {
class TextFiles : public ProgramDirectory {};
}  // namespace

TEST_F(TextFiles, LinesReadInOneBlockMatchTheTextFileOnRandomBytes)
{
    // Bytes biased towards line ends, separators, high Latin-1 and NUL, with
    // and without byte-order marks.
    const unsigned char alphabet[] = {'\n', '\r', ';', 'a', 'z', '0', ' ', 0xE9, 0xC3, 0xA9, 0x00, 0xFF};
    const std::string marks[] = {"", "\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"};
    std::mt19937 random(42);
    for (int round = 0; round < 400; ++round) {
        std::string bytes = marks[random() % 4];
        const int length = int(random() % 64);
        for (int i = 0; i < length; ++i)
            bytes += char(alphabet[random() % sizeof alphabet]);
        Write("sample.txt", bytes);

        TextDocument document;
        TextLines lines;
        const bool documentRead = document.Open(wxS("sample.txt"));
        const bool linesRead = lines.Read(wxS("sample.txt"));
        ASSERT_EQ(documentRead, linesRead) << "round " << round << " size " << bytes.size() << " first " << int((unsigned char)bytes[0]);
        if (!documentRead)
            continue;
        ASSERT_EQ(document.LineCount(), lines.Count()) << "round " << round;
        for (std::size_t n = 0; n < lines.Count(); ++n) {
            const wxString& expected = document.Line(n);
            ASSERT_EQ(std::wstring(expected.wc_str(), expected.length()), std::wstring(lines.Line(n)))
                << "round " << round << " line " << n;
            ASSERT_EQ(document.LineType(n), lines.Type(n)) << "round " << round << " line " << n;
        }
        EXPECT_EQ(document.LineEnding(), lines.LineEnding());
    }
}

TEST_F(TextFiles, LineEndingIsTheMostCommonOne)
{
    TextLines lines;
    const std::wstring text = L"a\r\nb\r\nc\nd\r\n";
    lines.Split(text.data(), text.size());
    EXPECT_EQ(lines.LineEnding(), wxTextFileType_Dos);
    const std::wstring tie = L"a\rb\nc";
    lines.Split(tie.data(), tie.size());
    EXPECT_EQ(lines.LineEnding(), wxTextFileType_Mac);  // the first line's on a tie
    lines.Split(L"abc", 3);
    EXPECT_EQ(lines.LineEnding(), wxTextFileType_Unix);
}

TEST_F(TextFiles, WrittenFileReplacesTheOldOneWhole)
{
    Write("data.txt", "one\ntwo\n");
    TextDocument document;
    ASSERT_TRUE(document.Open(wxS("data.txt")));
    document.Insert(wxS("three"), document.LineCount(), wxTextFileType_Unix);
    ASSERT_TRUE(document.Write());
    EXPECT_EQ(Read("data.txt"), "one\ntwo\nthree\n");
    // Nothing is left beside it: the temporary file was renamed into place.
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(dir))
        ++entries;
    EXPECT_EQ(entries, 1u);
}

namespace {
// What the file reader's own conversion makes of `bytes`.
std::wstring ByConvAuto(const std::string& bytes)
{
    wxConvAuto conv;
    std::size_t length = 0;
    const wxWCharBuffer text = conv.cMB2WC(bytes.data(), bytes.size(), &length);
    return text ? std::wstring(text.data(), length) : std::wstring(L"(no conversion)");
}

std::wstring ByStrictUtf8(const std::string& bytes)
{
    std::vector<wchar_t> out(bytes.size() + 1);
    const std::size_t n = DecodeStrictUtf8(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                                           out.data());
    return n == std::size_t(-1) ? std::wstring(L"(invalid)") : std::wstring(out.data(), n);
}
}  // namespace

TEST(StrictUtf8, DecodesAsTheFileReaderDoesAtEveryBoundary)
{
    for (const char* text : {"plain ASCII;1;2;yes", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                             "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
                             "Intel\xC2\xAE Core\xE2\x84\xA2 \xF0\x9F\x98\x80;1;2;yes"}) {
        const std::string bytes = text;
        EXPECT_EQ(ByStrictUtf8(bytes), ByConvAuto(bytes)) << bytes;
    }
}

TEST(StrictUtf8, RefusesEverythingThatIsNotStrictUtf8)
{
    for (const char* text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xED\xBF\xBF",
                             "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF",
                             "\xC2", "\xE2\x84", "\xF0\x9F\x98", "ok\xC2x", "Pentium\xAE"})
        EXPECT_EQ(ByStrictUtf8(text), L"(invalid)") << text;
}

TEST(StrictUtf8, ReadingGivesWhatTheLineByLineReaderGives)
{
    // Latin-1, UTF-8 with and without a mark, and a NUL inside a line.
    const std::string samples[] = {"Intel;Pentium\xAE;1\nAMD;K6\r\n", "\xEF\xBB\xBFIntel;Core\xE2\x84\xA2\n",
                                   "Intel;Core\xC2\xAE\rx", std::string("a\0b\nc\n", 6)};
    char pattern[] = "/tmp/tarnwick-utf8-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string path = std::string(pattern) + "/f.csv";
    for (const std::string& bytes : samples) {
        std::ofstream(path, std::ios::binary) << bytes;
        TextLines fast;
        ASSERT_TRUE(fast.Read(wxString::FromUTF8(path)));
        TextDocument slow;
        ASSERT_TRUE(slow.Open(wxString::FromUTF8(path)));
        ASSERT_EQ(fast.Count(), slow.LineCount()) << bytes;
        for (std::size_t n = 0; n < fast.Count(); ++n) {
            EXPECT_EQ(std::wstring(fast.Line(n)), std::wstring(slow.Line(n).wc_str(), slow.Line(n).length()));
            EXPECT_EQ(fast.Type(n), slow.LineType(n));
        }
    }
    std::remove(path.c_str());
    rmdir(pattern);
}
