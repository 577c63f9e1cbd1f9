#include "soak/Episode.h"

namespace teskd::soak {

namespace {

constexpr std::chrono::seconds kAftermath{2};

}  // namespace

void Episode::end() {
    ended_ = Clock::now() + kAftermath;
    --begun_;
}

}  // namespace teskd::soak
