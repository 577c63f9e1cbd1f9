#include "dorn/DescriptorBudget.h"

#include <algorithm>

namespace teskd {

DescriptorBudget::DescriptorBudget(std::size_t limit, std::size_t lines, std::size_t listeners) {
    const std::size_t reserved = PROCESS + lines * LINE + listeners * LISTENER;
    left_ = limit - std::min(limit, reserved);
}

}  // namespace teskd
