// The results table and the settings where things go wrong: no locks, no
// hard links, a full disk, a table moved away during a change, links another
// user planted, files that are no files, tables too large for the memory,
// bytes that are no text, killed writers. Nothing is torn, nothing is lost in
// silence, nothing is written where it should not be.
#include "config/config_file.h"
#include "../support/fault_injection.h"
#include "tests/support/hidden_files.h"
#include "file_fixture.h"
#include "files/encoding.h"
#include "files/file_transaction.h"
#include "files/path_text.h"
#include "results/last_test.h"
#include "results/merge.h"
#include "results/results_file.h"
#include "results/results_table.h"

#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <chrono>
#include <cstdio>
#include <random>
#include <regex>
#include <thread>

namespace {
bool Matches(const std::string& text, const std::string& pattern)
{
    return std::regex_match(text, std::regex(pattern));
}

const std::string Old = Record("AMD", "Old", "100", "200") + "\n";

class FileFaults : public ProgramDirectory {
protected:
    void TearDown() override
    {
        AllowChangesWithoutLock(false);
        SetResultsFilePath(wxString());
        ProgramDirectory::TearDown();
    }

    void Fill(const std::string& model)
    {
        EnsureRecordBuffers();
        ResultRecord record;
        record[FieldManufacturer] = wxS("AMD");
        record[FieldModel] = wxString::FromUTF8(model);
        record[FieldLogicalProcessors] = wxS("2");
        record[FieldOperatingSystem] = wxS("Linux");
        record[FieldSpeedPoints] = wxS("1");
        record[FieldPowerPoints] = wxS("2");
        record[FieldDisplay] = wxS("yes");
        ShowRecord(record, TitleOf(record));
    }
    int Append(const std::string& model)
    {
        Fill(model);
        BackupPending = 1;
        return AccessResultsFile(ResultsOpAppend);
    }


    std::string Message(std::size_t n = 0) const { return n < messages.size() ? messages[n].first : "(none)"; }
    std::string Absolute(const std::string& relative) const { return (dir / relative).string(); }
    std::string NotLocked(const std::string& file) const
    {
        return Absolute(file) + " could not be locked (Function not implemented), so another program could change "
                                "it at the same time";
    }

    const FaultyFileSystem faults;
};

// The bytes written so far, to end a write once the disk is "full".
std::size_t WrittenSoFar = 0;
std::size_t DiskRoom = 0;

long WriteUntilFull(int fd, const void* data, std::size_t size)
{
    if (WrittenSoFar + size > DiskRoom) {
        errno = ENOSPC;
        return -1;
    }
    WrittenSoFar += size;
    return ::write(fd, data, size);
}

// Another program that moves the table aside while a change is written.
long WriteAfterMovingTheTableAside(int fd, const void* data, std::size_t size)
{
    std::rename("cpu_results.csv", "aside.csv");
    return ::write(fd, data, size);
}

// A slow disk: a few hundred bytes at a time, so that a writer is killed in
// the middle of its file.
long WriteSlowly(int fd, const void* data, std::size_t size)
{
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    return ::write(fd, data, std::min<std::size_t>(size, 256));
}
}  // namespace

TEST_F(FileFaults, WithoutLocksNoChangeIsMadeNoBackupTakenAndEachSaysWhy)
{
    Write("cpu_results.csv", Old);
    Write("tarnwick.conf", "cpulist\t\t20\nheattime\t10\n");
    FaultyFileSystem::WithoutLocks();
    // Reading needs no lock: a file is always replaced whole.
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    EXPECT_TRUE(messages.empty());

    EXPECT_EQ(Append("New"), 2);
    EXPECT_EQ(Message(0), NotLocked("cpu_results.csv") + "; the change was not saved.");
    EXPECT_EQ(BackupPending, 0);
    CurrentResult = 0;
    BackupPending = 1;
    EXPECT_EQ(ChangeShownResult(ResultsOpDelete, wxString::FromUTF8(Record("AMD", "Old", "100", "200"))), 2);
    const MergeOutcome merged = MergeResults({MergeSource{wxS("in.csv"), Record("AMD", "Merged", "1", "2")}});
    EXPECT_EQ(merged.status, 2);
    EXPECT_EQ(merged.added, 0u);
    CpuListCount = 12;
    EXPECT_EQ(ProcessConfigFile(ConfigModeSave), 0);  // the settings apply for this run
    EXPECT_EQ(CpuListHalf, 6);
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(Message(3), NotLocked("tarnwick.conf") + "; the settings apply to this run only.");

    EXPECT_EQ(Read("cpu_results.csv"), Old);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist\t\t20\nheattime\t10\n");
    EXPECT_FALSE(Exists("cpu_result.bak"));
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(FileFaults, WithoutLocksAChangeIsMadeWhenTheUserTakesTheRisk)
{
    Write("cpu_results.csv", Old);
    FaultyFileSystem::WithoutLocks();
    AllowChangesWithoutLock(true);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Append("New"), 0);
    EXPECT_EQ(Read("cpu_results.csv"), Old + "AMD;New;;;;;2;Linux;;1;2;yes\n");
    EXPECT_EQ(Read("cpu_result.bak"), Old);
}

