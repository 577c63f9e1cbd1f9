// Timers under many hands, on the real clock.

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "core/Timer.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

struct CountingTask : TimerTask {
    CountingTask() : TimerTask("counting") {}
    void run() override { ++runs; }
    std::atomic<int> runs = 0;
};

// The thread finds nothing left to do after each run; the next scheduling meets it on its way out.
TEST(TimerStress, ATaskScheduledWhileTheThreadEndsIsNotLost) {
    CountingTask task;
    Timer timer("T");
    const Deadline enough(std::chrono::seconds(10));  // a busy machine gets through fewer rounds
    for (int i = 1; i <= 2000 && !enough.passed(); ++i) {
        timer.schedule(task, 0, 0);
        const Deadline deadline;
        while (task.runs < i) {
            ASSERT_FALSE(deadline.passed()) << "lost in round " << i;
            std::this_thread::yield();
        }
    }
}

TEST(TimerStress, ATaskMayGoAwayOnceItIsCancelled) {
    Timer timer("T");
    std::atomic<int> runs = 0;
    const auto work = [&] {
        for (int i = 0; i < 300; ++i) {
            CountingTask task;
            timer.schedule(task, 0, 1);
            if (i % 3 == 0) {
                EXPECT_TRUE(eventually([&] { return task.runs > 0; }));
            }
            timer.cancel(task);
            runs += task.runs;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    EXPECT_GE(runs, 400);
}

// Two tasks of one timer that run at once would both see the other one inside.
TEST(TimerStress, StoppedAndScheduledAgainAndAgainItRunsOneTaskAtATime) {
    std::atomic<int> inside = 0;
    std::atomic<int> together = 0;
    struct Crowd : TimerTask {
        Crowd(std::atomic<int>& a, std::atomic<int>& b) : TimerTask("crowd"), in(a), met(b) {}
        void run() override {
            if (++in > 1) ++met;
            std::this_thread::yield();
            --in;
            ++runs;
        }
        std::atomic<int>& in;
        std::atomic<int>& met;
        std::atomic<int> runs = 0;
    };
    Crowd one(inside, together);
    Crowd two(inside, together);
    Timer timer("T");
    for (int i = 0; i < 2000; ++i) {
        timer.schedule(one, 0, 0);
        timer.schedule(two, 0, 0);
        timer.stop();
    }
    const int before = one.runs;
    timer.schedule(one, 0, 0);
    EXPECT_TRUE(eventually([&] { return one.runs > before; }));
    EXPECT_EQ(0, together);
}

TEST(TimerStress, APeriodicTaskRunsAboutOnceAPeriod) {
    CountingTask task;
    Timer timer("T");
    const auto start = std::chrono::steady_clock::now();
    timer.scheduleAtFixedRate(task, 0, 20);
    EXPECT_TRUE(eventually([&] { return task.runs >= 11; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(195));
}

}  // namespace
}  // namespace teskd::test
