#include "files/file_lock.h"

#include "files/path_text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

FileLock::FileLock(const wxString& path, Mode mode)
{
    const std::string bytes = PathToBytes(path);
    const char* name = bytes.c_str();
    const int operation = mode == Mode::Exclusive ? LOCK_EX : LOCK_SH;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const int fd = ::open(name, O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        int rc;
        do
            rc = ::flock(fd, operation);
        while (rc != 0 && errno == EINTR);
        struct stat locked {}, current {};
        if (rc == 0 && ::fstat(fd, &locked) == 0 && ::stat(name, &current) == 0 &&
            locked.st_dev == current.st_dev && locked.st_ino == current.st_ino) {
            m_fd = fd;
            return;
        }
        ::close(fd);  // replaced while we waited: lock the new file
        if (rc != 0)
            return;
    }
}

FileLock::~FileLock()
{
    if (m_fd >= 0)
        ::close(m_fd);  // closing releases the lock
}
