// The largest piece of memory that was asked for.
#pragma once

#include <cstddef>

namespace teskd::fuzz {

// Starts anew with each object; one at a time. Only the address sanitizer knows; without it nothing
// seems to be allocated.
class LargestAllocation {
  public:
    LargestAllocation();

    std::size_t size() const;
};

}  // namespace teskd::fuzz
