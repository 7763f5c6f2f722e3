#include "config/config_file.h"
#include "file_fixture.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <cwchar>

namespace {
class ResultsFile : public ProgramDirectory {
protected:
    std::wstring Row(int i) const { return ResultLines.get() + std::size_t(i) * ResultLineWidth; }

    // The ranking as (line, score) pairs.
    static std::vector<std::pair<int, double>> Ranking(const std::unique_ptr<RankedResult[]>& ranking)
    {
        std::vector<std::pair<int, double>> pairs;
        for (int k = 0; k < RankedCount; ++k)
            pairs.emplace_back(int(ranking[k].line), ranking[k].score);
        return pairs;
    }

    void SetRecord(const std::vector<std::wstring>& fields)
    {
        for (int f = 0; f < RecordFieldCount; ++f)
            CopyBounded(RecordFields[f].get(), ResultLineWidth, fields[f].c_str(), fields[f].size());
    }
};

using Pairs = std::vector<std::pair<int, double>>;
}  // namespace

TEST_F(ResultsFile, MissingFileIsCreatedFromTheTemplateWithOneMessage)
{
    const std::string lines = Record("AMD", "A", "100", "200") + "\n" + Record("Intel", "B", "300", "400") + "\n";
    Write("doc/cpu_results_original.csv", lines);

    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Read("cpu_results.csv"), lines);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first, "cpu_results.csv was created from original template!");
    EXPECT_EQ(messages[0].second, "Tarnwick - results file");
    EXPECT_EQ(ResultLineCount, 2);

    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(messages.size(), 1u);
}

TEST_F(ResultsFile, MissingFileAndTemplateGiveStatus1Silently)
{
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 1);
    EXPECT_TRUE(messages.empty());
    EXPECT_FALSE(Exists("cpu_results.csv"));
    EXPECT_EQ(ResultLines, nullptr);
}

