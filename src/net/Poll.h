// Waits for descriptors, with no limit on their numbers (unlike select(2)).
#pragma once

#include <poll.h>
#include <vector>

namespace teskd {

class Event;

// poll(2), restarted after a signal. Threads: any. Locks: none.
class Poll {
  public:
    // Waits until an entry is ready; at most timeout milliseconds, negative: without limit. Returns
    // what poll does: the number of ready entries, 0 on a time-out, -1 with errno set. Fails with
    // EBADF for a descriptor that is not open; ignores negative ones.
    static int wait(pollfd* entries, nfds_t count, int timeout);
    static int wait(std::vector<pollfd>& entries, int timeout);

    // Waits for the events on one descriptor. Fails with EINTR as soon as the event, if given,
    // is set, even if the descriptor is ready too.
    static int wait(int descriptor, short events, int timeout, const Event* interrupt);
};

}  // namespace teskd
