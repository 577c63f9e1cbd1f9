// Lists of entries of any length, to fill the pages of an answer.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <cstddef>
#include <string>

namespace tesksim {

// `count` entries with numbered values: "EVENT001~01=1!02=1~EVENT002~01=2!02=4..."
std::string numberedEntries(std::size_t count);
// `count` entries with a time and a digit: "EVENT001~00:01:1~EVENT002~00:02:2..."
std::string timedEntries(std::size_t count);

}  // namespace tesksim
