// Adding other results files to the table: which lines are records, which
// the table holds already, and what reaches the file.
#include "file_fixture.h"
#include "results/merge.h"
#include "results/results_file.h"

#include <cerrno>

namespace {
class Merge : public ProgramDirectory {
protected:
    MergeOutcome Merge1(const std::string& bytes, const char* name = "in.csv")
    {
        return MergeResults({MergeSource{wxString::FromUTF8(name), bytes}});
    }
    static std::string Line(const std::string& model, const std::string& speed = "100")
    {
        return Record("AMD", model, speed, "200");
    }
};

std::string Problem(const std::wstring& line)
{
    return RecordProblem(line).utf8_string();
}
}  // namespace

TEST(RecordProblem, ARecordHasNone)
{
    EXPECT_EQ(Problem(L"AMD;Ryzen;3800;4700;1;8;16;Linux;6.1;900;9000;yes"), "");
    EXPECT_EQ(Problem(L";;;;;;;;;0;0;no"), "");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;+1;1.5e3;yes"), "");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;-0;-2;yes"), "");
    EXPECT_EQ(Problem(L"A;B\tC;;;;;;;;.5;7.;yes"), "");
}

TEST(RecordProblem, EachWayOfNotBeingARecordIsNamed)
{
    EXPECT_EQ(Problem(L""), "an empty line");
    EXPECT_EQ(Problem(L"just text"), "1 field, not 12");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2"), "11 fields, not 12");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2;yes;extra"), "13 fields, not 12");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;fast;2;yes"), "the speed points \"fast\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;-5;2;yes"), "the speed points \"-5\" are negative");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;-0.5e1;2;yes"), "the speed points \"-0.5e1\" are negative");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;;2;yes"), "the speed points \"\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2,5;yes"), "the power points \"2,5\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1; 2;yes"), "the power points \" 2\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;nan;yes"), "the power points \"nan\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;1e999;yes"), "the power points \"1e999\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;0x10;yes"), "the power points \"0x10\" are not a number");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2;Yes"), "\"Display\" is \"Yes\", neither yes nor no");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2;yes "), "\"Display\" is \"yes \", neither yes nor no");
    EXPECT_EQ(Problem(std::wstring(L"A\0B;;;;;;;;;1;2;yes", 19)), "holds a control character");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2;yes\x7f"), "holds a control character");
}

TEST(RecordProblem, LongFieldsAreQuotedShortAndLongLinesRefused)
{
    EXPECT_EQ(Problem(L"A;B;;;;;;;;" + std::wstring(40, L'x') + L";2;yes"),
              "the speed points \"xxxxxxxxxxxxxxxxxxxxxxxx...\" are not a number");
    const std::wstring fits = L"A;" + std::wstring(MaxRecordLength - 17, L'm') + L";;;;;;;;1;2;yes";
    ASSERT_EQ(fits.size(), MaxRecordLength);
    EXPECT_EQ(Problem(fits), "");
    EXPECT_EQ(Problem(L"A;m" + fits.substr(2)), "longer than 4096 characters");
}

TEST_F(Merge, NewLinesAreAppendedInTheOrderReadAfterOneBackup)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const MergeOutcome o = Merge1(Line("New1") + "\n" + Line("Old") + "\n" + Line("New2") + "\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.added, 2u);
    EXPECT_EQ(o.present, 1u);
    EXPECT_TRUE(o.refused.empty());
    EXPECT_TRUE(o.written);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + Line("New1") + "\n" + Line("New2") + "\n");
    EXPECT_EQ(Read("cpu_result.bak"), Line("Old") + "\n");
}

TEST_F(Merge, ALineTwiceInTheInputIsAddedOnce)
{
    Write("cpu_results.csv", "");
    const MergeOutcome o = MergeResults({MergeSource{wxS("a"), Line("X") + "\n" + Line("X") + "\n"},
                                         MergeSource{wxS("b"), Line("X") + "\n"}});
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(o.present, 2u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("X") + "\n");
}