TEST_F(FileFaults, WithoutHardLinksTheTableIsMadeWholeByARenameThatNeverReplaces)
{
    Write("doc/cpu_results_original.csv", Old);
    FaultyFileSystem::WithoutHardLinks();
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Read("cpu_results.csv"), Old);
    EXPECT_EQ(Message(0), "cpu_results.csv was created from original template!");

    // Another program makes it between our look and our rename: its file stays.
    fs::remove(dir / "cpu_results.csv");
    SystemCalls().renameAt = [](int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
        if ((flags & RENAME_NOREPLACE) != 0) {
            const int made = ::openat(toFolder, to, O_WRONLY | O_CREAT | O_EXCL, 0644);
            ::write(made, "made by another program\n", 24);
            ::close(made);
        }
        return ::renameat2(fromFolder, from, toFolder, to, flags);
    };
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Read("cpu_results.csv"), "made by another program\n");
    EXPECT_EQ(messages.size(), 1u);  // not made by us: nothing to say
    EXPECT_EQ(ResultLineCount, 1);
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(FileFaults, WithoutHardLinksOrSuchRenamesTheFolderLockKeepsTheCreationWhole)
{
    Write("doc/tarnwick_original.conf", "cpulist\t\t7\nheattime\t2\n");
    FaultyFileSystem::WithoutHardLinks();
    FaultyFileSystem::WithoutNoReplaceRenames();
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    EXPECT_EQ(Read("tarnwick.conf"), "cpulist\t\t7\nheattime\t2\n");
    EXPECT_EQ(CpuListCount, 7);
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(FileFaults, KilledWhileMakingTheTableWithoutHardLinksLeavesNoTableOrAWholeOne)
{
    std::string shipped;
    for (int k = 0; k < 400; ++k)
        shipped += Record("Shipped", "model " + std::to_string(k), "1", "2") + "\n";
    Write("doc/cpu_results_original.csv", shipped);
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> delay(1, 40);
    int torn = 0, whole = 0;
    for (int kill = 0; kill < 30; ++kill) {
        fs::remove(dir / "cpu_results.csv");
        const pid_t child = fork();
        if (child == 0) {
            FaultyFileSystem::WithoutHardLinks();
            SystemCalls().write = WriteSlowly;
            for (;;) {
                AccessResultsFile(ResultsOpLoad);
                std::this_thread::sleep_for(std::chrono::milliseconds(10));  // the table there, whole
                ::unlink("cpu_results.csv");
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(delay(random)));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        if (Exists("cpu_results.csv"))
            (Read("cpu_results.csv") == shipped ? whole : torn) += 1;
    }
    EXPECT_EQ(torn, 0);
    EXPECT_GT(whole, 0);  // some kills came after a table was made
    std::printf("30 kills while the table was made without hard links: %d whole tables, %d torn\n", whole, torn);
    // The next change clears what the killed writers left.
    if (!Exists("cpu_results.csv"))
        Write("cpu_results.csv", shipped);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Append("After"), 0);
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(FileFaults, AFullDiskLeavesTheTableAndItsBackupAsTheyWere)
{
    Write("cpu_results.csv", Old);
    Write("cpu_result.bak", "the backup before\n");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    WrittenSoFar = 0;
    DiskRoom = Old.size() + 10;  // the new table does not fit
    SystemCalls().write = WriteUntilFull;
    EXPECT_EQ(Append("New"), 2);
    EXPECT_EQ(Message(0), Absolute("cpu_results.csv") + " could not be written (No space left on device); the "
                                                        "change was not saved.");
    EXPECT_EQ(Read("cpu_results.csv"), Old);
    EXPECT_EQ(Read("cpu_result.bak"), "the backup before\n");
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(FileFaults, AFullFileSystemLeavesTheTableWholeAndTheMessageTrue)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "mounting a small file system needs root";
    fs::create_directory(dir / "small");
    if (::mount("tmpfs", (dir / "small").c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "no tmpfs could be mounted here: " << std::strerror(errno);
    std::string table;
    for (int k = 0; k < 200; ++k)
        table += Record("Maker", "model " + std::to_string(k) + " with a long name", "1", "2") + "\n";
    Write("small/lab.csv", table);
    Write("small/lab.csv.bak", table);
    Write("small/filler", std::string(64 * 1024 - 2 * table.size() - 8 * 1024, 'x'));
    SetResultsFilePath(wxString::FromUTF8(Absolute("small/lab.csv")));
    std::string added;
    std::vector<MergeSource> sources{{wxS("in.csv"), ""}};
    for (int k = 0; k < 300; ++k)
        sources[0].bytes += Record("New", "record " + std::to_string(k) + " to fill the disk", "1", "2") + "\n";
    const MergeOutcome outcome = MergeResults(sources);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(Message(0), Absolute("small/lab.csv") + " could not be written (No space left on device); the change "
                                                      "was not saved.");
    EXPECT_EQ(Read("small/lab.csv"), table);
    EXPECT_EQ(Read("small/lab.csv.bak"), table);
    EXPECT_TRUE(HiddenFiles(dir / "small").empty());
    ::umount((dir / "small").c_str());
}

namespace {
int RenamesOver = 0;

// Just before the changed table takes the old one's place, another program
// (one that takes no lock: a text editor, a script) renames a file of its
// own over it, once.
void RenameAnotherFileOverTheTable(const char* stage)
{
    if (std::string(stage) != "commit over" || RenamesOver++ != 0)
        return;
    std::ofstream("theirs.csv") << Record("Intel", "Theirs", "5", "6") << "\n";
    ASSERT_EQ(std::rename("theirs.csv", "cpu_results.csv"), 0);
}
}  // namespace

TEST_F(FileFaults, AFileRenamedOverTheTableJustBeforeTheChangeIsChangedInItsTurnNeverLost)
{
    const std::string theirs = Record("Intel", "Theirs", "5", "6") + "\n";
    const std::string added = Record("AMD", "Merged", "7", "8") + "\n";
    // Where the file system swaps two names, and where it cannot and the
    // table is looked at just before a plain rename.
    for (const bool swaps : {true, false}) {
        SystemCalls() = faults.Real();
        if (!swaps)
            FaultyFileSystem::WithoutExchangeRenames();
        Write("cpu_results.csv", Old);
        RenamesOver = 0;
        SystemCalls().betweenCheckAndUse = RenameAnotherFileOverTheTable;
        const MergeOutcome o = MergeResults({MergeSource{wxS("in.csv"), added}});
        EXPECT_EQ(o.status, 0) << swaps;
        EXPECT_EQ(o.added, 1u) << swaps;
        EXPECT_EQ(RenamesOver, 2) << swaps;  // the change was made twice, the second time on theirs
        EXPECT_EQ(Read("cpu_results.csv"), theirs + added) << swaps;
        EXPECT_EQ(Read("cpu_result.bak"), theirs) << swaps;  // the table just before the change that was made
        EXPECT_TRUE(HiddenFiles(dir).empty()) << swaps;
        EXPECT_TRUE(messages.empty()) << swaps;
    }
}

TEST_F(FileFaults, ATableMovedAwayDuringAChangeIsAReadErrorAndIsNotMadeAgain)
{
    Write("cpu_results.csv", Old);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    SystemCalls().write = WriteAfterMovingTheTableAside;
    const MergeOutcome outcome = MergeResults({MergeSource{wxS("in.csv"), Record("AMD", "New", "1", "2")}});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.added, 0u);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(Message(0), Absolute("cpu_results.csv") + " was moved or removed by another program while it was "
                                                        "being changed (No such file or directory); the change was "
                                                        "not saved.");
    EXPECT_EQ(Read("aside.csv"), Old);
    EXPECT_FALSE(Exists("cpu_results.csv"));
    EXPECT_FALSE(Exists("cpu_result.bak"));
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(FileFaults, LinksAnotherUserPlantedInAStickyFolderAreNeverFollowed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "planting a link as another user needs root";
    fs::create_directory(dir / "pub");
    fs::permissions(dir / "pub", fs::perms(01777));
    Write("mine.txt", "mine\n");
    Write("pub/lab.csv", Old);
    const auto plant = [this](const std::string& link, const fs::path& target) {
        fs::create_symlink(target, dir / link);
        ASSERT_EQ(::lchown((dir / link).c_str(), 65534, 65534), 0);
    };
    plant("pub/lab.csv.bak", dir / "mine.txt");
    SetResultsFilePath(wxString::FromUTF8(Absolute("pub/lab.csv")));
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Append("New"), 3);
    EXPECT_EQ(Message(0), "The backup " + Absolute("pub/lab.csv.bak") + " could not be written: it is a symbolic "
                          "link that another user made in a folder others may write to (sticky); such links are not "
                          "followed; the change was not saved.");
    EXPECT_EQ(Read("mine.txt"), "mine\n");
    EXPECT_EQ(Read("pub/lab.csv"), Old);

    // The table itself, and a table reached through a planted folder link.
    plant("pub/table.csv", dir / "mine.txt");
    plant("pub/folder", dir);
    for (const std::string table : {"pub/table.csv", "pub/folder/mine.txt"}) {
        messages.clear();
        SetResultsFilePath(wxString::FromUTF8(Absolute(table)));
        EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 2) << table;
        EXPECT_EQ(Message(0), Absolute(table) + " could not be opened: " +
                                  (table == "pub/table.csv" ? std::string("it") : Absolute("pub/folder")) +
                                  " is a symbolic link that another user made in a folder others may write to "
                                  "(sticky); such links are not followed; the results table is unchanged.");
        EXPECT_EQ(Append("New"), 2) << table;
    }
    EXPECT_EQ(Read("mine.txt"), "mine\n");

    // One that the folder's owner made is followed, as the kernel follows it.
    fs::remove(dir / "pub/table.csv");
    fs::create_symlink(dir / "pub/lab.csv", dir / "pub/table.csv");
    SetResultsFilePath(wxString::FromUTF8(Absolute("pub/table.csv")));
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 0);
}

TEST_F(FileFaults, SettingsBehindALinkAnotherUserPlantedAreNeverRead)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "planting a link as another user needs root";
    fs::permissions(dir, fs::perms(01777));
    Write("elsewhere.conf", "cpulist\t\t3\nheattime\t1\n");
    fs::create_symlink(dir / "elsewhere.conf", dir / "tarnwick.conf");
    ASSERT_EQ(::lchown((dir / "tarnwick.conf").c_str(), 65534, 65534), 0);
    CpuListCount = 20;
    EXPECT_EQ(ProcessConfigFile(ConfigModeLoad), 2);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(Message(0), Absolute("tarnwick.conf") + " could not be opened: it is a symbolic link that another user "
                                                      "made in a folder others may write to (sticky); such links "
                                                      "are not followed; the settings stay as they were.");
    fs::permissions(dir, fs::perms(0777));
}

