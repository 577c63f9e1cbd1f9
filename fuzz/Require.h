// What has to hold for every input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace teskd::fuzz {

// Ends the process, which is a finding, when the condition does not hold.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
}

}  // namespace teskd::fuzz
