// The requests of one host connection that are not answered yet.
#pragma once

#include <cstddef>

#include "core/Synchronized.h"

namespace teskd {

class StopEvent;

// Counts Tickets. Each received packet carries one, so it goes when the packet has given its last
// answer and is freed.
//
// Owner: a Dorn, which outlives every ticket because it waits for the count to reach zero.
// Threads: tickets go on any thread; the questions are the owner's. Locks: its own, innermost but
// for the event's.
class PendingAnswers {
  public:
    // A host with this many requests pending has to wait with more. A machine that is silent keeps
    // its requests pending for minutes, and the host's requests to other machines come behind them.
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

    // Refers to the event, which is set when a question that got a no may be asked again.
    explicit PendingAnswers(StopEvent& wake) : wake_(wake) {}

    // True when further requests may be read.
    bool areFew();
    bool areNone();

  private:
    bool answer(bool yes) TESKD_REQUIRES(lock_);

    StopEvent& wake_;
    Synchronized lock_;
    std::size_t count_ TESKD_GUARDED_BY(lock_) = 0;
    bool asked_ TESKD_GUARDED_BY(lock_) = false;  // the last question got a no
};

}  // namespace teskd
