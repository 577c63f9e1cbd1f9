#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ProbeTask.h"
#include "core/Exception.h"
#include "core/Timer.h"
#include "support_src/FailingThreads.h"
#include "support_src/FakeClock.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using Lines = std::vector<LogEntry>;
using Times = std::vector<std::int64_t>;

constexpr std::int64_t kStart = 1'700'000'000'000'000;
constexpr std::int64_t kMillisecond = 1'000;
constexpr std::int64_t kSecond = 1'000'000;

const LogEntry kTerminated{181, "Thread 'Timer: T' Terminated"};

// A task that stands in run() until it is let go, the first time only.
struct Blocking {
    void operator()() {
        if (entered.exchange(true)) return;
        inside.count_down();
        letGo.wait();
    }
    std::atomic<bool> entered = false;
    std::latch inside{1};
    std::latch letGo{1};
};

// Tests declare their tasks before their timer: it goes first then.
class TimerTest : public testing::Test {
  protected:
    bool eventuallyEnds(const Timer& timer) {
        return eventually([&] { return !timer.isRunning(); });
    }
    // Returns when the task stands there.
    void startInto(Blocking& blocking, Timer& timer, TimerTask& task, std::uint32_t period = 0) {
        timer.schedule(task, 0, period);
        clock.advance(1);
        blocking.inside.wait();
    }
    std::thread letGoOnceEnded(Blocking& blocking, const Timer& timer) {
        return std::thread([&] {
            EXPECT_TRUE(eventuallyEnds(timer));
            blocking.letGo.count_down();
        });
    }

    FakeClock clock{kStart};
    const LogRecorder log;
};

TEST_F(TimerTest, AOneShotTaskRunsOnceAndStaysListedAsCancelled) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 0, 0);
    EXPECT_FALSE(task.isCancelled());
    clock.advance(1);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ((Times{kStart + 1}), task.times());
    EXPECT_TRUE(task.isCancelled());
    EXPECT_EQ(1U, timer.purge());
}

TEST_F(TimerTest, DueMeansStrictlyLaterThanTheTimeAskedFor) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 10, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    const std::size_t before = clock.readings();
    clock.advance(10 * kMillisecond);
    EXPECT_TRUE(eventually([&] { return clock.readings() > before + 20; }));
    EXPECT_EQ(0U, task.runs());
    clock.advance(1);
    EXPECT_TRUE(task.eventuallyRuns(1));
}