TEST_F(FileFaults, AFifoOrADeviceAsTheTableOrTheSettingsIsRefusedWithoutWaiting)
{
    ASSERT_EQ(::mkfifo((dir / "cpu_results.csv").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((dir / "tarnwick.conf").c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 2);
    EXPECT_EQ(ProcessConfigFile(ConfigModeLoad), 2);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(Message(0), Absolute("cpu_results.csv") + " is a FIFO, not a regular file; the results table is "
                                                        "unchanged.");
    EXPECT_EQ(Message(1), Absolute("tarnwick.conf") + " is a FIFO, not a regular file; the settings stay as they "
                                                      "were.");
    fs::remove(dir / "cpu_results.csv");
    fs::remove(dir / "tarnwick.conf");
    fs::create_symlink("/dev/zero", dir / "cpu_results.csv");
    fs::create_symlink("/dev/zero", dir / "tarnwick.conf");
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 2);
    EXPECT_EQ(ProcessConfigFile(ConfigModeLoad), 2);
    EXPECT_EQ(Message(2), Absolute("cpu_results.csv") + " is a device, not a regular file; the results table is "
                                                        "unchanged.");
    EXPECT_EQ(Append("New"), 2);
    EXPECT_TRUE(fs::is_symlink(dir / "cpu_results.csv"));
    EXPECT_EQ(fs::read_symlink(dir / "cpu_results.csv"), "/dev/zero");
}

TEST_F(FileFaults, SettingsLargerThanASettingsFileCanBeAreNotRead)
{
    Write("tarnwick.conf", "cpulist\t\t7\n" + std::string(2 << 20, '#') + "\n");
    CpuListCount = 20;
    EXPECT_EQ(ProcessConfigFile(ConfigModeLoad), 2);
    EXPECT_EQ(CpuListCount, 20);
    EXPECT_EQ(Message(0), Absolute("tarnwick.conf") + " is too large (2.1 MB; at most 1.0 MB); the settings stay as "
                                                      "they were.");
}

TEST_F(FileFaults, ATableWithOneHugeLineIsTooLargeToLoadAndTheTableStays)
{
    Write("cpu_results.csv", Old);
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    // Every row is as wide as the longest line: 3000 rows of 200,000
    // characters would take 2.4 GB.
    std::string table;
    for (int k = 0; k < 3000; ++k)
        table += Record("AMD", "model " + std::to_string(k), "1", "2") + "\n";
    table += "Long;" + std::string(200000, 'x') + ";1;1;1;1;1;L;1;10;20;yes\n";
    Write("cpu_results.csv", table);
    const std::uint64_t need = ResultTableBytes(3001, 200000 + 25);
    ASSERT_GT(need, MemoryBound());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(AccessResultsFile(ResultsOpLoad), 2);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(ResultLineCount, 1);
    EXPECT_TRUE(Matches(Message(0), Absolute("cpu_results.csv") + " is too large: its table would take [0-9.]+ MB, "
                                                                   "at most [0-9.]+ MB on this machine; the results "
                                                                   "table is unchanged."))
        << Message(0);
}

TEST_F(FileFaults, MergeRefusesALineThatWouldMakeTheTableTooLargeToLoad)
{
    // A table whose rows, as wide as the wide line, would pass the bound.
    const std::string wide = "AMD;" + std::string(4000, 'w') + ";1;1;1;1;1;Linux;1;1;2;yes";
    const std::string narrow = "AMD;narrow;1;1;1;1;1;Linux;1;1;2;yes";
    const std::size_t rows = std::size_t(MemoryBound() / ((wide.size() + 201) * sizeof(wchar_t))) + 10;
    std::string table;
    table.reserve(rows * 60);
    for (std::size_t k = 0; k < rows; ++k)
        table += "AMD;m" + std::to_string(k) + ";1;1;1;1;1;Linux;1;1;2;yes\n";
    Write("cpu_results.csv", table);
    const MergeOutcome outcome = MergeResults({MergeSource{wxS("in.csv"), wide + "\n" + narrow + "\n"}});
    ASSERT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.added, 1u);
    ASSERT_EQ(outcome.refused.size(), 1u);
    EXPECT_EQ(outcome.refused[0].line, 1u);
    EXPECT_TRUE(Matches(outcome.refused[0].reason.utf8_string(),
                        "would make the table too large to load \\([0-9.]+ MB of memory, at most [0-9.]+ MB on this "
                        "machine\\)"))
        << outcome.refused[0].reason;
    EXPECT_EQ(Read("cpu_results.csv"), table + narrow + "\n");
}

