#include "files/output_file.h"

#include "files/file_transaction.h"
#include "files/path_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace {
// The devices an output is written into: the null, zero and full devices
// (which swallow or refuse everything), and terminals. Anything else (a
// disk, the memory, a tape that rewinds on being opened) is never opened.
bool WrittenInto(dev_t device)
{
    const unsigned kind = major(device), number = minor(device);
    if (kind == 1)
        return number == 3 || number == 5 || number == 7;
    if (kind == 5)
        return number <= 1;  // /dev/tty, /dev/console
    return kind == 4 || (kind >= 136 && kind <= 143);  // virtual and serial terminals, pseudo-terminals
}

const char* OwnedKind(mode_t mode)
{
    return S_ISREG(mode) ? "a file" : FileKind(mode);
}

// Why a file that is not regular is not written into: a socket, a device
// other than those WrittenInto names; None for a FIFO or such a device.
OutputFailure Unwritable(const struct stat& info, const wxString& path)
{
    using Kind = OutputFailure::Kind;
    if (S_ISDIR(info.st_mode))
        return {Kind::Error, EISDIR, path, {}};
    if (S_ISSOCK(info.st_mode))
        return {Kind::Socket, ENXIO, path, {}};
    if (S_ISBLK(info.st_mode) || (S_ISCHR(info.st_mode) && !WrittenInto(info.st_rdev)))
        return {Kind::Device, EPERM, path, S_ISBLK(info.st_mode) ? wxS("a disk") : wxS("a device")};
    return {};
}

void Identify(FileIdentity& identity, const struct stat& info)
{
    identity.exists = true;
    identity.device = info.st_dev;
    identity.inode = info.st_ino;
}

// Writes into the file as any program writes into one: a FIFO waits while
// its reader catches up.
int StopNonBlocking(int fd)
{
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0)
        return errno;
    return 0;
}
}  // namespace

bool FileIdentity::Same(const FileIdentity& other) const
{
    if (!found || !other.found)
        return false;
    if (exists || other.exists)
        return exists && other.exists && device == other.device && inode == other.inode;
    return folderDevice == other.folderDevice && folderInode == other.folderInode && name == other.name;
}

FileIdentity IdentifyFile(const wxString& path)
{
    FileIdentity identity;
    std::string resolved, refused;
    if (path.empty() || ResolvePath(PathToBytes(path), resolved, refused) != 0)
        return identity;
    struct stat folder {}, info {};
    if (::stat(FolderOf(resolved).c_str(), &folder) != 0)
        return identity;
    identity.found = true;
    identity.folderDevice = folder.st_dev;
    identity.folderInode = folder.st_ino;
    identity.name = NameOf(resolved);
    if (::lstat(resolved.c_str(), &info) == 0)
        Identify(identity, info);
    return identity;
}

wxString OutputFailure::Text() const
{
    const wxString file = path == wxS("-") ? wxString(wxS("Standard output")) : AbsolutePath(path);
    const wxString cannot = file + wxS(" could not be written");
    switch (kind) {
    case Kind::None:
        return wxString();
    case Kind::Error:
        return wxString::Format(wxS("%s (%s)"), cannot, ErrorText(error));
    case Kind::LinkRefused:
        return cannot + wxS(": ") + RefusedLinkText(other);
    case Kind::OthersFile:
        return wxString::Format(wxS("%s: it is %s of another user in a folder others may write to (sticky), which is "
                                    "neither written into nor replaced"),
                                cannot, other);
    case Kind::FifoNoReader:
        return cannot + wxS(": it is a FIFO that no program reads");
    case Kind::Device:
        return wxString::Format(wxS("%s: it is %s, and of the devices only the null, zero and full devices and "
                                    "terminals are written into"),
                                cannot, other);
    case Kind::Socket:
        return cannot + wxS(": it is a socket");
    case Kind::Kept:
        return wxString::Format(wxS("%s: it is %s"), cannot, other);
    case Kind::Changing:
        return cannot + wxS(": a link or another file was put in its place each time it was opened");
    }
    return wxString();
}

OutputFailure OutputFile::Keep(const std::vector<KeptFile>& kept)
{
    for (const KeptFile& file : kept)
        if (m_identity.Same(file.identity))
            return {OutputFailure::Kind::Kept, 0, m_path, file.what};
    return {};
}

