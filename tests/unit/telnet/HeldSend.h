// Holds a send(2) in the middle of the call, as a loaded machine may.
//
// Works in binaries that are linked with -Wl,--wrap=send. Threads: the switch is the process's;
// await and release on any thread. Errors: nothing throws.

#pragma once

#include "support/Deadline.h"

namespace teskd::test {

class HeldSend {
  public:
    // The next send waits before it sends.
    HeldSend();
    // Lets it go on.
    ~HeldSend();
    HeldSend(const HeldSend&) = delete;
    HeldSend& operator=(const HeldSend&) = delete;

    // Until a thread waits in send. False when the deadline passed first.
    bool awaitSender(Deadline deadline = {}) const;
    void release();
    // Ends the held call as on a connection that takes nothing now. Returns when it has ended.
    void refuse();
};

}  // namespace teskd::test
