// Writers killed at random moments while they save: the table and its
// backup are always whole, and the next writer clears what they left.
#include "file_fixture.h"
#include "files/atomic_file.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <poll.h>
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
    // save each, until it is killed; after each save it writes the number of
    // records the table now holds to `acknowledge`.
    [[noreturn]] static void SaveForever(int acknowledge)
    {
        if (AccessResultsFile(ResultsOpLoad) != 0)
            _exit(1);
        for (int k = ResultLineCount;; ++k) {
            const std::string line = Numbered(k);
            const ResultRecord record = ReadRecord(wxString::FromUTF8(line).ToStdWstring());
            ShowRecord(record, TitleOf(record));
            BackupPending = 1;
            if (AccessResultsFile(ResultsOpAppend) != 0)
                _exit(2);
            const int saved = k + 1;
            if (::write(acknowledge, &saved, sizeof saved) != sizeof saved)
                _exit(3);
        }
    }

    // The next count the writer acknowledges, waiting at most 30 s; 0 when
    // none comes.
    static int NextAcknowledged(int pipe)
    {
        pollfd wait{pipe, POLLIN, 0};
        int value = 0;
        if (::poll(&wait, 1, 30000) != 1 || ::read(pipe, &value, sizeof value) != sizeof value)
            return 0;
        return value;
    }

    // The last count a writer acknowledged before it died, or 0.
    static int LastAcknowledged(int pipe)
    {
        int last = 0, value = 0;
        while (::read(pipe, &value, sizeof value) == sizeof value)
            last = value;
        return last;
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
    std::uniform_real_distribution<double> within(0.0, 2.0);
    int tornTables = 0, tornBackups = 0, left = 0, records = 2000, interrupted = 0, acknowledgedKills = 0;
    for (int kill = 0; kill < Kills; ++kill) {
        int acknowledged[2];
        ASSERT_EQ(::pipe(acknowledged), 0);
        const pid_t child = fork();
        if (child == 0) {
            ::close(acknowledged[0]);
            SaveForever(acknowledged[1]);
        }
        ::close(acknowledged[1]);
        // Once the writer has saved twice (the time between is one save, on
        // this machine and build), kill it at a random moment within the
        // next two saves.
        ASSERT_GT(NextAcknowledged(acknowledged[0]), 0) << "the writer never saved";
        const auto first = std::chrono::steady_clock::now();
        const int second = NextAcknowledged(acknowledged[0]);
        ASSERT_GT(second, 0) << "the writer saved only once";
        const auto save = std::chrono::steady_clock::now() - first;
        std::this_thread::sleep_for(std::chrono::duration_cast<std::chrono::microseconds>(save * within(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        const int later = LastAcknowledged(acknowledged[0]);
        const int saved = later > 0 ? later : second;
        ::close(acknowledged[0]);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << WEXITSTATUS(status);

        const int now = WholeRecords(Read("cpu_results.csv"));
        if (now < records)
            ++tornTables;  // torn, or records lost
        else
            records = now;
        // Every save the writer acknowledged is there; at most one more, a
        // save that was in place when the kill came before its
        // acknowledgement.
        if (saved > 0) {
            ++acknowledgedKills;
            EXPECT_GE(now, saved) << "kill " << kill << ": an acknowledged record is missing";
            EXPECT_LE(now, saved + 1) << "kill " << kill;
        }
        // The writer saves without pause: a table without a record beyond
        // the acknowledged ones means the kill cut a save short.
        if (saved > 0 && now == saved)
            ++interrupted;
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
    ResultRecord x;
    x.fields.fill(wxS("x"));
    ShowRecord(x, TitleOf(x));
    ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    std::printf("%d kills: %d after acknowledged saves, %d cutting a save short; %d records saved, %d torn "
                "tables, %d torn backups, %d temporary files left by killed writers, %d after the next save\n",
                Kills, acknowledgedKills, interrupted, records, tornTables, tornBackups, left, Temporaries());
    EXPECT_EQ(tornTables, 0);
    EXPECT_EQ(tornBackups, 0);
    // The kills did hit saves: every writer had saved before it died, and
    // many died before their next save was in place.
    EXPECT_EQ(acknowledgedKills, Kills);
    EXPECT_GE(interrupted, Kills / 4);
    EXPECT_GT(records, 2000);
    EXPECT_EQ(Temporaries(), 0);
}
