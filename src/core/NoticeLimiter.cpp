#include "core/NoticeLimiter.h"

#include <utility>

#include "core/Log.h"

namespace teskd {

NoticeLimiter::~NoticeLimiter() noexcept(false) {
    tell(takeLeftOut(false));
}

bool NoticeLimiter::allows() {
    unsigned long before = 0;
    {
        const SynchronizedLock lock(lock_);
        const Clock::time_point now = Clock::now();
        if (now - second_ >= std::chrono::seconds(1)) {
            second_ = now;
            lines_ = 0;
            before = std::exchange(leftOut_, 0);
        }
        if (lines_ >= most_) {
            ++leftOut_;
            return false;
        }
        ++lines_;
    }
    tell(before);
    return shared_ == nullptr || shared_->allows();
}

void NoticeLimiter::report() {
    tell(takeLeftOut(true));
}

bool NoticeLimiter::hasLeftOut() const {
    const SynchronizedLock lock(lock_);
    return leftOut_ > 0;
}

unsigned long NoticeLimiter::takeLeftOut(bool secondIsOver) {
    const SynchronizedLock lock(lock_);
    if (secondIsOver && Clock::now() - second_ < std::chrono::seconds(1)) return 0;
    return std::exchange(leftOut_, 0);
}

// A line with a count needs the permission of the shared limiter as well. If it is refused, the
// shared limiter takes over the count, so that no dropped line goes uncounted.
void NoticeLimiter::tell(unsigned long leftOut) {
    if (leftOut == 0) return;
    if (shared_ != nullptr && !shared_->allows()) {
        shared_->leaveOut(leftOut - 1);  // allows() has counted one
        return;
    }
    Log::write(Log::NOTICE, "%lu more %s were not logged", leftOut, kind_);
}

void NoticeLimiter::leaveOut(unsigned long lines) {
    const SynchronizedLock lock(lock_);
    leftOut_ += lines;
}

}  // namespace teskd
