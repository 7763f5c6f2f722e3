// The one routine for every file the runner writes besides its tables: what
// it refuses, what it writes into, what it replaces and when, and the races
// a hostile or unlucky neighbour can run against it, made to happen every
// time by the hook between each check and its use.
#include "../support/fault_injection.h"
#include "file_fixture.h"
#include "../support/kernel_protections.h"
#include "tests/support/hidden_files.h"
#include "files/descriptor.h"
#include "files/output_file.h"
#include "files/path_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <functional>
#include <thread>

namespace {
std::function<void(const char*)>& HookBody()
{
    static std::function<void(const char*)> body;
    return body;
}

void RunHook(const char* stage)
{
    if (HookBody())
        HookBody()(stage);
}

std::vector<std::string>& Notices()
{
    static std::vector<std::string> notices;
    return notices;
}

void KeepNotice(const wxString& text)
{
    Notices().push_back(text.utf8_string());
}

class Output : public ProgramDirectory {
protected:
    void SetUp() override
    {
        ProgramDirectory::SetUp();
        SystemCalls().betweenCheckAndUse = RunHook;
        Notices().clear();
        previousSink = SetFileNoticeSink(KeepNotice);
    }
    void TearDown() override
    {
        HookBody() = nullptr;
        SetFileNoticeSink(previousSink);
        ProgramDirectory::TearDown();
    }

    /// Opens `name` with nothing kept from it; its failure's text, or "".
    std::string Open(OutputFile& file, const std::string& name, const std::vector<KeptFile>& kept = {}) const
    {
        return file.Open(wxString::FromUTF8(name), kept).Text().utf8_string();
    }

    /// Writes `text` into `name` whole; "" or what went wrong.
    std::string Put(const std::string& name, const std::string& text) const
    {
        OutputFile file;
        std::string problem = Open(file, name);
        if (problem.empty() && file.Write(text) != 0)
            problem = "write failed";
        if (problem.empty() && file.Finish() != 0)
            problem = "finish failed";
        return problem;
    }

    std::vector<std::string> Hidden() const { return HiddenFiles(dir); }

    std::string Absolute(const std::string& relative) const { return (dir / relative).string(); }
    /// A path as messages name it.
    static std::string Shown(const std::string& path) { return AbsolutePath(wxString::FromUTF8(path)).utf8_string(); }

    // A folder everyone may write to, sticky, as /tmp is.
    void SharedStickyFolder(const std::string& name) const
    {
        fs::create_directory(dir / name);
        fs::permissions(dir / name, fs::perms(01777));
    }

    FaultyFileSystem faults;
    FileNoticeSink previousSink = nullptr;
};
}  // namespace

TEST_F(Output, ARegularFileIsReplacedWholeOnlyWhenTheOutputIsFinished)
{
    Write("out.csv", "old\n");
    fs::permissions(dir / "out.csv", fs::perms(0640));
    OutputFile file;
    ASSERT_EQ(Open(file, "out.csv"), "");
    EXPECT_TRUE(file.Replacing());
    ASSERT_EQ(file.Write("new, row 1\n"), 0);
    EXPECT_EQ(Read("out.csv"), "old\n");  // a reader sees the old file to the end
    ASSERT_EQ(Hidden().size(), 1u);
    EXPECT_TRUE(IsTemporaryFor(Hidden()[0], "out.csv")) << Hidden()[0];
    ASSERT_EQ(file.Write("new, row 2\n"), 0);
    ASSERT_EQ(file.Finish(), 0);
    EXPECT_EQ(Read("out.csv"), "new, row 1\nnew, row 2\n");
    EXPECT_EQ(fs::status(dir / "out.csv").permissions() & fs::perms::all, fs::perms(0640));
    EXPECT_TRUE(Hidden().empty());
}

