#include "net/Poll.h"

#include <algorithm>
#include <cerrno>

#include "core/Event.h"

namespace teskd {

namespace {

bool hasClosed(const pollfd* entries, nfds_t count) {
    const auto closed = [](const pollfd& entry) { return (entry.revents & POLLNVAL) != 0; };
    return std::any_of(entries, entries + count, closed);
}

}  // namespace

int Poll::wait(pollfd* entries, nfds_t count, Deadline deadline) {
    for (;;) {
        const int ready = ::poll(entries, count, deadline.pollTimeout());
        if (ready > 0 && hasClosed(entries, count)) {
            errno = EBADF;
            return -1;
        }
        if (ready >= 0 || errno != EINTR) return ready;
    }
}

int Poll::wait(std::vector<pollfd>& entries, Deadline deadline) {
    return wait(entries.data(), static_cast<nfds_t>(entries.size()), deadline);
}

int Poll::wait(int descriptor, short events, Deadline deadline, const Event* interrupt) {
    pollfd entries[] = {{descriptor, events, 0},
                        {interrupt == nullptr ? -1 : interrupt->descriptor(), POLLIN, 0}};
    const int ready = wait(entries, interrupt == nullptr ? 1 : 2, deadline);
    if (ready > 0 && entries[1].revents != 0) {
        errno = EINTR;
        return -1;
    }
    return ready;
}

}  // namespace teskd
