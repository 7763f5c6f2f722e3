// Writers killed in the middle of their saves, at every moment of a save in
// turn: the table and its backup are always whole, and the next writer
// clears what they left.
#include "file_fixture.h"
#include "files/atomic_file.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

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

    // Where a writer stops: the moments of a save are just before and just
    // after each call it makes through SystemCalls() (locking, writing,
    // linking, renaming, changing a mode) and each check before a use. The
    // writer counts them in a save of its own; in the next one it stops at
    // moment `Target` (modulo that count) and tells the parent where.
    struct StopReport {
        int moment = -1;     ///< where in the save it stopped
        int moments = 0;     ///< how many moments a save has
        int committed = 0;   ///< 1 once the table's new version was in place
    };
    static inline FileSystemCalls Real{};
    static inline int Target = -1, Moment = 0, Moments = 0, Committed = 0, Stopped = -1;
    static inline bool Counting = false;

    static void Pass()
    {
        if (!Counting)
            return;
        if (Moments > 0 && Moment == Target % Moments) {
            const StopReport report{Moment, Moments, Committed};
            if (::write(Stopped, &report, sizeof report) != sizeof report)
                _exit(4);
            for (;;)
                ::pause();  // until the parent kills it
        }
        ++Moment;
    }
    static void CommitWhen(int result, const char* name)
    {
        if (result == 0 && std::strcmp(name, "cpu_results.csv") == 0)
            Committed = 1;
    }
    static int Flock(int fd, int operation)
    {
        Pass();
        const int result = Real.flock(fd, operation);
        Pass();
        return result;
    }
    static int LinkAt(int fromFolder, const char* from, int toFolder, const char* to)
    {
        Pass();
        const int result = Real.linkAt(fromFolder, from, toFolder, to);
        CommitWhen(result, to);
        Pass();
        return result;
    }
    static int RenameAt(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags)
    {
        Pass();
        const int result = Real.renameAt(fromFolder, from, toFolder, to, flags);
        CommitWhen(result, to);
        Pass();
        return result;
    }
    static long WriteSome(int fd, const void* data, std::size_t size)
    {
        Pass();
        const long result = Real.write(fd, data, size);
        Pass();
        return result;
    }
    static int Fchmod(int fd, mode_t mode)
    {
        Pass();
        const int result = Real.fchmod(fd, mode);
        Pass();
        return result;
    }
    static void Check(const char* stage)
    {
        Pass();
        Real.betweenCheckAndUse(stage);
    }

    // A copy of the program that appends the next numbered records, one
    // save each: after each save it writes the number of records the table
    // now holds to `acknowledge`. Its first save clears what the writer
    // before it left; the second is counted; in the third it stops at
    // moment `target` and reports to `stopped`.
    [[noreturn]] static void SaveAndStop(int acknowledge, int stopped, int target)
    {
        Real = SystemCalls();
        SystemCalls() = FileSystemCalls{Flock, LinkAt, RenameAt, WriteSome, Fchmod, Check};
        Target = target;
        Stopped = stopped;
        if (AccessResultsFile(ResultsOpLoad) != 0)
            _exit(1);
        for (int save = 0, k = ResultLineCount;; ++save, ++k) {
            const std::string line = Numbered(k);
            const ResultRecord record = ReadRecord(wxString::FromUTF8(line).ToStdWstring());
            ShowRecord(record, TitleOf(record));
            BackupPending = 1;
            Counting = save >= 1;
            Moment = 0;
            Committed = 0;
            if (AccessResultsFile(ResultsOpAppend) != 0)
                _exit(2);
            if (save == 1)
                Moments = Moment;
            else if (save == 2)
                _exit(5);  // it passed its moment without stopping
            const int saved = k + 1;
            if (::write(acknowledge, &saved, sizeof saved) != sizeof saved)
                _exit(3);
        }
    }

    // What comes next through `pipe`, waiting at most 30 s; false when
    // nothing comes.
    template <typename T>
    static bool Next(int pipe, T& value)
    {
        pollfd wait{pipe, POLLIN, 0};
        return ::poll(&wait, 1, 30000) == 1 && ::read(pipe, &value, sizeof value) == sizeof value;
    }
};
}  // namespace

TEST_F(KilledWriters, NeverTearTheTableOrItsBackupAndLeaveNothingBehind)
{
    // A table of some size, so that a save writes in more than one piece.
    std::string table;
    for (int k = 0; k < 2000; ++k)
        table += Numbered(k) + "\n";
    Write("cpu_results.csv", table);
    constexpr int Kills = 40;
    int tornTables = 0, tornBackups = 0, left = 0, records = 2000, cutShort = 0, moments = 0;
    std::set<int> stoppedAt;
    for (int kill = 0; kill < Kills; ++kill) {
        int acknowledged[2], stopped[2];
        ASSERT_EQ(::pipe(acknowledged), 0);
        ASSERT_EQ(::pipe(stopped), 0);
        const pid_t child = fork();
        if (child == 0) {
            ::close(acknowledged[0]);
            ::close(stopped[0]);
            SaveAndStop(acknowledged[1], stopped[1], kill);
        }
        ::close(acknowledged[1]);
        ::close(stopped[1]);
        int first = 0, second = 0;
        StopReport report;
        const bool saved = Next(acknowledged[0], first) && Next(acknowledged[0], second);
        const bool reported = saved && Next(stopped[0], report);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::close(acknowledged[0]);
        ::close(stopped[0]);
        ASSERT_TRUE(saved) << "kill " << kill << ": the writer did not save twice, status " << status;
        ASSERT_TRUE(reported) << "kill " << kill << ": the writer did not stop, status " << status;
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself: " << WEXITSTATUS(status);
        EXPECT_EQ(report.moment, kill % report.moments);
        moments = report.moments;
        stoppedAt.insert(report.moment);

        // Every acknowledged save is there, and the third one exactly when
        // it had been put in place before the kill.
        const int now = WholeRecords(Read("cpu_results.csv"));
        EXPECT_EQ(now, second + report.committed) << "kill " << kill << " at moment " << report.moment;
        if (now < records)
            ++tornTables;  // torn, or records lost
        else
            records = now;
        if (report.committed == 0)
            ++cutShort;
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
    std::printf("%d kills at %zu of the %d moments of a save: %d cutting a save short; %d records saved, %d torn "
                "tables, %d torn backups, %d temporary files left by killed writers, %d after the next save\n",
                Kills, stoppedAt.size(), moments, cutShort, records, tornTables, tornBackups, left, Temporaries());
    EXPECT_EQ(tornTables, 0);
    EXPECT_EQ(tornBackups, 0);
    // Every moment of a save was hit (as many as there were kills), some
    // before the new table was in place and some after.
    EXPECT_EQ(int(stoppedAt.size()), std::min(moments, Kills));
    EXPECT_GT(cutShort, 0);
    EXPECT_LT(cutShort, Kills);
    EXPECT_GT(left, 0);
    EXPECT_GT(records, 2000);
    EXPECT_EQ(Temporaries(), 0);
}
