#include "sensors/kernel_files.h"

#include <dirent.h>

#include <algorithm>
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

std::optional<std::string> ReadBoundedFile(const char* path, std::size_t limit, bool* cut)
{
    if (cut != nullptr)
        *cut = false;
    const int fd = OpenKernelFile(path);
    if (fd < 0)
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
            count = ::read(fd, text.data() + used, want);
        while (count < 0 && errno == EINTR);
        if (count < 0) {
            ::close(fd);
            return std::nullopt;
        }
        text.resize(used + static_cast<std::size_t>(count));
        if (count == 0)
            break;
    }
    ::close(fd);
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
