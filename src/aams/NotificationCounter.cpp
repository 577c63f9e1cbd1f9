#include "aams/NotificationCounter.h"

namespace teskd {

NotificationCounter::Value NotificationCounter::next() {
    const SynchronizedLock lock(lock_);
    if (++value_.low == 0) ++value_.high;
    return value_;
}

}  // namespace teskd
