#include "dorn/NoticeLimiter.h"

namespace teskd {

bool NoticeLimiter::allows() {
    const auto now = std::chrono::steady_clock::now();
    if (now - second_ >= std::chrono::seconds(1)) {
        second_ = now;
        lines_ = 0;
    }
    if (lines_ >= LINES_PER_SECOND) return false;
    ++lines_;
    return true;
}

}  // namespace teskd
