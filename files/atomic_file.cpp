#include "files/atomic_file.h"

#include "files/big_block.h"
#include "files/path_text.h"

#include <wx/log.h>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace {
constexpr char TemporarySuffix[] = ".tmp";

int RenameNoReplace(const char* from, const char* to)
{
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

long PlainWrite(int fd, const void* data, std::size_t size)
{
    return ::write(fd, data, size);
}

int Lock(int fd, int operation)
{
    int rc;
    while ((rc = SystemCalls().flock(fd, operation)) != 0 && errno == EINTR) {
    }
    return rc;
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

// Makes the directory entry of a rename or link durable.
void SyncFolder(const std::string& folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

// The components of a path, last first, so that the next is at the back.
void PushComponents(const std::string& path, std::vector<std::string>& stack)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t slash = path.find('/', start);
        const std::size_t end = slash == std::string::npos ? path.size() : slash;
        if (end > start)
            parts.push_back(path.substr(start, end - start));
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    stack.insert(stack.end(), parts.rbegin(), parts.rend());
}
}  // namespace

FileSystemCalls& SystemCalls()
{
    static FileSystemCalls calls{::flock, ::link, RenameNoReplace, PlainWrite};
    return calls;
}

std::uint64_t MemoryBound()
{
    // Asked once: the machine's memory does not change while we run, and
    // asking costs a system call.
    static const std::uint64_t bound = [] {
        const long pages = ::sysconf(_SC_PHYS_PAGES), pageSize = ::sysconf(_SC_PAGESIZE);
        constexpr std::uint64_t most = std::uint64_t{2} << 30;
        if (pages <= 0 || pageSize <= 0)
            return most;
        return std::min(most, std::uint64_t(pages) * std::uint64_t(pageSize) / 4);
    }();
    return bound;
}

std::string FolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string NameOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

int ResolvePath(const std::string& path, std::string& resolved, std::string& refusedLink, bool* throughProcess)
{
    resolved.clear();
    refusedLink.clear();
    if (throughProcess != nullptr)
        *throughProcess = false;
    if (path.empty())
        return ENOENT;
    // What is followed so far: "/..." from the root, "" or "a/b" from here.
    std::string done = path[0] == '/' ? "/" : "";
    const auto join = [&done](const std::string& name) {
        return done.empty() ? name : done == "/" ? "/" + name : done + "/" + name;
    };
    std::vector<std::string> stack;
    PushComponents(path, stack);
    int hops = 0;
    while (!stack.empty()) {
        const std::string name = stack.back();
        stack.pop_back();
        if (name == ".")
            continue;
        if (name == "..") {
            const bool upward = done.empty() || done == ".." ||
                                (done.size() > 3 && done.compare(done.size() - 3, 3, "/..") == 0);
            const std::size_t slash = done.rfind('/');
            if (upward)
                done = join("..");
            else if (done != "/")
                done = slash == std::string::npos ? "" : slash == 0 ? "/" : done.substr(0, slash);
            continue;
        }
        const std::string candidate = join(name);
        struct stat info {};
        if (::lstat(candidate.c_str(), &info) != 0) {
            const int error = errno;
            if (error == ENOENT && stack.empty()) {
                resolved = candidate;
                return 0;
            }
            return error;
        }
        if (!S_ISLNK(info.st_mode)) {
            done = candidate;
            continue;
        }
        if (++hops > 40)
            return ELOOP;
        // A link in a sticky folder that others may write to is followed
        // only when its owner is the follower or the folder's owner.
        struct stat folder {};
        if (::stat(done.empty() ? "." : done.c_str(), &folder) == 0 && (folder.st_mode & S_ISVTX) != 0 &&
            (folder.st_mode & S_IWOTH) != 0 && info.st_uid != ::geteuid() && info.st_uid != folder.st_uid) {
            refusedLink = candidate;
            return EACCES;
        }
        struct statfs system {};
        if (throughProcess != nullptr && ::statfs(done.empty() ? "." : done.c_str(), &system) == 0 &&
            system.f_type == PROC_SUPER_MAGIC)
            *throughProcess = true;
        std::vector<char> target(std::size_t(info.st_size > 0 ? info.st_size : PATH_MAX) + 1);
        const ssize_t n = ::readlink(candidate.c_str(), target.data(), target.size());
        if (n <= 0 || std::size_t(n) >= target.size())
            return n < 0 ? errno : ELOOP;
        const std::string next(target.data(), std::size_t(n));
        if (next[0] == '/')
            done.assign(1, '/');  // from the root
        PushComponents(next, stack);
    }
    resolved = done.empty() ? "." : done;
    return 0;
}

int ReadAll(int fd, std::string& bytes, std::size_t limit)
{
    bytes.clear();
    struct stat info {};
    std::size_t expected = 0;
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) {
        if (std::uint64_t(info.st_size) > limit)
            return EFBIG;
        expected = std::size_t(info.st_size);
    }
    // Straight into the string as far as the size is known, then in pieces
    // (a pipe, or a file that grew meanwhile), never past the limit.
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
        if (!known) {
            if (std::size_t(n) > limit - done) {
                std::string().swap(bytes);
                return EFBIG;
            }
            bytes.append(piece, std::size_t(n));
        }
        done += std::size_t(n);
    }
}