TEST_F(ResultsFile, UnreadableFileGivesStatus2AndKeepsTheTable)
{
    const std::string failure = RunUnprivileged([this]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "cpu_results.csv") << Record("AMD", "A", "100", "200") << "\n";
        if (AccessResultsFile(ResultsOpLoad) != 0 || ResultLineCount != 1)
            return "this held: AccessResultsFile(ResultsOpLoad) != 0 || ResultLineCount != 1";
        ::chmod((own / "cpu_results.csv").c_str(), 0);
        const int status = AccessResultsFile(ResultsOpLoad);
        if (status != 2)
            return "loading an unreadable table gave status " + std::to_string(status) + ", not 2";
        return ResultLineCount == 1 && messages.empty() ? "" : "this did not hold: ResultLineCount == 1 && messages.empty()";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(ResultsFile, ReadOnlyFileKeepsItsTextAndTheMessageSaysWhichAndWhy)
{
    const std::string before = Record("AMD", "A", "100", "200") + "\n";
    const std::string failure = RunUnprivileged([this, &before]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "cpu_results.csv") << before;
        if (AccessResultsFile(ResultsOpLoad) != 0)
            return "this held: AccessResultsFile(ResultsOpLoad) != 0";
        ::chmod((own / "cpu_results.csv").c_str(), 0444);
        SetRecord({L"Intel", L"B", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});
        const int status = AccessResultsFile(ResultsOpAppend);
        if (status != 2)
            return "the change gave status " + std::to_string(status) + ", not 2";
        const std::string expected =
            (own / "cpu_results.csv").string() + " could not be written (Permission denied); the change was not saved.";
        if (messages.size() != 1 || messages[0].first != expected || messages[0].second != "Tarnwick - results file")
            return "this held: messages.size() != 1 || messages[0].first != expected || messages[0].second != \"Tarnwick - results file\"";
        std::ifstream in(own / "cpu_results.csv");
        std::stringstream after;
        after << in.rdbuf();
        return after.str() == before ? "" : "this did not hold: after.str() == before";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(ResultsFile, ARecordHoldingAControlSeparatorOrDirectionCharacterIsNeverWritten)
{
    const std::string before = Record("AMD", "A", "100", "200") + "\n";
    Write("cpu_results.csv", before);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    for (const auto& [character, kind] : std::vector<std::pair<std::wstring, std::string>>{
             {L"\t", "a control character (U+0009)"},
             {L"\x9b", "a control character (U+009B)"},
             {L"\u2028", "a line separator (U+2028)"},
             {L"\u202e", "a bidirectional control character (U+202E)"}}) {
        messages.clear();
        SetRecord({L"Intel", L"B" + character + L"C", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});
        BackupPending = 1;
        EXPECT_EQ(AccessResultsFile(ResultsOpAppend), 2) << kind;
        ASSERT_EQ(messages.size(), 1u) << kind;
        EXPECT_EQ(messages[0].first, "The record holds " + kind + ", which " + (dir / "cpu_results.csv").string() +
                                         " does not take; the change was not saved.");
        EXPECT_EQ(messages[0].second, "Tarnwick - results file");
        EXPECT_EQ(BackupPending, 0u);  // no change, so no backup is due
        // Replacing a record with it is refused alike.
        CurrentResult = 0;
        EXPECT_EQ(AccessResultsFile(ResultsOpReplace), 2) << kind;
        EXPECT_EQ(ChangeShownResult(ResultsOpReplace, wxString::FromUTF8(Record("AMD", "A", "100", "200"))), 2);
        EXPECT_EQ(Read("cpu_results.csv"), before);
        EXPECT_FALSE(Exists("cpu_result.bak"));
    }
    // Any other character is the user's to type.
    SetRecord({L"Intel", L"B\u00e9\u2030C", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});
    EXPECT_EQ(AccessResultsFile(ResultsOpAppend), 0);
}

TEST_F(ResultsFile, AFolderThatTakesNoNewFilesRefusesTheChangeSaysWhyAndMakesNoBackup)
{
    const std::string before = Record("AMD", "A", "100", "200") + "\n";
    const std::string failure = RunUnprivileged([this, &before]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "cpu_results.csv") << before;
        if (AccessResultsFile(ResultsOpLoad) != 0)
            return "this held: AccessResultsFile(ResultsOpLoad) != 0";
        ::chmod(own.c_str(), 0555);
        BackupPending = 1;
        SetRecord({L"Intel", L"B", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});
        const int status = AccessResultsFile(ResultsOpAppend);
        if (status != 2 || BackupPending != 0)
            return "the change gave status " + std::to_string(status) + " (not 2), BackupPending " +
                   std::to_string(BackupPending);
        const std::string expected = (own / "cpu_results.csv").string() + " could not be written: its folder " +
                                     own.string() + " takes no new files from this user (Permission denied), and "
                                     "the file is only ever replaced whole; the change was not saved.";
        if (messages.size() != 1 || messages[0].first != expected)
            return "this held: messages.size() != 1 || messages[0].first != expected";
        // The reload after it takes no backup: the change was not made.
        if (AccessResultsFile(ResultsOpLoad) != 0 || messages.size() != 1 || fs::exists(own / "cpu_result.bak"))
            return "this held: AccessResultsFile(ResultsOpLoad) != 0 || messages.size() != 1 || fs::exists(own / \"cpu_result.bak\")";
        std::ifstream in(own / "cpu_results.csv");
        std::stringstream after;
        after << in.rdbuf();
        return after.str() == before ? "" : "this did not hold: after.str() == before";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(ResultsFile, ASharedTableInAFolderThatTakesNoNewFilesIsNeitherTornNorRewrittenInPlace)
{
    // A typical shared table: the table and its backup writable by all, in a
    // folder that only its owner may add files to.
    const std::string before = Record("AMD", "A", "100", "200") + "\n";
    const std::string failure = RunUnprivileged([this, &before]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "cpu_results.csv") << before;
        std::ofstream(own / "cpu_result.bak") << "old backup\n";
        if (AccessResultsFile(ResultsOpLoad) != 0)
            return "this held: AccessResultsFile(ResultsOpLoad) != 0";
        ::chmod(own.c_str(), 0555);
        BackupPending = 1;
        SetRecord({L"Intel", L"B", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});
        if (const int status = AccessResultsFile(ResultsOpAppend); status != 2)
            return "the change gave status " + std::to_string(status) + ", not 2";
        std::stringstream after, backup;
        after << std::ifstream(own / "cpu_results.csv").rdbuf();
        backup << std::ifstream(own / "cpu_result.bak").rdbuf();
        if (backup.str() != "old backup\n")
            return "this held: backup.str() != \"old backup\\n\"";
        if (messages.size() != 1 || messages[0].first.find("takes no new files from this user") == std::string::npos)
            return "this held: messages.size() != 1 || messages[0].first.find(\"takes no new files from this user\") == std::string::npos";
        for (const auto& entry : fs::directory_iterator(own))
            if (entry.path().filename().string()[0] == '.')
                return "this held: entry.path().filename().string()[0] == '.'";
        return after.str() == before ? "" : "this did not hold: after.str() == before";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(ResultsFile, BackupFailureGivesStatus3SkipsTheChangeAndStaysPending)
{
    const std::string before = Record("AMD", "A", "100", "200") + "\n";
    Write("cpu_results.csv", before);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    fs::create_directory(dir / "cpu_result.bak");  // no file can be copied onto it
    BackupPending = 1;
    SetRecord({L"Intel", L"B", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});

    EXPECT_EQ(AccessResultsFile(ResultsOpAppend), 3);
    EXPECT_EQ(Read("cpu_results.csv"), before);
    EXPECT_EQ(BackupPending, 1);
}

TEST_F(ResultsFile, FromTheExecutablesDirectoryBareNamesAreUsed)
{
    Write("cpu_results.csv", "");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultsFilePath, "cpu_results.csv");
    EXPECT_EQ(ResultsTemplatePath, "doc/cpu_results_original.csv");
    EXPECT_EQ(ResultsBackupPath, "cpu_result.bak");
    EXPECT_EQ(AppBaseDir, "");
}

TEST_F(ResultsFile, FromAnotherDirectoryTheExecutablesDirectoryIsUsed)
{
    Write("doc/cpu_results_original.csv", Record("AMD", "A", "100", "200") + "\n");
    const fs::path elsewhere = dir / "elsewhere";
    fs::create_directory(elsewhere);
    fs::current_path(elsewhere);

    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    const std::string base = dir.string() + "/";
    EXPECT_EQ(ResultsFilePath.utf8_string(), base + "cpu_results.csv");
    EXPECT_EQ(ResultsTemplatePath.utf8_string(), base + "doc/cpu_results_original.csv");
    EXPECT_EQ(ResultsBackupPath.utf8_string(), base + "cpu_result.bak");
    EXPECT_EQ(AppBaseDir.utf8_string(), base);
    EXPECT_TRUE(Exists("cpu_results.csv"));
    EXPECT_FALSE(fs::exists(elsewhere / "cpu_results.csv"));
    EXPECT_EQ(ResultLineCount, 1);
}

TEST_F(ResultsFile, RowsAreLongestLinePlus201Wide)
{
    Write("cpu_results.csv", "short\n" + Record("AMD", "Long model name", "1", "2") + "\nx\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 3);
    EXPECT_EQ(ResultLineWidth, int(Record("AMD", "Long model name", "1", "2").size()) + 201);
    EXPECT_EQ(Row(0), L"short");
    EXPECT_EQ(Row(2), L"x");
}

TEST_F(ResultsFile, RecordMarkedNoIsLoadedButNotRanked)
{
    Write("cpu_results.csv", Record("A", "a", "100", "10") + "\n" + Record("B", "b", "200", "20", "no") +
                                 "\n" + Record("C", "c", "300", "30") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 3);
    EXPECT_EQ(RankedCount, 2);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{2, 300}, {0, 100}}));
    EXPECT_EQ(Ranking(PowerRanking), (Pairs{{2, 30}, {0, 10}}));
}

TEST_F(ResultsFile, OnlyExactlyNoExcludesARecord)
{
    Write("cpu_results.csv", Record("A", "a", "100", "1", "No") + "\n" + Record("B", "b", "200", "2", "no ") +
                                 "\n" + Record("C", "c", "300", "3", "NO") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(RankedCount, 3);
}

TEST_F(ResultsFile, MoreThanElevenSeparatorsAreNeverExcluded)
{
    Write("cpu_results.csv", Record("A", "a", "100", "7", "yes;no") + "\n" + Record("B", "b", "50", "9", "no;") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(RankedCount, 2);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{0, 100}, {1, 50}}));
    EXPECT_EQ(Ranking(PowerRanking), (Pairs{{1, 9}, {0, 7}}));
}

