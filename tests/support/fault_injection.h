// A file system that refuses what some do (locks, hard links, renames that
// never replace) or runs full, for the file routines under test: the calls
// they make are replaced for the lifetime of a FaultyFileSystem.
#pragma once

#include "files/atomic_file.h"

#include <fcntl.h>
#include <stdio.h>

#include <cerrno>

class FaultyFileSystem {
public:
    FaultyFileSystem() : m_saved(SystemCalls()) { RefusedRenames() = 0; }
    ~FaultyFileSystem() { SystemCalls() = m_saved; }
    FaultyFileSystem(const FaultyFileSystem&) = delete;
    FaultyFileSystem& operator=(const FaultyFileSystem&) = delete;

    /// flock() fails with ENOSYS, as on a network file system without locks.
    static void WithoutLocks()
    {
        SystemCalls().flock = [](int, int) {
            errno = ENOSYS;
            return -1;
        };
    }
    /// link() fails with EPERM, as on vfat.
    static void WithoutHardLinks()
    {
        SystemCalls().linkAt = [](int, const char*, int, const char*) {
            errno = EPERM;
            return -1;
        };
    }
    /// A rename that never replaces fails with EINVAL.
    static void WithoutNoReplaceRenames() { RefuseRenames(RENAME_NOREPLACE); }
    /// A rename that swaps two names fails with EINVAL, as on a file system
    /// that cannot (some FUSE and network ones).
    static void WithoutExchangeRenames() { RefuseRenames(RENAME_EXCHANGE); }
    /// fchmod() fails with ENOSYS, as on FAT through FUSE.
    static void WithoutModes()
    {
        SystemCalls().fchmod = [](int, mode_t) {
            errno = ENOSYS;
            return -1;
        };
    }

    /// The calls as they were before this object.
    const FileSystemCalls& Real() const { return m_saved; }

private:
    // Renames with any of `flags` fail with EINVAL; the others are made.
    static unsigned& RefusedRenames()
    {
        static unsigned refused = 0;
        return refused;
    }
    static void RefuseRenames(unsigned flags)
    {
        RefusedRenames() |= flags;
        SystemCalls().renameAt = [](int fromFolder, const char* from, int toFolder, const char* to, unsigned how) {
            if ((how & RefusedRenames()) != 0) {
                errno = EINVAL;
                return -1;
            }
            return ::renameat2(fromFolder, from, toFolder, to, how);
        };
    }

    FileSystemCalls m_saved;
};
