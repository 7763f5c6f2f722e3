// Adding other results files to the table: which lines are records, which
// the table holds already, and what reaches the file.
#include "../support/document_builder.h"
#include "file_fixture.h"
#include "results/merge.h"
#include "files/encoding.h"
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
    EXPECT_EQ(Problem(L"A;B\u00e9\u2027\u202f\u206a;;;;;;;;.5;7.;yes"), "");  // neighbours of the refused ones
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
    EXPECT_EQ(Problem(std::wstring(L"A\0B;;;;;;;;;1;2;yes", 19)), "holds a control character (U+0000)");
    EXPECT_EQ(Problem(L"A;B;;;;;;;;1;2;yes\x7f"), "holds a control character (U+007F)");
}

TEST_F(Merge, EveryControlSeparatorAndDirectionCharacterIsRefusedTabIncluded)
{
    const std::vector<std::pair<wchar_t, std::string>> refused = {
        {L'\t', "a control character (U+0009)"},        {L'\x1b', "a control character (U+001B)"},
        {L'\x80', "a control character (U+0080)"},      {L'\x85', "a control character (U+0085)"},
        {L'\x9b', "a control character (U+009B)"},      {L'\x9f', "a control character (U+009F)"},
        {L'\u2028', "a line separator (U+2028)"},         {L'\u2029', "a line separator (U+2029)"},
        {L'\u202a', "a bidirectional control character (U+202A)"},
        {L'\u202e', "a bidirectional control character (U+202E)"},
        {L'\u2066', "a bidirectional control character (U+2066)"},
        {L'\u2069', "a bidirectional control character (U+2069)"}};
    for (const auto& [c, kind] : refused) {
        const std::wstring line = std::wstring(L"AMD;Ry") + c + L"zen;;;;;;;;1;2;yes";
        EXPECT_EQ(Problem(line), "holds " + kind) << int(c);
        // Read from a results file's bytes (UTF-8) as from decoded text.
        Write("cpu_results.csv", Line("Old") + "\n");
        const MergeOutcome o = Merge1(wxString(line).utf8_string() + "\n");
        ASSERT_EQ(o.refused.size(), 1u) << int(c);
        EXPECT_EQ(o.refused[0].reason, "holds " + kind) << int(c);
        EXPECT_EQ(o.added, 0u);
        EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n");
    }
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
    EXPECT_TRUE(o.Written());
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
    EXPECT_FALSE(o.Written());
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
    const std::string failure = RunUnprivileged([this, &before]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "cpu_results.csv") << before;
        ::chmod((own / "cpu_results.csv").c_str(), 0444);
        const MergeOutcome o = Merge1(Line("New") + "\n");
        if (o.status != 2 || o.Written() || o.added != 0)
            return "merging into a read-only table gave status " + std::to_string(o.status) + ", written " +
                   std::to_string(o.Written()) + ", added " + std::to_string(o.added);
        if (messages.size() != 1 || messages[0].first.find("Permission denied") == std::string::npos)
            return std::to_string(messages.size()) + " messages, the first \"" +
                   (messages.empty() ? std::string() : messages[0].first) + "\"";
        std::stringstream after;
        after << std::ifstream(own / "cpu_results.csv").rdbuf();
        return after.str() == before ? "" : "the table changed to \"" + after.str() + "\"";
    });
    EXPECT_EQ(failure, "");
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
            std::stringstream recorded;
            recorded << provenance.rdbuf();
            found = found || recorded.str().find("  " + line + "\n") != std::string::npos;
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

namespace {
std::string DocumentText(const ResultDocument& document)
{
    return WriteResultDocument(document);
}

// The reasons of `outcome`'s refusals, one a line, each "source:line: reason".
std::string Refusals(const MergeOutcome& outcome)
{
    std::string text;
    for (const MergeNote& refused : outcome.refused)
        text += refused.source.utf8_string() + ":" + std::to_string(refused.line) + ": " +
                refused.reason.utf8_string() + "\n";
    return text;
}

std::string Findings(const MergeOutcome& outcome)
{
    std::string text;
    for (const MergeNote& record : outcome.implausible)
        text += record.source.utf8_string() + ":" + std::to_string(record.line) + ": " +
                record.reason.utf8_string() + "\n";
    return text;
}
}  // namespace

