#include "core/Deadline.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace teskd {

Deadline Deadline::ofTimeout(int milliseconds) {
    return milliseconds == 0 ? never() : after(std::chrono::milliseconds(milliseconds));
}

int Deadline::pollTimeout() const {
    if (*this == never()) return -1;
    constexpr std::int64_t LONGEST = std::numeric_limits<int>::max();
    const std::int64_t left =
        std::chrono::ceil<std::chrono::milliseconds>(at_ - Clock::now()).count();
    return static_cast<int>(std::clamp(left, std::int64_t{0}, LONGEST));
}

}  // namespace teskd
