// What hosts may hold on machines with little and with much memory.

#include <gtest/gtest.h>

#include "dorn/HostLimits.h"

namespace teskd::test {
namespace {

constexpr std::size_t kKibibyte = 1024;
constexpr std::size_t kMebibyte = 1024 * kKibibyte;

struct Case {
    std::size_t available;
    std::size_t lines;
    std::size_t pool;
    std::size_t allowance;
    std::size_t requestAllowance;
    std::size_t mostQueued;
    std::size_t largestBody;
    std::size_t connections;
};

constexpr Case kCases[] = {
    {0, 4, 262'144, 4096, 8192, 32'768, 524'288, 4},
    {kMebibyte, 4, 262'144, 4096, 8192, 32'768, 524'288, 5},
    {4 * kMebibyte, 4, 262'144, 4096, 8192, 32'768, 524'288, 23},
    {16 * kMebibyte, 4, 1'048'576, 8192, 12'288, 131'072, 2'097'152, 78},
    {32 * kMebibyte, 0, 2'097'152, 16'384, 16'384, 262'144, 4'194'304, 128},
    {128 * kMebibyte, 4, 8'388'608, 65'536, 69'632, 1'048'576, 16'777'216, 199},
    {2048 * kMebibyte, 4, 8'388'608, 65'536, 69'632, 1'048'576, 16'777'216, 3196},
};

TEST(HostLimitsTest, FollowTheMemoryThatIsAvailable) {
    for (const Case& c : kCases) {
        const HostLimits limits(c.lines, c.available);
        EXPECT_EQ(c.pool, limits.pool()) << c.available;
        EXPECT_EQ(c.allowance, limits.allowance()) << c.available;
        EXPECT_EQ(c.requestAllowance, limits.requestAllowance()) << c.available;
        EXPECT_EQ(c.mostQueued, limits.mostQueued()) << c.available;
        EXPECT_EQ(c.largestBody, limits.largestBody()) << c.available;
        EXPECT_EQ(c.connections, limits.connections()) << c.available;
    }
}

TEST(HostLimitsTest, AreReducedBelow128MebibytesOnly) {
    EXPECT_TRUE(HostLimits(4, 128 * kMebibyte - 1024).areReduced());
    EXPECT_FALSE(HostLimits(4, 128 * kMebibyte).areReduced());
    EXPECT_FALSE(HostLimits(4).areReduced());
}

// With copies of the largest request and answer, and all that connections may hold.
TEST(HostLimitsTest, LeaveTheMachineMoreThanAThird) {
    for (std::size_t mebibytes = 8; mebibytes <= 2048; ++mebibytes) {
        const std::size_t available = mebibytes * kMebibyte;
        const HostLimits limits(4, available);
        const std::size_t ofEach =
            HostLimits::CONNECTION_COST + limits.allowance() + limits.requestAllowance();
        const std::size_t most =
            2 * limits.largestBody() + 2 * limits.pool() + limits.connections() * ofEach;
        EXPECT_LT(most, available / 3 * 2) << mebibytes;
    }
}

}  // namespace
}  // namespace teskd::test
