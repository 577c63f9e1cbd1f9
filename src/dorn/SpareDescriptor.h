// A descriptor kept in reserve, so that hosts can be turned away when no other is free.
#pragma once

#include "core/Descriptor.h"

namespace teskd {

// Without a free descriptor accept fails, and the host stays in the backlog: connected, but never
// answered. This class then frees its own descriptor, accepts the host on it and closes the
// connection.
//
// Race: another thread may take the descriptor in between. Then the host is not turned away, and
// the next use acquires the spare again.
// Threads: one at a time. Errors: none leave.
class SpareDescriptor {
  public:
    SpareDescriptor() { acquire(); }

    bool isHeld() const { return descriptor_.isOpen(); }
    // Gets a descriptor again when there is none. True when one is held afterwards.
    bool acquire();
    // Accepts one waiting connection and closes it. False when none waits or nothing can be
    // accepted. Does not wait.
    bool turnAway(int listener);

  private:
    Descriptor descriptor_;
};

}  // namespace teskd
