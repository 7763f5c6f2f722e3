// Running part of a test as an ordinary user: root may read and write any
// file, so read-only files and folders are only tried without its rights.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

/// Runs `body` in a child process without root's privileges (as "nobody"
/// when the tests run as root) and returns its exit code; 100 when the child
/// could not drop them, 101 when it did not exit normally.
inline int RunUnprivileged(const std::function<int()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            _exit(100);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
}
