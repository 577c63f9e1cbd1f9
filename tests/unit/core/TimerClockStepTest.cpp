// Timers and a wall clock that somebody sets, and long stretches of time.

#include <gtest/gtest.h>

#include "ProbeTask.h"
#include "core/Timer.h"
#include "support_src/FakeClock.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using Times = std::vector<std::int64_t>;

constexpr std::int64_t kStart = 1'700'000'000'000'000;
constexpr std::int64_t kSecond = 1'000'000;
constexpr std::int64_t kHour = 3600 * kSecond;

class TimerClockStepTest : public testing::Test {
  protected:
    // Lets time trickle until the condition holds.
    template <class Condition>
    bool withinMoments(Condition condition) {
        return eventually([&] {
            clock.advance(1);
            return condition();
        });
    }
    void passSeconds(int count) {
        for (int i = 0; i < count; ++i) ASSERT_TRUE(clock.advanceAndSettle(kSecond));
    }

    FakeClock clock{kStart};
};

TEST_F(TimerClockStepTest, SetBackAnHourEveryWaitingTaskRunsAtTheNextPass) {
    ProbeTask once(clock);
    ProbeTask delayed(clock);
    ProbeTask rated(clock);
    Timer timer("T", clock);
    timer.schedule(once, 1'800'000, 0);
    timer.schedule(delayed, 900'000, 600'000);
    timer.scheduleAtFixedRate(rated, 60'000, 60'000);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.step(-kHour);
    clock.advance(kSecond);
    EXPECT_TRUE(withinMoments([&] { return once.runs() + delayed.runs() + rated.runs() == 3; }));
    for (const ProbeTask* task : {&once, &delayed, &rated}) {
        ASSERT_EQ(1U, task->runs());
        EXPECT_LT(task->times().front(), kStart - kHour + 2 * kSecond);
    }
}

// As when the time server's answer sets the clock right and another answer schedules a task.
TEST_F(TimerClockStepTest, SetBackByLessThanASleepNothingRunsWhenATaskIsScheduled) {
    ProbeTask waiting(clock);
    ProbeTask scheduled(clock);
    Timer timer("T", clock);
    timer.schedule(waiting, 60'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.step(-300'000);
    timer.schedule(scheduled, 60'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    ASSERT_TRUE(clock.advanceAndSettle(kSecond));
    EXPECT_EQ(0U, waiting.runs());
    EXPECT_EQ(0U, scheduled.runs());
}

// Each scheduling wakes the timer; none may put off the moment at which it looks at the clock.
TEST_F(TimerClockStepTest, SetBackWhileOthersAreScheduledAWaitingTaskRunsWithinASecond) {
    ProbeTask waiting(clock);
    ProbeTask scheduled(clock);
    Timer timer("T", clock);
    timer.schedule(waiting, 60'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.step(-kHour);
    ASSERT_TRUE(clock.advanceAndSettle(kSecond / 2));
    timer.schedule(scheduled, 60'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.advance(kSecond / 2);
    EXPECT_TRUE(withinMoments([&] { return waiting.runs() == 1; }));
}

TEST_F(TimerClockStepTest, AfterASetBackPeriodicTasksGoOnFromTheNewTime) {
    ProbeTask delayed(clock);
    ProbeTask rated(clock);
    Timer timer("T", clock);
    timer.schedule(delayed, 60'000, 60'000);
    timer.scheduleAtFixedRate(rated, 60'000, 60'000);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.step(-kHour);
    clock.advance(kSecond);
    ASSERT_TRUE(withinMoments([&] { return delayed.runs() == 1 && rated.runs() == 1; }));
    ASSERT_TRUE(clock.advanceAndSettle(kSecond + 1));  // never just when a task is due
    passSeconds(57);
    EXPECT_EQ(1U, delayed.runs());
    EXPECT_EQ(1U, rated.runs());
    passSeconds(3);
    EXPECT_EQ(2U, delayed.runs());
    EXPECT_EQ(2U, rated.runs());
}

TEST_F(TimerClockStepTest, SetBackByAMomentCountsAsSetBackToo) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 1'800'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.step(-kSecond - 500);
    clock.advance(kSecond);
    EXPECT_TRUE(withinMoments([&] { return task.runs() == 1; }));
}

TEST_F(TimerClockStepTest, ATimeThatPassesEvenlyIsNoStep) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 60'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    passSeconds(59);
    EXPECT_EQ(0U, task.runs());
    clock.advance(kSecond + 1);
    EXPECT_TRUE(task.eventuallyRuns(1));
}

TEST_F(TimerClockStepTest, SetForwardAnHourEveryDueTaskRunsOnceAndRatesStartFromTheNewTime) {
    ProbeTask once(clock);
    ProbeTask delayed(clock);
    ProbeTask rated(clock);
    Timer timer("T", clock);
    timer.schedule(once, 1'800'000, 0);
    timer.schedule(delayed, 60'000, 60'000);
    timer.scheduleAtFixedRate(rated, 60'000, 60'000);
    passSeconds(1);  // so that the timer sleeps knowing all three
    clock.step(kHour);
    passSeconds(1);
    const Times now{kStart + kHour + 2 * kSecond};
    EXPECT_EQ(now, once.times());
    EXPECT_EQ(now, delayed.times());
    EXPECT_EQ(now, rated.times());
    passSeconds(59);
    EXPECT_EQ(1U, rated.runs());
    ASSERT_TRUE(clock.advanceAndSettle(kSecond + 1));
    EXPECT_EQ(2U, delayed.runs());
    EXPECT_EQ(2U, rated.runs());
}

TEST_F(TimerClockStepTest, SetForwardATaskThatIsNotDueWaitsOn) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 7'200'000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.step(kHour);
    passSeconds(2);
    EXPECT_EQ(0U, task.runs());
}

