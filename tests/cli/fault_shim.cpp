// Loaded into tarnwick-cli with LD_PRELOAD, it makes the system calls named
// in TARNWICK_TEST_REFUSE fail as a file system without them would fail:
// "flock" with ENOSYS (a network file system without locks), "link" (link
// and linkat) with EPERM (a file system without hard links), "renameat2"
// with EINVAL for a rename with flags (one that cannot rename without
// replacing, nor swap two names), "fchmod" with ENOSYS (FAT through FUSE).
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <stdio.h>

namespace {
bool Refused(const char* call)
{
    const char* list = std::getenv("TARNWICK_TEST_REFUSE");
    if (list == nullptr)
        return false;
    const std::size_t length = std::strlen(call);
    for (const char* at = std::strstr(list, call); at != nullptr; at = std::strstr(at + 1, call))
        if ((at == list || at[-1] == ',') && (at[length] == '\0' || at[length] == ','))
            return true;
    return false;
}

template <typename Call>
Call Next(const char* name)
{
    return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, name));
}
}  // namespace

extern "C" int flock(int fd, int operation)
{
    if (Refused("flock")) {
        errno = ENOSYS;
        return -1;
    }
    return Next<int (*)(int, int)>("flock")(fd, operation);
}

extern "C" int link(const char* from, const char* to)
{
    if (Refused("link")) {
        errno = EPERM;
        return -1;
    }
    return Next<int (*)(const char*, const char*)>("link")(from, to);
}

extern "C" int linkat(int fromDir, const char* from, int toDir, const char* to, int flags)
{
    if (Refused("link")) {
        errno = EPERM;
        return -1;
    }
    return Next<int (*)(int, const char*, int, const char*, int)>("linkat")(fromDir, from, toDir, to, flags);
}

extern "C" int fchmod(int fd, mode_t mode)
{
    if (Refused("fchmod")) {
        errno = ENOSYS;
        return -1;
    }
    return Next<int (*)(int, mode_t)>("fchmod")(fd, mode);
}

extern "C" int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned int flags)
{
    if (flags != 0 && Refused("renameat2")) {
        errno = EINVAL;
        return -1;
    }
    return Next<int (*)(int, const char*, int, const char*, unsigned int)>("renameat2")(fromDir, from, toDir, to,
                                                                                         flags);
}
