#include "dorn/PendingAnswers.h"

#include "core/Event.h"

namespace teskd {

PendingAnswers::Ticket::Ticket(PendingAnswers& pending) : pending_(pending) {
    const SynchronizedLock lock(pending_.lock_);
    ++pending_.count_;
}

PendingAnswers::Ticket::~Ticket() {
    const SynchronizedLock lock(pending_.lock_);
    --pending_.count_;
    if (pending_.armed_) pending_.wake_.set();
}

bool PendingAnswers::belowLimitOrArm() {
    const SynchronizedLock lock(lock_);
    return armUnless(count_ < MOST_REQUESTS);
}

bool PendingAnswers::noneOrArm() {
    const SynchronizedLock lock(lock_);
    return armUnless(count_ == 0);
}

bool PendingAnswers::armUnless(bool reached) {
    armed_ = !reached;
    return reached;
}

}  // namespace teskd
