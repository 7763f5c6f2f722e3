// The runner's files where things go wrong: links another user planted,
// devices and FIFOs, a file system without locks or hard links, endless
// inputs, outputs that cannot be written, folders the locale cannot name.
#include "../support/kernel_protections.h"
#include "cli_fixture.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <chrono>
#include <thread>

namespace {
const std::string Old = "AMD;Old;1;1;1;1;1;Linux;1;100;200;yes\n";
const std::string NewA = "AMD;New A;1;1;1;1;2;Linux;1;110;210;yes\n";
const std::string NewB = "AMD;New B;1;1;1;1;2;Linux;1;120;220;yes\n";
const std::string Refuse = std::string("TARNWICK_TEST_REFUSE=");
const std::string Shim = std::string("LD_PRELOAD=") + TARNWICK_FAULT_SHIM + " ";

class CliFiles : public Cli {
protected:
    // A heat run of one second, with the given output options.
    Outcome Heat(const std::string& outputs) const { return Run("heat --minutes 1 --seconds 1 --quiet " + outputs); }

    // A device like /dev/null or /dev/full made in the test's folder (only
    // root may), so that a wrong write never touches the real one.
    bool MakeDevice(const std::string& name, unsigned minor) const
    {
        return ::mknod((dir / name).c_str(), S_IFCHR | 0666, makedev(1, minor)) == 0;
    }
};
}  // namespace

TEST_F(CliFiles, ALinkAnotherUserPlantedInAStickyFolderIsNeverWrittenThrough)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "planting a link as another user needs root";
    const KernelProtectionsOff unprotected;
    // User 65534 plants links in a folder everyone may write to, pointing
    // at files of ours.
    fs::create_directories(dir / "home");
    fs::create_directory(dir / "pub");
    fs::permissions(dir / "pub", fs::perms(01777));
    WriteFile("home/important.txt", "important\n");
    WriteFile("home/notes.txt", "notes\n");
    WriteFile("pub/lab.csv", Old);
    WriteFile("new.csv", NewA);
    for (const auto& [link, target] : {std::pair{"pub/heat.svg", "home/important.txt"},
                                       {"pub/heat.csv", "home/important.txt"}, {"pub/lab.csv.bak", "home/notes.txt"}}) {
        fs::create_symlink(dir / target, dir / link);
        ASSERT_EQ(::lchown((dir / link).c_str(), 65534, 65534), 0);
    }

    const Outcome plot = Heat("--plot pub/heat.svg");
    EXPECT_EQ(plot.code, 1);
    EXPECT_EQ(plot.err, "tarnwick-cli: " + (dir / "pub/heat.svg").string() + " could not be written: " +
                            (dir / "pub/heat.svg").string() + " is a symbolic link that another user made in a "
                            "folder others may write to (sticky); such links are not followed\n");
    const Outcome log = Heat("--log pub/heat.csv");
    EXPECT_EQ(log.code, 1);
    EXPECT_NE(log.err.find("is a symbolic link that another user made"), std::string::npos) << log.err;

    const Outcome merge = Run("merge new.csv --results pub/lab.csv");
    EXPECT_EQ(merge.code, 1);
    EXPECT_EQ(merge.err, "tarnwick-cli: The backup " + (dir / "pub/lab.csv.bak").string() + " could not be "
                         "written: it is a symbolic link that another user made in a folder others may write to "
                         "(sticky); such links are not followed; the change was not saved.\n");
    EXPECT_EQ(ReadFile(dir / "home/important.txt"), "important\n");
    EXPECT_EQ(ReadFile(dir / "home/notes.txt"), "notes\n");
    EXPECT_EQ(ReadFile(dir / "pub/lab.csv"), Old);

    // A link the folder's owner made, or we made, is followed as before.
    fs::remove(dir / "pub/lab.csv.bak");
    fs::create_symlink(dir / "home/notes.txt", dir / "pub/lab.csv.bak");
    EXPECT_EQ(Run("merge new.csv --results pub/lab.csv").code, 0);
    EXPECT_EQ(ReadFile(dir / "home/notes.txt"), Old);
    EXPECT_EQ(ReadFile(dir / "pub/lab.csv"), Old + NewA);
}

TEST_F(CliFiles, APictureForAFifoIsWrittenIntoItAndTheFifoStays)
{
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = ReadFile(dir / "fifo"); });
    const Outcome plot = Heat("--plot fifo");
    reader.join();
    EXPECT_EQ(plot.code, 0) << plot.err;
    EXPECT_TRUE(fs::is_fifo(dir / "fifo"));
    EXPECT_EQ(received.rfind("<?xml", 0), 0u) << received.substr(0, 40);
    EXPECT_NE(received.find("</svg>"), std::string::npos);
}