TEST_F(TimerTest, SleepsUntilTheEarliestTaskIsDue) {
    ProbeTask late(clock);
    ProbeTask early(clock);
    Timer timer("T", clock);
    timer.schedule(late, 300, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    timer.schedule(early, 200, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    EXPECT_EQ((Times{kStart + 300 * kMillisecond, kStart + 200 * kMillisecond}), clock.wakeTimes());
}

TEST_F(TimerTest, SleepsNoLongerThanASecond) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 3000, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    ASSERT_TRUE(clock.advanceAndSettle(kSecond));
    EXPECT_EQ((Times{kStart + kSecond, kStart + 2 * kSecond}), clock.wakeTimes());
}

TEST_F(TimerTest, AFixedRateTaskIsDueExactlyOnePeriodAfterItWasDue) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.scheduleAtFixedRate(task, 0, 1000);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    ASSERT_TRUE(clock.advanceAndSettle(1'000'007));
    ASSERT_TRUE(clock.advanceAndSettle(999'995));
    EXPECT_EQ((Times{kStart + 1, kStart + 1'000'008, kStart + 2'000'003}), task.times());
    EXPECT_EQ((Times{kStart + kSecond, kStart + 2 * kSecond, kStart + 3 * kSecond}),
              clock.wakeTimes());
}

TEST_F(TimerTest, AFixedRateTaskKeepsItsPhaseWithAnyPeriod) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.scheduleAtFixedRate(task, 0, 400);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    ASSERT_TRUE(clock.advanceAndSettle(400'100));
    EXPECT_EQ((Times{kStart + 400'000, kStart + 800'000}), clock.wakeTimes());
}

TEST_F(TimerTest, AFixedDelayTaskIsDueOnePeriodAfterThePassInWhichItRan) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 0, 400);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    ASSERT_TRUE(clock.advanceAndSettle(400'100));
    EXPECT_EQ((Times{kStart + 1, kStart + 400'101}), task.times());
    EXPECT_EQ((Times{kStart + 400'001, kStart + 800'101}), clock.wakeTimes());
}

TEST_F(TimerTest, ATaskThatWaitsKeepsItsTimeWhereItIsScheduledUnlessItWaits) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.scheduleUnlessWaiting(task, 500);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.advance(400 * kMillisecond);
    timer.scheduleUnlessWaiting(task, 500);
    clock.advance(100 * kMillisecond + 1);
    EXPECT_TRUE(task.eventuallyRuns(1));
    EXPECT_EQ((Times{kStart + 500 * kMillisecond + 1}), task.times());
    EXPECT_TRUE(log.waitFor(kTerminated));
    timer.scheduleUnlessWaiting(task, 0);
    clock.advance(1);
    EXPECT_TRUE(task.eventuallyRuns(2));
}

TEST_F(TimerTest, ATaskThatIsScheduledUnlessItWaitsTakesAPeriodAsADelayBehindItsRun) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.scheduleUnlessWaiting(task, 0);
    task.setPeriod(100);
    ASSERT_TRUE(clock.advanceAndSettle(30 * kMillisecond));
    EXPECT_EQ((Times{kStart + 130 * kMillisecond}), clock.wakeTimes());
}

// What it was to deal with may have come too late for the run that is under way.
TEST_F(TimerTest, ATaskThatRunsIsScheduledAnewUnlessItWaits) {
    Timer* shared = nullptr;
    ProbeTask task(clock, "task", [&] {
        if (task.runs() == 1) shared->scheduleUnlessWaiting(task, 100);
    });
    Timer timer("T", clock);
    shared = &timer;
    timer.scheduleUnlessWaiting(task, 0);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    clock.advance(100 * kMillisecond + 1);
    EXPECT_TRUE(task.eventuallyRuns(2));
}

TEST_F(TimerTest, ATaskWhoseThreadCouldNotStartIsTriedAgainUnlessItWaits) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    {
        const FailingThreads none(1);
        timer.scheduleUnlessWaiting(task, 0);
        EXPECT_FALSE(timer.isRunning());
    }
    clock.advance(1);
    timer.scheduleUnlessWaiting(task, 500);
    EXPECT_TRUE(task.eventuallyRuns(1));
}

TEST_F(TimerTest, ATaskThatIsHastenedComesNearerAndIsNeverPutOff) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 900, 900);
    ASSERT_TRUE(clock.awaitSleeper());
    timer.hasten(task, 500, 100);
    timer.hasten(task, 600, 200);
    ASSERT_TRUE(clock.advanceAndSettle(500 * kMillisecond + 1));
    EXPECT_EQ((Times{kStart + 500 * kMillisecond + 1}), task.times());
    ASSERT_TRUE(clock.advanceAndSettle(200 * kMillisecond - 1));
    EXPECT_EQ(1U, task.runs());
    ASSERT_TRUE(clock.advanceAndSettle(2));
    EXPECT_EQ(2U, task.runs());
}

TEST_F(TimerTest, ATaskThatDoesNotWaitIsScheduledWhereItIsHastened) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    for (const std::size_t runs : {1U, 2U}) {
        timer.hasten(task, 500, 0);
        ASSERT_TRUE(clock.awaitSleeper());
        clock.advance(500 * kMillisecond + 1);
        EXPECT_TRUE(task.eventuallyRuns(runs));
        EXPECT_TRUE(eventually([&] { return !timer.isRunning(); }));
    }
}

TEST_F(TimerTest, ATaskThatRunsOnlyTakesThePeriodWhereItIsHastened) {
    Timer* shared = nullptr;
    ProbeTask task(clock, "task", [&] { shared->hasten(task, 100, 300); });
    Timer timer("T", clock);
    shared = &timer;
    timer.schedule(task, 0, 800);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    ASSERT_EQ(1U, task.runs());
    ASSERT_TRUE(clock.advanceAndSettle(300 * kMillisecond - 1));
    EXPECT_EQ(1U, task.runs());
    ASSERT_TRUE(clock.advanceAndSettle(2));
    EXPECT_EQ(2U, task.runs());
}

