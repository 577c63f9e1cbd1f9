#include "dorn/ConnectionCount.h"

namespace teskd {

ConnectionCount::Place::Place(ConnectionCount& count) : count_(count) {
    const SynchronizedLock lock(count_.lock_);
    ++count_.count_;
}

ConnectionCount::Place::~Place() {
    const SynchronizedLock lock(count_.lock_);
    --count_.count_;
    count_.lock_.notifyAll();
}

unsigned ConnectionCount::present() const {
    const SynchronizedLock lock(lock_);
    return count_;
}

void ConnectionCount::awaitNone() {
    const SynchronizedLock lock(lock_);
    while (count_ > 0) lock_.waitLocked();
}

}  // namespace teskd
