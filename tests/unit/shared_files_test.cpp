// Files that others share: writes that follow symbolic links, whole
// backups, what killed writers leave, another results file than the one
// beside the program, and changes to a record another program has moved.
#include "config/config_file.h"
#include "file_fixture.h"
#include "files/atomic_file.h"
#include "results/last_test.h"
#include "results/merge.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <set>
#include <thread>

namespace {
class SharedFiles : public ProgramDirectory {
protected:
    void TearDown() override
    {
        SetResultsFilePath(wxString());
        ProgramDirectory::TearDown();
    }

    static wxString W(const fs::path& path) { return wxString::FromUTF8(path.string()); }

    void SetRecord(const std::vector<std::wstring>& fields)
    {
        for (int f = 0; f < RecordFieldCount; ++f)
            CopyBounded(RecordFields[f].get(), ResultLineWidth, fields[f].c_str(), fields[f].size());
    }

    void AppendRecord(const std::wstring& model)
    {
        SetRecord({L"AMD", model, L"", L"", L"", L"", L"2", L"Linux", L"", L"1", L"2", L"yes"});
        BackupPending = 1;
        ASSERT_EQ(AccessResultsFile(ResultsOpAppend), 0);
    }

    bool IsLink(const std::string& relative) const { return fs::is_symlink(dir / relative); }

    std::vector<std::string> Temporaries(const fs::path& where) const
    {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(where))
            if (entry.path().filename().string().find(".tmp") != std::string::npos)
                found.push_back(entry.path().filename().string());
        return found;
    }

    std::string Line(const std::string& model) const { return Record("AMD", model, "1", "2"); }

    static std::string Resolve(const fs::path& path)
    {
        std::string resolved, refused;
        const int error = ResolvePath(path.string(), resolved, refused);
        return error == 0 ? resolved : "error " + std::to_string(error);
    }

    // Makes `target` with `text` as a file made from a template is made.
    static int CreateNew(const fs::path& target, const std::string& text)
    {
        ReplacingWriter writer;
        int error = writer.Begin(target.string(), nullptr);
        if (error == 0)
            error = writer.Write({text});
        return error != 0 ? error : writer.CommitNew();
    }
};
}  // namespace

TEST_F(SharedFiles, LinksAreFollowedThroughAbsoluteRelativeAndChainedLinks)
{
    fs::create_directories(dir / "shared" / "deep");
    Write("shared/deep/table.csv", "x\n");
    fs::create_symlink(dir / "shared" / "deep" / "table.csv", dir / "absolute");
    fs::create_symlink("shared/deep/table.csv", dir / "relative");
    fs::create_symlink("relative", dir / "chained");
    fs::create_symlink("deep/table.csv", dir / "shared" / "inner");
    fs::create_symlink("shared/inner", dir / "through-a-relative-one");
    fs::create_symlink("shared/deep", dir / "folder-link");
    fs::create_symlink("../deep/table.csv", dir / "shared" / "deep" / "up-and-back");

    const std::string target = (dir / "shared/deep/table.csv").string();
    EXPECT_EQ(Resolve(dir / "absolute"), target);
    EXPECT_EQ(Resolve(dir / "relative"), target);
    EXPECT_EQ(Resolve(dir / "chained"), target);
    EXPECT_EQ(Resolve(dir / "through-a-relative-one"), target);
    EXPECT_EQ(Resolve(dir / "shared/deep/table.csv"), target);
    EXPECT_EQ(Resolve(dir / "folder-link/table.csv"), target);
    EXPECT_EQ(Resolve(dir / "shared/deep/up-and-back"), target);
    EXPECT_EQ(Resolve("relative"), "shared/deep/table.csv");
    EXPECT_EQ(Resolve("./shared/../relative"), "shared/deep/table.csv");
}

TEST_F(SharedFiles, ADanglingLinkLeadsToItsMissingTargetAndALoopEnds)
{
    fs::create_symlink("gone/table.csv", dir / "dangling");
    fs::create_directory(dir / "here");
    fs::create_symlink("here/table.csv", dir / "dangling-into-a-folder");
    std::string resolved, refused;
    EXPECT_EQ(ResolvePath((dir / "dangling").string(), resolved, refused), ENOENT);  // its folder is missing too
    EXPECT_EQ(Resolve(dir / "dangling-into-a-folder"), dir.string() + "/here/table.csv");
    fs::create_symlink("loop-b", dir / "loop-a");
    fs::create_symlink("loop-a", dir / "loop-b");
    EXPECT_EQ(ResolvePath((dir / "loop-a").string(), resolved, refused), ELOOP);
}