OutputFailure OutputFile::Open(const wxString& path, const std::vector<KeptFile>& kept)
{
    using Kind = OutputFailure::Kind;
    m_path = path;
    const auto failure = [&path](Kind kind, int error, const wxString& other = wxString()) {
        return OutputFailure{kind, error, path, other};
    };
    if (path == wxS("-")) {
        m_stream.Reset(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
        struct stat info {};
        if (!m_stream.Valid() || ::fstat(m_stream.Get(), &info) != 0)
            return failure(Kind::Error, errno);
        m_standardOutput = true;
        m_identity.found = true;
        Identify(m_identity, info);
        return Keep(kept);
    }
    const std::string named = PathToBytes(path);
    // "out.json/" names a folder, as the kernel reads it.
    if (!named.empty() && named.back() == '/')
        return failure(Kind::Error, EISDIR);
    // Each look starts from the path again when a link or a file was put in
    // place of what was looked at; what is opened is what was looked at.
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::string resolved, refused;
        bool throughProcess = false;
        const int error = ResolvePath(named, resolved, refused, &throughProcess);
        if (error == EACCES && !refused.empty())
            return failure(Kind::LinkRefused, error, PathFromBytes(refused));
        if (throughProcess)
            return OpenThroughProcess(named, kept);
        if (error != 0)
            return failure(Kind::Error, error);
        Folder folder;
        const int held = folder.Open(FolderOf(resolved));
        if (held == ELOOP || held == ENOTDIR)
            continue;
        struct stat folderInfo {};
        if (held != 0 || folder.Status(folderInfo) != 0)
            return failure(Kind::Error, held != 0 ? held : errno);
        const std::string name = NameOf(resolved);
        m_identity = FileIdentity{true, folderInfo.st_dev, folderInfo.st_ino, name};

        struct stat info {};
        if (::fstatat(folder.Get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno != ENOENT)
                return failure(Kind::Error, errno);
            if (OutputFailure refusal = Keep(kept))
                return refusal;
            RemoveStaleTemporaries(folder, name);
            if (const int begun = m_writer.Begin(std::move(folder), name, nullptr))
                return failure(Kind::Error, begun);
            m_replacing = true;
            return {};
        }
        if (S_ISLNK(info.st_mode))
            continue;
        if (S_ISDIR(info.st_mode))
            return failure(Kind::Error, EISDIR);
        Identify(m_identity, info);
        // In /tmp and its like: never another user's file (the kernel's own
        // rule for such folders), and no file this user may not replace
        // there, where only a file's owner or the folder's may.
        const uid_t user = ::geteuid();
        if (Folder::SharedAndSticky(folderInfo) && info.st_uid != user &&
            (info.st_uid != folderInfo.st_uid || (S_ISREG(info.st_mode) && user != 0 && user != folderInfo.st_uid)))
            return failure(Kind::OthersFile, EACCES, OwnedKind(info.st_mode));
        if (OutputFailure refusal = Keep(kept))
            return refusal;
        if (S_ISREG(info.st_mode)) {
            // A file its owner made read-only is not replaced behind their back.
            if (::faccessat(folder.Get(), name.c_str(), W_OK, AT_EACCESS) != 0)
                return failure(Kind::Error, errno);
            RemoveStaleTemporaries(folder, name);
            if (const int begun = m_writer.Begin(std::move(folder), name, &info))
                return failure(Kind::Error, begun);
            m_replacing = true;
            return {};
        }
        if (OutputFailure refusal = Unwritable(info, path))
            return refusal;

        // A FIFO, the null device or a terminal: written into as it is.
        SystemCalls().betweenCheckAndUse("output");
        Descriptor stream(
            ::openat(folder.Get(), name.c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
        if (!stream.Valid()) {
            if (errno == ELOOP)
                continue;
            return errno == ENXIO && S_ISFIFO(info.st_mode) ? failure(Kind::FifoNoReader, ENXIO)
                                                            : failure(Kind::Error, errno);
        }
        struct stat opened {};
        if (::fstat(stream.Get(), &opened) != 0)
            return failure(Kind::Error, errno);
        if (opened.st_dev != info.st_dev || opened.st_ino != info.st_ino)
            continue;
        if (const int stopped = StopNonBlocking(stream.Get()))
            return failure(Kind::Error, stopped);
        m_stream = std::move(stream);
        return {};
    }
    return failure(Kind::Changing, EAGAIN);
}

// /dev/stdout, /dev/fd/N: an open file of a process, which the kernel finds.
// This program's own standard output or error is written through its own
// descriptor, where the rest of its output goes too. What the kernel finds
// is looked at before it is opened, and then opened as it was looked at.
OutputFailure OutputFile::OpenThroughProcess(const std::string& named, const std::vector<KeptFile>& kept)
{
    using Kind = OutputFailure::Kind;
    const Descriptor probe(::open(named.c_str(), O_PATH | O_CLOEXEC));
    struct stat info {};
    if (!probe.Valid() || ::fstat(probe.Get(), &info) != 0)
        return {Kind::Error, errno, m_path, {}};
    m_identity.found = true;
    Identify(m_identity, info);
    if (OutputFailure refusal = Keep(kept))
        return refusal;
    for (const int own : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat standard {};
        if (::fstat(own, &standard) == 0 && standard.st_dev == info.st_dev && standard.st_ino == info.st_ino) {
            m_stream.Reset(::fcntl(own, F_DUPFD_CLOEXEC, 0));
            m_standardOutput = own == STDOUT_FILENO;
            return m_stream.Valid() ? OutputFailure{} : OutputFailure{Kind::Error, errno, m_path, {}};
        }
    }
    if (OutputFailure refusal = Unwritable(info, m_path))
        return refusal;
    // A file a process opened for us (3>file) is added to, never cut short.
    const std::string reopen = "/proc/self/fd/" + std::to_string(probe.Get());
    Descriptor stream(::open(reopen.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
                                                 (S_ISREG(info.st_mode) ? O_APPEND : 0)));
    if (!stream.Valid())
        return {errno == ENXIO && S_ISFIFO(info.st_mode) ? Kind::FifoNoReader : Kind::Error, errno, m_path, {}};
    if (const int stopped = StopNonBlocking(stream.Get()))
        return {Kind::Error, stopped, m_path, {}};
    m_stream = std::move(stream);
    return {};
}

int OutputFile::Write(std::string_view data)
{
    if (m_replacing)
        return m_writer.Write({data});
    if (!m_stream.Valid())
        return EBADF;
    if (m_standardOutput)
        std::fflush(stdout);  // what the program printed before comes first
    return WriteAll(m_stream.Get(), data.data(), data.size());
}

int OutputFile::Finish()
{
    if (m_replacing) {
        m_replacing = false;
        return m_writer.Commit();
    }
    return m_stream.Close();
}