TEST_F(Output, AnOutputNeverFinishedLeavesTheOldFileAsItWasAndNothingBeside)
{
    Write("out.csv", "old\n");
    {
        OutputFile file;
        ASSERT_EQ(Open(file, "out.csv"), "");
        ASSERT_EQ(file.Write("half a log"), 0);
    }
    EXPECT_EQ(Read("out.csv"), "old\n");
    EXPECT_TRUE(Hidden().empty());
    {
        OutputFile file;
        ASSERT_EQ(Open(file, "new.csv"), "");
    }
    EXPECT_FALSE(Exists("new.csv"));
    EXPECT_TRUE(Hidden().empty());
}

TEST_F(Output, ALinkPutInPlaceBeforeTheRenameIsReplacedAndNeverWrittenThrough)
{
    Write("victim.txt", "victim\n");
    for (const std::string name : {"new.csv", "old.csv"}) {
        if (name == "old.csv")
            Write(name, "old\n");
        HookBody() = [&](const char* stage) {
            if (std::string(stage) != "commit" || fs::is_symlink(dir / name))
                return;
            fs::remove(dir / name);
            fs::create_symlink(dir / "victim.txt", dir / name);
        };
        EXPECT_EQ(Put(name, "ours\n"), "") << name;
        EXPECT_EQ(Read("victim.txt"), "victim\n") << name;
        EXPECT_FALSE(fs::is_symlink(dir / name)) << name;
        EXPECT_EQ(Read(name), "ours\n") << name;
    }
    EXPECT_TRUE(Hidden().empty());
}

TEST_F(Output, ALinkAnotherUserPutInASharedStickyFolderAfterTheLookIsNeverFollowed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "a link of another user needs root to make";
    const KernelProtectionsOff unprotected;
    SharedStickyFolder("pub");
    Write("victim.txt", "victim\n");
    ASSERT_EQ(::mkfifo((dir / "pub/log").c_str(), 0600), 0);
    // The FIFO was looked at; before it is opened, another user's link
    // takes its place.
    HookBody() = [&](const char* stage) {
        if (std::string(stage) != "output" || fs::is_symlink(dir / "pub/log"))
            return;
        fs::remove(dir / "pub/log");
        fs::create_symlink(dir / "victim.txt", dir / "pub/log");
        ASSERT_EQ(::lchown((dir / "pub/log").c_str(), 65534, 65534), 0);
    };
    OutputFile file;
    EXPECT_EQ(Open(file, "pub/log"), Absolute("pub/log") + " could not be written: " + Absolute("pub/log") +
                                         " is a symbolic link that another user made in a folder others may write to "
                                         "(sticky); such links are not followed");
    EXPECT_EQ(Read("victim.txt"), "victim\n");
}

TEST_F(Output, AFifoThatNoProgramReadsIsRefusedAtOnceAndOneThatIsReadIsWrittenInto)
{
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    OutputFile unread;
    EXPECT_EQ(Open(unread, "fifo"), Absolute("fifo") + " could not be written: it is a FIFO that no program reads");
    EXPECT_TRUE(fs::is_fifo(dir / "fifo"));

    std::string received;
    std::thread reader([&] { received = Read("fifo"); });
    // The reader has opened its end once the writer's open no longer fails.
    OutputFile read;
    for (std::string problem = Open(read, "fifo"); !problem.empty(); problem = Open(read, "fifo"))
        std::this_thread::yield();
    EXPECT_FALSE(read.Replacing());
    ASSERT_EQ(read.Write("written into\n"), 0);
    ASSERT_EQ(read.Finish(), 0);
    reader.join();
    EXPECT_EQ(received, "written into\n");
    EXPECT_TRUE(fs::is_fifo(dir / "fifo"));
}