TEST_F(SharedFiles, TemporaryNamesAreRecognisedExactly)
{
    EXPECT_TRUE(IsTemporaryFor(".cpu_results.csv.aB3xY9.tmp", "cpu_results.csv"));
    EXPECT_FALSE(IsTemporaryFor(".cpu_results.csv.aB3xY.tmp", "cpu_results.csv"));
    EXPECT_FALSE(IsTemporaryFor(".cpu_results.csv.aB3xY9.tmpx", "cpu_results.csv"));
    EXPECT_FALSE(IsTemporaryFor(".cpu_results.csv.aB-xY9.tmp", "cpu_results.csv"));
    EXPECT_FALSE(IsTemporaryFor(".cpu_result.bak.aB3xY9.tmp", "cpu_results.csv"));
    EXPECT_FALSE(IsTemporaryFor("cpu_results.csv.aB3xY9.tmp", "cpu_results.csv"));
    EXPECT_FALSE(IsTemporaryFor(".cpu_results.csv.backup", "cpu_results.csv"));
}

TEST_F(SharedFiles, AWriteLeavesNoTemporaryAndKeepsThePermissions)
{
    Write("table.csv", "old\n");
    fs::permissions(dir / "table.csv", fs::perms(0640));
    ASSERT_EQ(ReplaceFile((dir / "table.csv").string(), {"new\n"}), 0);
    EXPECT_EQ(Read("table.csv"), "new\n");
    EXPECT_EQ(fs::status(dir / "table.csv").permissions() & fs::perms::all, fs::perms(0640));
    EXPECT_TRUE(Temporaries(dir).empty());
}

TEST_F(SharedFiles, AWriteReplacesTheFileWholeSoAReaderKeepsTheOldText)
{
    Write("table.csv", "old text\n");
    const int reader = ::open((dir / "table.csv").c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    ASSERT_EQ(ReplaceFile((dir / "table.csv").string(), {"new\n"}), 0);
    char text[32] = {};
    EXPECT_EQ(::read(reader, text, sizeof text - 1), 9);
    EXPECT_STREQ(text, "old text\n");
    ::close(reader);
}

TEST_F(SharedFiles, OnlyARegularFileIsEverReplaced)
{
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(ReplaceFile((dir / "fifo").string(), {"x"}), EINVAL);
    EXPECT_TRUE(fs::is_fifo(dir / "fifo"));
    EXPECT_EQ(ReplaceFile(dir.string(), {"x"}), EISDIR);
    EXPECT_TRUE(fs::is_directory(dir));
    EXPECT_TRUE(Temporaries(dir).empty());
}

TEST_F(SharedFiles, CreatingFromATemplateNeverReplacesAFile)
{
    Write("there.csv", "mine\n");
    EXPECT_EQ(CreateNew(dir / "there.csv", "from the template\n"), EEXIST);
    EXPECT_EQ(Read("there.csv"), "mine\n");
    EXPECT_EQ(CreateNew(dir / "new.csv", "from the template\n"), 0);
    EXPECT_EQ(Read("new.csv"), "from the template\n");
    EXPECT_EQ(CreateNew(dir / "no-dir" / "new.csv", "x"), ENOENT);
    EXPECT_TRUE(Temporaries(dir).empty());
}

TEST_F(SharedFiles, ReadingStopsAtItsBoundForFilesAndPipesAlike)
{
    Write("ten", "0123456789");
    const int file = ::open((dir / "ten").c_str(), O_RDONLY);
    std::string bytes = "before";
    EXPECT_EQ(ReadAll(file, bytes, 9), EFBIG);
    EXPECT_TRUE(bytes.empty());
    ::lseek(file, 0, SEEK_SET);
    EXPECT_EQ(ReadAll(file, bytes, 10), 0);
    EXPECT_EQ(bytes, "0123456789");
    ::close(file);

    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const std::string sent(100000, 'z');
    std::thread writer([&] {
        [[maybe_unused]] const ssize_t written = ::write(pipe[1], sent.data(), sent.size());
        ::close(pipe[1]);
    });
    EXPECT_EQ(ReadAll(pipe[0], bytes, 70000), EFBIG);
    writer.join();
    ::close(pipe[0]);
}

TEST_F(SharedFiles, ATableBehindAnAbsoluteLinkIsChangedThereAndTheLinkStays)
{
    fs::create_directory(dir / "drive");
    Write("drive/lab.csv", Line("First") + "\n");
    fs::create_symlink(dir / "drive" / "lab.csv", dir / "cpu_results.csv");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    AppendRecord(L"Second");

    EXPECT_TRUE(IsLink("cpu_results.csv"));
    EXPECT_EQ(Read("drive/lab.csv"), Line("First") + "\nAMD;Second;;;;;2;Linux;;1;2;yes\n");
    // The backup is the table's own, beside it: a copy of it before the change.
    EXPECT_FALSE(Exists("cpu_result.bak"));
    EXPECT_EQ(Read("drive/lab.csv.bak"), Line("First") + "\n");
    EXPECT_TRUE(Temporaries(dir / "drive").empty());
    EXPECT_TRUE(Temporaries(dir).empty());
}

TEST_F(SharedFiles, ATableBehindARelativeLinkIsChangedThereAndTheLinkStays)
{
    fs::create_directory(dir / "drive");
    Write("drive/lab.csv", Line("First") + "\n" + Line("Second") + "\n");
    fs::create_symlink("drive/lab.csv", dir / "cpu_results.csv");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 0;
    BackupPending = 1;
    ASSERT_EQ(AccessResultsFile(ResultsOpDelete), 0);

    EXPECT_TRUE(IsLink("cpu_results.csv"));
    EXPECT_EQ(fs::read_symlink(dir / "cpu_results.csv"), fs::path("drive/lab.csv"));
    EXPECT_EQ(Read("drive/lab.csv"), Line("Second") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 1);
}

TEST_F(SharedFiles, ADanglingLinkGetsItsTargetMadeFromTheTemplate)
{
    Write("doc/cpu_results_original.csv", Line("Shipped") + "\n");
    fs::create_directory(dir / "drive");
    fs::create_symlink("drive/lab.csv", dir / "cpu_results.csv");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_TRUE(IsLink("cpu_results.csv"));
    EXPECT_EQ(Read("drive/lab.csv"), Line("Shipped") + "\n");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first, "cpu_results.csv was created from original template!");
    EXPECT_EQ(ResultLineCount, 1);
}

