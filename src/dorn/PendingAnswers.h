// The requests of one host connection that are not answered yet.
#pragma once

#include <cstddef>

#include "core/Synchronized.h"

namespace teskd {

class Event;

// Counts Tickets. Each received packet holds one until it has given its last answer and is freed.
//
// Owner: a Dorn, which outlives every ticket because it waits for the count to reach zero.
// Threads: tickets are released on any thread; the queries are called on the owner's. Locks: its
// own, innermost but for the event's.
class PendingAnswers {
  public:
    // Back-pressure: with this many requests pending, no more are read from the host. It is large
    // because a silent machine keeps its requests pending for minutes, and the host's requests to
    // other machines come behind them.
    static constexpr std::size_t MOST_REQUESTS = 1024;

    class Ticket {
      public:
        explicit Ticket(PendingAnswers& pending);
        ~Ticket();
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

      private:
        PendingAnswers& pending_;
    };

    // Refers to the event.
    explicit PendingAnswers(Event& wake) : wake_(wake) {}

    // True when further requests may be read. A query that returns false arms the event: it is set
    // with each ticket that is released, until a query returns true.
    bool belowLimitOrArm();
    // True when no request is pending. Arms the event likewise.
    bool noneOrArm();

  private:
    bool armUnless(bool reached) TESKD_REQUIRES(lock_);

    Event& wake_;
    Synchronized lock_;
    std::size_t count_ TESKD_GUARDED_BY(lock_) = 0;
    bool armed_ TESKD_GUARDED_BY(lock_) = false;  // the last query returned false
};

}  // namespace teskd
