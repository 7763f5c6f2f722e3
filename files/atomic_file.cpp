#include "files/atomic_file.h"

#include "files/big_block.h"
#include "files/path_text.h"

#include <wx/log.h>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {
constexpr char TemporarySuffix[] = ".tmp";
constexpr std::size_t TemporaryLetters = 6;

int RenameAt(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags)
{
    return ::renameat2(fromFolder, from, toFolder, to, flags);
}

int LinkAt(int fromFolder, const char* from, int toFolder, const char* to)
{
    return ::linkat(fromFolder, from, toFolder, to, 0);
}

long PlainWrite(int fd, const void* data, std::size_t size)
{
    return ::write(fd, data, size);
}

int PlainFchmod(int fd, mode_t mode)
{
    return ::fchmod(fd, mode);
}

void NoHook(const char*) {}

void ToStandardError(const wxString& text)
{
    std::fprintf(stderr, "%s\n", text.utf8_string().c_str());
}

std::atomic<FileNoticeSink> NoticeSink{ToStandardError};
std::atomic<bool> ModeNoticeTold{false};

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

// The temporary files of the writers under way, for a signal handler to
// remove: a slot is claimed (-2), filled, then published with its folder.
struct PendingTemporary {
    std::atomic<int> folder{-1};
    char name[NAME_MAX + 1] = {};
};
PendingTemporary Pending[32];

int ClaimPending(int folder, const std::string& name)
{
    if (name.size() > NAME_MAX)
        return -1;
    for (int k = 0; k < int(std::size(Pending)); ++k) {
        int free = -1;
        if (!Pending[k].folder.compare_exchange_strong(free, -2, std::memory_order_acq_rel))
            continue;
        std::memcpy(Pending[k].name, name.c_str(), name.size() + 1);
        Pending[k].folder.store(folder, std::memory_order_release);
        return k;
    }
    return -1;  // more writers at once than slots: the next writer clears it
}

void ReleasePending(int& slot)
{
    if (slot >= 0)
        Pending[slot].folder.store(-1, std::memory_order_release);
    slot = -1;
}

// Said once a run: the file system takes no modes (FAT through FUSE), and
// every new file there would say it again.
void TellModeNotSet(const std::string& file, mode_t mode, int error)
{
    if (ModeNoticeTold.exchange(true))
        return;
    NoticeSink.load()(wxString::Format(wxS("%s: its permissions could not be set to %04o (%s); it keeps those its "
                                           "file system gives"),
                                       AbsolutePath(PathFromBytes(file)), unsigned(mode), ErrorText(error)));
}

// A name for a temporary file of `name`: ".NAME.XXXXXX.tmp".
std::string TemporaryName(const std::string& name)
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    unsigned char random[TemporaryLetters];
    if (::getrandom(random, sizeof random, GRND_NONBLOCK) != ssize_t(sizeof random)) {
        // Early in boot, or no getrandom: the clock and a counter differ enough.
        static std::atomic<std::uint64_t> counter{0};
        std::uint64_t seed = std::uint64_t(std::chrono::steady_clock::now().time_since_epoch().count()) ^
                             (counter.fetch_add(1) * 0x9E3779B97F4A7C15ull) ^ std::uint64_t(::getpid());
        for (unsigned char& r : random) {
            seed ^= seed >> 33;
            seed *= 0xff51afd7ed558ccdull;
            r = static_cast<unsigned char>(seed >> 56);
        }
    }
    std::string temporary = "." + name + ".";
    for (const unsigned char r : random)
        temporary += letters[r % (sizeof letters - 1)];
    return temporary + TemporarySuffix;
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
    static FileSystemCalls calls{::flock, LinkAt, RenameAt, PlainWrite, PlainFchmod, NoHook};
    return calls;
}

FileNoticeSink SetFileNoticeSink(FileNoticeSink sink)
{
    ModeNoticeTold.store(false);
    return NoticeSink.exchange(sink != nullptr ? sink : ToStandardError);
}

