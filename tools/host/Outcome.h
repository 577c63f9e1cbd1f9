// The number under which a host is told the outcome of a slot machine's answer.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <cstdint>
#include <string>

namespace teskhost {

// "0 (00)", "3 (1C)": the number, and the two characters that the machine sent for it.
std::string outcomeText(std::uint8_t number);
// The two characters alone; empty for a number that stands for none.
std::string outcomeCharacters(std::uint8_t number);
// The number that hosts get for two characters; 0 for characters that have none.
std::uint8_t outcomeNumber(const std::string& characters);

}  // namespace teskhost