TEST_F(Merge, RefusedLinesAreReportedWithFileAndLineAndNeverReachTheTable)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const std::string second = std::string(1, '\n') + Line("B", "fast") + "\n" + Line("C");  // an empty line first
    const MergeOutcome o = MergeResults({MergeSource{wxS("first.csv"), Line("A") + "\nnot a record\n"},
                                         MergeSource{wxS("second.csv"), second}});
    EXPECT_EQ(o.added, 2u);
    ASSERT_EQ(o.refused.size(), 3u);
    EXPECT_EQ(o.refused[0].source, "first.csv");
    EXPECT_EQ(o.refused[0].line, 2u);
    EXPECT_EQ(o.refused[0].reason, "1 field, not 12");
    EXPECT_EQ(o.refused[1].source, "second.csv");
    EXPECT_EQ(o.refused[1].line, 1u);
    EXPECT_EQ(o.refused[1].reason, "an empty line");
    EXPECT_EQ(o.refused[2].line, 2u);
    EXPECT_EQ(o.refused[2].reason, "the speed points \"fast\" are not a number");
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + Line("A") + "\n" + Line("C") + "\n");
}

TEST_F(Merge, NothingNewWritesNothingAndMakesNoBackup)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const auto before = fs::last_write_time(dir / "cpu_results.csv");
    const MergeOutcome o = Merge1(Line("Old") + "\r\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.added, 0u);
    EXPECT_EQ(o.present, 1u);
    EXPECT_FALSE(o.written);
    EXPECT_FALSE(Exists("cpu_result.bak"));
    EXPECT_EQ(fs::last_write_time(dir / "cpu_results.csv"), before);
}

TEST_F(Merge, AnEmptyInputChangesNothing)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const MergeOutcome o = Merge1("");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.added + o.present + o.refused.size(), 0u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n");
}

TEST_F(Merge, CrlfInputIsTheSameLineAndTheTableKeepsItsLineEnds)
{
    Write("cpu_results.csv", Line("Old") + "\r\n");
    const MergeOutcome o = Merge1(Line("Old") + "\r\n" + Line("New") + "\r\n");
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(o.present, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\r\n" + Line("New") + "\r\n");
}

TEST_F(Merge, Latin1InputIsReadAsLatin1AndAUtf8TableStaysUtf8)
{
    Write("cpu_results.csv", "Intel;Pentium\xC2\xAE;1;;1;1;1;Linux;;10;10;yes\n");
    const MergeOutcome o = Merge1("Intel;Pentium\xAE;1;;1;1;1;Linux;;10;10;yes\n"
                                  "Intel;Core\xAE;1;;1;1;1;Linux;;20;20;yes\n");
    EXPECT_EQ(o.present, 1u);  // the same text in another encoding
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), "Intel;Pentium\xC2\xAE;1;;1;1;1;Linux;;10;10;yes\n"
                                       "Intel;Core\xC2\xAE;1;;1;1;1;Linux;;20;20;yes\n");
}

TEST_F(Merge, AByteOrderMarkIsNotPartOfTheFirstLine)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const MergeOutcome o = Merge1("\xEF\xBB\xBF" + Line("Old") + "\n" + Line("New") + "\n");
    EXPECT_EQ(o.present, 1u);
    EXPECT_EQ(o.added, 1u);
    EXPECT_TRUE(o.refused.empty());
}

TEST_F(Merge, BinaryJunkIsRefusedLineByLine)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    std::string junk;
    for (int k = 0; k < 4096; ++k)
        junk += static_cast<char>((k * 7919) & 0xFF);
    const MergeOutcome o = Merge1(junk + "\n" + Line("New") + "\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.added, 1u);
    EXPECT_FALSE(o.refused.empty());
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + Line("New") + "\n");
}

TEST_F(Merge, AOneMegabyteLineIsRefused)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const MergeOutcome o = Merge1(Line(std::string(1 << 20, 'm')) + "\n" + Line("New") + "\n");
    ASSERT_EQ(o.refused.size(), 1u);
    EXPECT_EQ(o.refused[0].reason, "longer than 4096 characters");
    EXPECT_EQ(o.added, 1u);
}