TEST_F(FileFaults, AUtf16TableWithAnUnpairedSurrogateKeepsItsBytesThroughMergesAndBackups)
{
    std::string table = "\xFF\xFE";
    EncodeText(wxString::FromUTF8(Old).ToStdWstring(), TextEncoding::Utf16Le, table);
    table += std::string("X\0;\0\x00\xD8", 6);
    EncodeText(L";1;1;1;1;1;L;1;10;20;yes\n", TextEncoding::Utf16Le, table);
    Write("cpu_results.csv", table);
    std::string expected = table;
    for (const std::string model : {"One", "Two"}) {
        const std::string line = Record("AMD", model, "1", "2");
        const MergeOutcome outcome = MergeResults({MergeSource{wxS("in.csv"), line + "\n"}});
        ASSERT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.added, 1u);
        EXPECT_EQ(Read("cpu_result.bak"), expected);
        EncodeText(wxString::FromUTF8(line + "\n").ToStdWstring(), TextEncoding::Utf16Le, expected);
        EXPECT_EQ(Read("cpu_results.csv"), expected);
    }
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(ResultLineCount, 4);
    EXPECT_EQ(std::wstring(ResultLines.get() + ResultLineWidth), L"X;\xFFFD;1;1;1;1;1;L;1;10;20;yes");
}

