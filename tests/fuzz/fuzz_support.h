// A scratch program directory for the fuzz targets: the file routines act
// as if the executable lived there, and messages go nowhere.
#pragma once

#include "app/notify.h"
#include "config/paths.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fuzz {
// Plain storage, so that the clean-up at exit never meets a destroyed object.
inline char directory[64] = "";

inline void RemoveDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}
}  // namespace fuzz

inline void EnterFuzzProgramDirectory()
{
    if (fuzz::directory[0] != '\0')
        return;
    std::snprintf(fuzz::directory, sizeof fuzz::directory, "/tmp/tarnwick-fuzz-XXXXXX");
    if (mkdtemp(fuzz::directory) == nullptr || chdir(fuzz::directory) != 0)
        std::abort();
    SetExecutablePathForTests(wxString::FromUTF8(std::string(fuzz::directory) + "/tarnwick"));
    SetNotifier([](const wxString&, const wxString&) {});
    std::atexit(fuzz::RemoveDirectory);
}

inline void WriteFuzzFile(const char* name, const unsigned char* data, std::size_t size)
{
    FILE* file = std::fopen(name, "wb");
    if (file == nullptr)
        std::abort();
    if (size != 0 && std::fwrite(data, 1, size, file) != size)
        std::abort();
    std::fclose(file);
}

/// Stops the fuzzer with a message when a property of the routines fails.
#define FUZZ_CHECK(condition)                                                  \
    do {                                                                       \
        if (!(condition)) {                                                    \
            std::fprintf(stderr, "check failed: %s (%s:%d)\n", #condition,     \
                         __FILE__, __LINE__);                                  \
            std::abort();                                                      \
        }                                                                      \
    } while (false)