TEST_F(SharedFiles, ALinkIntoAMissingDirectoryGivesStatus1AndLeavesTheLink)
{
    Write("doc/cpu_results_original.csv", Line("Shipped") + "\n");
    fs::create_symlink("unmounted/lab.csv", dir / "cpu_results.csv");
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 1);
    EXPECT_TRUE(IsLink("cpu_results.csv"));
    EXPECT_EQ(LastResultsProblem().error, ENOENT);
    EXPECT_TRUE(messages.empty());
}

TEST_F(SharedFiles, ConfigurationBehindLinksIsSavedThereAndTheLinksStay)
{
    for (const bool relative : {false, true}) {
        fs::remove_all(dir / "settings");
        fs::remove(dir / "tarnwick.conf");
        fs::create_directory(dir / "settings");
        Write("settings/mine.conf", "# mine\ncpulist\t\t20\nheattime\t10\n");
        fs::create_symlink(relative ? fs::path("settings/mine.conf") : dir / "settings" / "mine.conf",
                           dir / "tarnwick.conf");
        ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
        CpuListCount = 12;
        HeatTestMillis = 180000;
        ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
        EXPECT_TRUE(IsLink("tarnwick.conf")) << relative;
        EXPECT_EQ(Read("settings/mine.conf"), "# mine\ncpulist\t\t12\nheattime\t3\n") << relative;
        EXPECT_TRUE(Temporaries(dir / "settings").empty());
    }
}

TEST_F(SharedFiles, ADanglingConfigurationLinkGetsItsTargetFromTheTemplate)
{
    Write("doc/tarnwick_original.conf", "cpulist\t\t7\nheattime\t2\n");
    fs::create_directory(dir / "settings");
    fs::create_symlink("settings/mine.conf", dir / "tarnwick.conf");
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    EXPECT_TRUE(IsLink("tarnwick.conf"));
    EXPECT_EQ(Read("settings/mine.conf"), "cpulist\t\t7\nheattime\t2\n");
    EXPECT_EQ(CpuListCount, 7);
}