TEST_F(TimerTest, TheLongestDelayIsFortyNineDays) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 4294967295U, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    ASSERT_TRUE(clock.advanceAndSettle(4'294'967'294'000));
    EXPECT_EQ(0U, task.runs());
    clock.advance(1'001);
    EXPECT_TRUE(task.eventuallyRuns(1));
}

TEST_F(TimerTest, TasksDueTogetherRunInTheOrderInWhichTheyWereLastScheduled) {
    std::vector<std::string> order;
    ProbeTask one(clock, "one", [&] { order.push_back("one"); });
    ProbeTask two(clock, "two", [&] { order.push_back("two"); });
    ProbeTask three(clock, "three", [&] { order.push_back("three"); });
    Timer timer("T", clock);
    timer.schedule(one, 10, 0);
    timer.schedule(two, 30, 0);
    timer.schedule(three, 20, 0);
    timer.schedule(one, 15, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.advance(kSecond);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ((std::vector<std::string>{"two", "three", "one"}), order);
}

TEST_F(TimerTest, SchedulingATaskAgainMovesItAndDoesNotDoubleIt) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 10, 0);
    timer.schedule(task, 20, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.advance(15 * kMillisecond);
    ASSERT_TRUE(clock.awaitSleeper());
    EXPECT_EQ(0U, task.runs());
    clock.advance(10 * kMillisecond);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(1U, task.runs());
    EXPECT_EQ(1U, timer.purge());
}

TEST_F(TimerTest, TheThreadStartsWithTheFirstTaskAndAgainAfterItsEnd) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    EXPECT_FALSE(timer.isRunning());
    for (std::size_t round = 1; round <= 3; ++round) {
        timer.schedule(task, 0, 0);
        EXPECT_TRUE(timer.isRunning());
        clock.advance(1);
        EXPECT_TRUE(eventually([&] { return log.count(kTerminated) == round; }));
        EXPECT_FALSE(timer.isRunning());
        EXPECT_EQ(round, task.runs());
    }
    EXPECT_EQ((Lines{kTerminated, kTerminated, kTerminated}), log.lines());
}

TEST_F(TimerTest, WithoutANameItIsAnonymous) {
    ProbeTask task(clock);
    Timer timer(clock);
    timer.schedule(task, 0, 0);
    clock.advance(1);
    EXPECT_TRUE(log.waitFor({181, "Thread 'Timer: <anonymous>' Terminated"}));
}

