// What the runner writes besides its table, tried as a careless or hostile
// neighbour would: outputs that are the table, FIFOs nobody reads, files
// planted in /tmp, runs refused or interrupted half-way, a file system
// without modes; and the smaller promises of record and merge.
#include "../support/kernel_protections.h"
#include "cli_fixture.h"
#include "../support/hidden_files.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <tuple>
#include <thread>
#include <vector>

namespace {
const std::string Old = "AMD;Old;1;1;1;1;1;Linux;1;100;200;yes\n";
const std::string Shim = std::string("LD_PRELOAD=") + TARNWICK_FAULT_SHIM + " TARNWICK_TEST_REFUSE=";

class CliOutputs : public Cli {
protected:
    std::string Absolute(const std::string& relative) const { return (dir / relative).string(); }

    // Starts the runner with `arguments` and returns its process.
    pid_t Start(const std::vector<std::string>& arguments) const
    {
        const pid_t child = fork();
        if (child == 0) {
            if (chdir(dir.c_str()) != 0)
                _exit(127);
            // As a terminal starts it, whatever the test runner ignores.
            for (const int signal : {SIGINT, SIGTERM, SIGHUP})
                ::signal(signal, SIG_DFL);
            const int out = ::open("started.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(out, STDOUT_FILENO);
            dup2(out, STDERR_FILENO);
            std::vector<char*> argv{const_cast<char*>("./tarnwick-cli")};
            for (const std::string& argument : arguments)
                argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            execv("./tarnwick-cli", argv.data());
            _exit(127);
        }
        return child;
    }

    // Waits until a temporary file of `name` is in the folder: the run is
    // under way with its output open.
    bool WaitForTemporaryOf(const std::string& name) const
    {
        for (int look = 0; look < 2000; ++look) {
            for (const std::string& hidden : HiddenFiles(dir))
                if (hidden.rfind("." + name + ".", 0) == 0)
                    return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }
};
}  // namespace

TEST_F(CliOutputs, TheTableItsBackupTheSettingsAndAnotherOutputAreNeverOneRefusedBeforeAnyTest)
{
    WriteFile("cpu_results.csv", Old);
    WriteFile("tarnwick.conf", "cpulist 20\n");
    fs::create_symlink("cpu_results.csv", dir / "alias.csv");
    const struct {
        std::string arguments, output, what;
    } cases[] = {
        {"record --threads 1 --append --save cpu_results.csv", "cpu_results.csv", "the results table"},
        {"record --threads 1 --save alias.csv", "alias.csv", "the results table"},
        {"heat --log cpu_results.csv", "cpu_results.csv", "the results table"},
        {"heat --plot cpu_result.bak", "cpu_result.bak", "the results table's backup"},
        {"heat --log tarnwick.conf", "tarnwick.conf", "the settings file"},
        {"record --threads 1 --results lab/t.csv --save lab/t.csv", "lab/t.csv", "the results table"},
        {"record --threads 1 --results lab/t.csv --save lab/t.csv.bak", "lab/t.csv.bak", "the results table's backup"},
        {"heat --log same.csv --plot ./same.csv", "same.csv", "the file of --log as well"},
    };
    fs::create_directory(dir / "lab");
    for (const auto& c : cases) {
        const Outcome o = Run(c.arguments + " --seconds 3 --quiet");
        EXPECT_EQ(o.code, 1) << c.arguments;
        EXPECT_EQ(o.err, "tarnwick-cli: " + Absolute(c.output) + " could not be written: it is " + c.what + "\n")
            << c.arguments;
        EXPECT_EQ(o.out, "") << c.arguments;
    }
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old);
    EXPECT_EQ(ReadFile(dir / "tarnwick.conf"), "cpulist 20\n");
    EXPECT_FALSE(fs::exists(dir / "cpu_result.bak"));
    EXPECT_FALSE(fs::exists(dir / "lab/t.csv"));
    EXPECT_FALSE(fs::exists(dir / "same.csv"));
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(CliOutputs, ARefusedRunLeavesEveryOutputAsItWas)
{
    WriteFile("old.csv", "the old log\n");
    WriteFile("old.svg", "<svg>the old picture</svg>\n");
    const Outcome o = Run("heat --seconds 1 --log old.csv --plot missing/p.svg");
    EXPECT_EQ(o.code, 1);
    EXPECT_EQ(o.err, "tarnwick-cli: " + Absolute("missing/p.svg") + " could not be written (No such file or directory)\n");
    EXPECT_EQ(ReadFile(dir / "old.csv"), "the old log\n");
    const Outcome other = Run("heat --seconds 1 --plot old.svg --log missing/l.csv");
    EXPECT_EQ(other.code, 1);
    EXPECT_EQ(ReadFile(dir / "old.svg"), "<svg>the old picture</svg>\n");
    EXPECT_TRUE(HiddenFiles(dir).empty());
}

TEST_F(CliOutputs, AFifoNoProgramReadsIsRefusedAtOnceNeverWaitedOn)
{
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    for (const std::string arguments : {"heat --seconds 1 --log fifo", "heat --seconds 1 --plot fifo",
                                        "record --seconds 1 --save fifo"}) {
        const Outcome o = Run(arguments, "timeout 60 ");
        EXPECT_EQ(o.code, 1) << arguments;  // not 124: it did not wait
        EXPECT_EQ(o.err, "tarnwick-cli: " + Absolute("fifo") + " could not be written: it is a FIFO that no program "
                                                               "reads\n")
            << arguments;
    }
    EXPECT_TRUE(fs::is_fifo(dir / "fifo"));
}

TEST_F(CliOutputs, FilesAndFifosAnotherUserPutInASharedStickyFolderAreRefusedAtOnce)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "files of another user need root to make";
    const KernelProtectionsOff unprotected;
    fs::create_directory(dir / "pub");
    fs::permissions(dir / "pub", fs::perms(01777));
    WriteFile("pub/heat.csv", "theirs\n");
    fs::permissions(dir / "pub/heat.csv", fs::perms(0666));
    ASSERT_EQ(::mkfifo((dir / "pub/heat.fifo").c_str(), 0666), 0);
    for (const char* name : {"pub/heat.csv", "pub/heat.fifo"})
        ASSERT_EQ(::chown((dir / name).c_str(), 65534, 65534), 0);
    for (const auto& [arguments, name, kind] :
         {std::tuple{"heat --seconds 1 --log pub/heat.csv", "pub/heat.csv", "a file"},
          {"record --seconds 3 --save pub/heat.csv", "pub/heat.csv", "a file"},
          {"heat --seconds 1 --plot pub/heat.fifo", "pub/heat.fifo", "a FIFO"}}) {
        const Outcome o = Run(arguments, "timeout 60 ");
        EXPECT_EQ(o.code, 1) << arguments;
        EXPECT_EQ(o.err, "tarnwick-cli: " + Absolute(name) + " could not be written: it is " + kind +
                             " of another user in a folder others may write to (sticky), which is neither written "
                             "into nor replaced\n")
            << arguments;
        EXPECT_EQ(o.out, "") << arguments;  // told before the tests, not after them
    }
    EXPECT_EQ(ReadFile(dir / "pub/heat.csv"), "theirs\n");
}

TEST_F(CliOutputs, AnInterruptedRunLeavesNoTemporaryFileAndAKilledOnesIsClearedByTheNext)
{
    WriteFile("doc.json", "the old document\n");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        const pid_t run = Start({"record", "--seconds", "30", "--threads", "1", "--no-htt", "--save", "doc.json"});
        ASSERT_TRUE(WaitForTemporaryOf("doc.json")) << signal;
        ASSERT_EQ(::kill(run, signal), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(run, &status, 0), run);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;  // ended by it, as it asked
        EXPECT_TRUE(HiddenFiles(dir).empty()) << signal;
        EXPECT_EQ(ReadFile(dir / "doc.json"), "the old document\n") << signal;
    }
    // kill -9 leaves no time to clear: the temporary file stays, the
    // document is as it was, and the next writer clears it.
    const pid_t killed = Start({"heat", "--seconds", "30", "--plot", "doc.json"});
    ASSERT_TRUE(WaitForTemporaryOf("doc.json"));
    ASSERT_EQ(::kill(killed, SIGKILL), 0);
    ::waitpid(killed, nullptr, 0);
    EXPECT_EQ(HiddenFiles(dir).size(), 1u);
    EXPECT_EQ(ReadFile(dir / "doc.json"), "the old document\n");
    const Outcome next = Run("heat --seconds 1 --quiet --plot doc.json");
    EXPECT_EQ(next.code, 0) << next.err;
    EXPECT_TRUE(HiddenFiles(dir).empty());
    EXPECT_EQ(ReadFile(dir / "doc.json").rfind("<?xml", 0), 0u);
}