TEST_F(Output, FilesAndFifosAnotherUserPutInASharedStickyFolderAreRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "files of another user need root to make";
    const KernelProtectionsOff unprotected;
    SharedStickyFolder("pub");
    Write("pub/planted.csv", "theirs\n");
    fs::permissions(dir / "pub/planted.csv", fs::perms(0666));
    ASSERT_EQ(::mkfifo((dir / "pub/planted.fifo").c_str(), 0666), 0);
    for (const char* name : {"pub/planted.csv", "pub/planted.fifo"})
        ASSERT_EQ(::chown((dir / name).c_str(), 65534, 65534), 0);
    OutputFile file, fifo;
    EXPECT_EQ(Open(file, "pub/planted.csv"),
              Absolute("pub/planted.csv") + " could not be written: it is a file of another user in a folder others "
                                            "may write to (sticky), which is neither written into nor replaced");
    EXPECT_EQ(Open(fifo, "pub/planted.fifo"),
              Absolute("pub/planted.fifo") + " could not be written: it is a FIFO of another user in a folder others "
                                             "may write to (sticky), which is neither written into nor replaced");
    EXPECT_EQ(Read("pub/planted.csv"), "theirs\n");
    EXPECT_EQ(fs::status(dir / "pub/planted.csv").permissions() & fs::perms::all, fs::perms(0666));
    // Our own file there is ours to replace.
    Write("pub/mine.csv", "mine\n");
    EXPECT_EQ(Put("pub/mine.csv", "new\n"), "");
    EXPECT_EQ(Read("pub/mine.csv"), "new\n");
}

