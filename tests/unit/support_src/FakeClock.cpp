#include "support_src/FakeClock.h"

namespace teskd::test {

void FakeClock::advance(std::int64_t microseconds) {
    Synchronized* sleeper = nullptr;
    {
        const std::scoped_lock lock(mutex_);
        wall_ += microseconds;
        passed_ += microseconds;
        settled_ = wakeTimes_.size();
        sleeper = sleeper_;
    }
    if (sleeper == nullptr) return;
    const SynchronizedLock lock(*sleeper);
    sleeper->notifyAll();
}

void FakeClock::step(std::int64_t microseconds) {
    const std::scoped_lock lock(mutex_);
    wall_ += microseconds;
    settled_ = wakeTimes_.size();
}

bool FakeClock::awaitSleeper(Deadline deadline) {
    return eventually(
        [this] {
            const std::scoped_lock lock(mutex_);
            if (wakeTimes_.size() <= settled_) return false;
            settled_ = wakeTimes_.size();
            return true;
        },
        deadline);
}

bool FakeClock::advanceAndSettle(std::int64_t microseconds, Deadline deadline) {
    advance(microseconds);
    return awaitSleeper(deadline);
}

std::vector<std::int64_t> FakeClock::wakeTimes() const {
    const std::scoped_lock lock(mutex_);
    return wakeTimes_;
}

std::size_t FakeClock::readings() const {
    const std::scoped_lock lock(mutex_);
    return readings_;
}

std::int64_t FakeClock::now() {
    const std::scoped_lock lock(mutex_);
    ++readings_;
    return wall_;
}

std::int64_t FakeClock::steady() {
    const std::scoped_lock lock(mutex_);
    return passed_;
}

bool FakeClock::wait(Synchronized& held, std::int64_t microseconds) {
    std::int64_t end = 0;
    {
        const std::scoped_lock lock(mutex_);
        end = passed_ + microseconds;
        wakeTimes_.push_back(wall_ + microseconds);
        sleeper_ = &held;
    }
    held.waitLocked();
    const std::scoped_lock lock(mutex_);
    sleeper_ = nullptr;
    return passed_ < end;
}

std::int64_t RacingClock::now() {
    const std::scoped_lock lock(mutex_);
    return wall_++;
}

std::int64_t RacingClock::steady() {
    const std::scoped_lock lock(mutex_);
    return wall_;
}

bool RacingClock::wait(Synchronized&, std::int64_t microseconds) {
    const std::scoped_lock lock(mutex_);
    wall_ += microseconds;
    return false;
}

}  // namespace teskd::test
