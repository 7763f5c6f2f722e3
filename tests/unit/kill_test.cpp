// Writers killed at random moments while they save: the table and its
// backup are always whole, and the next writer clears what they left.
#include "file_fixture.h"
#include "files/atomic_file.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <signal.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <thread>

namespace {
class KilledWriters : public ProgramDirectory {
protected:
    static std::string Numbered(int k) { return Record("Kill", "record-" + std::to_string(k), "1", "2"); }

    // How many records the text holds when it is records 0 .. n-1 in
    // order, each whole; -1 when it is anything else.
    static int WholeRecords(const std::string& text)
    {
        std::istringstream lines(text);
        std::string line;
        int n = 0;
        while (std::getline(lines, line)) {
            if (line != Numbered(n))
                return -1;
            ++n;
        }
        return text.empty() || text.back() == '\n' ? n : -1;
    }

    int Temporaries() const
    {
        int found = 0;
        for (const auto& entry : fs::directory_iterator(dir))
            if (IsTemporaryFor(entry.path().filename().string(), "cpu_results.csv") ||
                IsTemporaryFor(entry.path().filename().string(), "cpu_result.bak"))
                ++found;
        return found;
    }

    // A copy of the program that appends the next numbered records, one
    // save each, until it is killed.
    [[noreturn]] static void SaveForever()
    {
        if (AccessResultsFile(ResultsOpLoad) != 0)
            _exit(1);
        for (int k = ResultLineCount;; ++k) {
            const std::string line = Numbered(k);
            std::size_t start = 0;
            for (int f = 0; f < RecordFieldCount; ++f) {
                const std::size_t end = f + 1 < RecordFieldCount ? line.find(';', start) : line.size();
                SetRecordField(f, wxString::FromUTF8(line.substr(start, end - start)));
                start = end + 1;
            }
            BackupPending = 1;
            if (AccessResultsFile(ResultsOpAppend) != 0)
                _exit(2);
        }
    }
};
}  // namespace

TEST_F(KilledWriters, NeverTearTheTableOrItsBackupAndLeaveNothingBehind)
{
    // A table of some size, so that a save takes long enough to be killed
    // in the middle of any of its steps.
    std::string table;
    for (int k = 0; k < 2000; ++k)
        table += Numbered(k) + "\n";
    Write("cpu_results.csv", table);
    constexpr int Kills = 40;
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> delay(2, 30);
    int tornTables = 0, tornBackups = 0, left = 0, records = 2000;
    for (int kill = 0; kill < Kills; ++kill) {
        const pid_t child = fork();
        if (child == 0)
            SaveForever();
        std::this_thread::sleep_for(std::chrono::milliseconds(delay(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << WEXITSTATUS(status);

        const int now = WholeRecords(Read("cpu_results.csv"));
        if (now < records)
            ++tornTables;  // torn, or records lost
        else
            records = now;
        if (Exists("cpu_result.bak")) {
            // The backup holds the table as it was before the last change
            // (or, killed between the two renames, as it is).
            const int backup = WholeRecords(Read("cpu_result.bak"));
            if (backup < 0 || backup < records - 1 || backup > records)
                ++tornBackups;
        }
        left += Temporaries();
    }
    // The next writer, not killed.
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(ResultLineCount, records);
    for (int f = 0; f < RecordFieldCount; ++f)
        SetRecordField(f, wxS("x"));
    ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    std::printf("%d kills during saves: %d records saved, %d torn tables, %d torn backups, %d temporary files "
                "left by killed writers, %d after the next save\n",
                Kills, records, tornTables, tornBackups, left, Temporaries());
    EXPECT_EQ(tornTables, 0);
    EXPECT_EQ(tornBackups, 0);
    EXPECT_GT(records, 0);
    EXPECT_EQ(Temporaries(), 0);
}
