// The ground floor of the program's files: following a path the way the
// kernel would, reading with a size bound, and writing so that nothing is
// ever half-written. A regular file is replaced by a temporary file beside
// it, flushed to the disk and renamed over it; nothing else is ever replaced.
// Paths here are bytes (see path_text.h).
#pragma once

#include <wx/string.h>

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The system calls whose failure the file routines must survive (a file
/// system without locks, without hard links, or full), replaceable by tests.
struct FileSystemCalls {
    int (*flock)(int fd, int operation);
    int (*link)(const char* from, const char* to);
    /// rename() that fails with EEXIST rather than replace `to`.
    int (*renameNoReplace)(const char* from, const char* to);
    long (*write)(int fd, const void* data, std::size_t size);
};
FileSystemCalls& SystemCalls();

/// The most memory one table of the program may take: a quarter of the
/// machine's memory, or 2 GiB, whichever is less.
std::uint64_t MemoryBound();

/// Follows every symbolic link of `path` as the kernel does, relative links
/// from their own folder, into `resolved`. A link that another user made in
/// a folder that others may write to and that is sticky (/tmp) is followed
/// only when that folder's owner made it, whether or not the kernel is set
/// to protect such links: EACCES, with the link in `refusedLink`. A missing
/// last component gives 0 with the missing path in `resolved`; ELOOP for
/// links that never end, or the errno of what failed.
/// `throughProcess`, when given, tells whether a link of /proc was followed
/// (/dev/stdout, /dev/fd/N): one that names an open file of a process, which
/// is written into rather than replaced.
int ResolvePath(const std::string& path, std::string& resolved, std::string& refusedLink,
                bool* throughProcess = nullptr);

/// `path` without its last component ("." for a bare name).
std::string FolderOf(const std::string& path);

/// `path`'s last component.
std::string NameOf(const std::string& path);

/// Reads what `fd` holds up to its end: 0, EFBIG when it holds more than
/// `limit` bytes (nothing is kept then), or the errno.
int ReadAll(int fd, std::string& bytes, std::size_t limit);

/// Whether `path` names a regular file of at most `limit` bytes (looked at
/// without opening it, so a FIFO never blocks).
bool IsRegularFileWithin(const wxString& path, std::uint64_t limit);

/// Writes all of `size` bytes; 0 or the errno.
int WriteAll(int fd, const char* data, std::size_t size);

/// Bytes in pieces, written one after the other.
using Pieces = std::vector<std::string_view>;

/// A new version of a regular file, written beside it and renamed over it.
/// Begin makes the temporary file (and so proves the folder takes new
/// files), Write fills it, Commit flushes it and renames it into place;
/// destroyed before Commit, it removes the temporary file.
class ReplacingWriter {
public:
    ReplacingWriter() = default;
    ReplacingWriter(const ReplacingWriter&) = delete;
    ReplacingWriter& operator=(const ReplacingWriter&) = delete;
    ~ReplacingWriter();

    /// `target` is the file as ResolvePath gives it; `old`, its status when
    /// it exists (its permissions and group are kept), else null for a new
    /// file. 0 or the errno: EACCES or EPERM when the folder takes no new
    /// files.
    int Begin(const std::string& target, const struct stat* old);
    int Write(const Pieces& data);
    /// Flushes what is written to the disk; 0 or the errno.
    int Flush();
    /// Flushes the file and renames it over the target; 0 or the errno.
    int Commit();
    /// Flushes the file and puts it in place only where nothing is yet
    /// (EEXIST when a file appeared meanwhile); 0 or the errno.
    int CommitNew();

private:
    void Discard();
    std::string m_target;
    std::string m_temporary;
    int m_fd = -1;
    bool m_flushed = false;  ///< nothing written since the last flush
};

/// Replaces the regular file (or makes the missing one) at the resolved
/// `target` by `data`; 0 or the errno. A target that is not a regular file
/// gives EINVAL.
int ReplaceFile(const std::string& target, const Pieces& data);

/// Removes the temporary files that writers of `target` (a resolved path)
/// killed before their rename left beside it. A live writer holds the lock
/// of its own temporary file from its creation to its rename, so its file is
/// left alone whatever lock the caller holds.
void RemoveStaleTemporaries(const std::string& target);

/// Whether `name` (a bare file name) is one of our temporary files for a
/// target named `target`.
bool IsTemporaryFor(const std::string& name, const std::string& target);

/// The system's text for an errno value.
wxString ErrorText(int error);

/// What kind of file `mode` says: "a directory", "a FIFO", "a device" ...
const char* FileKind(mode_t mode);

/// An output the user names (the heat test's picture): a regular file is
/// replaced whole when it is finished; a device or a FIFO is written into;
/// links are followed as ResolvePath follows them.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /// Prepares the output before anything is written: 0 or the errno, with
    /// the link refused in `refusedLink` for EACCES.
    int Open(const wxString& path, std::string& refusedLink);
    /// Writes everything and finishes the output; 0 or the errno.
    int Finish(std::string_view data);

private:
    ReplacingWriter m_writer;
    int m_fd = -1;
    bool m_replacing = false;
};

/// Opens an output the program writes as it goes (the heat test's log): a
/// regular file is made or emptied, a device or a FIFO written into; links
/// are followed as ResolvePath follows them. The descriptor, or -1 with the
/// errno in `error` (and the link refused in `refusedLink` for EACCES).
int OpenStreamOutput(const wxString& path, int& error, std::string& refusedLink);
