// Waiting for descriptors, whatever their numbers.
#pragma once

#include <poll.h>
#include <vector>

namespace teskd {

class StopEvent;

// poll(2) that goes on after a signal. Any thread; no locks.
class Poll {
  public:
    // Waits until an entry is ready; at most timeout milliseconds, negative: without limit. The
    // result is poll's: the number of ready entries, 0 when the time was up, -1 with errno set. A
    // descriptor that is not open fails with EBADF; a negative one is passed over.
    static int wait(pollfd* entries, nfds_t count, int timeout);
    static int wait(std::vector<pollfd>& entries, int timeout);

    // Waits for the events on one descriptor. With a stop event given, fails with EINTR as soon as
    // that is set, which goes before readiness.
    static int wait(int descriptor, short events, int timeout, const StopEvent* interrupt);
};

}  // namespace teskd