TEST_F(TimerClockStepTest, AFixedRateTaskCatchesUpWithoutSleepAfterAGapBelowFiveSeconds) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.scheduleAtFixedRate(task, 1000, 1000);
    ASSERT_TRUE(clock.awaitSleeper());
    ASSERT_TRUE(clock.advanceAndSettle(4'999'999));
    constexpr std::int64_t pass = kStart + 4'999'999;
    EXPECT_EQ((Times{pass, pass, pass, pass}), task.times());
    EXPECT_EQ((Times{kStart + kSecond, kStart + 5 * kSecond}), clock.wakeTimes());
}

TEST_F(TimerClockStepTest, AFixedRateTaskStartsFromTheNewTimeAfterAGapOfFiveSeconds) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.scheduleAtFixedRate(task, 1000, 400);
    ASSERT_TRUE(clock.awaitSleeper());
    ASSERT_TRUE(clock.advanceAndSettle(5'000'000));
    EXPECT_EQ((Times{kStart + 5'000'000}), task.times());
    EXPECT_EQ((Times{kStart + kSecond, kStart + 5'400'000}), clock.wakeTimes());
}

TEST_F(TimerClockStepTest, AFixedDelayTaskNeverCatchesUp) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 1000, 400);
    ASSERT_TRUE(clock.awaitSleeper());
    ASSERT_TRUE(clock.advanceAndSettle(4'999'999));
    EXPECT_EQ((Times{kStart + 4'999'999}), task.times());
    EXPECT_EQ((Times{kStart + kSecond, kStart + 5'399'999}), clock.wakeTimes());
}

constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::size_t kThreeDays = 4320;  // minutes

// A task that ends itself with its last run.
struct Limited {
    RacingClock clock{kStart};
    TimerTask* self = nullptr;
    std::size_t left = kThreeDays;
    ProbeTask task{clock, "task", [this] {
                       if (--left == 0) self->setPeriod(0);
                   }};
    Limited() { self = &task; }
};

TEST(TimerClockStepOverDays, AFixedRateTaskRunsEveryMinuteOfThreeDaysWithoutDrift) {
    const LogRecorder log;
    Limited limited;
    Timer timer("T", limited.clock);
    timer.scheduleAtFixedRate(limited.task, 60'000, 60'000);
    ASSERT_TRUE(log.waitFor({181, "Thread 'Timer: T' Terminated"}, std::chrono::seconds(60)));
    const Times times = limited.task.times();
    ASSERT_EQ(kThreeDays, times.size());
    std::int64_t due = kStart;
    for (const std::int64_t time : times) {
        due += kMinute;
        ASSERT_GT(time, due);
        ASSERT_LT(time, due + 1000);
    }
}

TEST(TimerClockStepOverDays, AFixedDelayTaskRunsAtLeastAMinuteApart) {
    const LogRecorder log;
    Limited limited;
    Timer timer("T", limited.clock);
    timer.schedule(limited.task, 60'000, 60'000);
    ASSERT_TRUE(log.waitFor({181, "Thread 'Timer: T' Terminated"}, std::chrono::seconds(60)));
    const Times times = limited.task.times();
    ASSERT_EQ(kThreeDays, times.size());
    for (std::size_t i = 1; i < times.size(); ++i) {
        ASSERT_GE(times[i] - times[i - 1], kMinute);
        ASSERT_LT(times[i] - times[i - 1], kMinute + 1000);
    }
}

}  // namespace
}  // namespace teskd::test
