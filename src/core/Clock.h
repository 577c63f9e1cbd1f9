// The interface through which timers read the time and sleep.
#pragma once

#include <cstdint>
#include <ctime>

#include "core/Synchronized.h"

namespace teskd {

// Dates past 2038 need a 64-bit time_t. A 32-bit system has it with _TIME_BITS=64 and
// _FILE_OFFSET_BITS=64.
static_assert(sizeof(std::time_t) >= sizeof(std::int64_t));

// Reads the wall-clock time and sleeps. Timers are given a Clock, so that a test can step or race
// the time without touching the machine's clock.
//
// Threads: any. Owner: its creator; must outlive the timers that use it.
class Clock {
  public:
    virtual ~Clock() = default;

    // Wall-clock time in microseconds since the epoch; may jump forwards or backwards.
    virtual std::int64_t now() = 0;
    // Monotonic time in microseconds since an unspecified moment; setting the wall clock does not
    // affect it.
    virtual std::int64_t steady() = 0;
    // Sleeps for at most that many microseconds, less if the condition of the held lock is
    // signalled. False if the time ran out.
    virtual bool wait(Synchronized& held, std::int64_t microseconds) TESKD_REQUIRES(held) = 0;

    // The machine's own clock.
    static Clock& system();
};

}  // namespace teskd
