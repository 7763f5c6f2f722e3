// The hidden files of a folder: what a writer left beside its file (the
// temporary files of changes and outputs are hidden), for tests that check
// nothing was left.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

inline std::vector<std::string> HiddenFiles(const std::filesystem::path& folder)
{
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().filename().string()[0] == '.')
            found.push_back(entry.path().filename().string());
    return found;
}
