#include "dorn/PendingAnswers.h"

#include "core/StopEvent.h"

namespace teskd {

PendingAnswers::Ticket::Ticket(PendingAnswers& pending) : pending_(pending) {
    const SynchronizedLock lock(pending_.lock_);
    ++pending_.count_;
}

PendingAnswers::Ticket::~Ticket() {
    const SynchronizedLock lock(pending_.lock_);
    --pending_.count_;
    if (pending_.count_ < pending_.awaited_) pending_.wake_.set();
}

std::int32_t PendingAnswers::count() const {
    const SynchronizedLock lock(lock_);
    return count_;
}

bool PendingAnswers::areFewerThan(std::int32_t limit) {
    const SynchronizedLock lock(lock_);
    const bool fewer = count_ < limit;
    awaited_ = fewer ? 0 : limit;
    return fewer;
}

}  // namespace teskd