TEST_F(CliOutputs, AFileSystemWithoutModesTakesTablesBackupsAndOutputsAndSaysSoOnce)
{
    WriteFile("a.csv", "AMD;New A;1;1;1;1;2;Linux;1;110;210;yes\n");
    const Outcome merged = Run("merge a.csv", Shim + "fchmod ");
    EXPECT_EQ(merged.code, 0) << merged.err;
    EXPECT_TRUE(Matches(merged.err, "tarnwick-cli: " + Absolute("cpu_results.csv") + ": its permissions could not be "
                                    "set to 0[0-7]{3} \\(Function not implemented\\); it keeps those its file system "
                                    "gives\ntarnwick-cli: cpu_results.csv was created from the template "
                                    "doc/cpu_results_original.csv\n"))
        << merged.err;
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"),
              ReadFile(dir / "doc/cpu_results_original.csv") + "AMD;New A;1;1;1;1;2;Linux;1;110;210;yes\n");
    EXPECT_TRUE(fs::exists(dir / "cpu_result.bak"));
    const Outcome heat = Run("heat --seconds 1 --quiet --log heat.csv", Shim + "fchmod ");
    EXPECT_EQ(heat.code, 0) << heat.err;
    EXPECT_TRUE(fs::exists(dir / "heat.csv"));
}