TEST_F(Merge, AResultDocumentAddsItsRecordLine)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    const ResultDocument document = Document();
    const MergeOutcome o = Merge1(DocumentText(document), "ryzen.json");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.documents, 1u);
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(Refusals(o), "");
    EXPECT_EQ(Findings(o), "");
    EXPECT_TRUE(o.Written());
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + document.record + "\n");

    // Again, and as a line of a results file: the same record, present.
    const MergeOutcome again = MergeResults({MergeSource{wxS("again.json"), DocumentText(document)},
                                             MergeSource{wxS("lines.csv"), document.record + "\r\n"}});
    EXPECT_EQ(again.documents, 1u);
    EXPECT_EQ(again.added, 0u);
    EXPECT_EQ(again.present, 2u);
    EXPECT_FALSE(again.Written());
}

TEST_F(Merge, AResultDocumentJoinsALatin1TableInItsEncoding)
{
    Write("cpu_results.csv", "Intel;Pentium\xAE;1;;1;1;1;Linux;;10;10;yes\n");
    const ResultDocument document = Document("Ryzen\xC2\xAE");
    const MergeOutcome o = Merge1(DocumentText(document));
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), "Intel;Pentium\xAE;1;;1;1;1;Linux;;10;10;yes\n" +
                                           DocumentRecord("Ryzen\xAE", "9012", "35302") + "\n");
}

TEST_F(Merge, TamperedDocumentsAreRefusedWholeAndTheTableIsUnchanged)
{
    const std::string table = Line("Old") + "\n";
    const ResultDocument d = Document();
    const std::vector<std::pair<std::string, std::string>> cases = {
        {EditedText(d, [](nlohmann::ordered_json& j) { j["record"] = DocumentRecord("Ryzen 7 5800X", "9100", "35302"); }),
         "its speed points 9100 are not what its samples give (9012)"},
        {EditedText(d, [](nlohmann::ordered_json& j) { j["power"]["threads"][2]["perSecond"][0] = 999; }),
         "power.threads[2].points 8831 are not what its samples give (8948)"},
        {EditedText(d, [](nlohmann::ordered_json& j) { j["power"]["threads"][0]["points"] = 9999; }),
         "power.threads[0].points 9999 are not what its samples give (8809)"},
        {EditedText(d, [](nlohmann::ordered_json& j) { j["workCycle"] = "tarnwick-cycle-2"; }),
         "it measured other work (tarnwick-cycle-2); its scores cannot be compared"},
        {EditedText(d, [](nlohmann::ordered_json& j) { j["format"] = "other"; }),
         "it is not a Tarnwick result document (its format is \"other\")"},
        {EditedText(d, [](nlohmann::ordered_json& j) { j["speed"]["verdict"]["steady"] = false; }),
         "its speed verdict says unsteady but its evidence says steady"},
    };
    for (const auto& [text, reason] : cases) {
        Write("cpu_results.csv", table);
        const MergeOutcome o = MergeResults({MergeSource{wxS("bad.json"), text}});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(Refusals(o), "bad.json:0: " + reason + "\n");
        EXPECT_EQ(o.documents + o.added + o.present, 0u);
        EXPECT_FALSE(o.Written());
        EXPECT_EQ(Read("cpu_results.csv"), table);
        EXPECT_FALSE(Exists("cpu_result.bak"));
    }
}

