// Reading the kernel's small files under /sys and /proc (or a tree that
// stands for them): without blocking on a FIFO, without reading a device
// that never ends past a bound, and numbered entries in their order. And
// the parsers every sensor and condition shares: /proc/stat's processor
// times, with the one rule for busy time and steal, and the "key: value"
// lines of /proc/cpuinfo.
#pragma once

#include "files/descriptor.h"

#include <fcntl.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
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

/// `relative` under the root directory `root` ("/" when empty).
std::string UnderRoot(const std::string& root, std::string_view relative);

/// Opens a file to read without blocking (a FIFO in the tree cannot hang
/// the read) and without becoming its terminal; an empty owner when it
/// cannot be (errno says why).
inline Descriptor OpenKernelFile(const char* path)
{
    return Descriptor(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

/// Reads the start of a file, at most `size` bytes, with one read (again
/// when a signal cut it): the bytes read, or -1 when it cannot be read.
ssize_t ReadFileStart(const char* path, char* buffer, std::size_t size);

/// What ReadSmallFile makes of a file that fills its buffer.
enum class LongerFile {
    Refused,  ///< -1: too long to be what we look for
    Cut,      ///< its first bytes, a whole buffer of them
};

/// Reads a small file with one read into `buffer`: the bytes read, or -1
/// when the file cannot be read or (unless `longer` is Cut) fills the
/// buffer.
template <std::size_t N>
ssize_t ReadSmallFile(const char* path, std::array<char, N>& buffer, LongerFile longer = LongerFile::Refused)
{
    const ssize_t count = ReadFileStart(path, buffer.data(), buffer.size());
    if (count < 0 || (longer == LongerFile::Refused && static_cast<std::size_t>(count) >= buffer.size()))
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

/// A whole number of decimal digits and nothing else; nullopt when it is
/// empty, holds anything else (a sign, a space) or does not fit 64 bits.
std::optional<std::uint64_t> ParseUnsigned(std::string_view text);

/// a + b, or nullopt when either is missing or the sum does not fit.
std::optional<std::uint64_t> AddCounts(std::optional<std::uint64_t> a, std::optional<std::uint64_t> b);

/// The words of a line, split at spaces and tabs.
std::vector<std::string_view> SplitWords(std::string_view line);

/// The value of the next line "key<blanks>: value" of a text laid out as
/// /proc/cpuinfo is (and /proc/PID/status), trimmed; `text` moves on past
/// that line. nullopt, and `text` empty, when no further line has the key.
std::optional<std::string_view> NextKeyValue(std::string_view& text, std::string_view key);

/// The value of the first such line.
inline std::optional<std::string_view> FirstKeyValue(std::string_view text, std::string_view key)
{
    return NextKeyValue(text, key);
}

/// The processors' time since boot in clock ticks (USER_HZ), from the
/// first line of /proc/stat: "cpu  user nice system idle iowait irq
/// softirq steal guest guest_nice".
///
/// Busy time is user + nice + system + irq + softirq: the time the
/// processors ran a program or the kernel. Guest time is not added: the
/// kernel counts it in user and nice already. Idle time is idle + iowait.
/// Steal, the time a virtual machine's host ran something else while one
/// of its processors had work, is neither: the processor did not run for
/// us then, nor was it idle. It is kept apart, so that every reader tells
/// what the machine did from what its host took, and a share of busy time
/// is one of busy + idle.
struct ProcessorTimes {
    std::optional<std::uint64_t> busy;
    std::optional<std::uint64_t> idle;
    std::optional<std::uint64_t> steal;
};

/// The times of a /proc/stat text. A kernel that writes fewer columns
/// (older than 2.6.11 has no steal, older than 2.6 no irq) leaves what
/// needs a missing one empty, as does a sum past 64 bits; a first line that
/// is not "cpu" and numbers gives none at all.
ProcessorTimes ParseProcessorTimes(std::string_view text);

/// The times of ROOT/proc/stat; none when it cannot be read or its first
/// line is not whole.
ProcessorTimes ReadProcessorTimes(const std::string& root);
