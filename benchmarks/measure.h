// What the benchmarks measure with: their options, the check of a figure
// against its target, a temporary folder, processor time and medians.
#pragma once

#include "core/numbers.h"  // Median

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

/// How a benchmark was asked to run:
///   --short        tiny sizes and runs of about a second; the targets are
///                  shown but not enforced (a short run says nothing of them)
///   --fail-target  every target made unreachable and enforced, so the run
///                  must fail naming each (proves the failure path)
///   --runner PROG  for those that start tarnwick-cli: PROG started in its
///                  place (--runner /bin/false proves a failed run is seen)
struct BenchOptions {
    bool shortRun = false;
    bool failTarget = false;
    std::string runner;
};

/// Reads the options above; `runner` is tarnwick-cli's path for the
/// benchmarks that start it, null for the others (which then refuse
/// --runner). False, with a usage line on standard error, on anything else.
inline bool ParseBenchOptions(int argc, char** argv, BenchOptions& options, const char* runner = nullptr)
{
    options = BenchOptions{};
    if (runner != nullptr)
        options.runner = runner;
    for (int k = 1; k < argc; ++k) {
        const std::string argument = argv[k];
        if (argument == "--short") {
            options.shortRun = true;
        } else if (argument == "--fail-target") {
            options.failTarget = true;
        } else if (argument == "--runner" && runner != nullptr && k + 1 < argc && argv[k + 1][0] != '\0') {
            options.runner = argv[++k];
        } else {
            std::fprintf(stderr, "%s: unknown or incomplete argument '%s'\nusage: %s [--short] [--fail-target]%s\n",
                         argv[0], argument.c_str(), argv[0], runner != nullptr ? " [--runner PROGRAM]" : "");
            return false;
        }
    }
    return true;
}

/// What a benchmark found: its failed runs and its figures against their
/// targets, each failure said on a line of its own when it is found ("a run
/// failed: ...", "missed the target: ..."). Exit() is the exit status.
class BenchOutcome {
public:
    explicit BenchOutcome(const BenchOptions& options)
        : m_enforced(!options.shortRun || options.failTarget), m_unreachable(options.failTarget),
          m_short(options.shortRun)
    {
    }

    void RunFailed(const std::string& what)
    {
        std::printf("a run failed: %s\n", what.c_str());
        std::fflush(stdout);
        m_failed = true;
    }

    /// `value` must be at most `target`.
    bool AtMost(const std::string& what, double value, double target)
    {
        const double bound = m_unreachable ? -std::numeric_limits<double>::infinity() : target;
        return Check(what, value, value <= bound, "<=", target);
    }

    /// `value` must be under `target`.
    bool Below(const std::string& what, double value, double target)
    {
        const double bound = m_unreachable ? -std::numeric_limits<double>::infinity() : target;
        return Check(what, value, value < bound, "<", target);
    }

    /// `value` must be at least `target`.
    bool AtLeast(const std::string& what, double value, double target)
    {
        const double bound = m_unreachable ? std::numeric_limits<double>::infinity() : target;
        return Check(what, value, value >= bound, ">=", target);
    }

    /// `ratio` must lie within `tolerance` of 1 (0.01: within 1 %).
    bool NearOne(const std::string& what, double ratio, double tolerance)
    {
        const double bound = m_unreachable ? -1.0 : tolerance;
        return Check(what, ratio, std::fabs(ratio - 1.0) <= bound, "within 1 +/-", tolerance);
    }

    bool Failed() const { return m_failed; }

    /// 1 when a run failed or an enforced target was missed, else 0.
    int Exit() const
    {
        if (m_short && !m_unreachable)
            std::printf("a short run: the targets are shown, not enforced\n");
        return m_failed ? 1 : 0;
    }

private:
    bool Check(const std::string& what, double value, bool met, const char* relation, double target)
    {
        if (!m_enforced || met)
            return true;
        std::printf("missed the target: %s is %.4g (target %s %g%s)\n", what.c_str(), value, relation, target,
                    m_unreachable ? ", made unreachable by --fail-target" : "");
        std::fflush(stdout);
        m_failed = true;
        return false;
    }

    bool m_enforced;
    bool m_unreachable;
    bool m_short;
    bool m_failed = false;
};

/// A new folder /tmp/tarnwick-bench-XXXXXX, removed with all it holds when
/// this goes; Made() is false when it could not be made.
class BenchFolder {
public:
    BenchFolder()
    {
        char pattern[] = "/tmp/tarnwick-bench-XXXXXX";
        if (mkdtemp(pattern) != nullptr)
            m_path = pattern;
    }
    ~BenchFolder()
    {
        if (!m_path.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(m_path, ignored);
        }
    }
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;

    bool Made() const { return !m_path.empty(); }
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// How a benchmark that works in a temporary folder starts: its options
/// read, the outcome it reports to, and its folder. Stop() is non-zero (the
/// exit status) when it cannot go on: a usage line was printed (2), or the
/// folder could not be made (a failed run).
struct BenchStart {
    BenchStart(int argc, char** argv, const char* runner = nullptr)
        : parsed(ParseBenchOptions(argc, argv, options, runner)), outcome(options)
    {
        if (parsed && !folder.Made())
            outcome.RunFailed("no temporary folder");
    }
    int Stop() const { return !parsed ? 2 : folder.Made() ? 0 : outcome.Exit(); }

    BenchOptions options;
    bool parsed;
    BenchOutcome outcome;
    const BenchFolder folder;
};

/// `text` as one word of a shell command, whatever it holds.
inline std::string ShellQuoted(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// Processor time, user and system, in milliseconds, of this process
/// (RUSAGE_SELF) or of its ended children (RUSAGE_CHILDREN).
inline double CpuMilliseconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

/// Processor time of a shell command and everything it starts; -1 when it
/// failed.
inline double CommandCpuMilliseconds(const std::string& command)
{
    const double before = CpuMilliseconds(RUSAGE_CHILDREN);
    if (std::system(command.c_str()) != 0)
        return -1;
    return CpuMilliseconds(RUSAGE_CHILDREN) - before;
}

extern char** environ;

/// Runs the program `arguments` names, its standard output to `output`:
/// its exit status (-1 when it could not run), its peak memory in kB and,
/// when asked, its processor time (user and system) in milliseconds.
inline int SpawnMeasured(const std::vector<std::string>& arguments, const std::string& output, long& peakKb,
                         double* cpuMilliseconds = nullptr)
{
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    const int failed = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return -1;
    peakKb = usage.ru_maxrss;
    if (cpuMilliseconds != nullptr)
        *cpuMilliseconds = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
                           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
