// Reading the kernel's small files under /sys and /proc (or a tree that
// stands for them): without blocking on a FIFO, without reading a device
// that never ends past a bound, and numbered entries in their order.
#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// `text` without white space around it.
std::string_view Trim(std::string_view text);

/// Control characters become spaces, so that a value stays one line.
std::string OneLine(std::string_view text);

/// The whole text, white space around it aside, as one integer; nullopt when
/// it is empty, holds anything else, or is out of range.
std::optional<long long> ParseWholeInteger(std::string_view text);

/// Opens a file to read without blocking (a FIFO in the tree cannot hang
/// the read) and without becoming its terminal; -1 when it cannot be.
inline int OpenKernelFile(const char* path)
{
    return ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

/// Reads a small file with one read into `buffer`: the bytes read, or -1
/// when the file cannot be read or fills the buffer (too long to be what we
/// look for).
template <std::size_t N>
ssize_t ReadSmallFile(const char* path, std::array<char, N>& buffer)
{
    const int fd = OpenKernelFile(path);
    if (fd < 0)
        return -1;
    ssize_t count;
    do
        count = ::read(fd, buffer.data(), buffer.size());
    while (count < 0 && errno == EINTR);
    ::close(fd);
    if (count < 0 || static_cast<std::size_t>(count) >= buffer.size())
        return -1;
    return count;
}

/// A whole file of at most `limit` bytes (a longer one is cut there, and
/// `*cut` says so); nullopt when it cannot be read.
std::optional<std::string> ReadBoundedFile(const char* path, std::size_t limit, bool* cut = nullptr);

/// The entries of `dir` named prefix + digits + suffix ("cpu12", "hwmon3",
/// "temp10_input"), sorted by their number. A missing or unreadable
/// directory gives none.
std::vector<std::pair<unsigned long, std::string>> NumberedEntries(const std::string& dir, std::string_view prefix,
                                                                   std::string_view suffix = {});
