// Numbers the notifications, so that answers find them.
#pragma once

#include <cstdint>

#include "core/Synchronized.h"

namespace teskd {

// A 64-bit count in two words; counting and reading are one step.
// Threads: any. Locks: its own, innermost.
class NotificationCounter {
  public:
    struct Value {
        std::uint32_t high = 0;
        std::uint32_t low = 0;
    };

    // Counts on from the value; the first notification ever is number 1.
    NotificationCounter() = default;
    explicit NotificationCounter(Value start) : value_(start) {}

    // The next number. After the low word's highest value it is 0 and the high word one more.
    Value next();

  private:
    Synchronized lock_;
    Value value_ TESKD_GUARDED_BY(lock_);
};

}  // namespace teskd
