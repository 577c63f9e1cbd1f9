#include <chrono>
#include <gtest/gtest.h>

#include "dorn/NoticeLimiter.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

using Clock = std::chrono::steady_clock;

TEST(NoticeLimiterTest, LetsAFewLinesThroughAndNoMore) {
    NoticeLimiter limiter;
    for (int line = 1; line <= 4; ++line) EXPECT_TRUE(limiter.allows()) << line;
    for (int line = 5; line <= 100; ++line) EXPECT_FALSE(limiter.allows()) << line;
}

TEST(NoticeLimiterTest, LetsAFewMoreThroughInTheNextSecond) {
    NoticeLimiter limiter;
    const Clock::time_point start = Clock::now();
    while (limiter.allows()) continue;
    ASSERT_TRUE(eventually([&limiter] { return limiter.allows(); }));
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
    for (int line = 2; line <= 4; ++line) EXPECT_TRUE(limiter.allows()) << line;
    EXPECT_FALSE(limiter.allows());
}

}  // namespace
}  // namespace teskd::test
