#include "files/atomic_file.h"

#include "files/big_block.h"

#include <wx/filename.h>
#include <wx/log.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

namespace {
constexpr char TemporarySuffix[] = ".tmp";

std::string Narrow(const wxString& path)
{
    return std::string(path.fn_str());
}

wxString Wide(const std::string& path)
{
    return wxString(path.c_str(), *wxConvFileName);
}

void SplitPath(const std::string& path, std::string& directory, std::string& name)
{
    const std::size_t slash = path.rfind('/');
    directory = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    name = slash == std::string::npos ? path : path.substr(slash + 1);
}

mode_t NewFileMode()
{
    static const mode_t mask = [] {
        const mode_t old = ::umask(022);
        ::umask(old);
        return old;
    }();
    return 0666 & ~mask;
}

int WriteAll(int fd, const char* data, std::size_t size)
{
    for (std::size_t done = 0; done < size;) {
        const ssize_t n = ::write(fd, data + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return n < 0 ? errno : EIO;
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

int WriteAll(int fd, const Pieces& pieces)
{
    for (const std::string_view piece : pieces)
        if (const int error = WriteAll(fd, piece.data(), piece.size()))
            return error;
    return 0;
}

// Makes the directory entry of a rename or link durable.
void SyncDirectory(const std::string& directory)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

// A new temporary file beside `target`, ".name.XXXXXX.tmp", holding the bytes,
// flushed. Returns 0 or the errno; `temporary` names it and `fd` stays open
// with the file's lock held until the caller has renamed or removed it, so
// that RemoveStaleTemporaries can tell a live writer's file from a dead one's.
int WriteTemporary(const std::string& target, const Pieces& data, mode_t mode,
                   const struct stat* owner, std::string& temporary, int& fd)
{
    std::string directory, name;
    SplitPath(target, directory, name);
    for (int attempt = 0;; ++attempt) {
        std::string pattern = directory + "/." + name + ".XXXXXX" + TemporarySuffix;
        fd = ::mkostemps(pattern.data(), int(sizeof TemporarySuffix - 1), O_CLOEXEC);
        if (fd < 0)
            return errno;
        int locked;
        while ((locked = ::flock(fd, LOCK_EX)) != 0 && errno == EINTR) {
        }
        struct stat info {};
        // A remover may take the new file for a dead writer's between its
        // creation and the lock; then it is gone and another one is made.
        if (locked == 0 && ::fstat(fd, &info) == 0 && info.st_nlink == 0 && attempt < 8) {
            ::close(fd);
            continue;
        }
        temporary = pattern;
        break;
    }
    // Keep the group (and, for root, the owner) of the file replaced, so that
    // a table a group shares stays theirs; where that is not allowed the new
    // file is simply ours.
    if (owner != nullptr && ::fchown(fd, ::geteuid() == 0 ? owner->st_uid : uid_t(-1), owner->st_gid) != 0)
        errno = 0;
    int error = ::fchmod(fd, mode) == 0 ? 0 : errno;
    if (error == 0)
        error = WriteAll(fd, data);
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        ::close(fd);
        fd = -1;
        temporary.clear();
    }
    return error;
}

// Done with a temporary file: removed when it is still there, its lock let go.
void ReleaseTemporary(const std::string& temporary, int fd, bool remove)
{
    if (remove)
        ::unlink(temporary.c_str());
    ::close(fd);
}

// For a directory that takes no new files: the file itself rewritten.
int WriteInPlace(const std::string& target, const Pieces& data)
{
    const int fd = ::open(target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0)
        return errno;
    int error = WriteAll(fd, data);
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    return error;
}
}  // namespace

wxString FollowLinks(const wxString& path)
{
    std::string current = Narrow(path);
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info {};
        if (::lstat(current.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            break;
        std::vector<char> target(PATH_MAX + 1);
        const ssize_t n = ::readlink(current.c_str(), target.data(), target.size() - 1);
        if (n <= 0)
            break;
        std::string next(target.data(), std::size_t(n));
        if (next[0] != '/') {
            const std::size_t slash = current.rfind('/');
            if (slash != std::string::npos)
                next = current.substr(0, slash + 1) + next;
        }
        current = next;
    }
    return Wide(current);
}

int WriteFileAtomically(const wxString& path, const char* data, std::size_t size)
{
    return WriteFileAtomically(path, {std::string_view(data, size)});
}

int WriteFileAtomically(const wxString& path, const Pieces& data)
{
    const std::string target = Narrow(FollowLinks(path));
    struct stat old {};
    if (::lstat(target.c_str(), &old) == 0 && S_ISLNK(old.st_mode))
        return ELOOP;  // links that never end in a file: none of them is replaced
    const bool exists = ::stat(target.c_str(), &old) == 0;
    // A file its owner made read-only is not replaced behind their back.
    if (exists && ::access(target.c_str(), W_OK) != 0)
        return errno;
    const mode_t mode = exists ? (old.st_mode & 07777) : NewFileMode();
    std::string temporary;
    int fd = -1;
    int error = WriteTemporary(target, data, mode, exists ? &old : nullptr, temporary, fd);
    if (error == EACCES || error == EPERM)
        return exists ? WriteInPlace(target, data) : error;
    if (error != 0)
        return error;
    error = ::rename(temporary.c_str(), target.c_str()) == 0 ? 0 : errno;
    ReleaseTemporary(temporary, fd, error != 0);
    if (error != 0)
        return error;
    std::string directory, name;
    SplitPath(target, directory, name);
    SyncDirectory(directory);
    return 0;
}

int ReadAll(int fd, std::string& bytes)
{
    bytes.clear();
    struct stat info {};
    std::size_t expected = 0;
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0)
        expected = std::size_t(info.st_size);
    // Straight into the string as far as the size is known, then in pieces
    // (a pipe, or a file that grew meanwhile).
    bytes.reserve(expected);
    AdviseHugePages(bytes.data(), expected);
    bytes.resize(expected);
    std::size_t done = 0;
    char piece[65536];
    for (;;) {
        const bool known = done < expected;
        const ssize_t n = known ? ::read(fd, bytes.data() + done, expected - done) : ::read(fd, piece, sizeof piece);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            bytes.resize(done);
            return n < 0 ? errno : 0;
        }
        if (!known)
            bytes.append(piece, std::size_t(n));
        done += std::size_t(n);
    }
}

int ReadWholeFile(const wxString& path, std::string& bytes)
{
    bytes.clear();
    const int fd = ::open(Narrow(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int error = ReadAll(fd, bytes);
    ::close(fd);
    return error;
}

int ReadError(const wxString& path)
{
    const int fd = ::open(Narrow(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    struct stat info {};
    const int error = ::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode) ? EISDIR : 0;
    ::close(fd);
    return error;
}

int CopyFileAtomically(const wxString& from, const wxString& to)
{
    std::string bytes;
    const int error = ReadWholeFile(from, bytes);
    return error != 0 ? error : WriteFileAtomically(to, bytes.data(), bytes.size());
}

int CreateFileFrom(const wxString& source, const wxString& path)
{
    const std::string target = Narrow(FollowLinks(path));
    struct stat info {};
    if (::stat(target.c_str(), &info) == 0)
        return EEXIST;
    std::string bytes;
    int error = ReadWholeFile(source, bytes);
    if (error != 0)
        return error;
    std::string temporary;
    int fd = -1;
    error = WriteTemporary(target, {bytes}, NewFileMode(), nullptr, temporary, fd);
    if (error != 0)
        return error;
    // link() puts the whole file in place and fails if one appeared meanwhile.
    error = ::link(temporary.c_str(), target.c_str()) == 0 ? 0 : errno;
    ReleaseTemporary(temporary, fd, true);
    if (error == EPERM || error == ENOTSUP || error == EMLINK) {
        // A file system without hard links: create it exclusively instead.
        const int fd = ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, NewFileMode());
        if (fd < 0)
            return errno;
        error = WriteAll(fd, bytes.data(), bytes.size());
        if (::close(fd) != 0 && error == 0)
            error = errno;
        if (error != 0)
            ::unlink(target.c_str());
        return error;
    }
    if (error == 0) {
        std::string directory, name;
        SplitPath(target, directory, name);
        SyncDirectory(directory);
    }
    return error;
}

bool IsTemporaryFor(const std::string& name, const std::string& target)
{
    const std::string prefix = "." + target + ".";
    const std::size_t length = prefix.size() + 6 + (sizeof TemporarySuffix - 1);
    if (name.size() != length || name.compare(0, prefix.size(), prefix) != 0 ||
        name.compare(length - (sizeof TemporarySuffix - 1), std::string::npos, TemporarySuffix) != 0)
        return false;
    for (std::size_t i = prefix.size(); i < prefix.size() + 6; ++i) {
        const char c = name[i];
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return false;
    }
    return true;
}

void RemoveStaleTemporaries(const wxString& path)
{
    std::string directory, name;
    SplitPath(Narrow(FollowLinks(path)), directory, name);
    DIR* entries = ::opendir(directory.c_str());
    if (entries == nullptr)
        return;
    while (const dirent* entry = ::readdir(entries)) {
        if (!IsTemporaryFor(entry->d_name, name))
            continue;
        // A live writer holds its temporary file's lock until the file is
        // renamed or removed; a killed writer's lock went with it.
        const std::string stale = directory + "/" + entry->d_name;
        const int fd = ::open(stale.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct stat opened {}, named {};
        if (::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode) && ::flock(fd, LOCK_EX | LOCK_NB) == 0 &&
            ::lstat(stale.c_str(), &named) == 0 && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev)
            ::unlink(stale.c_str());
        ::close(fd);
    }
    ::closedir(entries);
}

wxString ErrorText(int error)
{
    return wxSysErrorMsgStr(static_cast<unsigned long>(error));
}

wxString AbsolutePath(const wxString& path)
{
    wxFileName name(path);
    name.MakeAbsolute();
    return name.GetFullPath();
}
