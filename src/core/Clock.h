// The seam between the timers and the time of day.
#pragma once

#include <cstdint>
#include <ctime>

#include "core/Synchronized.h"

namespace teskd {

// Dates past 2038. A 32-bit system has them with _TIME_BITS=64 and _FILE_OFFSET_BITS=64.
static_assert(sizeof(std::time_t) >= sizeof(std::int64_t));

// Tells the wall-clock time and sleeps by it. Timers take one, so that a test can step or race the
// time without touching the machine's clock.
//
// Threads: any. Owner: whoever made it; must outlive the timers that use it.
class Clock {
  public:
    virtual ~Clock() = default;

    // Microseconds since the epoch, as the wall clock stands; may jump either way.
    virtual std::int64_t now() = 0;
    // Microseconds since any fixed moment, which pass evenly whoever sets the wall clock.
    virtual std::int64_t steady() = 0;
    // Sleeps at most that many microseconds, less when the held lock's condition is signalled.
    // False when the time was up.
    virtual bool wait(Synchronized& held, std::int64_t microseconds) TESKD_REQUIRES(held) = 0;

    // The machine's own clock.
    static Clock& system();
};

}  // namespace teskd