TEST_F(CliOutputs, ADocumentSavedToStandardOutputPipesIntoMerge)
{
    const std::string command = "cd '" + dir.string() +
                                "' && ./tarnwick-cli record --seconds 1 --threads 1 --no-htt --save - 2> err.txt "
                                "| ./tarnwick-cli merge - --results pooled.csv > out.txt 2> merged.txt";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(ReadFile(dir / "out.txt"), "1 added, 0 already present, 0 refused\n");
    const std::string pooled = ReadFile(dir / "pooled.csv");
    const std::string line = pooled.substr(pooled.rfind('\n', pooled.size() - 2) + 1);
    // The record line went to standard error, first.
    EXPECT_EQ(ReadFile(dir / "err.txt").substr(0, line.size()), line);
    EXPECT_FALSE(fs::exists(dir / "-"));
    // Standard output named another way is the same: the document alone.
    const Outcome named = Run("record --seconds 1 --threads 1 --no-htt --save /dev/stdout");
    EXPECT_EQ(named.code, 0) << named.err;
    nlohmann::json document;
    EXPECT_NO_THROW(document = nlohmann::json::parse(named.out)) << named.out;
    EXPECT_EQ(document.value("format", ""), "tarnwick-result/1");
}

TEST_F(CliOutputs, RecordWithoutAppendNeedsNoTableNorItsTemplate)
{
    fs::remove(dir / "doc/cpu_results_original.csv");
    const Outcome o = Run("record --seconds 1 --threads 1 --no-htt --quiet");
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_TRUE(Matches(o.out, "[^;\n]*;[^\n]*;[0-9]+;[0-9]+;yes\n")) << o.out;
    EXPECT_FALSE(fs::exists(dir / "cpu_results.csv"));
    EXPECT_EQ(o.err.find("template"), std::string::npos) << o.err;
    // --quiet hides the progress line, never the verdicts.
    EXPECT_NE(o.err.find("Speed test. This run:"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("Power test. This run:"), std::string::npos) << o.err;
}

TEST_F(CliOutputs, StrictAppendStoresNothingWhenTheRunIsNotSteady)
{
    WriteFile("cpu_results.csv", Old);
    // One second is too short to judge: never steady.
    const Outcome o = Run("record --seconds 1 --threads 1 --no-htt --append --strict");
    EXPECT_EQ(o.code, 3);
    EXPECT_NE(o.err.find("tarnwick-cli: the run was not steady, so with --strict its record was not stored\n"),
              std::string::npos)
        << o.err;
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old);
    EXPECT_FALSE(fs::exists(dir / "cpu_result.bak"));
    EXPECT_EQ(o.out.find('\n'), o.out.size() - 1) << o.out;  // the line, to keep by hand
    // Without --strict it is stored, the verdict in its evidence.
    const Outcome kept = Run("record --seconds 1 --threads 1 --no-htt --append");
    EXPECT_EQ(kept.code, 0);
    EXPECT_EQ(ReadFile(dir / "cpu_results.csv"), Old + kept.out);
}

