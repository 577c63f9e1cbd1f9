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
    if (pending_.asked_) pending_.wake_.set();
}

bool PendingAnswers::areFew() {
    const SynchronizedLock lock(lock_);
    return answer(count_ < MOST_REQUESTS);
}

bool PendingAnswers::areNone() {
    const SynchronizedLock lock(lock_);
    return answer(count_ == 0);
}

bool PendingAnswers::answer(bool yes) {
    asked_ = !yes;
    return yes;
}

}  // namespace teskd
