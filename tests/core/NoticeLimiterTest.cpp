#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/NoticeLimiter.h"
#include "support/Deadline.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<LogEntry>;

LogEntry leftOut(unsigned long lines) {
    return {181, std::to_string(lines) + " more lines were not logged"};
}

class NoticeLimiterTest : public testing::Test {
  protected:
    // How many of so many lines are allowed at once.
    static int allowed(NoticeLimiter& limiter, int lines) {
        int count = 0;
        for (; lines > 0; --lines) count += limiter.allows() ? 1 : 0;
        return count;
    }

    LogRecorder log;
};

TEST_F(NoticeLimiterTest, LetsAFewLinesThroughAndNoMore) {
    NoticeLimiter limiter;
    for (int line = 1; line <= 4; ++line) EXPECT_TRUE(limiter.allows()) << line;
    for (int line = 5; line <= 100; ++line) EXPECT_FALSE(limiter.allows()) << line;
}

TEST_F(NoticeLimiterTest, LetsAFewMoreThroughInTheNextSecond) {
    NoticeLimiter limiter;
    const Clock::time_point start = Clock::now();
    while (limiter.allows()) continue;
    ASSERT_TRUE(eventually([&limiter] { return limiter.allows(); }));
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
    for (int line = 2; line <= 4; ++line) EXPECT_TRUE(limiter.allows()) << line;
    EXPECT_FALSE(limiter.allows());
}

TEST_F(NoticeLimiterTest, LetsAsManyThroughAsItWasMadeFor) {
    NoticeLimiter limiter(7);
    EXPECT_EQ(7, allowed(limiter, 100));
}

TEST_F(NoticeLimiterTest, SaysHowManyWereLeftOutInFrontOfTheNextLine) {
    NoticeLimiter limiter;
    EXPECT_EQ(4, allowed(limiter, 4));
    unsigned long tries = 0;
    ASSERT_TRUE(eventually([&] {
        ++tries;
        return limiter.allows();
    }));
    ASSERT_LT(1U, tries);
    EXPECT_EQ(Lines{leftOut(tries - 1)}, log.lines());
}

TEST_F(NoticeLimiterTest, SaysNothingWhenNothingWasLeftOut) {
    {
        NoticeLimiter limiter;
        EXPECT_EQ(4, allowed(limiter, 4));
        EXPECT_FALSE(limiter.hasLeftOut());
        limiter.report();
    }
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(NoticeLimiterTest, ReportsOnceTheSecondIsOver) {
    NoticeLimiter limiter;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(4, allowed(limiter, 10));
    EXPECT_TRUE(limiter.hasLeftOut());
    ASSERT_TRUE(eventually([&] {
        limiter.report();
        return !limiter.hasLeftOut();
    }));
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
    limiter.report();
    EXPECT_EQ(Lines{leftOut(6)}, log.lines());
}

TEST_F(NoticeLimiterTest, SaysAtItsEndHowManyWereLeftOut) {
    {
        NoticeLimiter limiter;
        allowed(limiter, 9);
    }
    EXPECT_EQ(Lines{leftOut(5)}, log.lines());
}

TEST_F(NoticeLimiterTest, SeveralSourcesLogNoMoreThanTheirSharedBound) {
    NoticeLimiter shared(6);
    NoticeLimiter first(4, &shared);
    NoticeLimiter second(4, &shared);
    EXPECT_EQ(4, allowed(first, 4));
    EXPECT_EQ(2, allowed(second, 4));
    EXPECT_TRUE(shared.hasLeftOut());
    EXPECT_FALSE(second.hasLeftOut());
}

TEST_F(NoticeLimiterTest, WhatASourceLeftOutIsCountedWithTheOthersWhenTheyHaveLoggedEnough) {
    {
        NoticeLimiter shared(4);
        {
            NoticeLimiter source(4, &shared);
            EXPECT_EQ(4, allowed(source, 10));
        }
        EXPECT_EQ(Lines{}, log.lines());
    }
    EXPECT_EQ(Lines{leftOut(6)}, log.lines());
}

TEST_F(NoticeLimiterTest, CountsEveryLineOfManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kLines = 20000;
    std::atomic<unsigned long> counted{0};
    {
        NoticeLimiter limiter;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back(
                [&] { counted += static_cast<unsigned long>(allowed(limiter, kLines)); });
        }
        for (std::thread& thread : threads) thread.join();
    }
    for (const LogEntry& entry : log.lines()) counted += std::stoul(entry.text);
    EXPECT_EQ(static_cast<unsigned long>(kThreads * kLines), counted.load());
}

}  // namespace
}  // namespace teskd::test
