#include "support/Deadline.h"

#include <algorithm>
#include <cstdlib>

namespace teskd::test {

int timeScale() {
    static const int scale = [] {
        const char* text = std::getenv("TESKD_TEST_TIME_SCALE");
        return std::max(1, text == nullptr ? 1 : std::atoi(text));
    }();
    return scale;
}

std::chrono::milliseconds Deadline::left() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(at_ - Clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

}  // namespace teskd::test
