#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "core/Clock.h"

namespace teskd::test {
namespace {

std::int64_t machineTime() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

TEST(SystemClock, TellsTheWallClockInMicroseconds) {
    const std::int64_t before = machineTime();
    const std::int64_t told = Clock::system().now();
    const std::int64_t after = machineTime();
    EXPECT_LE(before, told);
    EXPECT_LE(told, after);
}

TEST(SystemClock, ItsSteadyTimePassesWithTheMachines) {
    const auto start = std::chrono::steady_clock::now();
    const std::int64_t before = Clock::system().steady();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::int64_t passed = Clock::system().steady() - before;
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed, 20'000);
    EXPECT_LE(std::chrono::microseconds(passed - 1), taken);
}

TEST(SystemClock, SleepsAsLongAsAsked) {
    Synchronized lock;
    const auto start = std::chrono::steady_clock::now();
    {
        const SynchronizedLock held(lock);
        Clock::system().wait(lock, 30'000);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(29));
}

TEST(SystemClock, ASignalEndsTheSleep) {
    constexpr std::int64_t oneHour = 3'600'000'000;
    Synchronized lock;
    std::atomic<bool> holding = false;
    std::thread sleeper([&] {
        const SynchronizedLock held(lock);
        holding = true;
        Clock::system().wait(lock, oneHour);
    });
    while (!holding) std::this_thread::yield();
    {
        const SynchronizedLock held(lock);  // the sleeper let go: it sleeps
        lock.notify();
    }
    sleeper.join();
}

}  // namespace
}  // namespace teskd::test
