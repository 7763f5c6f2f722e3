#include "sensors/kernel_files.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

std::string_view Trim(std::string_view text)
{
    while (!text.empty() && IsSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

std::optional<long long> ParseWholeInteger(std::string_view text)
{
    text = Trim(text);
    if (text.empty())
        return std::nullopt;
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || ptr != end)
        return std::nullopt;
    return value;
}

std::string OneLine(std::string_view text)
{
    std::string line(text);
    for (char& c : line)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return line;
}

std::string UnderRoot(const std::string& root, std::string_view relative)
{
    std::string path = root.empty() ? std::string("/") : root;
    if (path.back() != '/')
        path.push_back('/');
    path.append(relative);
    return path;
}

ssize_t ReadFileStart(const char* path, char* buffer, std::size_t size)
{
    const Descriptor file = OpenKernelFile(path);
    if (!file.Valid())
        return -1;
    ssize_t count;
    do
        count = ::read(file.Get(), buffer, size);
    while (count < 0 && errno == EINTR);
    return count;
}

std::optional<std::string> ReadBoundedFile(const char* path, std::size_t limit, bool* cut)
{
    if (cut != nullptr)
        *cut = false;
    const Descriptor file = OpenKernelFile(path);
    if (!file.Valid())
        return std::nullopt;
    std::string text;
    constexpr std::size_t Chunk = 65536;
    for (;;) {
        const std::size_t used = text.size();
        if (used >= limit) {
            if (cut != nullptr)
                *cut = true;
            break;
        }
        const std::size_t want = std::min(Chunk, limit - used);
        text.resize(used + want);
        ssize_t count;
        do
            count = ::read(file.Get(), text.data() + used, want);
        while (count < 0 && errno == EINTR);
        if (count < 0)
            return std::nullopt;
        text.resize(used + static_cast<std::size_t>(count));
        if (count == 0)
            break;
    }
    return text;
}

std::vector<std::pair<unsigned long, std::string>> NumberedEntries(const std::string& dir, std::string_view prefix,
                                                                   std::string_view suffix)
{
    std::vector<std::pair<unsigned long, std::string>> found;
    DIR* stream = ::opendir(dir.c_str());
    if (stream == nullptr)
        return found;
    while (const dirent* entry = ::readdir(stream)) {
        const std::string_view name(entry->d_name);
        if (name.size() <= prefix.size() + suffix.size() || !name.starts_with(prefix) || !name.ends_with(suffix))
            continue;
        const std::string_view digits = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
        if (!std::all_of(digits.begin(), digits.end(), IsDigit))
            continue;
        unsigned long number = 0;
        const auto [ptr, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (error != std::errc() || ptr != digits.data() + digits.size())
            continue;
        found.emplace_back(number, std::string(name));
    }
    ::closedir(stream);
    std::sort(found.begin(), found.end());
    return found;
}

std::optional<std::uint64_t> ParseUnsigned(std::string_view text)
{
    if (text.empty())
        return std::nullopt;
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || ptr != end)
        return std::nullopt;
    return value;
}

std::vector<std::string_view> SplitWords(std::string_view line)
{
    std::vector<std::string_view> words;
    std::size_t at = 0;
    while (at < line.size()) {
        while (at < line.size() && (line[at] == ' ' || line[at] == '\t'))
            ++at;
        const std::size_t start = at;
        while (at < line.size() && line[at] != ' ' && line[at] != '\t')
            ++at;
        if (at > start)
            words.push_back(line.substr(start, at - start));
    }
    return words;
}

std::optional<std::string_view> NextKeyValue(std::string_view& text, std::string_view key)
{
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
        if (!line.starts_with(key))
            continue;
        line.remove_prefix(key.size());
        while (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
            line.remove_prefix(1);
        if (line.empty() || line.front() != ':')
            continue;
        return Trim(line.substr(1));
    }
    return std::nullopt;
}

std::optional<std::uint64_t> AddCounts(std::optional<std::uint64_t> a, std::optional<std::uint64_t> b)
{
    std::uint64_t sum = 0;
    if (!a || !b || __builtin_add_overflow(*a, *b, &sum))
        return std::nullopt;
    return sum;
}

ProcessorTimes ParseProcessorTimes(std::string_view text)
{
    ProcessorTimes times;
    const std::vector<std::string_view> words = SplitWords(text.substr(0, text.find('\n')));
    if (words.empty() || words[0] != "cpu")
        return times;
    std::vector<std::uint64_t> columns;
    for (std::size_t k = 1; k < words.size(); ++k) {
        const std::optional<std::uint64_t> value = ParseUnsigned(words[k]);
        if (!value)
            return times;
        columns.push_back(*value);
    }
    const auto column = [&columns](std::size_t k) -> std::optional<std::uint64_t> {
        return k < columns.size() ? std::optional<std::uint64_t>(columns[k]) : std::nullopt;
    };
    // user + nice + system + irq + softirq; idle + iowait; steal
    times.busy = AddCounts(AddCounts(AddCounts(AddCounts(column(0), column(1)), column(2)), column(5)), column(6));
    times.idle = AddCounts(column(3), column(4));
    times.steal = column(7);
    return times;
}

ProcessorTimes ReadProcessorTimes(const std::string& root)
{
    const std::string path = UnderRoot(root, "proc/stat");
    // Only the first line matters; the kernel writes it first.
    std::array<char, 1024> buffer;
    const ssize_t count = ReadSmallFile(path.c_str(), buffer, LongerFile::Cut);
    if (count <= 0)
        return {};
    const std::string_view text(buffer.data(), static_cast<std::size_t>(count));
    // A first line that does not end within the buffer is not whole.
    if (text.find('\n') == std::string_view::npos && text.size() == buffer.size())
        return {};
    return ParseProcessorTimes(text);
}
