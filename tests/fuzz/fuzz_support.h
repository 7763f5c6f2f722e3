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

inline const std::string& FuzzProgramDirectory()
{
    static const std::string dir = [] {
        char pattern[] = "/tmp/tarnwick-fuzz-XXXXXX";
        if (mkdtemp(pattern) == nullptr || chdir(pattern) != 0)
            std::abort();
        SetExecutablePathForTests(wxString::FromUTF8(std::string(pattern) + "/tarnwick"));
        SetNotifier([](const wxString&, const wxString&) {});
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(FuzzProgramDirectory(), ignored);
        });
        return std::string(pattern);
    }();
    return dir;
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