TEST_F(ResultsFile, FewerThanElevenSeparatorsStillTakeASlotWithScoreZero)
{
    Write("cpu_results.csv", "only;five;fields;here;no;x\n" + Record("A", "a", "100", "7") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(RankedCount, 2);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{1, 100}, {0, 0}}));
    EXPECT_EQ(Ranking(PowerRanking), (Pairs{{1, 7}, {0, 0}}));
}

TEST_F(ResultsFile, TenSeparatorsGiveASpeedButNoPower)
{
    Write("cpu_results.csv", "A;a;1;2;3;4;5;6;7;900;800\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{0, 900}}));
    EXPECT_EQ(Ranking(PowerRanking), (Pairs{{0, 0}}));
}

TEST_F(ResultsFile, ScoresAreComparedAsNumbersAndLettersRankAsZero)
{
    Write("cpu_results.csv", Record("A", "a", "999", "1") + "\n" + Record("B", "b", "1200", "1") + "\n" +
                                 Record("C", "c", "fast", "1") + "\n" + Record("D", "d", "12.5e1", "1") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{1, 1200}, {0, 999}, {3, 125}, {2, 0}}));
}

TEST_F(ResultsFile, EqualScoresKeepFileOrder)
{
    Write("cpu_results.csv", Record("A", "a", "5", "1") + "\n" + Record("B", "b", "7", "1") + "\n" +
                                 Record("C", "c", "5", "1") + "\n" + Record("D", "d", "7", "1") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{1, 7}, {3, 7}, {0, 5}, {2, 5}}));
    EXPECT_EQ(Ranking(PowerRanking), (Pairs{{0, 1}, {1, 1}, {2, 1}, {3, 1}}));
}