TEST_F(TimerTest, TheThreadLivesOnWhileALiveTaskIsLeft) {
    ProbeTask once(clock);
    ProbeTask again(clock);
    Timer timer("T", clock);
    timer.schedule(again, 5000, 0);
    timer.schedule(once, 0, 0);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    EXPECT_EQ(1U, once.runs());
    EXPECT_TRUE(timer.isRunning());
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(TimerTest, AnExceptionOfATaskIsLoggedAndChangesNothingElse) {
    ProbeTask failing(clock, "n", [] { throw Exception("m"); });
    ProbeTask other(clock);
    Timer timer("T", clock);
    timer.scheduleAtFixedRate(failing, 0, 400);
    timer.scheduleAtFixedRate(other, 0, 400);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    ASSERT_TRUE(clock.advanceAndSettle(400'000));
    EXPECT_EQ((Times{kStart + 1, kStart + 400'001}), failing.times());
    EXPECT_EQ((Times{kStart + 1, kStart + 400'001}), other.times());
    EXPECT_EQ((Lines{{180, "TimerTask 'n' Uncaught Exception: m"},
                     {180, "TimerTask 'n' Uncaught Exception: m"}}),
              log.lines());
}

TEST_F(TimerTest, AOneShotTaskThatThrowsIsDoneAsUsual) {
    ProbeTask failing(clock, "n", [] { throw TeskException("m"); });
    Timer timer("T", clock);
    timer.schedule(failing, 0, 0);
    clock.advance(1);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ((Lines{{180, "TimerTask 'n' Uncaught Exception: TeskException: m"}, kTerminated}),
              log.lines());
    EXPECT_TRUE(failing.isCancelled());
}

TEST_F(TimerTest, AForeignExceptionOfATaskEndsTheThread) {
    ProbeTask failing(clock, "n", [] { throw std::runtime_error("m"); });
    Timer timer("T", clock);
    timer.schedule(failing, 0, 1000);
    clock.advance(1);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ((Lines{{180, "Unandled Exception in thread: 'Timer: T'"}, kTerminated}), log.lines());
    EXPECT_FALSE(timer.isRunning());
    EXPECT_FALSE(failing.isCancelled());
}

TEST_F(TimerTest, AfterAForeignExceptionTheTasksRunAgainWithTheNextScheduling) {
    bool fails = true;
    ProbeTask failing(clock, "n", [&] {
        if (std::exchange(fails, false)) throw std::runtime_error("m");
    });
    ProbeTask behind(clock);
    ProbeTask next(clock);
    Timer timer("T", clock);
    timer.schedule(failing, 0, 1000);
    timer.schedule(behind, 0, 1000);
    clock.advance(1);
    ASSERT_TRUE(log.waitFor(kTerminated));
    timer.schedule(next, 60'000, 0);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    EXPECT_EQ(2U, failing.runs());
    EXPECT_EQ(1U, behind.runs());
}

TEST_F(TimerTest, ATaskMayScheduleAnother) {
    Timer* running = nullptr;
    ProbeTask second(clock);
    ProbeTask first(clock, "first", [&] { running->schedule(second, 50, 0); });
    Timer timer("T", clock);
    running = &timer;
    timer.schedule(first, 0, 0);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    EXPECT_EQ((Times{kStart + 50'001}), clock.wakeTimes());
    clock.advance(51 * kMillisecond);
    EXPECT_TRUE(second.eventuallyRuns(1));
}

TEST_F(TimerTest, ATaskThatSchedulesItselfKeepsWhatItAskedFor) {
    Timer* running = nullptr;
    TimerTask* self = nullptr;
    std::atomic<bool> again = true;
    ProbeTask task(clock, "task", [&] {
        if (again.exchange(false)) running->schedule(*self, 700, 0);
    });
    Timer timer("T", clock);
    running = &timer;
    self = &task;
    timer.scheduleAtFixedRate(task, 0, 100);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    EXPECT_FALSE(task.isCancelled());
    EXPECT_EQ((Times{kStart + 700'001}), clock.wakeTimes());
    clock.advance(701 * kMillisecond);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(2U, task.runs());
}

TEST_F(TimerTest, ATaskScheduledByAnotherThreadWhileItRunsKeepsWhatWasAskedFor) {
    Blocking blocking;
    ProbeTask task(clock, "task", std::ref(blocking));
    Timer timer("T", clock);
    startInto(blocking, timer, task);
    timer.schedule(task, 50, 0);
    blocking.letGo.count_down();
    ASSERT_TRUE(clock.awaitSleeper());
    EXPECT_FALSE(task.isCancelled());
    clock.advance(51 * kMillisecond);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ((Times{kStart + 1, kStart + 51'001}), task.times());
}

// One of two that are due together stops the timer.
TEST_F(TimerTest, ATaskThatIsDueDoesNotRunAfterTheStop) {
    Timer* running = nullptr;
    ProbeTask stopping(clock, "stopping", [&] { running->stop(); });
    ProbeTask behind(clock);
    Timer timer("T", clock);
    running = &timer;
    timer.schedule(stopping, 10, 0);
    timer.schedule(behind, 10, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.advance(11 * kMillisecond);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(1U, stopping.runs());
    EXPECT_EQ(0U, behind.runs());
}

TEST_F(TimerTest, StoppedAndScheduledAgainWhileATaskRunsItHasOneThread) {
    Blocking blocking;
    ProbeTask slow(clock, "slow", std::ref(blocking));
    ProbeTask other(clock);
    Timer timer("T", clock);
    startInto(blocking, timer, slow);
    timer.stop();
    timer.schedule(other, 0, 0);
    EXPECT_TRUE(timer.isRunning());
    const auto otherRuns = [&] {
        clock.advance(1);
        return other.runs() > 0;
    };
    EXPECT_FALSE(eventually(otherRuns, std::chrono::milliseconds(50)));
    blocking.letGo.count_down();
    EXPECT_TRUE(eventually(otherRuns));
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ((Lines{kTerminated}), log.lines());
}

TEST_F(TimerTest, ATaskThatSchedulesWhileTheTimerGoesAwayDoesNotKeepIt) {
    Blocking blocking;
    Timer* running = nullptr;
    TimerTask* self = nullptr;
    ProbeTask task(clock, "task", [&] {
        blocking();
        running->schedule(*self, 0, 0);
    });
    self = &task;
    std::thread helper;
    {
        Timer timer("T", clock);
        running = &timer;
        startInto(blocking, timer, task);
        helper = letGoOnceEnded(blocking, timer);
    }
    helper.join();
    EXPECT_EQ(1U, task.runs());
}

TEST_F(TimerTest, OtherThreadsMayScheduleWhileATaskRuns) {
    Blocking blocking;
    ProbeTask slow(clock, "slow", std::ref(blocking));
    ProbeTask other(clock);
    Timer timer("T", clock);
    startInto(blocking, timer, slow);
    timer.schedule(other, 0, 0);
    EXPECT_EQ(0U, other.runs());
    blocking.letGo.count_down();
    clock.advance(1);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(1U, other.runs());
}

TEST_F(TimerTest, AChangedPeriodTakesEffectWithTheNextReArming) {
    TimerTask* self = nullptr;
    ProbeTask task(clock, "task", [&] { self->setPeriod(900); });
    Timer timer("T", clock);
    self = &task;
    timer.scheduleAtFixedRate(task, 0, 100);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    EXPECT_EQ((Times{kStart + 900'000}), clock.wakeTimes());
    EXPECT_EQ(900U, task.getPeriod());
}

TEST_F(TimerTest, APeriodChangedToZeroEndsTheTask) {
    TimerTask* self = nullptr;
    ProbeTask task(clock, "task", [&] { self->setPeriod(0); });
    Timer timer("T", clock);
    self = &task;
    timer.schedule(task, 0, 100);
    clock.advance(1);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_TRUE(task.isCancelled());
}

TEST_F(TimerTest, ACancelledTaskNeverRunsAndIsOffTheList) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 10, 10);
    ASSERT_TRUE(clock.awaitSleeper());
    timer.cancel(task);
    EXPECT_TRUE(task.isCancelled());
    EXPECT_TRUE(log.waitFor(kTerminated)) << "no live task is left";
    EXPECT_EQ(0U, task.runs());
    EXPECT_EQ(0U, timer.purge());
}

TEST_F(TimerTest, ACancelledTaskCanBeScheduledAgain) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.schedule(task, 10, 10);
    timer.cancel(task);
    timer.schedule(task, 0, 0);
    EXPECT_FALSE(task.isCancelled());
    EXPECT_TRUE(eventually([&] {
        clock.advance(1);
        return task.runs() == 1;
    }));
}

TEST_F(TimerTest, CancellingATaskThatWasNeverScheduledReturns) {
    ProbeTask task(clock);
    Timer timer("T", clock);
    timer.cancel(task);
    EXPECT_FALSE(timer.isRunning());
}

TEST_F(TimerTest, CancellingWaitsForTheTaskThatRuns) {
    Blocking blocking;
    ProbeTask task(clock, "task", std::ref(blocking));
    Timer timer("T", clock);
    startInto(blocking, timer, task, 10);
    std::atomic<bool> cancelled = false;
    std::thread canceller([&] {
        timer.cancel(task);
        cancelled = true;
    });
    const auto isOff = [&] { return task.isCancelled(); };
    EXPECT_TRUE(eventually(isOff));
    EXPECT_FALSE(eventually([&] { return cancelled.load(); }, std::chrono::milliseconds(50)));
    blocking.letGo.count_down();
    canceller.join();
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(1U, task.runs());
}

TEST_F(TimerTest, CancellingDoesNotWaitForAnotherTask) {
    Blocking blocking;
    ProbeTask slow(clock, "slow", std::ref(blocking));
    ProbeTask other(clock);
    Timer timer("T", clock);
    timer.schedule(other, 10, 0);
    startInto(blocking, timer, slow);
    timer.cancel(other);
    blocking.letGo.count_down();
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(0U, other.runs());
}

TEST_F(TimerTest, CancellingReturnsWhenTheRunningTaskEndsTheThread) {
    Blocking blocking;
    ProbeTask task(clock, "task", [&] {
        blocking();
        throw std::runtime_error("m");
    });
    Timer timer("T", clock);
    startInto(blocking, timer, task, 10);
    std::thread canceller([&] { timer.cancel(task); });
    EXPECT_TRUE(eventually([&] { return task.isCancelled(); }));
    blocking.letGo.count_down();
    canceller.join();
}

TEST_F(TimerTest, ATaskMayCancelOneThatIsDueInTheSamePass) {
    Timer* running = nullptr;
    ProbeTask victim(clock);
    ProbeTask first(clock, "first", [&] { running->cancel(victim); });
    Timer timer("T", clock);
    running = &timer;
    timer.schedule(first, 10, 0);
    timer.schedule(victim, 10, 0);
    ASSERT_TRUE(clock.awaitSleeper());
    clock.advance(11 * kMillisecond);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(0U, victim.runs());
}

TEST_F(TimerTest, PurgeStepsOverTheTaskBehindEachThatItRemoves) {
    ProbeTask one(clock);
    ProbeTask two(clock);
    ProbeTask three(clock);
    Timer timer("T", clock);
    for (TimerTask* task : {&one, &two, &three}) timer.schedule(*task, 0, 0);
    clock.advance(1);
    ASSERT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(2U, timer.purge());
    EXPECT_EQ(1U, timer.purge());
    EXPECT_EQ(0U, timer.purge());
}

TEST_F(TimerTest, PurgeLeavesLiveTasks) {
    ProbeTask done(clock);
    ProbeTask live(clock);
    Timer timer("T", clock);
    timer.schedule(live, 60'000, 0);
    timer.schedule(done, 0, 0);
    ASSERT_TRUE(clock.advanceAndSettle(1));
    EXPECT_EQ(1U, timer.purge());
    EXPECT_EQ(0U, timer.purge());
    clock.advance(60 * kSecond);
    EXPECT_TRUE(live.eventuallyRuns(1));
}

TEST_F(TimerTest, GoingAwayEndsTheThreadAndLeavesTheTasksAlone) {
    ProbeTask task(clock);
    {
        Timer timer("T", clock);
        timer.schedule(task, 3'600'000, 0);
        ASSERT_TRUE(clock.awaitSleeper());
    }
    EXPECT_EQ((Lines{kTerminated}), log.lines());
    EXPECT_FALSE(task.isCancelled());
    EXPECT_EQ(0U, task.runs());
}

TEST_F(TimerTest, GoingAwayWaitsForTheTaskThatRuns) {
    Blocking blocking;
    std::atomic<bool> ended = false;
    ProbeTask task(clock, "task", [&] {
        blocking();
        ended = true;
    });
    std::thread helper;
    {
        Timer timer("T", clock);
        startInto(blocking, timer, task, 10);
        helper = letGoOnceEnded(blocking, timer);
        timer.stop();
        helper.join();
    }
    EXPECT_TRUE(ended);
}

TEST_F(TimerTest, AThreadThatCannotStartIsLoggedAndTriedAgainWithTheNextTask) {
    ProbeTask first(clock);
    ProbeTask second(clock);
    Timer timer("T", clock);
    {
        const FailingThreads noThreads(1);
        timer.schedule(first, 0, 0);
    }
    EXPECT_EQ((Lines{{180, "Cannot start thread 'Timer: T': Resource temporarily unavailable"}}),
              log.lines());
    EXPECT_FALSE(timer.isRunning());
    timer.schedule(second, 0, 0);
    clock.advance(1);
    EXPECT_TRUE(log.waitFor(kTerminated));
    EXPECT_EQ(1U, first.runs());
    EXPECT_EQ(1U, second.runs());
}

}  // namespace
}  // namespace teskd::test