TEST_F(SharedFiles, TheBackupIsReplacedWholeNotWrittenInPlace)
{
    Write("cpu_results.csv", Line("First") + "\n");
    Write("cpu_result.bak", "an older backup\n");
    const int reader = ::open((dir / "cpu_result.bak").c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    AppendRecord(L"Second");
    char text[64] = {};
    EXPECT_EQ(::read(reader, text, sizeof text - 1), 16);
    EXPECT_STREQ(text, "an older backup\n");  // the old file, untouched
    ::close(reader);
    EXPECT_EQ(Read("cpu_result.bak"), Line("First") + "\n");
}

TEST_F(SharedFiles, TheNextWriterRemovesWhatKilledWritersLeftAndNothingElse)
{
    Write("cpu_results.csv", Line("First") + "\n");
    Write(".cpu_results.csv.aB3xY9.tmp", "half a li");
    Write(".cpu_result.bak.Zz09Qq.tmp", "half a backup");
    Write(".cpu_results.csv.notours", "a user's file");
    Write("cpu_results.csv.aB3xY9.tmp", "a user's file too");
    fs::create_directory(dir / ".cpu_results.csv.dIr123.tmp");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_TRUE(Exists(".cpu_results.csv.aB3xY9.tmp"));  // a reader removes nothing

    AppendRecord(L"Second");
    EXPECT_FALSE(Exists(".cpu_results.csv.aB3xY9.tmp"));
    EXPECT_FALSE(Exists(".cpu_result.bak.Zz09Qq.tmp"));
    EXPECT_TRUE(Exists(".cpu_results.csv.notours"));
    EXPECT_TRUE(Exists("cpu_results.csv.aB3xY9.tmp"));
    EXPECT_TRUE(Exists(".cpu_results.csv.dIr123.tmp"));
}

namespace {
// Where this process says it is about to wait for a lock another holds.
int WaitingPipe = -1;
int FlockTellingTheWait(int fd, int operation)
{
    if ((operation & LOCK_NB) == 0 && ::flock(fd, operation | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        (void)!::write(WaitingPipe, "w", 1);
    return ::flock(fd, operation);
}
}  // namespace

TEST_F(SharedFiles, ALiveWritersTemporaryIsLeftAloneAndBothChangesLand)
{
    Write("cpu_results.csv", Line("First") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    int ready[2], waiting[2];
    ASSERT_EQ(::pipe(ready), 0);
    ASSERT_EQ(::pipe(waiting), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        // Another copy of the program in the middle of its write.
        const int lock = ::open((dir / "cpu_results.csv").c_str(), O_RDONLY | O_CLOEXEC);  // let go at exit
        if (lock < 0 || ::flock(lock, LOCK_EX) != 0)
            _exit(2);
        const fs::path temporary = dir / ".cpu_results.csv.LiVe01.tmp";
        std::ofstream(temporary) << Line("First") << "\n" << Line("Other") << "\n";
        (void)!::write(ready[1], "x", 1);
        // Once the other writer has done all it does before it waits for
        // the lock, the temporary file must still be there.
        pollfd wait{waiting[0], POLLIN, 0};
        char told;
        if (::poll(&wait, 1, 30000) != 1 || ::read(waiting[0], &told, 1) != 1)
            _exit(3);
        const bool kept = fs::exists(temporary);
        fs::rename(temporary, dir / "cpu_results.csv");
        _exit(kept ? 0 : 1);
    }
    char signal;
    ASSERT_EQ(::read(ready[0], &signal, 1), 1);
    const FileSystemCalls real = SystemCalls();
    WaitingPipe = waiting[1];
    SystemCalls().flock = FlockTellingTheWait;
    AppendRecord(L"Mine");  // waits for the other writer's lock
    SystemCalls() = real;
    int status = 0;
    ::waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_NE(WEXITSTATUS(status), 3) << "this writer never waited for the other's lock";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "the live writer's file was removed";
    EXPECT_EQ(Read("cpu_results.csv"), Line("First") + "\n" + Line("Other") + "\nAMD;Mine;;;;;2;Linux;;1;2;yes\n");
    for (int fd : {ready[0], ready[1], waiting[0], waiting[1]})
        ::close(fd);
}

TEST_F(SharedFiles, ATemporaryFileItsWriterStillLocksIsLeftAloneWhateverLockTheRemoverHolds)
{
    // A writer that holds no lock of the table: a copy of the program making
    // the table from its template, or writing the backup of another table in
    // this folder. Only its own file's lock tells it is alive.
    Write("cpu_results.csv", Line("First") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    Write(".cpu_result.bak.Dead01.tmp", "a killed writer's half");
    int ready[2], done[2];
    ASSERT_EQ(::pipe(ready), 0);
    ASSERT_EQ(::pipe(done), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        const std::string live = (dir / ".cpu_result.bak.LiVe01.tmp").string();
        const int fd = ::open(live.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (fd < 0 || ::flock(fd, LOCK_EX) != 0)
            _exit(2);
        (void)!::write(ready[1], "x", 1);
        char go;
        (void)!::read(done[0], &go, 1);
        struct stat info {};
        _exit(::stat(live.c_str(), &info) == 0 ? 0 : 1);
    }
    char signal;
    ASSERT_EQ(::read(ready[0], &signal, 1), 1);
    AppendRecord(L"Mine");
    EXPECT_FALSE(Exists(".cpu_result.bak.Dead01.tmp"));
    (void)!::write(done[1], "x", 1);
    int status = 0;
    ::waitpid(writer, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the live writer's file was removed";
    EXPECT_EQ(Read("cpu_results.csv"), Line("First") + "\nAMD;Mine;;;;;2;Linux;;1;2;yes\n");
    fs::remove(dir / ".cpu_result.bak.LiVe01.tmp");
    for (int fd : {ready[0], ready[1], done[0], done[1]})
        ::close(fd);
}

TEST_F(SharedFiles, AnotherResultsFileIsMadeFromTheTemplateWithItsBackupBesideIt)
{
    Write("doc/cpu_results_original.csv", Line("Shipped") + "\n");
    fs::create_directory(dir / "lab");
    SetResultsFilePath(W(dir / "lab" / "table.csv"));
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Read("lab/table.csv"), Line("Shipped") + "\n");
    EXPECT_FALSE(Exists("cpu_results.csv"));
    AppendRecord(L"Measured");
    EXPECT_EQ(Read("lab/table.csv.bak"), Line("Shipped") + "\n");
    EXPECT_FALSE(Exists("cpu_result.bak"));
    EXPECT_EQ(ResultsBackupPath.utf8_string(), (dir / "lab" / "table.csv.bak").string());
}

TEST_F(SharedFiles, AnotherResultsFileInAMissingDirectoryGivesStatus1AndTheReason)
{
    Write("doc/cpu_results_original.csv", Line("Shipped") + "\n");
    SetResultsFilePath(W(dir / "no-such-dir" / "table.csv"));
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 1);
    EXPECT_EQ(LastResultsProblem().error, ENOENT);
    EXPECT_EQ(LastResultsProblem().path.utf8_string(), (dir / "no-such-dir" / "table.csv").string());
}

TEST_F(SharedFiles, AnotherResultsFileThatIsReadOnlyIsReadButNotChanged)
{
    const std::string before = Line("Shipped") + "\n";
    const std::string failure = RunUnprivileged([this, &before]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "lab.csv") << before;
        ::chmod((own / "lab.csv").c_str(), 0444);
        SetResultsFilePath(W(own / "lab.csv"));
        if (AccessResultsFile(ResultsOpLoad) != 0 || ResultLineCount != 1)
            return "this held: AccessResultsFile(ResultsOpLoad) != 0 || ResultLineCount != 1";
        BackupPending = 0;
        SetRecord({L"AMD", L"B", L"", L"", L"", L"", L"2", L"Linux", L"", L"1", L"2", L"yes"});
        if (AccessResultsFile(ResultsOpAppend) != 2 || messages.size() != 1)
            return "this held: AccessResultsFile(ResultsOpAppend) != 2 || messages.size() != 1";
        std::stringstream after;
        after << std::ifstream(own / "lab.csv").rdbuf();
        return after.str() == before ? "" : "this did not hold: after.str() == before";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(SharedFiles, TheShownRecordIsChangedWhereItStillIs)
{
    Write("cpu_results.csv", Line("First") + "\n" + Line("Second") + "\n" + Line("Third") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 1;
    BackupPending = 1;
    ASSERT_EQ(ChangeShownResult(ResultsOpDelete, wxString::FromUTF8(Line("Second"))), 0);
    EXPECT_EQ(CurrentResult, 1);
    EXPECT_EQ(Read("cpu_results.csv"), Line("First") + "\n" + Line("Third") + "\n");
    EXPECT_EQ(Read("cpu_result.bak"), Line("First") + "\n" + Line("Second") + "\n" + Line("Third") + "\n");
}

TEST_F(SharedFiles, DeletingARecordAnotherProgramMovedDeletesThatRecord)
{
    Write("cpu_results.csv", Line("First") + "\n" + Line("Second") + "\n" + Line("Third") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 2;  // "Third" shown
    Write("cpu_results.csv", Line("Second") + "\n" + Line("Third") + "\n");  // another program deleted "First"
    BackupPending = 1;
    ASSERT_EQ(ChangeShownResult(ResultsOpDelete, wxString::FromUTF8(Line("Third"))), 0);
    EXPECT_EQ(CurrentResult, 1);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Second") + "\n");
}

TEST_F(SharedFiles, ReplacingARecordAnotherProgramMovedReplacesThatRecord)
{
    Write("cpu_results.csv", Line("First") + "\n" + Line("Second") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 1;  // "Second" shown
    Write("cpu_results.csv", Line("New") + "\n" + Line("First") + "\n" + Line("Second") + "\n");
    SetRecord({L"AMD", L"Edited", L"", L"", L"", L"", L"2", L"Linux", L"", L"1", L"2", L"yes"});
    BackupPending = 1;
    ASSERT_EQ(ChangeShownResult(ResultsOpReplace, wxString::FromUTF8(Line("Second"))), 0);
    EXPECT_EQ(CurrentResult, 2);
    EXPECT_EQ(Read("cpu_results.csv"),
              Line("New") + "\n" + Line("First") + "\nAMD;Edited;;;;;2;Linux;;1;2;yes\n");
}

TEST_F(SharedFiles, ARecordAnotherProgramRemovedIsNotReplacedByAnother)
{
    const std::string others = Line("First") + "\n" + Line("Third") + "\n";
    Write("cpu_results.csv", Line("First") + "\n" + Line("Second") + "\n" + Line("Third") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 1;
    Write("cpu_results.csv", others);  // "Second" is gone
    BackupPending = 1;
    EXPECT_EQ(ChangeShownResult(ResultsOpDelete, wxString::FromUTF8(Line("Second"))), ResultsRecordGone);
    EXPECT_EQ(ChangeShownResult(ResultsOpReplace, wxString::FromUTF8(Line("Second"))), ResultsRecordGone);
    EXPECT_EQ(Read("cpu_results.csv"), others);
    EXPECT_FALSE(Exists("cpu_result.bak"));
    // Nothing was changed, so no backup is due: the reload that follows must
    // not replace the other program's backup, the one copy of "Second".
    EXPECT_EQ(BackupPending, 0);
    EXPECT_EQ(CurrentResult, 1);
    Write("cpu_result.bak", Line("First") + "\n" + Line("Second") + "\n" + Line("Third") + "\n");
    BackupPending = 1;
    ASSERT_EQ(ChangeShownResult(ResultsOpDelete, wxString::FromUTF8(Line("Second"))), ResultsRecordGone);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Read("cpu_result.bak"), Line("First") + "\n" + Line("Second") + "\n" + Line("Third") + "\n");
}

TEST_F(SharedFiles, OfTwoEqualLinesTheNearestIsTheOneChanged)
{
    Write("cpu_results.csv", Line("Same") + "\n" + Line("Other") + "\n" + Line("Same") + "\n" + Line("Last") + "\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    CurrentResult = 3;  // shown as line 3: now "Last"; the copies of "Same" are at 0 and 2
    ASSERT_EQ(ChangeShownResult(ResultsOpDelete, wxString::FromUTF8(Line("Same"))), 0);
    EXPECT_EQ(CurrentResult, 2);
    EXPECT_EQ(Read("cpu_results.csv"), Line("Same") + "\n" + Line("Other") + "\n" + Line("Last") + "\n");
}

TEST_F(SharedFiles, TwoProcessesMerging200RecordsEachLoseNone)
{
    Write("cpu_results.csv", "");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    std::vector<pid_t> children;
    for (const char* who : {"A", "B"}) {
        const pid_t child = fork();
        if (child == 0) {
            for (int k = 0; k < 200; ++k) {
                MergeSource source{wxS("test"), Line(std::string(who) + "-" + std::to_string(k)) + "\n"};
                if (MergeResults({source}).added != 1)
                    _exit(1);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::istringstream lines(Read("cpu_results.csv"));
    std::set<std::string> seen;
    std::string line;
    while (std::getline(lines, line))
        seen.insert(line);
    EXPECT_EQ(seen.size(), 400u);
    for (int k = 0; k < 200; ++k)
        for (const char* who : {"A", "B"})
            EXPECT_EQ(seen.count(Line(std::string(who) + "-" + std::to_string(k))), 1u) << who << k;
}

TEST_F(SharedFiles, SettingsSavedToAReadOnlyFileApplyAndTheMessageSaysWhichAndWhy)
{
    const std::string failure = RunUnprivileged([this]() -> std::string {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "tarnwick.conf") << "cpulist\t\t20\nheattime\t10\n";
        ::chmod((own / "tarnwick.conf").c_str(), 0444);
        if (ProcessConfigFile(ConfigModeLoad) != 0)
            return "this held: ProcessConfigFile(ConfigModeLoad) != 0";
        CpuListCount = 12;
        if (ProcessConfigFile(ConfigModeSave) != 0 || CpuListHalf != 6)
            return "this held: ProcessConfigFile(ConfigModeSave) != 0 || CpuListHalf != 6";
        const std::string expected = (own / "tarnwick.conf").string() +
                                     " could not be written (Permission denied); the settings apply to this run only.";
        if (messages.size() != 1 || messages[0].first != expected || messages[0].second != "Tarnwick - ConfigFile")
            return "this held: messages.size() != 1 || messages[0].first != expected || messages[0].second != \"Tarnwick - ConfigFile\"";
        std::stringstream after;
        after << std::ifstream(own / "tarnwick.conf").rdbuf();
        return after.str() == "cpulist\t\t20\nheattime\t10\n" ? "" : "this did not hold: after.str() == \"cpulist\\t\\t20\\nheattime\\t10\\n\"";
    });
    EXPECT_EQ(failure, "");
}

TEST_F(SharedFiles, SettingsSavedWhereTheFileCannotBeReadApplyAndSayWhy)
{
    fs::create_directory(dir / "tarnwick.conf");
    CpuListCount = 8;
    EXPECT_EQ(ProcessConfigFile(ConfigModeSave), 2);
    EXPECT_EQ(CpuListHalf, 4);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first, (dir / "tarnwick.conf").string() +
                                     " is a folder, not a regular file; the settings apply to this run only.");
    // Loading says so too: no settings file can be there.
    messages.clear();
    EXPECT_EQ(ProcessConfigFile(ConfigModeLoad), 2);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first, (dir / "tarnwick.conf").string() +
                                     " is a folder, not a regular file; the settings stay as they were.");
}

TEST_F(SharedFiles, ATableThatIsAFolderIsSaidOnLoadAndOnChange)
{
    fs::create_directory(dir / "cpu_results.csv");
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 2);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].first,
              (dir / "cpu_results.csv").string() + " is a folder, not a regular file; the results table is unchanged.");
    EnsureRecordBuffers();
    EXPECT_EQ(AccessResultsFile(ResultsOpAppend), 2);
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[1].first,
              (dir / "cpu_results.csv").string() + " is a folder, not a regular file; the change was not saved.");
}

TEST(UnprivilegedChild, PassesItsFailureTextBack)
{
    EXPECT_EQ(RunUnprivileged([]() -> std::string { return ""; }), "");
    EXPECT_EQ(RunUnprivileged([]() -> std::string { return "the table had 3 records, not 2"; }),
              "the table had 3 records, not 2");
    const std::string longText(100000, 'x');  // more than a pipe holds at once
    EXPECT_EQ(RunUnprivileged([&longText]() -> std::string { return longText; }), longText);
    EXPECT_EQ(RunUnprivileged([]() -> std::string { _exit(7); }), "the child exited with status 7");
    EXPECT_EQ(RunUnprivileged([]() -> std::string {
                  ::raise(SIGKILL);
                  return "";
              }),
              "the child did not exit normally");
    // Without root's privileges in the child, whoever runs the tests.
    EXPECT_EQ(RunUnprivileged([]() -> std::string {
                  return geteuid() == 0 ? "the child still has root's privileges" : "";
              }),
              "");
}