TEST_F(Merge, AMissingTableIsMadeFromTheTemplateFirst)
{
    Write("doc/cpu_results_original.csv", Line("Shipped") + "\n");
    const MergeOutcome o = Merge1(Line("Shipped") + "\n" + Line("New") + "\n");
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(o.present, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Shipped") + "\n" + Line("New") + "\n");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first, "cpu_results.csv was created from original template!");
}

TEST_F(Merge, AReadOnlyTableIsLeftAsItWasWithTheReason)
{
    const std::string before = Line("Old") + "\n";
    const int code = RunUnprivileged([this, &before] {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "cpu_results.csv") << before;
        ::chmod((own / "cpu_results.csv").c_str(), 0444);
        const MergeOutcome o = Merge1(Line("New") + "\n");
        if (o.status != 2 || o.written || o.added != 0)
            return 10 + o.status;
        if (messages.size() != 1 || messages[0].first.find("Permission denied") == std::string::npos)
            return 20;
        std::stringstream after;
        after << std::ifstream(own / "cpu_results.csv").rdbuf();
        return after.str() == before ? 0 : 30;
    });
    EXPECT_EQ(code, 0);
}

TEST(ShippedResults, EveryLineIsARecordWithItsProvenanceKept)
{
    const fs::path source = TARNWICK_SOURCE_DIR;
    std::ifstream in(source / "doc" / "cpu_results_original.csv", std::ios::binary);
    std::string line;
    int records = 0;
    while (std::getline(in, line)) {
        ++records;
        const wxString text = wxString::FromUTF8(line);
        EXPECT_EQ(RecordProblem(std::wstring_view(text.wc_str(), text.length())), "") << line;
        // Some file of benchmarks/records/ names this very line.
        bool found = false;
        for (const auto& entry : fs::directory_iterator(source / "benchmarks" / "records")) {
            std::ifstream provenance(entry.path(), std::ios::binary);
            std::stringstream text;
            text << provenance.rdbuf();
            found = found || text.str().find("  " + line + "\n") != std::string::npos;
        }
        EXPECT_TRUE(found) << "no provenance for " << line;
    }
    EXPECT_GE(records, 2);
}

TEST_F(Merge, ALatin1TableGetsLatin1LinesUntilALineNeedsMore)
{
    Write("cpu_results.csv", "Intel;Pentium\xAE;1;;1;1;1;Linux;;10;10;yes\r\n");
    EXPECT_EQ(Merge1("VIA;C3\xC2\xAE;1;;1;1;1;Linux;;5;5;yes\n").added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"),
              "Intel;Pentium\xAE;1;;1;1;1;Linux;;10;10;yes\r\nVIA;C3\xAE;1;;1;1;1;Linux;;5;5;yes\r\n");
    // A character Latin-1 lacks: the whole table becomes UTF-8, every character kept.
    EXPECT_EQ(Merge1("Intel;Core\xE2\x84\xA2;1;;1;1;1;Linux;;20;20;yes\n").added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), "Intel;Pentium\xC2\xAE;1;;1;1;1;Linux;;10;10;yes\r\n"
                                       "VIA;C3\xC2\xAE;1;;1;1;1;Linux;;5;5;yes\r\n"
                                       "Intel;Core\xE2\x84\xA2;1;;1;1;1;Linux;;20;20;yes\r\n");
}

TEST_F(Merge, AUtf16TableStaysUtf16)
{
    const std::string mark = "\xFF\xFE";
    const auto utf16 = [](const std::string& ascii) {
        std::string out;
        for (char c : ascii)
            out += std::string(1, c) + '\0';
        return out;
    };
    Write("cpu_results.csv", mark + utf16(Line("Old") + "\n"));
    const MergeOutcome o = Merge1(Line("Old") + "\n" + Line("New") + "\n");
    EXPECT_EQ(o.present, 1u);
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), mark + utf16(Line("Old") + "\n" + Line("New") + "\n"));
}

TEST_F(Merge, ALastLineWithoutALineEndGetsOneFirst)
{
    Write("cpu_results.csv", Line("Old"));
    EXPECT_EQ(Merge1(Line("New") + "\n").added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + Line("New") + "\n");
}
