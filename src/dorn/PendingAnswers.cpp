#include "dorn/PendingAnswers.h"

namespace teskd {

PendingAnswers::Ticket::Ticket(PendingAnswers& pending) : pending_(pending) {
    const SynchronizedLock lock(pending_.lock_);
    ++pending_.count_;
}

PendingAnswers::Ticket::~Ticket() {
    const SynchronizedLock lock(pending_.lock_);
    --pending_.count_;
    pending_.lock_.notify();
}

std::int32_t PendingAnswers::count() const {
    const SynchronizedLock lock(lock_);
    return count_;
}

void PendingAnswers::awaitFewerThan(std::int32_t limit) {
    const SynchronizedLock lock(lock_);
    while (count_ >= limit) lock_.waitLocked();
}

bool PendingAnswers::awaitFewerThan(std::int32_t limit, std::chrono::milliseconds time) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + time;
    const SynchronizedLock lock(lock_);
    while (count_ >= limit) {
        const auto left =
            std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        lock_.waitLocked(left);
    }
    return true;
}

}  // namespace teskd