TEST_F(CliFiles, APictureForStandardOutputGoesWithTheRestOfIt)
{
    for (const std::string to : {" > out.txt", " | cat > out.txt"}) {
        const std::string command =
            "cd '" + dir.string() + "' && ./tarnwick-cli heat --minutes 1 --seconds 1 --quiet --plot /dev/stdout" + to;
        ASSERT_EQ(std::system(command.c_str()), 0) << to;
        const std::string out = ReadFile(dir / "out.txt");
        EXPECT_EQ(out.rfind("<?xml", 0), 0u) << to << ": " << out.substr(0, 60);
        EXPECT_TRUE(Matches(out, "(.|\n)*</svg>\nHeat test: [0-9]+ workers busy for [0-9]+ s (.|\n)*")) << to;
    }
}

TEST_F(CliFiles, OutputsToDevicesAreWrittenIntoThemNeverReplaced)
{
    std::string null = "/dev/null", full = "/dev/full";
    if (geteuid() == 0) {  // root could replace the real ones: use copies
        ASSERT_TRUE(MakeDevice("null", 3) && MakeDevice("full", 7));
        null = (dir / "null").string();
        full = (dir / "full").string();
    }
    const Outcome discarded = Heat("--plot " + null + " --log " + null);
    EXPECT_EQ(discarded.code, 0) << discarded.err;
    EXPECT_EQ(discarded.err, "");
    EXPECT_TRUE(fs::is_character_file(null));

    const Outcome plot = Heat("--plot " + full);
    EXPECT_EQ(plot.code, 1);
    EXPECT_EQ(plot.err, "tarnwick-cli: " + full + " could not be written (No space left on device)\n");
    EXPECT_TRUE(fs::is_character_file(full));

    // The log's first row cannot be written: the test does not even start.
    const auto start = std::chrono::steady_clock::now();
    const Outcome log = Run("heat --minutes 1 --seconds 5 --quiet --log " + full);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    EXPECT_EQ(log.code, 1);
    EXPECT_EQ(log.err, "tarnwick-cli: " + full + " could not be written (No space left on device)\n");
    EXPECT_EQ(log.out, "");

    WriteFile("new.csv", NewA);
    const Outcome merge = Run("merge new.csv --results " + null);
    EXPECT_EQ(merge.code, 1);
    EXPECT_EQ(merge.err, "tarnwick-cli: " + null + " is a device, not a regular file; the change was not saved.\n");
    EXPECT_TRUE(fs::is_character_file(null));
}

TEST_F(CliFiles, OutputsInAMissingFolderAreToldBeforeTheTestStarts)
{
    for (const std::string option : {"--plot", "--log"}) {
        const auto start = std::chrono::steady_clock::now();
        const Outcome heat = Run("heat --minutes 1 --seconds 5 --quiet " + option + " missing/heat.out");
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4)) << option;
        EXPECT_EQ(heat.code, 1) << option;
        EXPECT_EQ(heat.err, "tarnwick-cli: " + (dir / "missing/heat.out").string() +
                                " could not be written (No such file or directory)\n")
            << option;
    }
}

TEST_F(CliFiles, WithoutLocksTwoMergesAreBothRefusedAndNoRecordIsLost)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("a.csv", NewA);
    WriteFile("b.csv", NewB);
    for (int round = 0; round < 5; ++round) {
        const std::string environment = Shim + Refuse + "flock ";
        const std::string command = "cd '" + dir.string() + "' && (" + environment + "./tarnwick-cli merge a.csv > a.txt "
                                    "2> a.err & " + environment + "./tarnwick-cli merge b.csv > b.txt 2> b.err; wait)";
        ASSERT_EQ(std::system(command.c_str()), 0);
        for (const char* err : {"a.err", "b.err"})
            EXPECT_EQ(ReadFile(dir / err),
                      "tarnwick-cli: " + (dir / "cpu_results.csv").string() + " could not be locked (Function not "
                      "implemented), so another program could change it at the same time; the change was not saved.\n"
                      "tarnwick-cli: --no-lock makes the change anyway, at the risk of losing a change another "
                      "program makes at the same time\n");
        EXPECT_EQ(ReadFile(dir / "a.txt"), "");
        EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old);
        EXPECT_FALSE(fs::exists(dir / "cpu_result.bak"));
    }
    // Reading needs no lock; a change does, unless the user takes the risk.
    EXPECT_EQ(Run("results", Shim + Refuse + "flock ").code, 0);
    const Outcome unsafe = Run("merge a.csv --no-lock", Shim + Refuse + "flock ");
    EXPECT_EQ(unsafe.code, 0) << unsafe.err;
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old + NewA);
}

TEST_F(CliFiles, WithoutHardLinksTheTableIsMadeWholeUnderItsOwnName)
{
    for (const std::string refused : {"link", "link,renameat2"}) {
        fs::remove(dir / "cpu_results.csv");
        const Outcome made = Run("results", Shim + Refuse + refused + " ");
        EXPECT_EQ(made.code, 0) << refused << ": " << made.err;
        EXPECT_EQ(made.err, "tarnwick-cli: cpu_results.csv was created from the template doc/cpu_results_original.csv\n");
        EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), ReadFile(dir / "doc/cpu_results_original.csv"));
        for (const auto& entry : fs::directory_iterator(dir))
            EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
    }
}

