// An advisory lock on a file that is replaced by rename when written.
#pragma once

#include <wx/string.h>

/// Holds flock() on the file at a path for its lifetime. Because writes
/// replace the file by a renamed temporary, the lock is taken on the file the
/// path names *after* locking: if the path moved on meanwhile, it locks again.
class FileLock {
public:
    enum class Mode { Shared, Exclusive };

    FileLock(const wxString& path, Mode mode);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool IsLocked() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};