TEST_F(CliOutputs, ARefusedMergeNamesTwentyReasonsThenCountsTheRest)
{
    WriteFile("cpu_results.csv", Old);
    std::string lines;
    for (int k = 1; k <= 25; ++k)
        lines += "bad line " + std::to_string(k) + "\n";
    WriteFile("bad.csv", lines);
    const Outcome o = Run("merge bad.csv");
    EXPECT_EQ(o.code, 0);
    EXPECT_EQ(o.out, "0 added, 0 already present, 25 refused\n");
    std::string expected;
    for (int k = 1; k <= 20; ++k)
        expected += "tarnwick-cli: bad.csv:" + std::to_string(k) + ": refused: 1 field, not 12\n";
    EXPECT_EQ(o.err, expected + "tarnwick-cli: and 5 more refused\n");
    const nlohmann::json json = nlohmann::json::parse(Run("merge bad.csv --json").out);
    EXPECT_EQ(json.at("refused").size(), 20u);
    EXPECT_EQ(json.at("refusedCount").get<int>(), 25);
}

TEST_F(CliOutputs, ATranscribedDocumentIsNamedInTheSummaryAndStrictExitsThree)
{
    const fs::path records = fs::path(TARNWICK_SOURCE_DIR) / "benchmarks" / "records";
    const std::string transcribed = (records / "intel-xeon-kvm-2026-11-22.json").string();
    WriteFile("cpu_results.csv", Old);
    const Outcome o = Run("merge --strict '" + transcribed + "'");
    EXPECT_EQ(o.code, 3);
    EXPECT_EQ(o.out, "1 added, 0 already present, 0 refused, 1 transcribed (" + transcribed + ")\n");
    EXPECT_EQ(o.err, "");
    // Present the second time: nothing taken on its word, nothing to say.
    const Outcome again = Run("merge --strict '" + transcribed + "'");
    EXPECT_EQ(again.code, 0);
    EXPECT_EQ(again.out, "0 added, 1 already present, 0 refused\n");
    // Only steady runs: it has no samples to show it was one.
    const Outcome steady = Run("merge --steady-only --results other.csv '" + transcribed + "'");
    EXPECT_EQ(steady.out, "0 added, 0 already present, 1 refused\n");
    EXPECT_NE(steady.err.find("refused: it carries no samples (transcribed)"), std::string::npos) << steady.err;
}
