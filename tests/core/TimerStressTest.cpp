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
    const Deadline deadline(std::chrono::seconds(60));
    for (int i = 1; i <= 2000; ++i) {
        timer.schedule(task, 0, 0);
        while (task.runs < i) ASSERT_FALSE(deadline.passed()) << "lost in round " << i;
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
