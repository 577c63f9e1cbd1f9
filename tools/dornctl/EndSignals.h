// SIGINT and SIGTERM as an event to wait for, so that a tool that runs on can end cleanly.
//
// Ownership: the object owns its descriptor; the signals stay blocked when it is gone.
// Threads: make it before the first thread, which then leaves the signals to it too.
// Errors: the constructor throws std::system_error.

#pragma once

#include "common/UniqueFd.h"
#include "dornctl/Settings.h"

namespace dornctl {

class EndSignals {
  public:
    EndSignals();

    // While it lives, SIGINT and SIGTERM end the process at once, with success: for what cannot
    // wait for them. Make it on the only thread, and with all output flushed.
    class AtOnce {
      public:
        AtOnce();
        ~AtOnce();
        AtOnce(const AtOnce&) = delete;
        AtOnce& operator=(const AtOnce&) = delete;
    };

    // Whether the end is asked for, within the time; a negative time waits for ever.
    bool arriveWithin(Milliseconds time) const;
    // Readable once the end is asked for.
    int fd() const { return signals_.get(); }

  private:
    tools::UniqueFd signals_;
};

}  // namespace dornctl
