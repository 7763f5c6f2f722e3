// Running part of a test as an ordinary user: root may read and write any
// file, so read-only files and folders are only tried without its rights.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

/// Runs `body` in a child process without root's privileges (as "nobody"
/// when the tests run as root) and returns what the body found wrong: an
/// empty text when it passed, else its own words, passed back through a
/// pipe (or why the child could not run it).
inline std::string RunUnprivileged(const std::function<std::string()>& body)
{
    int report[2];
    if (pipe(report) != 0)
        return "no pipe for the child's report";
    const pid_t child = fork();
    if (child < 0) {
        close(report[0]);
        close(report[1]);
        return "no child process";
    }
    if (child == 0) {
        close(report[0]);
        std::string text;
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            text = "the child could not give up root's privileges";
        else
            text = body();
        for (std::size_t at = 0; at < text.size();) {
            const ssize_t n = write(report[1], text.data() + at, text.size() - at);
            if (n <= 0)
                break;
            at += static_cast<std::size_t>(n);
        }
        _exit(text.empty() ? 0 : 1);
    }
    close(report[1]);
    std::string text;
    char chunk[512];
    for (ssize_t n; (n = read(report[0], chunk, sizeof chunk)) > 0;)
        text.append(chunk, static_cast<std::size_t>(n));
    close(report[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status))
        return "the child did not exit normally" + (text.empty() ? std::string() : ": " + text);
    if (WEXITSTATUS(status) != 0 && text.empty())
        return "the child exited with status " + std::to_string(WEXITSTATUS(status));
    return text;
}
