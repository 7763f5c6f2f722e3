#include "results/text_document.h"
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
