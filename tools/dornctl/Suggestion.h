// What somebody may have meant by a word that is none of those expected.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <string>
#include <vector>

namespace dornctl {

// The word that is the least number of typing errors away; empty if all are too far.
std::string nearest(const std::string& typed, const std::vector<std::string>& words);

}  // namespace dornctl
