// Clocks for tests of timers.
//
// Ownership: the test owns the clock, which must outlive the timers that use it.
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

// A clock whose time changes only when the test changes it; for one timer. All times are in
// microseconds.
class FakeClock : public Clock {
  public:
    explicit FakeClock(std::int64_t start) : wall_(start) {}

    // Lets time pass and wakes the sleeping timer.
    void advance(std::int64_t microseconds);
    // Steps the wall clock forward or back, without waking the sleeping timer.
    void step(std::int64_t microseconds);

    // Waits until the timer has started to sleep since the last advance or step, or since the last
    // call of this operation. False after the deadline.
    bool awaitSleeper(Deadline deadline = {});
    // Lets this time pass and waits until the timer sleeps again.
    bool advanceAndSettle(std::int64_t microseconds, Deadline deadline = {});
    // The wall-clock times until which the timer has slept, or would have, in order.
    std::vector<std::int64_t> wakeTimes() const;
    // The number of readings of the time; a timer reads it in every pass.
    std::size_t readings() const;

    std::int64_t now() override;
    std::int64_t steady() override;
    bool wait(Synchronized& held, std::int64_t microseconds) override TESKD_REQUIRES(held);

  private:
    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::int64_t wall_;
    std::int64_t passed_ = 0;  // by advance() only
    std::size_t readings_ = 0;
    std::size_t settled_ = 0;  // the number of sleeps that awaitSleeper has returned for
    std::vector<std::int64_t> wakeTimes_;
    Synchronized* sleeper_ = nullptr;
};

// A clock without waiting: a sleep returns at once and advances the time. Each reading advances it
// by a microsecond, so that it also advances between sleeps.
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
