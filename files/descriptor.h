// The owner of one open file descriptor: closed once, when the owner goes
// or is given another (which also lets any lock held through it go). Every
// descriptor the program opens is held by one.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { Reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }

    /// Closes the one held, and holds `fd` (the one held again: nothing
    /// changes). A close error is not seen here; Close() tells it.
    void Reset(int fd = -1)
    {
        if (m_fd >= 0 && m_fd != fd)
            ::close(m_fd);
        m_fd = fd;
    }
    /// Closes it and says whether the close went well; 0 or the errno.
    int Close()
    {
        if (m_fd < 0)
            return 0;
        const int rc = ::close(std::exchange(m_fd, -1));
        return rc == 0 ? 0 : errno;
    }
    /// Gives it up without closing it.
    int Release() { return std::exchange(m_fd, -1); }
    int Get() const { return m_fd; }
    bool Valid() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};
