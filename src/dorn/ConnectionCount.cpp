#include "dorn/ConnectionCount.h"

#include <algorithm>
#include <utility>

namespace teskd {

ConnectionCount::Place::Place(ConnectionCount& count) : count_(count) {
    const SynchronizedLock lock(count_.lock_);
    ++count_.count_;
    count_.most_ = std::max(count_.most_, count_.count_);
}

ConnectionCount::Place::~Place() {
    const SynchronizedLock lock(count_.lock_);
    --count_.count_;
    count_.lock_.notifyAll();
}

bool ConnectionCount::areMany() const {
    const SynchronizedLock lock(lock_);
    return most_ >= MANY || again_;
}

bool ConnectionCount::haveGone() {
    const SynchronizedLock lock(lock_);
    const bool gone = most_ >= MANY && count_ <= most_ / 2;
    if (gone) most_ = count_;
    return std::exchange(again_, gone) || gone;
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
