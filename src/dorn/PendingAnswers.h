// How many requests of one host connection are not answered yet.
#pragma once

#include <chrono>
#include <cstdint>

#include "core/Synchronized.h"

namespace teskd {

// A count that rises with each Ticket and falls when the ticket goes. Each received packet carries
// one, so the count falls when the packet has given its last answer and is freed.
//
// Owner: a Dorn, which outlives every ticket because it waits for the count to reach zero.
// Threads: tickets go on any thread; the waits are the owner's. Locks: its own, innermost.
class PendingAnswers {
  public:
    class Ticket {
      public:
        explicit Ticket(PendingAnswers& pending);
        ~Ticket();
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

      private:
        PendingAnswers& pending_;
    };

    std::int32_t count() const;
    // Waits without limit until fewer than limit are left.
    void awaitFewerThan(std::int32_t limit);
    // The same for at most that long; false when the time was up.
    bool awaitFewerThan(std::int32_t limit, std::chrono::milliseconds time);

  private:
    mutable Synchronized lock_;
    std::int32_t count_ TESKD_GUARDED_BY(lock_) = 0;
};

}  // namespace teskd
