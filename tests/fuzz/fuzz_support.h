// A scratch program directory for the fuzz targets: the file routines act
// as if the executable lived there, and messages are only counted. Also the
// checks the targets share: a file's bytes and lines as the program reads
// them.
#pragma once

#include "core/notify.h"
#include "config/paths.h"
#include "files/encoding.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace fuzz {
// Plain storage, so that the clean-up at exit never meets a destroyed object.
inline char directory[64] = "";
inline unsigned long messages = 0;

inline void RemoveDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}
}  // namespace fuzz

/// Stops the fuzzer with a message when a property of the routines fails.
#define FUZZ_CHECK(condition)                                                  \
    do {                                                                       \
        if (!(condition)) {                                                    \
            std::fprintf(stderr, "check failed: %s (%s:%d)\n", #condition,     \
                         __FILE__, __LINE__);                                  \
            fuzz::RemoveDirectory(); /* abort() skips the clean-up at exit */  \
            std::abort();                                                      \
        }                                                                      \
    } while (false)

inline void EnterFuzzProgramDirectory()
{
    if (fuzz::directory[0] != '\0')
        return;
    // Every change of a file is flushed to the disk: in memory (tmpfs) the
    // flush costs nothing, and the targets run many times faster.
    const char* parent = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
    std::snprintf(fuzz::directory, sizeof fuzz::directory, "%s/tarnwick-fuzz-XXXXXX", parent);
    if (mkdtemp(fuzz::directory) == nullptr || chdir(fuzz::directory) != 0)
        std::abort();
    SetExecutablePathForTests(wxString::FromUTF8(std::string(fuzz::directory) + "/tarnwick"));
    SetNotifier([](const wxString&, const wxString&) { ++fuzz::messages; });
    std::atexit(fuzz::RemoveDirectory);
}

/// Messages the routines gave the user so far.
inline unsigned long FuzzMessages()
{
    return fuzz::messages;
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

inline std::string ReadFuzzFile(const char* name)
{
    std::ifstream in(name, std::ios::binary);
    FUZZ_CHECK(in.is_open());
    std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    FUZZ_CHECK(!in.bad());
    return bytes;
}

/// Bytes and the lines the program reads from them.
struct FuzzText {
    std::string bytes;
    DecodedText text;

    explicit FuzzText(std::string from) : bytes(std::move(from))
    {
        FUZZ_CHECK(text.Decode(bytes.data(), bytes.size()));
    }
    std::size_t Count() const { return text.Count(); }
    std::wstring_view Line(std::size_t n) const { return text.Line(n); }
    /// Line n's bytes, its line end not counted.
    std::string_view Content(std::size_t n) const
    {
        return std::string_view(bytes).substr(text.Span(n).byteStart, text.Span(n).byteLength);
    }
    std::string_view End(std::size_t n) const
    {
        const TextLine& span = text.Span(n);
        return std::string_view(bytes).substr(span.byteStart + span.byteLength, span.endBytes);
    }
};

/// Whether line `m` of `after` is line `n` of `before` with its bytes kept
/// exactly, line end included. The one change a writer makes to such a
/// line: an empty line that ended in "\n" right after a line that now ends
/// in a lone "\r" ends in "\r" too, or both ends would read back as one.
inline bool KeptLine(const FuzzText& before, std::size_t n, const FuzzText& after, std::size_t m)
{
    if (before.Content(n) != after.Content(m))
        return false;
    if (before.End(n) == after.End(m))
        return true;
    return before.Line(n).empty() && before.text.Type(n) == wxTextFileType_Unix &&
           after.text.Type(m) == wxTextFileType_Mac && m > 0 && after.text.Type(m - 1) == wxTextFileType_Mac;
}

inline bool StartsWithBytes(const std::string& bytes, const std::string& prefix)
{
    return bytes.size() >= prefix.size() && bytes.compare(0, prefix.size(), prefix) == 0;
}