TEST_F(FileFaults, AUtf16TableEndingInACutUnitTakesNoLineAfterItAndSaysWhy)
{
    std::string table = "\xFF\xFE";
    EncodeText(wxString::FromUTF8(Old).ToStdWstring(), TextEncoding::Utf16Le, table);
    table += "A";  // half a unit
    Write("cpu_results.csv", table);
    const MergeOutcome outcome = MergeResults({MergeSource{wxS("in.csv"), Record("AMD", "New", "1", "2") + "\n"}});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(Message(0), Absolute("cpu_results.csv") + " could not be written: line 2 ends in a cut UTF-16LE unit, "
                                                        "which no line can follow; the change was not saved.");
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(Append("New"), 2);
    EXPECT_EQ(Read("cpu_results.csv"), table);
    EXPECT_FALSE(Exists("cpu_result.bak"));
    // Deleting the line before it is fine: the cut unit still ends the file.
    CurrentResult = 0;
    BackupPending = 1;
    EXPECT_EQ(AccessResultsFile(ResultsOpDelete), 0);
    EXPECT_EQ(Read("cpu_results.csv"), "\xFF\xFE" "A");
}

TEST_F(FileFaults, ARecordStartingWithUFeffBeginsAnEmptyTableAfterARealMark)
{
    Write("cpu_results.csv", "");
    const std::string record = "\xEF\xBB\xBF" + Record("AMD", "Marked", "1", "2");
    // Its first line is "x", so that the record is not read as the input's own mark.
    for (int round = 0; round < 2; ++round) {
        const MergeOutcome outcome = MergeResults({MergeSource{wxS("in.csv"), "x\n" + record + "\n"}});
        ASSERT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.added, round == 0 ? 1u : 0u);
        EXPECT_EQ(Read("cpu_results.csv"), "\xEF\xBB\xBF" + record + "\n");
    }
    ASSERT_EQ(AccessResultsFile(ResultsOpLoad), 0);
    EXPECT_EQ(std::wstring(ResultLines.get()), wxString::FromUTF8(record).ToStdWstring());
}