TEST_F(ResultsFile, NotANumberRanksAsZero)
{
    Write("cpu_results.csv", Record("A", "a", "nan", "1") + "\n" + Record("B", "b", "-1", "1") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{0, 0}, {1, -1}}));
}

TEST_F(ResultsFile, DeletingTheOnlyLineLeavesAnEmptyTable)
{
    Write("cpu_results.csv", Record("A", "a", "5", "1") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 0;
    ASSERT_EQ(AccessResultsFile(ResultsOpDelete), 0);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 0);
    EXPECT_EQ(RankedCount, 0);
    EXPECT_EQ(Read("cpu_results.csv"), "");
}

TEST_F(ResultsFile, EmptyFileRanksNothing)
{
    Write("cpu_results.csv", Record("A", "a", "5", "1") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(RankedCount, 1);
    Write("cpu_results.csv", "");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 0);
    EXPECT_EQ(RankedCount, 0);
    EXPECT_EQ(ResultLineWidth, 201);
}

TEST_F(ResultsFile, BackupHoldsTheFileAsItWasBeforeTheChange)
{
    const std::string before = Record("A", "a", "5", "1") + "\n" + Record("B", "b", "6", "2") + "\n";
    Write("cpu_results.csv", before);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    BackupPending = 1;
    CurrentResult = 0;
    ASSERT_EQ(AccessResultsFile(ResultsOpDelete), 0);
    EXPECT_EQ(Read("cpu_result.bak"), before);
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(Read("cpu_results.csv"), Record("B", "b", "6", "2") + "\n");
}

