// The ground floor of the program's files: following a path the way the
// kernel would, reading with a size bound, and writing so that nothing is
// ever half-written. A regular file is replaced by a temporary file beside
// it, flushed to the disk and renamed over it; nothing else is ever replaced.
// Paths here are bytes (see path_text.h).
#pragma once

#include "files/descriptor.h"

#include <wx/string.h>

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The system calls whose failure the file routines must survive (a file
/// system without locks, hard links, modes or atomic renames, or one that
/// runs full), replaceable by tests.
struct FileSystemCalls {
    int (*flock)(int fd, int operation);
    int (*linkAt)(int fromFolder, const char* from, int toFolder, const char* to);
    /// renameat2(): 0 flags replaces `to`, RENAME_NOREPLACE fails with EEXIST
    /// rather than replace it, RENAME_EXCHANGE swaps the two.
    int (*renameAt)(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags);
    long (*write)(int fd, const void* data, std::size_t size);
    int (*fchmod)(int fd, mode_t mode);
    /// Runs between a check and the use it allows ("output": an output was
    /// looked at and is about to be opened; "commit", "commit new", "commit
    /// over": a new version is about to be put in place by Commit, CommitNew
    /// or CommitOver), so that a test can put a link or another file there at
    /// that moment. Does nothing in the program.
    void (*betweenCheckAndUse)(const char* stage);
};
FileSystemCalls& SystemCalls();

/// Where the file routines say what the user should know but that stops
/// nothing (a mode the file system would not take). Standard error until the
/// program sets one (each is told once a run); returns the previous one.
using FileNoticeSink = void (*)(const wxString& text);
FileNoticeSink SetFileNoticeSink(FileNoticeSink sink);

/// A folder held open, so that the names in it are reached from it and
/// never through a path again.
class Folder {
public:
    /// Opens `resolved` (a folder as ResolvePath gives it: no link in it)
    /// component by component, following no link: 0, ELOOP or ENOTDIR when a
    /// link or a file was put in place of one since it was resolved, or the
    /// errno.
    int Open(const std::string& resolved);
    int Get() const { return m_fd.Get(); }
    const std::string& Path() const { return m_path; }
    /// The folder's status; 0 or the errno.
    int Status(struct stat& info) const;
    /// Makes its entries (a rename, a new name) durable.
    void Sync() const;
    /// Whether others may write to a folder of status `info` and it is
    /// sticky (/tmp).
    static bool SharedAndSticky(const struct stat& info)
    {
        return (info.st_mode & S_ISVTX) != 0 && (info.st_mode & S_IWOTH) != 0;
    }

private:
    Descriptor m_fd;
    std::string m_path;
};

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
/// Begin makes the temporary file in the folder it holds (and so proves the
/// folder takes new files), Write fills it, Commit flushes it and renames it
/// into place; destroyed before Commit, it removes the temporary file.
/// While it lives, the temporary file holds its writer's lock, so that
/// RemoveStaleTemporaries tells it from a killed writer's, and it is removed
/// by RemovePendingTemporaries when the program is interrupted.
class ReplacingWriter {
public:
    ReplacingWriter() = default;
    ReplacingWriter(const ReplacingWriter&) = delete;
    ReplacingWriter& operator=(const ReplacingWriter&) = delete;
    ~ReplacingWriter();

    /// `target` is the file as ResolvePath gives it; `old`, its status when
    /// it exists (its permissions and group are kept), else null for a new
    /// file. 0 or the errno: EACCES or EPERM when the folder takes no new
    /// files. The permissions are set where the file system takes them;
    /// where it does not, that is said once (SetFileNoticeSink).
    int Begin(const std::string& target, const struct stat* old);
    /// The same in a folder already held.
    int Begin(Folder&& folder, const std::string& name, const struct stat* old);
    int Write(const Pieces& data);
    /// Flushes what is written to the disk; 0 or the errno.
    int Flush();
    /// Flushes the file and renames it over the target; 0 or the errno.
    int Commit();
    /// Flushes the file and puts it in place only where nothing is yet
    /// (EEXIST when a file appeared meanwhile); 0 or the errno.
    int CommitNew();
    /// Flushes the file and puts it in place only while the target is still
    /// the file `expected`: EAGAIN, with that other file back at the target
    /// and this one gone, when another file took its place meanwhile;
    /// ENOENT when none is there. Where the file system cannot swap two
    /// names, the target is looked at just before a plain rename.
    int CommitOver(const struct stat& expected);

private:
    void Discard();
    int Prepare(const char* stage);
    Folder m_folder;
    std::string m_name;       ///< the target's name in the folder
    std::string m_temporary;  ///< the temporary file's name in the folder
    Descriptor m_fd;
    int m_slot = -1;          ///< its place among the pending temporaries
    bool m_flushed = false;   ///< nothing written since the last flush
};

/// Removes the temporary files of every ReplacingWriter under way: for a
/// signal handler (async-signal-safe) before the program ends.
void RemovePendingTemporaries();

/// Replaces the regular file (or makes the missing one) at the resolved
/// `target` by `data`; 0 or the errno. A target that is not a regular file
/// gives EINVAL.
int ReplaceFile(const std::string& target, const Pieces& data);

/// Removes the temporary files that writers of `target` (a resolved path)
/// killed before their rename left beside it. A live writer holds the lock
/// of its own temporary file from its creation to its rename, so its file is
/// left alone whatever lock the caller holds. In a folder others may write
/// to that is sticky, only this user's are removed.
void RemoveStaleTemporaries(const std::string& target);
void RemoveStaleTemporaries(const Folder& folder, const std::string& name);

/// Whether `name` (a bare file name) is one of our temporary files for a
/// target named `target`.
bool IsTemporaryFor(const std::string& name, const std::string& target);

/// The system's text for an errno value.
wxString ErrorText(int error);

/// What kind of file `mode` says: "a directory", "a FIFO", "a device" ...
const char* FileKind(mode_t mode);