TEST_F(Output, OnlyTheNullDeviceAndTerminalsAreWrittenIntoOfTheDevices)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "making devices needs root";
    ASSERT_EQ(::mknod((dir / "null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
    ASSERT_EQ(::mknod((dir / "memory").c_str(), S_IFCHR | 0600, makedev(1, 1)), 0);
    ASSERT_EQ(::mknod((dir / "disk").c_str(), S_IFBLK | 0600, makedev(8, 0)), 0);
    EXPECT_EQ(Put("null", "gone\n"), "");
    OutputFile memory, disk;
    EXPECT_EQ(Open(memory, "memory"), Absolute("memory") + " could not be written: it is a device, and of the devices "
                                                           "only the null, zero and full devices and terminals are "
                                                           "written into");
    EXPECT_EQ(Open(disk, "disk"), Absolute("disk") + " could not be written: it is a disk, and of the devices only "
                                                     "the null, zero and full devices and terminals are written into");
    EXPECT_TRUE(fs::is_character_file(dir / "memory"));
    EXPECT_TRUE(fs::is_block_file(dir / "disk"));
}

TEST_F(Output, TheProgramsFilesAndAnotherOutputAreRefusedWhateverTheNameLeadingThere)
{
    Write("cpu_results.csv", "table\n");
    fs::create_symlink("cpu_results.csv", dir / "alias.csv");
    fs::create_directory(dir / "sub");
    const std::vector<KeptFile> kept = {{wxS("the results table"), IdentifyFile(wxS("cpu_results.csv"))},
                                        {wxS("the settings file"), IdentifyFile(wxS("tarnwick.conf"))}};
    for (const std::string& name : {std::string("cpu_results.csv"), std::string("alias.csv"),
                                    std::string("./sub/../cpu_results.csv"), (dir / "cpu_results.csv").string()}) {
        OutputFile file;
        EXPECT_EQ(Open(file, name, kept), Shown(name) + " could not be written: it is the results table") << name;
    }
    // A file not made yet is refused by where it would be.
    OutputFile settings;
    EXPECT_EQ(Open(settings, "sub/../tarnwick.conf", kept),
              Absolute("sub/../tarnwick.conf") + " could not be written: it is the settings file");
    EXPECT_EQ(Read("cpu_results.csv"), "table\n");
    EXPECT_FALSE(Exists("tarnwick.conf"));
    // Another output of the same command, by its identity.
    OutputFile log, plot;
    ASSERT_EQ(Open(log, "heat.csv", kept), "");
    std::vector<KeptFile> withLog = kept;
    withLog.push_back({wxS("the file of --log as well"), log.Identity()});
    EXPECT_EQ(Open(plot, "./heat.csv", withLog), Shown("./heat.csv") + " could not be written: it is the file of --log as well");
    EXPECT_TRUE(Hidden().size() == 1u);  // the log's own temporary file
}

TEST_F(Output, AModeTheFileSystemWillNotTakeIsSaidOnceAndTheFileWrittenAllTheSame)
{
    FaultyFileSystem::WithoutModes();
    EXPECT_EQ(Put("one.csv", "1\n"), "");
    EXPECT_EQ(Put("two.csv", "2\n"), "");
    EXPECT_EQ(Read("one.csv"), "1\n");
    EXPECT_EQ(Read("two.csv"), "2\n");
    ASSERT_EQ(Notices().size(), 1u);
    EXPECT_TRUE(Notices()[0].rfind(Absolute("one.csv") + ": its permissions could not be set to 0", 0) == 0)
        << Notices()[0];
    EXPECT_NE(Notices()[0].find("(Function not implemented); it keeps those its file system gives"),
              std::string::npos)
        << Notices()[0];
}

TEST_F(Output, AKilledWritersTemporaryFileIsClearedByTheNextAndALiveOnesIsLeft)
{
    Write(".out.svg.AbC123.tmp", "a killed writer's\n");
    OutputFile live;
    ASSERT_EQ(Open(live, "out.svg"), "");  // clears the dead one, makes its own
    ASSERT_EQ(Hidden().size(), 1u);
    const std::string own = Hidden()[0];
    EXPECT_NE(own, ".out.svg.AbC123.tmp");
    OutputFile second;
    ASSERT_EQ(Open(second, "out.svg"), "");
    EXPECT_EQ(Hidden().size(), 2u);  // the live one's is still there
    ASSERT_EQ(live.Write("first\n"), 0);
    ASSERT_EQ(live.Finish(), 0);
    ASSERT_EQ(second.Write("second\n"), 0);
    ASSERT_EQ(second.Finish(), 0);
    EXPECT_EQ(Read("out.svg"), "second\n");
    EXPECT_TRUE(Hidden().empty());
}

TEST_F(Output, AnotherUsersTemporaryFileInASharedStickyFolderIsTheirs)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "a file of another user needs root to make";
    const KernelProtectionsOff unprotected;
    SharedStickyFolder("pub");
    Write("pub/.out.svg.AbC123.tmp", "theirs\n");
    ASSERT_EQ(::chown((dir / "pub/.out.svg.AbC123.tmp").c_str(), 65534, 65534), 0);
    Write("pub/.out.svg.XyZ789.tmp", "a killed writer's of ours\n");
    EXPECT_EQ(Put("pub/out.svg", "<svg/>\n"), "");
    EXPECT_TRUE(Exists("pub/.out.svg.AbC123.tmp"));
    EXPECT_FALSE(Exists("pub/.out.svg.XyZ789.tmp"));
}

TEST_F(Output, AnInterruptedRunsTemporaryFilesAreRemovedAsItEnds)
{
    OutputFile a, b;
    ASSERT_EQ(Open(a, "a.json"), "");
    ASSERT_EQ(Open(b, "b.svg"), "");
    ASSERT_EQ(Hidden().size(), 2u);
    RemovePendingTemporaries();  // what the runner's signal handler does
    EXPECT_TRUE(Hidden().empty());
    EXPECT_FALSE(Exists("a.json"));
}

TEST_F(Output, StandardOutputIsNamedDashAndNeverAFileOfThatName)
{
    OutputFile out;
    ASSERT_EQ(Open(out, "-"), "");
    EXPECT_TRUE(out.ToStandardOutput());
    EXPECT_FALSE(out.Replacing());
    EXPECT_EQ(out.Finish(), 0);
    EXPECT_FALSE(Exists("-"));
}

TEST_F(Output, ALinkOfProcInTheMiddleOfAPathIsFollowedAndTheFileReplacedWhole)
{
    // /proc/self/cwd is a link of /proc, but not the output itself: the
    // file it leads to is replaced as any file is, not added to.
    Write("doc.json", "old and longer than the new one\n");
    EXPECT_EQ(Put("/proc/self/cwd/doc.json", "new\n"), "");
    EXPECT_EQ(Read("doc.json"), "new\n");
    EXPECT_EQ(Put("/proc/self/cwd/made.json", "made\n"), "");
    EXPECT_EQ(Read("made.json"), "made\n");
    EXPECT_TRUE(Hidden().empty());
}

TEST_F(Output, AProcessesOpenFileIsLookedAtBeforeItIsOpened)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "making a disk device needs root";
    ASSERT_EQ(::mknod((dir / "disk").c_str(), S_IFBLK | 0600, makedev(8, 0)), 0);
    const Descriptor disk(::open((dir / "disk").c_str(), O_PATH | O_CLOEXEC));
    ASSERT_TRUE(disk.Valid());
    OutputFile file;
    const std::string through = "/dev/fd/" + std::to_string(disk.Get());
    EXPECT_EQ(Open(file, through), through + " could not be written: it is a disk, and of the devices only the null, "
                                             "zero and full devices and terminals are written into");
}