bool IsRegularFileWithin(const wxString& path, std::uint64_t limit)
{
    struct stat info {};
    return ::stat(PathToBytes(path).c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           std::uint64_t(info.st_size) <= limit;
}

int WriteAll(int fd, const char* data, std::size_t size)
{
    for (std::size_t done = 0; done < size;) {
        const long n = SystemCalls().write(fd, data + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return n < 0 ? errno : EIO;
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

ReplacingWriter::~ReplacingWriter()
{
    Discard();
}

void ReplacingWriter::Discard()
{
    m_flushed = false;
    if (m_fd >= 0) {
        if (!m_temporary.empty())
            ::unlink(m_temporary.c_str());
        ::close(m_fd);  // lets its lock go
    }
    m_fd = -1;
    m_temporary.clear();
}

int ReplacingWriter::Begin(const std::string& target, const struct stat* old)
{
    Discard();
    m_target = target;
    const std::string folder = FolderOf(target), name = NameOf(target);
    // A live writer holds its temporary file's lock from here to its
    // rename, so RemoveStaleTemporaries can tell its file from a dead one's.
    for (int attempt = 0;; ++attempt) {
        std::string pattern = folder + "/." + name + ".XXXXXX" + TemporarySuffix;
        const int fd = ::mkostemps(pattern.data(), int(sizeof TemporarySuffix - 1), O_CLOEXEC);
        if (fd < 0)
            return errno;
        const int locked = Lock(fd, LOCK_EX);
        struct stat info {};
        // A remover may take the new file for a dead writer's between its
        // creation and the lock; then it is gone and another one is made.
        if (locked == 0 && ::fstat(fd, &info) == 0 && info.st_nlink == 0 && attempt < 8) {
            ::close(fd);
            continue;
        }
        m_fd = fd;
        m_temporary = pattern;
        break;
    }
    // Keep the group (and, for root, the owner) of the file replaced, so that
    // a table a group shares stays theirs; where that is not allowed the new
    // file is simply ours.
    if (old != nullptr && ::fchown(m_fd, ::geteuid() == 0 ? old->st_uid : uid_t(-1), old->st_gid) != 0)
        errno = 0;
    const mode_t mode = old != nullptr ? (old->st_mode & 07777) : NewFileMode();
    if (::fchmod(m_fd, mode) != 0) {
        const int error = errno;
        Discard();
        return error;
    }
    return 0;
}

int ReplacingWriter::Write(const Pieces& data)
{
    if (m_fd < 0)
        return EBADF;
    m_flushed = false;
    for (const std::string_view piece : data)
        if (const int error = WriteAll(m_fd, piece.data(), piece.size())) {
            Discard();
            return error;
        }
    return 0;
}

int ReplacingWriter::Flush()
{
    if (m_fd < 0)
        return EBADF;
    if (::fsync(m_fd) == 0) {
        m_flushed = true;
        return 0;
    }
    const int error = errno;
    Discard();
    return error;
}

int ReplacingWriter::Commit()
{
    if (m_fd < 0)
        return EBADF;
    int error = m_flushed || ::fsync(m_fd) == 0 ? 0 : errno;
    if (error == 0 && ::rename(m_temporary.c_str(), m_target.c_str()) != 0)
        error = errno;
    if (error != 0) {
        Discard();
        return error;
    }
    m_temporary.clear();  // renamed: nothing to remove
    Discard();
    SyncFolder(FolderOf(m_target));
    return 0;
}

int ReplacingWriter::CommitNew()
{
    if (m_fd < 0)
        return EBADF;
    if (::fsync(m_fd) != 0) {
        const int error = errno;
        Discard();
        return error;
    }
    // A hard link puts the whole file in place and fails when one appeared
    // meanwhile; where there are no hard links, a rename that never
    // replaces; where there is neither, the folder's lock held across the
    // look and the rename.
    int error = SystemCalls().link(m_temporary.c_str(), m_target.c_str()) == 0 ? 0 : errno;
    if (error == EPERM || error == ENOTSUP || error == EOPNOTSUPP || error == EMLINK || error == ENOSYS) {
        error = SystemCalls().renameNoReplace(m_temporary.c_str(), m_target.c_str()) == 0 ? 0 : errno;
        if (error == 0)
            m_temporary.clear();
        else if (error == EINVAL || error == ENOSYS || error == ENOTSUP || error == EOPNOTSUPP) {
            const int folder = ::open(FolderOf(m_target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            if (folder < 0) {
                error = errno;
            } else {
                if (Lock(folder, LOCK_EX) != 0) {
                    error = errno;
                } else {
                    struct stat there {};
                    if (::lstat(m_target.c_str(), &there) == 0)
                        error = EEXIST;
                    else
                        error = ::rename(m_temporary.c_str(), m_target.c_str()) == 0 ? 0 : errno;
                    if (error == 0)
                        m_temporary.clear();
                }
                ::close(folder);
            }
        }
    }
    Discard();  // the temporary name goes; the file stays under its own
    if (error == 0)
        SyncFolder(FolderOf(m_target));
    return error;
}

int ReplaceFile(const std::string& target, const Pieces& data)
{
    struct stat old {};
    const bool exists = ::stat(target.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        return S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
    // A file its owner made read-only is not replaced behind their back.
    if (exists && ::access(target.c_str(), W_OK) != 0)
        return errno;
    ReplacingWriter writer;
    int error = writer.Begin(target, exists ? &old : nullptr);
    if (error == 0)
        error = writer.Write(data);
    if (error == 0)
        error = writer.Commit();
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

void RemoveStaleTemporaries(const std::string& target)
{
    const std::string folder = FolderOf(target), name = NameOf(target);
    DIR* entries = ::opendir(folder.c_str());
    if (entries == nullptr)
        return;
    while (const dirent* entry = ::readdir(entries)) {
        if (!IsTemporaryFor(entry->d_name, name))
            continue;
        // A live writer holds its temporary file's lock until the file is
        // renamed or removed; a killed writer's lock went with it.
        const std::string stale = folder + "/" + entry->d_name;
        const int fd = ::open(stale.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct stat opened {}, named {};
        if (::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode) && SystemCalls().flock(fd, LOCK_EX | LOCK_NB) == 0 &&
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

const char* FileKind(mode_t mode)
{
    if (S_ISDIR(mode))
        return "a folder";
    if (S_ISFIFO(mode))
        return "a FIFO";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "a device";
    if (S_ISSOCK(mode))
        return "a socket";
    return "not a regular file";
}

OutputFile::~OutputFile()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

int OutputFile::Open(const wxString& path, std::string& refusedLink)
{
    const std::string named = PathToBytes(path);
    std::string target;
    bool throughProcess = false;
    const int resolved = ResolvePath(named, target, refusedLink, &throughProcess);
    if (resolved == EACCES && !refusedLink.empty())
        return resolved;
    // What the kernel finds there: O_PATH neither blocks on a FIFO nor
    // opens a device.
    const int probe = ::open(named.c_str(), O_PATH | O_CLOEXEC);
    if (probe < 0) {
        if (errno != ENOENT)
            return errno;
        if (resolved != 0)
            return resolved;
        m_replacing = true;
        return m_writer.Begin(target, nullptr);
    }
    struct stat info {}, there {};
    const int error = ::fstat(probe, &info) == 0 ? 0 : errno;
    ::close(probe);
    if (error != 0)
        return error;
    if (S_ISDIR(info.st_mode))
        return EISDIR;
    if (S_ISREG(info.st_mode) && !throughProcess) {
        if (resolved != 0)
            return resolved;
        if (::stat(target.c_str(), &there) != 0 || there.st_ino != info.st_ino || there.st_dev != info.st_dev)
            return EAGAIN;  // replaced while we looked
        if (::access(target.c_str(), W_OK) != 0)
            return errno;
        m_replacing = true;
        return m_writer.Begin(target, &info);
    }
    // A device, a FIFO, or a file a process has open (/dev/stdout): written
    // into, as any program writes to one. Our own standard output or error
    // is written through its own descriptor, where the rest of our output
    // goes too.
    for (const int own : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat standard {};
        if (throughProcess && ::fstat(own, &standard) == 0 && standard.st_ino == info.st_ino &&
            standard.st_dev == info.st_dev) {
            m_fd = ::fcntl(own, F_DUPFD_CLOEXEC, 0);
            return m_fd < 0 ? errno : 0;
        }
    }
    m_fd = ::open(named.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    return m_fd < 0 ? errno : 0;
}

int OutputFile::Finish(std::string_view data)
{
    if (m_replacing) {
        const int error = m_writer.Write({data});
        return error != 0 ? error : m_writer.Commit();
    }
    if (m_fd < 0)
        return EBADF;
    int error = WriteAll(m_fd, data.data(), data.size());
    if (::close(m_fd) != 0 && error == 0)
        error = errno;
    m_fd = -1;
    return error;
}

int OpenStreamOutput(const wxString& path, int& error, std::string& refusedLink)
{
    const std::string named = PathToBytes(path);
    std::string target;
    error = ResolvePath(named, target, refusedLink);
    if (error == EACCES && !refusedLink.empty())
        return -1;
    // Opened by the kernel, which follows /dev/stdout and its kind too.
    const int fd = ::open(named.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_CLOEXEC, 0666);
    error = fd < 0 ? errno : 0;
    return fd;
}
