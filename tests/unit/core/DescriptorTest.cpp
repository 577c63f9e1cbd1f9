#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utility>

#include "core/Descriptor.h"

namespace teskd::test {
namespace {

int openSomething() {
    return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int fd) {
    return ::fcntl(fd, F_GETFD) >= 0;
}

TEST(Descriptor, HoldsNothingAtFirst) {
    const Descriptor descriptor;
    EXPECT_FALSE(descriptor.isOpen());
    EXPECT_EQ(-1, descriptor.get());
}

TEST(Descriptor, ClosesWhatItHoldsWhenItGoes) {
    const int fd = openSomething();
    {
        const Descriptor descriptor(fd);
        EXPECT_TRUE(descriptor.isOpen());
        EXPECT_EQ(fd, descriptor.get());
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(Descriptor, ResetClosesTheOldAndTakesTheNew) {
    const int first = openSomething();
    const int second = openSomething();
    Descriptor descriptor(first);
    descriptor.reset(second);
    EXPECT_FALSE(isOpen(first));
    EXPECT_EQ(second, descriptor.get());
    descriptor.reset();
    EXPECT_FALSE(isOpen(second));
    EXPECT_FALSE(descriptor.isOpen());
}

TEST(Descriptor, MovingPassesItOn) {
    const int fd = openSomething();
    Descriptor from(fd);
    Descriptor to(std::move(from));
    EXPECT_EQ(fd, to.get());
    const int old = openSomething();
    Descriptor last(old);
    last = std::move(to);
    EXPECT_EQ(fd, last.get());
    EXPECT_FALSE(isOpen(old));
    EXPECT_TRUE(isOpen(fd));
}

TEST(Descriptor, CloseSaysWhatTheSystemSays) {
    const int fd = openSomething();
    Descriptor descriptor(fd);
    EXPECT_EQ(0, descriptor.close());
    EXPECT_FALSE(isOpen(fd));
    EXPECT_FALSE(descriptor.isOpen());
    errno = 0;
    EXPECT_EQ(-1, descriptor.close());
    EXPECT_EQ(EBADF, errno);
}

// The system has given the number free whatever it answers; the next one to open something gets it.
TEST(Descriptor, ANumberWhoseCloseFailedIsNeverClosedAgain) {
    const int fd = openSomething();
    Descriptor descriptor(fd);
    ::close(fd);
    EXPECT_EQ(-1, descriptor.close());
    EXPECT_FALSE(descriptor.isOpen());
    const Descriptor others(openSomething());
    ASSERT_EQ(fd, others.get());
    descriptor.reset();
    EXPECT_TRUE(isOpen(fd));
}

}  // namespace
}  // namespace teskd::test