TEST_F(Output, AFileThatOnlyItsOwnerOrTheFoldersMayReplaceIsRefusedBeforeAnythingRuns)
{
    // Root's file in /tmp: another user may write into it, but not replace
    // it there; that is said at once, not when the output is finished.
    fs::create_directory(dir / "pub");
    fs::permissions(dir / "pub", fs::perms(01777));
    Write("pub/roots.json", "root's\n");
    fs::permissions(dir / "pub/roots.json", fs::perms(0666));
    const std::string problem = RunUnprivileged([this] {
        struct stat owner {};
        if (::stat((dir / "pub/roots.json").c_str(), &owner) != 0 || owner.st_uid == geteuid())
            return std::string();  // the tests do not run as root: the file is this user's own
        OutputFile file;
        const std::string text = Open(file, (dir / "pub/roots.json").string());
        const std::string expected = (dir / "pub/roots.json").string() +
                                     " could not be written: it is a file of another user in a folder others may "
                                     "write to (sticky), which is neither written into nor replaced";
        return text == expected ? std::string() : "refused as: " + text;
    });
    EXPECT_EQ(problem, "");
    EXPECT_EQ(Read("pub/roots.json"), "root's\n");
}

TEST_F(Output, WhatCannotBeOpenedIsToldWithTheSystemsReason)
{
    OutputFile missing, folder;
    EXPECT_EQ(Open(missing, "no/such/folder/out.csv"),
              Absolute("no/such/folder/out.csv") + " could not be written (No such file or directory)");
    fs::create_directory(dir / "folder");
    EXPECT_EQ(Open(folder, "folder"), Absolute("folder") + " could not be written (Is a directory)");
    fs::create_symlink("loop-b", dir / "loop-a");
    fs::create_symlink("loop-a", dir / "loop-b");
    OutputFile loop;
    EXPECT_EQ(Open(loop, "loop-a"), Absolute("loop-a") + " could not be written (Too many levels of symbolic links)");
    Write("out.json", "kept\n");
    OutputFile slash;
    EXPECT_EQ(Open(slash, "out.json/"), Shown("out.json/") + " could not be written (Is a directory)");
    EXPECT_EQ(Read("out.json"), "kept\n");
    EXPECT_TRUE(Hidden().empty());
}

TEST_F(Output, AFileMadeReadOnlyByItsOwnerIsNotReplacedBehindTheirBack)
{
    const std::string problem = RunUnprivileged([this] {
        const fs::path own = OwnProgramDirectory();
        std::ofstream(own / "kept.json") << "kept\n";
        fs::permissions(own / "kept.json", fs::perms(0444));
        OutputFile file;
        const std::string text = Open(file, (own / "kept.json").string());
        if (text != (own / "kept.json").string() + " could not be written (Permission denied)")
            return "a read-only file: " + text;
        std::ifstream in(own / "kept.json");
        std::string line;
        std::getline(in, line);
        return line == "kept" ? std::string() : "it changed: " + line;
    });
    EXPECT_EQ(problem, "");
}
