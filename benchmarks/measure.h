// What the benchmarks measure with: processor time, and the program's own
// Median (core/numbers.h) for what they print.
#pragma once

#include "core/numbers.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

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
/// its exit status (-1 when it could not run), its peak memory in kB.
inline int SpawnMeasured(const std::vector<std::string>& arguments, const std::string& output, long& peakKb)
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
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
