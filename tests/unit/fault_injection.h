// A file system that refuses what some do (locks, hard links, renames that
// never replace) or runs full, for the file routines under test: the calls
// they make are replaced for the lifetime of a FaultyFileSystem.
#pragma once

#include "files/atomic_file.h"

#include <cerrno>

class FaultyFileSystem {
public:
    FaultyFileSystem() : m_saved(SystemCalls()) {}
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
        SystemCalls().link = [](const char*, const char*) {
            errno = EPERM;
            return -1;
        };
    }
    /// A rename that never replaces fails with EINVAL.
    static void WithoutNoReplaceRenames()
    {
        SystemCalls().renameNoReplace = [](const char*, const char*) {
            errno = EINVAL;
            return -1;
        };
    }

    /// The calls as they were before this object.
    const FileSystemCalls& Real() const { return m_saved; }

private:
    FileSystemCalls m_saved;
};
