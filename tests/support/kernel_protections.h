// The kernel's own protection of links, FIFOs and files in sticky folders
// (fs.protected_symlinks, _regular, _fifos), off for an object's lifetime
// where the test may turn it off (root, a /proc/sys it may write): what the
// program refuses in such folders, it must refuse by itself.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

class KernelProtectionsOff {
public:
    KernelProtectionsOff()
    {
        for (const char* name : {"protected_symlinks", "protected_regular", "protected_fifos"}) {
            const std::string path = std::string("/proc/sys/fs/") + name;
            std::stringstream value;
            value << std::ifstream(path).rdbuf();
            std::ofstream off(path);
            if (!value.str().empty() && off << "0\n" && off.flush())
                m_saved.emplace_back(path, value.str());
        }
    }
    ~KernelProtectionsOff()
    {
        for (const auto& [path, value] : m_saved)
            std::ofstream(path) << value;
    }
    KernelProtectionsOff(const KernelProtectionsOff&) = delete;
    KernelProtectionsOff& operator=(const KernelProtectionsOff&) = delete;

private:
    std::vector<std::pair<std::string, std::string>> m_saved;
};