TEST_F(ResultsFile, AccessesWithoutPendingBackupLeaveTheBackupAlone)
{
    Write("cpu_results.csv", Record("A", "a", "5", "1") + "\n");
    Write("cpu_result.bak", "old backup\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 0;
    ASSERT_EQ(AccessResultsFile(ResultsOpDelete), 0);
    EXPECT_EQ(Read("cpu_result.bak"), "old backup\n");
}

TEST_F(ResultsFile, EveryAccessWithPendingBackupOverwritesIt)
{
    Write("cpu_results.csv", "line\n");
    Write("cpu_result.bak", "old backup\n");
    BackupPending = 1;
    ASSERT_EQ(AccessResultsFile('x'), 0);
    EXPECT_EQ(Read("cpu_result.bak"), "line\n");
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(Read("cpu_results.csv"), "line\n");
}

TEST_F(ResultsFile, ReplaceWritesTheRecordAtItsLineAndTouchesNothingElse)
{
    Write("cpu_results.csv", "first;x\nsecond;y\nthird;z\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    SetRecord({L"M", L"N", L"1", L"2", L"3", L"4", L"5", L"Linux", L"6", L"77", L"88", L"yes"});
    CurrentResult = 1;
    ASSERT_EQ(AccessResultsFile(ResultsOpReplace), 0);
    EXPECT_EQ(Read("cpu_results.csv"), "first;x\nM;N;1;2;3;4;5;Linux;6;77;88;yes\nthird;z\n");
}

TEST_F(ResultsFile, AppendedLineEndsAsTheConfigurationFilesLines)
{
    Write("doc/tarnwick_original.conf", "");
    Write("tarnwick.conf", "# settings\r\ncpulist\t\t20\r\nheattime\t1\r\n");
    Write("cpu_results.csv", "a;b\nc;d\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    SetRecord({L"M", L"N", L"", L"", L"", L"", L"4", L"Linux", L"", L"1", L"2", L"yes"});
    ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    EXPECT_EQ(ResultsFileLineType, wxTextFileType_Unix);
    EXPECT_EQ(Read("cpu_results.csv"), "a;b\nc;d\nM;N;;;;;4;Linux;;1;2;yes\r\n");
}

TEST_F(ResultsFile, AppendAfterALastLineWithoutLineEndKeepsLinesApart)
{
    Write("cpu_results.csv", "a;b\nc;d");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    SetRecord({L"M", L"N", L"", L"", L"", L"", L"4", L"Linux", L"", L"1", L"2", L"yes"});
    ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    EXPECT_EQ(Read("cpu_results.csv"), "a;b\nc;d\nM;N;;;;;4;Linux;;1;2;yes\n");
}

TEST_F(ResultsFile, Latin1FileKeepsEveryUntouchedByte)
{
    const std::string first = "M\xE9nard;Proc\xE9sseur;1;2;3;4;5;Linux;6;100;200;yes\n";
    const std::string third = "Gr\xFC\xDF;x;1;2;3;4;5;Linux;6;300;400;yes\n";
    Write("cpu_results.csv", first + "second\n" + third);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Row(0).substr(0, 6), L"M\u00E9nard");
    SetRecord({L"\u00C9l\u00E8ve", L"N", L"", L"", L"", L"", L"4", L"Linux", L"", L"1", L"2", L"yes"});
    CurrentResult = 1;
    ASSERT_EQ(AccessResultsFile(ResultsOpReplace), 0);
    EXPECT_EQ(Read("cpu_results.csv"), first + "\xC9l\xE8ve;N;;;;;4;Linux;;1;2;yes\n" + third);
}

TEST_F(ResultsFile, Utf8FileWithByteOrderMarkKeepsEveryUntouchedByte)
{
    const std::string bom = "\xEF\xBB\xBF";
    const std::string first = "M\xC3\xA9nard;x;1;2;3;4;5;Linux;6;100;200;yes\n";
    Write("cpu_results.csv", bom + first + "second\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Row(0).substr(0, 6), L"M\u00E9nard");
    SetRecord({L"\u00C9", L"N", L"", L"", L"", L"", L"4", L"Linux", L"", L"1", L"2", L"yes"});
    CurrentResult = 1;
    ASSERT_EQ(AccessResultsFile(ResultsOpReplace), 0);
    EXPECT_EQ(Read("cpu_results.csv"), bom + first + "\xC3\x89;N;;;;;4;Linux;;1;2;yes\n");
}

TEST_F(ResultsFile, CrlfFileKeepsItsLineEnds)
{
    Write("doc/tarnwick_original.conf", "");
    Write("tarnwick.conf", "cpulist\t\t20\r\nheattime\t1\r\n");
    Write("cpu_results.csv", "a;1\r\nb;2\r\nc;3\r\n");
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultsFileLineType, wxTextFileType_Dos);
    CurrentResult = 0;
    ASSERT_EQ(AccessResultsFile(ResultsOpDelete), 0);
    EXPECT_EQ(Read("cpu_results.csv"), "b;2\r\nc;3\r\n");
}

TEST_F(ResultsFile, CommaDecimalLocaleChangesNoScore)
{
    const char* previous = setlocale(LC_ALL, nullptr);
    const std::string saved = previous != nullptr ? previous : "C";
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr) << "the de_DE.UTF-8 locale is not installed";
    Write("cpu_results.csv", Record("A", "a", "1234.5", "2,5") + "\n");
    const int status = AccessResultsFile(ResultsOpLoad);
    setlocale(LC_ALL, saved.c_str());
    ASSERT_EQ(status, 0);
    EXPECT_EQ(Ranking(SpeedRanking), (Pairs{{0, 1234.5}}));
    EXPECT_EQ(Ranking(PowerRanking), (Pairs{{0, 2}}));  // the comma ends the number
}

TEST_F(ResultsFile, OperationsOnARecordThatIsNotThereChangeNothing)
{
    const std::string before = "a;1\nb;2\n";
    Write("cpu_results.csv", before);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    for (int index : {-1, 2, 1000}) {
        CurrentResult = index;
        EXPECT_EQ(AccessResultsFile(ResultsOpDelete), 0);
        EXPECT_EQ(AccessResultsFile(ResultsOpReplace), 0);
    }
    EXPECT_EQ(Read("cpu_results.csv"), before);
}

TEST_F(ResultsFile, OtherCodesOnlyOpenTheFile)
{
    const std::string before = "a;1\nb;2\n";
    Write("cpu_results.csv", before);
    EXPECT_EQ(AccessResultsFile('q'), 0);
    EXPECT_EQ(Read("cpu_results.csv"), before);
    EXPECT_EQ(ResultLines, nullptr);
}

TEST_F(ResultsFile, TwoProcessesAppendingAtOnceLoseNothing)
{
    Write("cpu_results.csv", Record("Start", "s", "1", "1") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    const auto appendMany = [this](const wchar_t* maker) {
        for (int n = 0; n < 200; ++n) {
            const std::wstring number = std::to_wstring(n);
            SetRecord({maker, number, L"", L"", L"", L"", L"4", L"Linux", L"", L"1", L"2", L"yes"});
            if (AccessResultsFile(ResultsOpAppend) != 0)
                return 1;
        }
        return 0;
    };
    pid_t children[2];
    const wchar_t* makers[2] = {L"First", L"Second"};
    for (int c = 0; c < 2; ++c) {
        children[c] = fork();
        if (children[c] == 0)
            _exit(appendMany(makers[c]));
    }
    for (pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 401);
    int first = 0, second = 0;
    for (int i = 0; i < ResultLineCount; ++i) {
        first += Row(i).rfind(L"First;", 0) == 0;
        second += Row(i).rfind(L"Second;", 0) == 0;
    }
    EXPECT_EQ(first, 200);
    EXPECT_EQ(second, 200);
}

// Found by the fuzzer: lines ending in "\r" before empty lines ending in "\n"
// (a Latin-1 file mixing all three line ends) must keep their count through
// replace, append and delete.
TEST_F(ResultsFile, MixedLineEndsKeepEveryLineThroughReplaceAppendAndDelete)
{
    const std::string bytes =
        "\xca" "MD;M\xe9n\n\n\n\xca;;5res\r\nb;HHHHHHHHHHHHH2\rR0;yes\r\nb;2\x9e\rMRyes\rD;M\xe9nard;x;1;2;3;4;5;"
        "Linux;6;100;200;yes\r;100;200;yes\rD";
    Write("cpu_results.csv", bytes);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    const int count = ResultLineCount;
    EXPECT_EQ(count, 11);
    SplitResultRecord(0);
    CurrentResult = 0;
    ASSERT_EQ(AccessResultsFile(ResultsOpReplace), 0);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, count);
    ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, count + 1);
    CurrentResult = ResultLineCount - 1;
    ASSERT_EQ(AccessResultsFile(ResultsOpDelete), 0);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, count);
    EXPECT_EQ(Row(1), L"");
    EXPECT_EQ(Row(2), L"");
}

TEST_F(ResultsFile, TextThatIsNotWhatItsMarkSaysIsShownWithAReplacementAndKeptByteForByte)
{
    // A UTF-8 mark over Latin-1 text: the byte that is no UTF-8 is shown as
    // U+FFFD, and no byte of the file is lost when a change is written.
    const std::string old = "\xEF\xBB\xBFIntel;Pentium\xAE;1;;1;1;1;Linux;;10;10;yes\n";
    Write("cpu_results.csv", old);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(ResultLineCount, 1);
    EXPECT_EQ(Row(0), L"Intel;Pentium\uFFFD;1;;1;1;1;Linux;;10;10;yes");
    SetRecord({L"AMD", L"B", L"", L"", L"", L"", L"4", L"Linux", L"", L"5", L"6", L"yes"});
    ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    EXPECT_EQ(Read("cpu_results.csv"), old + "AMD;B;;;;;4;Linux;;5;6;yes\n");
    // The record holding it found and deleted as shown.
    CurrentResult = 0;
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(ChangeShownResult(ResultsOpDelete, wxString(Row(0))), 0);
    EXPECT_EQ(Read("cpu_results.csv"), "\xEF\xBB\xBF" "AMD;B;;;;;4;Linux;;5;6;yes\n");
}
