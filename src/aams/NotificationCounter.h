// Numbers the notifications, so that answers can be matched.
#pragma once

#include <cstdint>

#include "core/Synchronized.h"

namespace teskd {

// A 64-bit counter in two words.
// Threads: any. Locks: its own, innermost.
class NotificationCounter {
  public:
    struct Value {
        std::uint32_t high = 0;
        std::uint32_t low = 0;
    };

    // The first number is 1, or the one after start.
    NotificationCounter() = default;
    explicit NotificationCounter(Value start) : value_(start) {}

    // Increments and returns the number in one step. The low word carries into the high word.
    Value next();

  private:
    Synchronized lock_;
    Value value_ TESKD_GUARDED_BY(lock_);
};

}  // namespace teskd
