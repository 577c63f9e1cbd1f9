#include "net/Poll.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "core/Event.h"

namespace teskd {

namespace {

bool hasClosed(const pollfd* entries, nfds_t count) {
    const auto closed = [](const pollfd& entry) { return (entry.revents & POLLNVAL) != 0; };
    return std::any_of(entries, entries + count, closed);
}

}  // namespace

int Poll::wait(pollfd* entries, nfds_t count, int timeout) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout);
    for (;;) {
        const int ready = ::poll(entries, count, timeout);
        if (ready > 0 && hasClosed(entries, count)) {
            errno = EBADF;
            return -1;
        }
        if (ready >= 0 || errno != EINTR) return ready;
        if (timeout <= 0) continue;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        timeout = left.count() < 0 ? 0 : static_cast<int>(left.count());
    }
}

int Poll::wait(std::vector<pollfd>& entries, int timeout) {
    return wait(entries.data(), static_cast<nfds_t>(entries.size()), timeout);
}

int Poll::wait(int descriptor, short events, int timeout, const Event* interrupt) {
    pollfd entries[] = {{descriptor, events, 0},
                        {interrupt == nullptr ? -1 : interrupt->descriptor(), POLLIN, 0}};
    const int ready = wait(entries, interrupt == nullptr ? 1 : 2, timeout);
    if (ready > 0 && entries[1].revents != 0) {
        errno = EINTR;
        return -1;
    }
    return ready;
}

}  // namespace teskd
