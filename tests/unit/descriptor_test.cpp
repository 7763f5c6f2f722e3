// The owner of a file descriptor: one close, whatever is done with it.
#include "files/descriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <type_traits>
#include <utility>

namespace {

static_assert(!std::is_copy_constructible_v<Descriptor> && !std::is_copy_assignable_v<Descriptor>,
              "two owners of one descriptor would close it twice");
static_assert(std::is_nothrow_move_constructible_v<Descriptor> && std::is_nothrow_move_assignable_v<Descriptor>);

bool IsOpen(int fd)
{
    return ::fcntl(fd, F_GETFD) != -1;
}

int OpenNull()
{
    return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(Descriptor, ClosesWhatItHoldsWhenItGoes)
{
    int fd = -1;
    {
        const Descriptor held(OpenNull());
        fd = held.Get();
        ASSERT_GE(fd, 0);
        EXPECT_TRUE(held.Valid());
        EXPECT_TRUE(IsOpen(fd));
    }
    EXPECT_FALSE(IsOpen(fd));
}

TEST(Descriptor, AnEmptyOwnerHoldsNothing)
{
    Descriptor none;
    EXPECT_FALSE(none.Valid());
    EXPECT_EQ(none.Get(), -1);
    EXPECT_EQ(none.Close(), 0);
    EXPECT_EQ(none.Release(), -1);
    const Descriptor failed(::open("/nonexistent/tarnwick", O_RDONLY | O_CLOEXEC));
    EXPECT_FALSE(failed.Valid());
}

TEST(Descriptor, AMoveLeavesOneOwner)
{
    Descriptor first(OpenNull());
    const int fd = first.Get();
    ASSERT_GE(fd, 0);
    Descriptor second(std::move(first));
    EXPECT_FALSE(first.Valid());  // NOLINT: a moved-from owner is empty, as said
    EXPECT_EQ(second.Get(), fd);

    Descriptor third;
    third = std::move(second);
    EXPECT_FALSE(second.Valid());  // NOLINT
    EXPECT_EQ(third.Get(), fd);
    EXPECT_TRUE(IsOpen(fd));

    // Moved onto an owner that held another: that one is closed.
    Descriptor other(OpenNull());
    const int otherFd = other.Get();
    ASSERT_GE(otherFd, 0);
    other = std::move(third);
    EXPECT_FALSE(IsOpen(otherFd));
    EXPECT_EQ(other.Get(), fd);
    EXPECT_TRUE(IsOpen(fd));

    // Onto itself: nothing is closed.
    Descriptor& same = other;
    other = std::move(same);
    EXPECT_EQ(other.Get(), fd);
    EXPECT_TRUE(IsOpen(fd));
}

TEST(Descriptor, ReleaseGivesItUpOpen)
{
    int fd = -1;
    {
        Descriptor held(OpenNull());
        fd = held.Release();
        EXPECT_FALSE(held.Valid());
    }
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(IsOpen(fd));
    EXPECT_EQ(::close(fd), 0);
}

TEST(Descriptor, ResetClosesTheOldOneAndHoldsTheNew)
{
    Descriptor held(OpenNull());
    const int old = held.Get();
    const int fresh = OpenNull();
    ASSERT_GE(old, 0);
    ASSERT_GE(fresh, 0);
    held.Reset(fresh);
    EXPECT_FALSE(IsOpen(old));
    EXPECT_EQ(held.Get(), fresh);
    EXPECT_TRUE(IsOpen(fresh));

    // Given the one it holds: kept open, still held once.
    held.Reset(fresh);
    EXPECT_TRUE(IsOpen(fresh));
    EXPECT_EQ(held.Get(), fresh);

    held.Reset();
    EXPECT_FALSE(held.Valid());
    EXPECT_FALSE(IsOpen(fresh));
}

// A second close would hit whatever reused the number since: the owner must
// leave the newcomer alone.
TEST(Descriptor, NoSecondCloseAfterClose)
{
    int reused = -1;
    {
        Descriptor held(OpenNull());
        const int fd = held.Get();
        ASSERT_GE(fd, 0);
        EXPECT_EQ(held.Close(), 0);
        EXPECT_FALSE(held.Valid());
        EXPECT_FALSE(IsOpen(fd));
        EXPECT_EQ(held.Close(), 0);  // nothing left to close
        reused = OpenNull();         // the lowest free number: likely fd again
        ASSERT_GE(reused, 0);
        held.Reset();
    }  // and its destructor
    EXPECT_TRUE(IsOpen(reused));
    EXPECT_EQ(::close(reused), 0);
}

TEST(Descriptor, AMovedFromOwnerClosesNothingWhenItGoes)
{
    Descriptor kept;
    int fd = -1;
    {
        Descriptor moved(OpenNull());
        fd = moved.Get();
        ASSERT_GE(fd, 0);
        kept = std::move(moved);
    }
    EXPECT_TRUE(IsOpen(fd));
    EXPECT_EQ(kept.Get(), fd);
}

TEST(Descriptor, CloseReportsAnError)
{
    // A number that is not open stands for a close that fails.
    const int fd = OpenNull();
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::close(fd), 0);
    Descriptor stale(fd);
    EXPECT_EQ(stale.Close(), EBADF);
    EXPECT_FALSE(stale.Valid());
    EXPECT_EQ(stale.Close(), 0);
}

}  // namespace
