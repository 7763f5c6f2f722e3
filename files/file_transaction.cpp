#include "files/file_transaction.h"

#include "files/atomic_file.h"
#include "files/descriptor.h"
#include "files/path_text.h"

#include <wx/log.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {
std::atomic<bool> ChangesWithoutLock{false};

bool SameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether `path` still names the file open as `fd`.
bool StillNames(const std::string& path, int fd)
{
    struct stat named {}, opened {};
    return ::stat(path.c_str(), &named) == 0 && ::fstat(fd, &opened) == 0 && SameFile(named, opened);
}

int LockFile(int fd, int operation)
{
    int rc;
    while ((rc = SystemCalls().flock(fd, operation)) != 0 && errno == EINTR) {
    }
    return rc == 0 ? 0 : errno;
}

wxString Megabytes(std::uint64_t bytes)
{
    return wxString::Format(wxS("%.1f MB"), double(bytes) / 1e6);
}

// Makes the missing file at `target` from the template: whole, and never
// over a file that another program made meanwhile (EEXIST then).
int MakeFromTemplate(const DataFileAccess& access, const std::string& target)
{
    std::string bytes;
    if (!access.startEmpty) {
        const Descriptor source(
            ::open(PathToBytes(access.templatePath).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (!source.Valid())
            return errno;
        struct stat info {};
        if (::fstat(source.Get(), &info) != 0)
            return errno;
        if (!S_ISREG(info.st_mode))
            return S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
        if (const int error = ReadAll(source.Get(), bytes, access.sizeLimit))
            return error;
    }
    ReplacingWriter writer;
    int error = writer.Begin(target, nullptr);
    if (error == 0)
        error = writer.Write({bytes});
    if (error == 0)
        error = writer.CommitNew();
    return error;
}
}  // namespace

wxString RefusedLinkText(const wxString& link, const wxString& file)
{
    return wxString::Format(wxS("%s is a symbolic link that another user made in a folder others may write to "
                                "(sticky); such links are not followed"),
                            link == file ? wxString(wxS("it")) : AbsolutePath(link));
}

void AllowChangesWithoutLock(bool allowed)
{
    ChangesWithoutLock.store(allowed);
}

bool ChangesWithoutLockAllowed()
{
    return ChangesWithoutLock.load();
}

wxString FileFailure::Text() const
{
    const wxString file = AbsolutePath(path), reason = ErrorText(error);
    switch (kind) {
    case Kind::None:
        return wxString();
    case Kind::NotMade:
        return wxString::Format(wxS("%s does not exist and could not be made from the template (%s)"), file,
                                other.empty() ? reason : other);
    case Kind::NoParent:
        return wxString::Format(wxS("%s could not be made: the folder %s does not exist"), file, AbsolutePath(other));
    case Kind::Unreadable:
        return wxString::Format(wxS("%s could not be read (%s)"), file, reason);
    case Kind::NotRegular:
        return wxString::Format(wxS("%s is %s, not a regular file"), file, other);
    case Kind::TooLarge:
        if (!other.empty())
            return wxString::Format(wxS("%s is too large: %s %s, at most %s on this machine"), file, other,
                                    Megabytes(size), Megabytes(limit));
        return wxString::Format(wxS("%s is too large (%s; at most %s)"), file, Megabytes(size), Megabytes(limit));
    case Kind::LinkRefused:
        return wxString::Format(wxS("%s could not be opened: %s"), file, RefusedLinkText(other, path));
    case Kind::NotLocked:
        return wxString::Format(wxS("%s could not be locked (%s), so another program could change it at the same "
                                    "time"),
                                file, reason);
    case Kind::Moved:
        return wxString::Format(wxS("%s was moved or removed by another program while it was being changed (%s)"),
                                file, reason);
    case Kind::FolderClosed:
        return wxString::Format(wxS("%s could not be written: its folder %s takes no new files from this user "
                                    "(%s), and the file is only ever replaced whole"),
                                file, AbsolutePath(other), reason);
    case Kind::NotEncodable:
        return wxString::Format(wxS("%s could not be written: line %zu holds a character that %s cannot hold"),
                                file, line, other);
    case Kind::CutUnit:
        return wxString::Format(wxS("%s could not be written: line %zu ends in a cut %s unit, which no line can "
                                    "follow"),
                                file, line, other);
    case Kind::Unwritable:
        return wxString::Format(wxS("%s could not be written (%s)"), file, reason);
    case Kind::NoBackup:
        return other.empty() ? wxString::Format(wxS("The backup %s could not be written (%s)"), file, reason)
                             : wxString::Format(wxS("The backup %s could not be written: %s"), file, other);
    case Kind::NoFolder:
        return wxString::Format(wxS("The program's own folder could not be found (%s)"), reason);
    case Kind::Refused:
        return wxString::Format(wxS("The record %s, which %s does not take"), other, file);
    }
    return wxString();
}

namespace {
// One attempt at an access; `redo` is set when another program put a file in
// place of the one read just before the change was renamed over it: that
// file is then read and changed in its turn.
FileOutcome AccessOnce(const DataFileAccess& access, const FileEditor& edit, bool& redo)
{
    redo = false;
    FileOutcome out;
    FileFailure& failure = out.failure;
    const auto fail = [&](FileFailure::Kind kind, const wxString& path, int error, const wxString& other = {}) {
        failure.kind = kind;
        const bool notMade = kind == FileFailure::Kind::NotMade || kind == FileFailure::Kind::NoParent;
        failure.status = notMade ? 1 : kind == FileFailure::Kind::NoBackup ? 3 : 2;
        failure.path = path;
        failure.error = error;
        if (!other.empty())
            failure.other = other;
        return out;
    };
    if (access.path.empty())
        return fail(FileFailure::Kind::NoFolder, access.path, ENOENT);
    const std::string named = PathToBytes(access.path);

    // Open the file the path leads to, made from the template when missing,
    // and lock it; a writer that replaced it meanwhile makes us start again.
    std::string resolved, refused;
    Descriptor file;
    struct stat info {};
    bool locked = false;
    for (int attempt = 0;; ++attempt) {
        if (attempt == 1000)
            return fail(FileFailure::Kind::Moved, access.path, EAGAIN);
        int error = ResolvePath(named, resolved, refused);
        if (error == EACCES && !refused.empty())
            return fail(FileFailure::Kind::LinkRefused, access.path, error, PathFromBytes(refused));
        if (error == ENOENT) {
            // A missing folder is never made: it is a drive not mounted, or a
            // name mistyped.
            const std::size_t slash = named.rfind('/');
            const std::string folder = slash == 0 ? "/" : slash == std::string::npos ? "." : named.substr(0, slash);
            struct stat folderInfo {};
            if (::stat(folder.c_str(), &folderInfo) != 0 && errno == ENOENT)
                return fail(FileFailure::Kind::NoParent, access.path, ENOENT, PathFromBytes(folder));
        }
        if (error == ENOENT || error == ENOTDIR)
            return fail(FileFailure::Kind::NotMade, access.path, error);
        if (error != 0)
            return fail(FileFailure::Kind::Unreadable, access.path, error);
        out.file = PathFromBytes(resolved);

        // No link is followed here: one put in place since it was resolved
        // makes us resolve it again.
        const int fd = ::open(resolved.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0 && errno == ELOOP)
            continue;
        if (fd < 0 && errno == ENOENT) {
            error = MakeFromTemplate(access, resolved);
            if (error == 0) {
                out.created = true;
                if (access.created)
                    access.created();
            } else if (error != EEXIST) {  // EEXIST: another program has just made it
                return fail(FileFailure::Kind::NotMade, access.path, error);
            }
            continue;
        }
        if (fd < 0)
            return fail(FileFailure::Kind::Unreadable, access.path, errno);
        file.Reset(fd);
        if (::fstat(fd, &info) != 0)
            return fail(FileFailure::Kind::Unreadable, access.path, errno);
        if (!S_ISREG(info.st_mode))
            return fail(FileFailure::Kind::NotRegular, access.path, EINVAL, FileKind(info.st_mode));
        if (std::uint64_t(info.st_size) > access.sizeLimit) {
            failure.size = std::uint64_t(info.st_size);
            failure.limit = access.sizeLimit;
            return fail(FileFailure::Kind::TooLarge, access.path, EFBIG);
        }
        const int lockError = LockFile(fd, access.change ? LOCK_EX : LOCK_SH);
        if (lockError != 0 && access.change && !ChangesWithoutLock.load())
            return fail(FileFailure::Kind::NotLocked, access.path, lockError);
        locked = lockError == 0;
        if (StillNames(resolved, fd))
            break;
    }

    const std::string backupPath =
        access.backupName ? FolderOf(resolved) + "/" + access.backupName(NameOf(resolved)) : "";
    const std::string backup = access.backUp ? backupPath : "";
    if (access.change && locked) {
        // What killed writers left, beside the file and its backup; no live
        // writer has one while we hold the lock.
        RemoveStaleTemporaries(resolved);
        if (!backupPath.empty())
            RemoveStaleTemporaries(backupPath);
    }
    std::string bytes;
    if (const int error = ReadAll(file.Get(), bytes, access.sizeLimit)) {
        if (error == EFBIG) {
            failure.size = std::uint64_t(info.st_size);
            failure.limit = access.sizeLimit;
            return fail(FileFailure::Kind::TooLarge, access.path, error);
        }
        return fail(FileFailure::Kind::Unreadable, access.path, error);
    }

    FileContent next;
    out.edit = edit(bytes, next, failure);
    if (failure.kind != FileFailure::Kind::None) {
        if (failure.path.empty())
            failure.path = out.file;
        return fail(failure.kind, failure.path, failure.error);
    }
    if (out.edit == FileEdit::Gone || out.edit == FileEdit::Nothing)
        return out;
    const bool writing = out.edit == FileEdit::Changed && access.change;

    // The new version first, beside the file: a folder that takes no new
    // files, or a full disk, stops the change before the backup is touched.
    ReplacingWriter writer;
    if (writing) {
        if (!StillNames(resolved, file.Get()))
            return fail(FileFailure::Kind::Moved, access.path, ENOENT);
        // A file its owner made read-only is not replaced behind their back.
        if (::access(resolved.c_str(), W_OK) != 0)
            return fail(FileFailure::Kind::Unwritable, out.file, errno);
        int error = writer.Begin(resolved, &info);
        if (error == EACCES || error == EPERM)
            return fail(FileFailure::Kind::FolderClosed, out.file, error, PathFromBytes(FolderOf(resolved)));
        if (error == 0 && next.keepOld)
            error = writer.Write({bytes});
        if (error == 0)
            error = writer.Write({next.bytes});
        if (error == 0)
            error = writer.Flush();
        if (error != 0)
            return fail(FileFailure::Kind::Unwritable, out.file, error);
    }

    if (!backup.empty()) {
        // The backup is the bytes just read: the file as it is under the lock.
        if (writing && !StillNames(resolved, file.Get()))
            return fail(FileFailure::Kind::Moved, access.path, ENOENT);
        std::string backupTarget;
        const wxString shown = PathFromBytes(backup);
        int error = ResolvePath(backup, backupTarget, refused);
        if (error == EACCES && !refused.empty())
            return fail(FileFailure::Kind::NoBackup, shown, error, RefusedLinkText(PathFromBytes(refused), shown));
        if (error == 0) {
            struct stat there {};
            if (::stat(backupTarget.c_str(), &there) == 0 && !S_ISREG(there.st_mode))
                return fail(FileFailure::Kind::NoBackup, shown, EINVAL,
                            wxString::Format(wxS("it is %s, not a regular file"), FileKind(there.st_mode)));
            error = ReplaceFile(backupTarget, {bytes});
        }
        if (error != 0)
            return fail(FileFailure::Kind::NoBackup, shown, error);
    }

    if (writing) {
        const int error = writer.CommitOver(info);
        if (error == EAGAIN) {
            redo = true;
            return out;
        }
        if (error == ENOENT)
            return fail(FileFailure::Kind::Moved, access.path, ENOENT);
        if (error != 0)
            return fail(FileFailure::Kind::Unwritable, out.file, error);
    }
    return out;
}
}  // namespace

FileOutcome AccessDataFile(const DataFileAccess& access, const FileEditor& edit)
{
    wxLogNull quiet;
    bool created = false;
    for (int attempt = 0;; ++attempt) {
        bool redo = false;
        FileOutcome out = AccessOnce(access, edit, redo);
        created = created || out.created;
        out.created = created;
        if (!redo)
            return out;
        if (attempt == 100) {
            out.edit = FileEdit::Nothing;
            out.failure.kind = FileFailure::Kind::Moved;
            out.failure.status = 2;
            out.failure.path = access.path;
            out.failure.error = EAGAIN;
            return out;
        }
    }
}
