// How many requests of one host connection are not answered yet.
#pragma once

#include <cstdint>

#include "core/Synchronized.h"

namespace teskd {

class StopEvent;

// A count that rises with each Ticket and falls when the ticket goes. Each received packet carries
// one, so the count falls when the packet has given its last answer and is freed.
//
// Owner: a Dorn, which outlives every ticket because it waits for the count to reach zero.
// Threads: tickets go on any thread; the questions are the owner's. Locks: its own, innermost but
// for the event's.
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

    // Refers to the event, which is set when a question that got a no would get a yes.
    explicit PendingAnswers(StopEvent& wake) : wake_(wake) {}

    std::int32_t count() const;
    // True when fewer than limit are left; else the event will tell.
    bool areFewerThan(std::int32_t limit);

  private:
    StopEvent& wake_;
    mutable Synchronized lock_;
    std::int32_t count_ TESKD_GUARDED_BY(lock_) = 0;
    std::int32_t awaited_ TESKD_GUARDED_BY(lock_) = 0;  // limit of the last question that got a no
};

}  // namespace teskd
