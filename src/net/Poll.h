// Waits for descriptors, with no limit on their numbers (unlike select(2)).
#pragma once

#include <poll.h>
#include <vector>

#include "core/Deadline.h"

namespace teskd {

class Event;

// poll(2), restarted after a signal. Threads: any. Locks: none.
class Poll {
  public:
    // Waits until an entry is ready or the deadline has passed. Returns what poll does: the number
    // of ready entries, 0 when there is none, -1 with errno set. Fails with EBADF for a descriptor
    // that is not open; ignores negative ones.
    static int wait(pollfd* entries, nfds_t count, Deadline deadline);
    static int wait(std::vector<pollfd>& entries, Deadline deadline);

    // Waits for the events on one descriptor. Fails with EINTR as soon as the event, if given,
    // is set, even if the descriptor is ready too.
    static int wait(int descriptor, short events, Deadline deadline, const Event* interrupt);
};

}  // namespace teskd
