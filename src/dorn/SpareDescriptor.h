// A descriptor kept in reserve, so that hosts can be turned away when there is no other.
#pragma once

#include "core/Descriptor.h"

namespace teskd {

// Without a free descriptor accept fails and the host stays in the backlog, connected and unheard.
// This then gives its own descriptor up for a moment, accepts the host on it and closes the
// connection.
//
// Another thread may take the descriptor in that moment. Then nobody is turned away, and the spare
// is acquired again whenever it is used next.
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
