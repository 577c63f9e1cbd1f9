#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <limits>
#include <poll.h>

#include "core/Deadline.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using teskd::Deadline;

TEST(Deadline, PassesWhenItsTimeIsOver) {
    const Deadline soon = Deadline::after(20ms);
    const Deadline late = Deadline::after(24h);
    while (!soon.hasPassed()) ::poll(nullptr, 0, 1);
    EXPECT_EQ(0, soon.pollTimeout());
    EXPECT_FALSE(late.hasPassed());
}

TEST(Deadline, ThatLiesInThePastHasPassed) {
    for (const Deadline past : {Deadline::passed(), Deadline::after(0ms), Deadline::after(-1h)}) {
        EXPECT_TRUE(past.hasPassed());
        EXPECT_EQ(0, past.pollTimeout());
    }
}

TEST(Deadline, ThatNeverPassesPollsWithoutLimit) {
    EXPECT_FALSE(Deadline::never().hasPassed());
    EXPECT_EQ(-1, Deadline::never().pollTimeout());
}

TEST(Deadline, CountsTheMillisecondsThatAreLeft) {
    const int left = Deadline::after(1h).pollTimeout();
    EXPECT_LE(left, 3'600'000);
    EXPECT_GT(left, 3'000'000);
}

// Otherwise whoever polls until then would spin through the last millisecond.
TEST(Deadline, IsZeroMillisecondsAwayOnlyOnceItHasPassed) {
    int compared = 0;
    for (int i = 0; i < 100'000 && compared < 100; ++i) {
        const Deadline deadline = Deadline::after(300us);
        const int left = deadline.pollTimeout();
        if (deadline.hasPassed()) continue;
        ASSERT_EQ(1, left);
        ++compared;
    }
    EXPECT_EQ(100, compared);
}

TEST(Deadline, AYearIsCutToWhatPollCanTake) {
    EXPECT_EQ(std::numeric_limits<int>::max(), Deadline::after(24h * 365).pollTimeout());
}

TEST(Deadline, ATimeoutOfZeroNeverPasses) {
    EXPECT_EQ(Deadline::never(), Deadline::ofTimeout(0));
    const int left = Deadline::ofTimeout(3'600'000).pollTimeout();
    EXPECT_LE(left, 3'600'000);
    EXPECT_GT(left, 3'000'000);
}

TEST(Deadline, TheEarlierOneIsLess) {
    const Deadline hour = Deadline::after(1h);
    EXPECT_EQ(hour, std::min(hour, Deadline::never()));
    EXPECT_EQ(hour, std::min(Deadline::after(2h), hour));
    EXPECT_EQ(Deadline::passed(), std::min(hour, Deadline::passed()));
}

}  // namespace
}  // namespace teskd::test