int Folder::Open(const std::string& resolved)
{
    m_fd.Reset();
    m_path = resolved;
    const bool absolute = !resolved.empty() && resolved[0] == '/';
    Descriptor at(::open(absolute ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!at.Valid())
        return errno;
    std::vector<std::string> components;
    PushComponents(resolved, components);
    // Last first: the next is at the back.
    while (!components.empty()) {
        const std::string name = std::move(components.back());
        components.pop_back();
        // A link is never followed here: O_NOFOLLOW with O_DIRECTORY fails on one.
        const int next = ::openat(at.Get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0)
            return errno;
        at.Reset(next);
    }
    m_fd = std::move(at);
    return 0;
}

int Folder::Status(struct stat& info) const
{
    return ::fstat(m_fd.Get(), &info) == 0 ? 0 : errno;
}

void Folder::Sync() const
{
    const Descriptor readable(::openat(m_fd.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (readable.Valid())
        ::fsync(readable.Get());
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
        if (::stat(done.empty() ? "." : done.c_str(), &folder) == 0 && Folder::SharedAndSticky(folder) &&
            info.st_uid != ::geteuid() && info.st_uid != folder.st_uid) {
            refusedLink = candidate;
            return EACCES;
        }
        // The last component a link of /proc (/dev/stdout, /dev/fd/N): an
        // open file of a process. One in the middle (/proc/self/cwd/x) is
        // followed as any link is.
        struct statfs system {};
        if (throughProcess != nullptr && stack.empty() && ::statfs(done.empty() ? "." : done.c_str(), &system) == 0 &&
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
    if (m_fd.Valid() && !m_temporary.empty())
        ::unlinkat(m_folder.Get(), m_temporary.c_str(), 0);
    ReleasePending(m_slot);
    m_fd.Reset();  // lets its lock go
    m_temporary.clear();
}

int ReplacingWriter::Begin(const std::string& target, const struct stat* old)
{
    Folder folder;
    if (const int error = folder.Open(FolderOf(target)))
        return error;
    return Begin(std::move(folder), NameOf(target), old);
}

int ReplacingWriter::Begin(Folder&& folder, const std::string& name, const struct stat* old)
{
    Discard();
    m_folder = std::move(folder);
    m_name = name;
    // A live writer holds its temporary file's lock from here to its
    // rename, so RemoveStaleTemporaries can tell its file from a dead one's.
    for (int attempt = 0;; ++attempt) {
        const std::string temporary = TemporaryName(name);
        Descriptor file(
            ::openat(m_folder.Get(), temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file.Valid()) {
            if (errno == EEXIST && attempt < 100)
                continue;
            return errno;
        }
        const int locked = Lock(file.Get(), LOCK_EX);
        struct stat info {};
        // A remover may take the new file for a dead writer's between its
        // creation and the lock; then it is gone and another one is made.
        if (locked == 0 && ::fstat(file.Get(), &info) == 0 && info.st_nlink == 0 && attempt < 8)
            continue;
        m_fd = std::move(file);
        m_temporary = temporary;
        break;
    }
    m_slot = ClaimPending(m_folder.Get(), m_temporary);
    // Keep the group (and, for root, the owner) of the file replaced, so that
    // a table a group shares stays theirs; where that is not allowed the new
    // file is simply ours. Modes are set where the file system takes them.
    if (old != nullptr && ::fchown(m_fd.Get(), ::geteuid() == 0 ? old->st_uid : uid_t(-1), old->st_gid) != 0)
        errno = 0;
    const mode_t mode = old != nullptr ? (old->st_mode & 07777) : NewFileMode();
    if (SystemCalls().fchmod(m_fd.Get(), mode) != 0)
        TellModeNotSet(m_folder.Path() + "/" + m_name, mode, errno);
    return 0;
}

int ReplacingWriter::Write(const Pieces& data)
{
    if (!m_fd.Valid())
        return EBADF;
    m_flushed = false;
    for (const std::string_view piece : data)
        if (const int error = WriteAll(m_fd.Get(), piece.data(), piece.size())) {
            Discard();
            return error;
        }
    return 0;
}

int ReplacingWriter::Flush()
{
    if (!m_fd.Valid())
        return EBADF;
    if (::fsync(m_fd.Get()) == 0) {
        m_flushed = true;
        return 0;
    }
    const int error = errno;
    Discard();
    return error;
}

int ReplacingWriter::Prepare(const char* stage)
{
    if (!m_fd.Valid())
        return EBADF;
    if (!m_flushed && ::fsync(m_fd.Get()) != 0) {
        const int error = errno;
        Discard();
        return error;
    }
    SystemCalls().betweenCheckAndUse(stage);
    return 0;
}

int ReplacingWriter::Commit()
{
    if (const int error = Prepare("commit"))
        return error;
    const int folder = m_folder.Get();
    if (SystemCalls().renameAt(folder, m_temporary.c_str(), folder, m_name.c_str(), 0) != 0) {
        const int error = errno;
        Discard();
        return error;
    }
    m_temporary.clear();  // renamed: nothing to remove
    Discard();
    m_folder.Sync();
    return 0;
}

int ReplacingWriter::CommitNew()
{
    if (const int error = Prepare("commit new"))
        return error;
    const int folder = m_folder.Get();
    const char* temporary = m_temporary.c_str();
    const char* name = m_name.c_str();
    // A hard link puts the whole file in place and fails when one appeared
    // meanwhile; where there are no hard links, a rename that never
    // replaces; where there is neither, the folder's lock held across the
    // look and the rename.
    int error = SystemCalls().linkAt(folder, temporary, folder, name) == 0 ? 0 : errno;
    if (error == EPERM || error == ENOTSUP || error == EOPNOTSUPP || error == EMLINK || error == ENOSYS) {
        error = SystemCalls().renameAt(folder, temporary, folder, name, RENAME_NOREPLACE) == 0 ? 0 : errno;
        if (error == EINVAL || error == ENOSYS || error == ENOTSUP || error == EOPNOTSUPP) {
            const Descriptor lockable(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (!lockable.Valid() || Lock(lockable.Get(), LOCK_EX) != 0) {
                error = errno;
            } else {
                struct stat there {};
                if (::fstatat(folder, name, &there, AT_SYMLINK_NOFOLLOW) == 0)
                    error = EEXIST;
                else
                    error = SystemCalls().renameAt(folder, temporary, folder, name, 0) == 0 ? 0 : errno;
            }
        }
        if (error == 0)
            m_temporary.clear();
    }
    Discard();  // the temporary name goes; the file stays under its own
    if (error == 0)
        m_folder.Sync();
    return error;
}

int ReplacingWriter::CommitOver(const struct stat& expected)
{
    if (const int error = Prepare("commit over"))
        return error;
    const int folder = m_folder.Get();
    const char* temporary = m_temporary.c_str();
    const char* name = m_name.c_str();
    const auto isExpected = [&expected](const struct stat& info) {
        return info.st_dev == expected.st_dev && info.st_ino == expected.st_ino;
    };
    // Swapped, the temporary name holds what was at the target: the file
    // checked, or another program's, which goes back to its place. From
    // the swap on, the temporary name is no longer ours to remove on a
    // signal.
    int error = SystemCalls().renameAt(folder, temporary, folder, name, RENAME_EXCHANGE) == 0 ? 0 : errno;
    if (error == 0) {
        ReleasePending(m_slot);
        struct stat was {};
        if (::fstatat(folder, temporary, &was, AT_SYMLINK_NOFOLLOW) == 0 && isExpected(was)) {
            ::unlinkat(folder, temporary, 0);
            m_temporary.clear();
            Discard();
            m_folder.Sync();
            return 0;
        }
        if (SystemCalls().renameAt(folder, temporary, folder, name, RENAME_EXCHANGE) == 0) {
            Discard();  // ours, back under the temporary name
            return EAGAIN;
        }
        // The other file cannot go back: ours stays in place, and theirs is
        // kept under a name no writer clears.
        const std::string kept = m_name + ".kept-" + TemporaryName(m_name).substr(m_name.size() + 2, TemporaryLetters);
        SystemCalls().renameAt(folder, temporary, folder, kept.c_str(), RENAME_NOREPLACE);
        NoticeSink.load()(wxString::Format(wxS("%s: another program's version, put there during the change, is kept "
                                               "as %s"),
                                           AbsolutePath(PathFromBytes(m_folder.Path() + "/" + m_name)),
                                           PathFromBytes(kept)));
        m_temporary.clear();
        Discard();
        m_folder.Sync();
        return 0;
    }
    if (error == EINVAL || error == ENOSYS || error == ENOTSUP || error == EOPNOTSUPP) {
        // No swapping here: the target is looked at just before the rename.
        struct stat there {};
        if (::fstatat(folder, name, &there, AT_SYMLINK_NOFOLLOW) != 0)
            error = errno;
        else if (!isExpected(there))
            error = EAGAIN;
        else if (SystemCalls().renameAt(folder, temporary, folder, name, 0) != 0)
            error = errno;
        else
            error = 0;
        if (error == 0) {
            m_temporary.clear();
            Discard();
            m_folder.Sync();
            return 0;
        }
    }
    Discard();
    return error;
}

void RemovePendingTemporaries()
{
    for (PendingTemporary& pending : Pending) {
        const int folder = pending.folder.load(std::memory_order_acquire);
        if (folder >= 0)
            ::unlinkat(folder, pending.name, 0);
    }
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
    const std::size_t length = prefix.size() + TemporaryLetters + (sizeof TemporarySuffix - 1);
    if (name.size() != length || name.compare(0, prefix.size(), prefix) != 0 ||
        name.compare(length - (sizeof TemporarySuffix - 1), std::string::npos, TemporarySuffix) != 0)
        return false;
    for (std::size_t i = prefix.size(); i < prefix.size() + TemporaryLetters; ++i) {
        const char c = name[i];
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return false;
    }
    return true;
}

void RemoveStaleTemporaries(const Folder& folder, const std::string& name)
{
    struct stat folderInfo {};
    if (folder.Status(folderInfo) != 0)
        return;
    // In /tmp and its like, another user's file of that name is theirs.
    const bool onlyOurs = folder.SharedAndSticky(folderInfo);
    Descriptor listing(::openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!listing.Valid())
        return;
    DIR* entries = ::fdopendir(listing.Get());
    if (entries == nullptr)
        return;
    listing.Release();  // the stream owns it now: closedir closes it
    while (const dirent* entry = ::readdir(entries)) {
        if (!IsTemporaryFor(entry->d_name, name))
            continue;
        // A live writer holds its temporary file's lock until the file is
        // renamed or removed; a killed writer's lock went with it.
        const Descriptor stale(
            ::openat(folder.Get(), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (!stale.Valid())
            continue;
        struct stat opened {}, named {};
        if (::fstat(stale.Get(), &opened) == 0 && S_ISREG(opened.st_mode) &&
            (!onlyOurs || opened.st_uid == ::geteuid()) && SystemCalls().flock(stale.Get(), LOCK_EX | LOCK_NB) == 0 &&
            ::fstatat(folder.Get(), entry->d_name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
            named.st_ino == opened.st_ino && named.st_dev == opened.st_dev)
            ::unlinkat(folder.Get(), entry->d_name, 0);
    }
    ::closedir(entries);
}

void RemoveStaleTemporaries(const std::string& target)
{
    Folder folder;
    if (folder.Open(FolderOf(target)) == 0)
        RemoveStaleTemporaries(folder, NameOf(target));
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
