// A suggestion for a mistyped word.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <string>
#include <vector>

namespace dornctl {

// The word with the smallest edit distance; empty if all are too different.
std::string nearest(const std::string& typed, const std::vector<std::string>& words);

}  // namespace dornctl