TEST_F(CliFiles, SpecialFilesAsTheTableAreRefusedAtOnce)
{
    ASSERT_EQ(::mkfifo((dir / "cpu_results.csv").c_str(), 0600), 0);
    const Outcome fifo = Run("results", "timeout 10 ");
    EXPECT_EQ(fifo.code, 1);
    EXPECT_EQ(fifo.err, "tarnwick-cli: " + (dir / "cpu_results.csv").string() +
                            " is a FIFO, not a regular file; the results table is unchanged.\n");
    fs::remove(dir / "cpu_results.csv");
    fs::create_symlink("/dev/zero", dir / "cpu_results.csv");
    const Outcome zero = Run("results", "timeout 10 ");
    EXPECT_EQ(zero.code, 1);
    EXPECT_EQ(zero.err, "tarnwick-cli: " + (dir / "cpu_results.csv").string() +
                            " is a device, not a regular file; the results table is unchanged.\n");
    EXPECT_TRUE(fs::is_symlink(dir / "cpu_results.csv"));
}

TEST_F(CliFiles, EndlessInputsToMergeStopAtTheirBound)
{
    WriteFile("cpu_results.csv", Old);
    const Outcome named = Run("merge /dev/zero", "timeout 60 ");
    EXPECT_EQ(named.code, 1);
    EXPECT_TRUE(Matches(named.err, "tarnwick-cli: /dev/zero is too large to merge \\(more than [0-9.]+ MB\\); the "
                                   "results table is unchanged\n"))
        << named.err;
    const Outcome piped = Run("merge - < /dev/zero", "timeout 60 ");
    EXPECT_EQ(piped.code, 1);
    EXPECT_TRUE(Matches(piped.err, "tarnwick-cli: \\(standard input\\) is too large to merge \\(more than [0-9.]+ "
                                   "MB\\); the results table is unchanged\n"))
        << piped.err;
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old);
}

TEST_F(CliFiles, FoldersTheLocaleCannotNameAreUsedAsTheyAre)
{
    // "dé_ü" in UTF-8 under the C locale, and a byte that is no UTF-8 at all.
    for (const auto& [name, locale] : {std::pair{std::string("d\xC3\xA9_\xC3\xBC"), "LC_ALL=C "},
                                       {std::string("bad\xFF"), "LC_ALL=C.UTF-8 "}}) {
        const fs::path folder = dir / name;
        fs::create_directory(folder);
        fs::copy_file(dir / "tarnwick-cli", folder / "tarnwick-cli");
        fs::copy(dir / "doc", folder / "doc", fs::copy_options::recursive);
        // From inside it: the table beside the program, made from its template.
        const std::string inside = "cd '" + folder.string() + "' && " + locale + "./tarnwick-cli results > out.txt 2> err.txt";
        const int status = std::system(inside.c_str());
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 0) << name;
        EXPECT_EQ(ReadFile(folder / "err.txt"), "tarnwick-cli: cpu_results.csv was created from the template doc/cpu_results_original.csv\n");
        EXPECT_EQ(ReadFile(folder / "cpu_results.csv"), ReadFile(dir / "doc/cpu_results_original.csv"));
        EXPECT_FALSE(fs::exists("/cpu_results.csv"));

        // From outside, named with --results: that file, and a message that
        // gives its name's bytes back as they were.
        WriteFile("new.csv", NewA);
        const Outcome merged = Run("merge new.csv --results '" + name + "/lab.csv'", locale);
        EXPECT_EQ(merged.code, 0) << name << ": " << merged.err;
        EXPECT_EQ(merged.err, "tarnwick-cli: " + name + "/lab.csv was created from the template "
                                                        "doc/cpu_results_original.csv\n");
        EXPECT_EQ(ReadFile(folder / "lab.csv"), ReadFile(dir / "doc/cpu_results_original.csv") + NewA);
        EXPECT_EQ(ReadFile(folder / "lab.csv.bak"), ReadFile(dir / "doc/cpu_results_original.csv"));
        fs::permissions(folder / "lab.csv", fs::perms(0444));
        if (geteuid() != 0) {
            const Outcome refused = Run("merge new.csv --results '" + name + "/lab.csv'", locale);
            EXPECT_EQ(refused.err, "tarnwick-cli: " + (folder / "lab.csv").string() +
                                       " could not be written (Permission denied); the change was not saved.\n");
        }
    }
}

TEST_F(CliFiles, EveryTableInAFolderHasItsOwnBackup)
{
    fs::create_directory(dir / "t");
    WriteFile("t/teamA.csv", Old);
    WriteFile("t/teamB.csv", Old);
    WriteFile("a.csv", NewA);
    WriteFile("b.csv", NewB);
    ASSERT_EQ(Run("merge a.csv --results t/teamA.csv").code, 0);
    ASSERT_EQ(Run("merge b.csv --results t/teamB.csv").code, 0);
    ASSERT_EQ(Run("merge b.csv --results t/teamA.csv").code, 0);
    EXPECT_EQ(ReadFile(dir / "t/teamA.csv.bak"), Old + NewA);
    EXPECT_EQ(ReadFile(dir / "t/teamB.csv.bak"), Old);
    EXPECT_FALSE(fs::exists(dir / "t/cpu_result.bak"));
}
