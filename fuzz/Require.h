// What has to be so, whatever the input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace teskd::fuzz {

// Ends the process, which makes the input a finding, when the condition does not hold.
inline void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "Broken: %s\n", what);
    std::abort();
}

}  // namespace teskd::fuzz
