// SIGINT and SIGTERM as an event to wait for, so that a long-running tool can end cleanly.
//
// Ownership: the object owns its descriptor; the signals stay blocked after its destruction.
// Threads: create it before the first thread, which then inherits the blocked signals.
// Errors: the constructor throws std::system_error.

#pragma once

#include "common/UniqueFd.h"
#include "dornctl/Settings.h"

namespace dornctl {

class EndSignals {
  public:
    EndSignals();

    // During its lifetime SIGINT and SIGTERM end the process at once, with success: for operations
    // that cannot wait for them. Create it on the only thread, with all output flushed.
    class AtOnce {
      public:
        AtOnce();
        ~AtOnce();
        AtOnce(const AtOnce&) = delete;
        AtOnce& operator=(const AtOnce&) = delete;
    };

    // Whether a signal arrives within the time; a negative time waits for ever.
    bool arriveWithin(Milliseconds time) const;
    // Readable once a signal has arrived.
    int fd() const { return signals_.get(); }

  private:
    tools::UniqueFd signals_;
};

}  // namespace dornctl
