// Clocks for timers under test.
//
// Ownership: the test's; a clock outlives the timers that use it.
// Threads: every operation may be called from any thread.
// Errors: nothing throws.

#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "core/Clock.h"
#include "support/Deadline.h"

namespace teskd::test {

// A clock whose time stands still until the test moves it, for one timer. All times are
// microseconds.
class FakeClock : public Clock {
  public:
    explicit FakeClock(std::int64_t start) : wall_(start) {}

    // Time passes, and who sleeps wakes to look at it.
    void advance(std::int64_t microseconds);
    // Somebody sets the clock, either way: who sleeps sleeps on.
    void step(std::int64_t microseconds);

    // Waits until a timer sleeps that went to sleep after the last advance or step, or after the
    // last call of this operation. False when the deadline passed first.
    bool awaitSleeper(Deadline deadline = {});
    // Lets that many microseconds pass and waits until the timer sleeps again.
    bool advanceAndSettle(std::int64_t microseconds, Deadline deadline = {});
    // The wall-clock times until which timers meant to sleep, in order.
    std::vector<std::int64_t> wakeTimes() const;
    // How often the time was read; a timer reads it in every pass.
    std::size_t readings() const;

    std::int64_t now() override;
    std::int64_t steady() override;
    bool wait(Synchronized& held, std::int64_t microseconds) override TESKD_REQUIRES(held);

  private:
    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::int64_t wall_;
    std::int64_t passed_ = 0;  // by advance() alone
    std::size_t readings_ = 0;
    std::size_t settled_ = 0;  // how many of the sleeps awaitSleeper has seen
    std::vector<std::int64_t> wakeTimes_;
    Synchronized* sleeper_ = nullptr;
};

// A clock that never lets anybody wait: a sleep moves the time and is over. Each reading takes a
// microsecond, so that time does not stand still between sleeps.
class RacingClock : public Clock {
  public:
    explicit RacingClock(std::int64_t start) : wall_(start) {}

    std::int64_t now() override;
    std::int64_t steady() override;
    bool wait(Synchronized& held, std::int64_t microseconds) override TESKD_REQUIRES(held);

  private:
    std::mutex mutex_;
    std::int64_t wall_;  // guarded by mutex_
};

}  // namespace teskd::test