TEST_F(FileFaults, MergedLinesThatHoldBytesThatAreNoTextAreRefused)
{
    Write("cpu_results.csv", Old);
    std::string input = "\xFF\xFE";
    EncodeText(L"AMD;good;1;1;1;1;1;Linux;1;1;2;yes\n", TextEncoding::Utf16Le, input);
    input += std::string("A\0\x00\xDC;\0", 6);
    EncodeText(L"bad;1;1;1;1;1;Linux;1;1;2;yes\n", TextEncoding::Utf16Le, input);
    const MergeOutcome outcome = MergeResults({MergeSource{wxS("in.csv"), input}});
    ASSERT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.added, 1u);
    ASSERT_EQ(outcome.refused.size(), 1u);
    EXPECT_EQ(outcome.refused[0].line, 2u);
    EXPECT_EQ(outcome.refused[0].reason, "holds bytes that are not UTF-16LE text");
}

TEST_F(FileFaults, SettingsWithBytesThatAreNoUtf8AreSavedKeepingEveryOtherLine)
{
    // The file a fuzzer found: the toolkit could read it but not write it.
    const std::string found("# tingq\ncpuset\xF4\x97\x9A\x9Ettitingq\ncpuli\x01\0\0\0\0\0\0\x01st\t\t20&hateit\tme10\n",
                            59);
    Write("tarnwick.conf", found);
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    EXPECT_EQ(ConfigCpuListLine, 0);  // no key: both lines go to the top
    CpuListCount = 20;
    HeatTestMillis = 60000;
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_TRUE(messages.empty()) << Message(0);
    EXPECT_EQ(Read("tarnwick.conf"), "heattime\t1\ncpuset\xF4\x97\x9A\x9Ettitingq\n" + found.substr(27));
    // Saved again: the same bytes.
    const std::string once = Read("tarnwick.conf");
    ASSERT_EQ(ProcessConfigFile(ConfigModeLoad), 0);
    ASSERT_EQ(ProcessConfigFile(ConfigModeSave), 0);
    EXPECT_EQ(Read("tarnwick.conf"), once);
}

TEST(PathText, EveryByteOfAFileNameSurvivesTheWayThroughText)
{
    std::string all;
    for (int b = 1; b < 256; ++b)
        all += char(b);
    EXPECT_EQ(PathToBytes(PathFromBytes(all)), all);
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes;
        for (int i = int(random() % 12); i > 0; --i)
            bytes += char(1 + random() % 255);
        ASSERT_EQ(PathToBytes(PathFromBytes(bytes)), bytes) << round;
    }
    EXPECT_EQ(PathFromBytes("d\xC3\xA9_\xC3\xBC"), wxString::FromUTF8("d\xC3\xA9_\xC3\xBC"));
    EXPECT_EQ(ShownText(PathFromBytes("bad\xFF")), wxString(L"bad\xFFFD"));
}