TEST_F(Merge, BadDocumentsAreRefusedWithAReasonAndNothingIsWritten)
{
    const std::string table = Line("Old") + "\n";
    const std::string good = DocumentText(Document());
    std::string deep = "{";
    for (int k = 0; k < 10000; ++k)
        deep += "\"a\":{";
    std::string notUtf8 = good;
    notUtf8.replace(notUtf8.find("AuthenticAMD"), 1, "\xC1");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {good.substr(0, good.rfind('}')), "not JSON: unexpected end of input"},
        {good.substr(0, good.size() / 2), "not JSON: "},
        {"{\"format\": \"tarnwick-result/1\", \"program\": NaN}", "not JSON: invalid literal"},
        {deep, "it nests arrays and objects deeper than 16 levels"},
        {"{}", "it is not a Tarnwick result document (it has no \"format\")"},
        {notUtf8, "not valid UTF-8"},
        {"{" + std::string(MaxResultDocumentBytes, ' ') + "}", "it is too large"},
        {EditedText(Document(), [](nlohmann::ordered_json& j) { j["speed"]["threads"][0]["after"] = -3; }),
         "speed.threads[0].after is not a whole number from 0 to 10000000"},
        {EditedText(Document(), [](nlohmann::ordered_json& j) { j["speed"]["threads"][0]["after"] = 1e30; }),
         "speed.threads[0].after is not a whole number from 0 to 10000000"},
    };
    for (const auto& [text, reason] : cases) {
        Write("cpu_results.csv", table);
        const MergeOutcome o = MergeResults({MergeSource{wxS("bad.json"), text}});
        ASSERT_EQ(o.refused.size(), 1u) << reason;
        EXPECT_EQ(o.refused[0].line, 0u);
        EXPECT_EQ(o.refused[0].reason.utf8_string().substr(0, reason.size()), reason);
        EXPECT_EQ(o.added, 0u);
        EXPECT_FALSE(o.Written());
        EXPECT_EQ(Read("cpu_results.csv"), table);
    }
    // A JSON array is no document: its one line is refused as a record.
    const MergeOutcome array = Merge1("[" + good + "]");
    EXPECT_EQ(array.documents, 0u);
    EXPECT_GE(array.refused.size(), 1u);
    EXPECT_NE(array.refused[0].line, 0u);
    EXPECT_EQ(Read("cpu_results.csv"), table);
}

TEST_F(Merge, AnUnsteadyDocumentIsAddedUnlessOnlySteadyRunsMay)
{
    ResultDocument d = Document();
    d.power.conditions.otherPercent = 48;
    d.power.conditions.throttleAfter = 9;
    CompleteEvidence(d.power);
    ASSERT_FALSE(d.power.verdict.steady);
    Write("cpu_results.csv", Line("Old") + "\n");
    const MergeOutcome refused = MergeResults({MergeSource{wxS("busy.json"), DocumentText(d)}}, MergeOptions{true});
    EXPECT_EQ(Refusals(refused), "busy.json:0: its power test was unsteady: another program used 48 % of a processor "
                                 "during the run; the processor throttled 2 times\n");
    EXPECT_EQ(refused.added, 0u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n");

    const MergeOutcome added = MergeResults({MergeSource{wxS("busy.json"), DocumentText(d)}});
    EXPECT_EQ(Refusals(added), "");
    EXPECT_EQ(added.documents, 1u);
    EXPECT_EQ(added.added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + d.record + "\n");
}

TEST_F(Merge, BothUnsteadyTestsAreNamed)
{
    ResultDocument d = Document();
    d.speed.conditions.onBattery = true;
    d.power.conditions.onBattery = true;
    CompleteEvidence(d.speed);
    CompleteEvidence(d.power);
    Write("cpu_results.csv", "");
    const MergeOutcome o = MergeResults({MergeSource{wxS("laptop.json"), DocumentText(d)}}, MergeOptions{true});
    EXPECT_EQ(Refusals(o), "laptop.json:0: its speed test was unsteady: running on battery; its power test was "
                           "unsteady: running on battery\n");
}

TEST_F(Merge, ATranscribedDocumentIsAddedUnlessOnlySteadyRunsMay)
{
    const ResultDocument d = TranscribedDocument();
    Write("cpu_results.csv", Line("Old") + "\n");
    const MergeOutcome refused = MergeResults({MergeSource{wxS("old.json"), DocumentText(d)}}, MergeOptions{true});
    EXPECT_EQ(Refusals(refused), "old.json:0: it carries no samples (transcribed)\n");
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n");

    const MergeOutcome added = Merge1(DocumentText(d), "old.json");
    EXPECT_EQ(Refusals(added), "");
    EXPECT_EQ(added.documents, 1u);
    EXPECT_EQ(added.added, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n" + d.record + "\n");
    // Named, so that nobody takes its word for more than it is.
    EXPECT_EQ(added.transcribed, std::vector<wxString>{wxS("old.json")});
    // A second time it is present, not added: nothing to name.
    EXPECT_TRUE(Merge1(DocumentText(d), "old.json").transcribed.empty());
}

TEST_F(Merge, ADocumentInUtf16IsOneRefusalNamingItsEncodingNotOnePerLine)
{
    Write("cpu_results.csv", Line("Old") + "\n");
    std::string bytes(ByteOrderMark(TextEncoding::Utf16Le));
    ASSERT_TRUE(EncodeText(wxString::FromUTF8(DocumentText(Document())).ToStdWstring(), TextEncoding::Utf16Le, bytes));
    const MergeOutcome o = Merge1(bytes, "saved-by-an-editor.json");
    EXPECT_EQ(Refusals(o), "saved-by-an-editor.json:0: it is a JSON text in UTF-16LE, and result documents are UTF-8\n");
    EXPECT_EQ(o.refusedCount, 1u);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Old") + "\n");
}

TEST_F(Merge, AtMostTwentyReasonsAreKeptAndEveryOneIsCounted)
{
    Write("cpu_results.csv", "");
    std::string lines;
    for (int k = 0; k < 25; ++k)
        lines += "not a record " + std::to_string(k) + "\n";
    lines += Line("Good") + "\n";
    const MergeOutcome o = Merge1(lines);
    EXPECT_EQ(o.refusedCount, 25u);
    ASSERT_EQ(o.refused.size(), MergeReasonsKept);
    EXPECT_EQ(o.refused.front().line, 1u);
    EXPECT_EQ(o.refused.back().line, 20u);
    EXPECT_EQ(o.added, 1u);
}

TEST_F(Merge, PowerFarFromSpeedIsReportedButAdded)
{
    Write("cpu_results.csv", "");
    // 4 threads of 8,800 points against one of 1,012 on a machine of 16
    // logical processors: more than 1.5 x 16 x 1,012.
    const ResultDocument high = Document("Fast", 100, 880, 4);
    // 1 thread of 4,409 points against 9,012: less than half.
    const ResultDocument low = Document("Slow", 900, 440, 1);
    const std::string lines = Record("AMD", "Line", "100", "1201") + "\n" +  // 8 logical processors: > 1200
                              Record("AMD", "Line2", "100", "1200") + "\n" + Record("AMD", "Line3", "100", "49") +
                              "\n" + "AMD;NoCount;1;1;1;1;;Linux;6.1;100;5000;yes\n";
    const MergeOutcome o = MergeResults({MergeSource{wxS("high.json"), DocumentText(high)},
                                         MergeSource{wxS("low.json"), DocumentText(low)},
                                         MergeSource{wxS("lines.csv"), lines}});
    EXPECT_EQ(Refusals(o), "");
    EXPECT_EQ(o.added, 6u);
    EXPECT_EQ(Findings(o), "high.json:0: its power points (35302) are more than 1.5 x 16 logical processors x its "
                           "speed points (1012)\n"
                           "low.json:0: its power points (4409) are less than half its speed points (9012)\n"
                           "lines.csv:1: its power points (1201) are more than 1.5 x 8 logical processors x its "
                           "speed points (100)\n"
                           "lines.csv:3: its power points (49) are less than half its speed points (100)\n");
}

TEST_F(Merge, PlausibilityCountsTheProcessorsTheMachineHadNotTheThreadsItRan)
{
    Write("cpu_results.csv", "");
    // Forty threads on two processors: the points overstate the processor,
    // and 1.5 x 2 x the speed is the most two processors can give.
    const ResultDocument many = Document("Crowded", 900, 880, 40, 2);
    const MergeOutcome o = Merge1(DocumentText(many), "many.json");
    EXPECT_EQ(Refusals(o), "");
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(Findings(o), "many.json:0: its power points (" + FormatPoints(many.power.points) +
                               ") are more than 1.5 x 2 logical processors x its speed points (" +
                               FormatPoints(many.speed.points) + ")\n");
    // The same record as a line of a table says the same.
    Write("cpu_results.csv", "");
    const MergeOutcome line = Merge1(many.record + "\n", "lines.csv");
    EXPECT_EQ(Findings(line), "lines.csv:1: its power points (" + FormatPoints(many.power.points) +
                                  ") are more than 1.5 x 2 logical processors x its speed points (" +
                                  FormatPoints(many.speed.points) + ")\n");
}

TEST_F(Merge, AnOutlierAmongFourRecordsOfItsModelIsReported)
{
    Write("cpu_results.csv", Record("AMD", "X1", "1000", "4000") + "\n" + Record("AMD", "X1", "1010", "4040") + "\n" +
                                 Record("AMD", "Other", "5000", "20000") + "\n" + Record("AMD", "X1", "990", "3960") +
                                 "\n");
    const MergeOutcome o = Merge1(Record("AMD", "X1", "5000", "4020") + "\n" + Record("Intel", "X1", "1005", "4010") +
                                  "\n");
    EXPECT_EQ(o.added, 2u);
    // The first against 1000, 1010, 990 and 1005: median 1002.5, MAD 5.
    EXPECT_EQ(Findings(o), "in.csv:1: its speed points (5000) are far from those of the 4 other records of its model "
                           "(median 1002.50, modified Z-score 539.3)\n");

    // An outlier among the others changes their median little.
    const MergeOutcome second = Merge1(Record("VIA", "X1", "1002", "4008") + "\n");
    EXPECT_EQ(Findings(second), "");
}

TEST_F(Merge, ARecordWithSeveralReasonsIsOneImplausibleRecord)
{
    Write("cpu_results.csv", Record("AMD", "X1", "1000", "4000") + "\n" + Record("AMD", "X1", "1010", "4040") + "\n" +
                                 Record("AMD", "X1", "990", "3960") + "\n");
    const MergeOutcome o = Merge1(Record("AMD", "X1", "5000", "1000") + "\n");
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(o.implausibleCount, 1u);
    ASSERT_EQ(o.implausible.size(), 1u);
    const std::string reasons = o.implausible[0].reason.utf8_string();
    EXPECT_NE(reasons.find("its power points (1000) are less than half its speed points (5000); its speed points (5000)"),
              std::string::npos)
        << reasons;
    EXPECT_NE(reasons.find("; its power points (1000) "), std::string::npos) << reasons;
}

TEST_F(Merge, NoOutlierIsJudgedAmongFewerThanThreeOthers)
{
    Write("cpu_results.csv", Record("AMD", "X2", "1000", "4000") + "\n" + Record("AMD", "X2", "1010", "4040") + "\n");
    const MergeOutcome o = Merge1(Record("AMD", "X2", "5000", "20000") + "\n");
    EXPECT_EQ(o.added, 1u);
    EXPECT_EQ(Findings(o), "");
}

TEST_F(Merge, OthersAllAlikeMakeAnyOtherScoreAnOutlier)
{
    const std::string same = Record("AMD", "X3", "1000", "4000");
    Write("cpu_results.csv", same + "\n" + Record("Intel", "X3", "1000", "4000") + "\n" +
                                 Record("VIA", "X3", "1000", "4000") + "\n");
    const MergeOutcome o = Merge1(Record("Hygon", "X3", "1001", "4000") + "\n");
    EXPECT_EQ(Findings(o), "in.csv:1: its speed points (1001) differ from those of the 3 other records of its model, "
                           "which all have 1000\n");

    // Against 1000 x3 and 1001, a MAD of 0 but not all alike: their mean
    // absolute deviation, 0.25, instead.
    const MergeOutcome near = Merge1(Record("Zhaoxin", "X3", "1200", "4000") + "\n");
    EXPECT_EQ(Findings(near), "in.csv:1: its speed points (1200) are far from those of the 4 other records of its "
                              "model (median 1000, modified Z-score 638.3)\n");
    // Against 1000 x3, 1001 and 1200: a mean absolute deviation of 40.2.
    const MergeOutcome within = Merge1(Record("Zhaoxin", "X3", "1010", "4000") + "\n");
    EXPECT_EQ(within.added, 1u);
    EXPECT_EQ(Findings(within), "");
}
