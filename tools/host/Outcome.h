// The number for the outcome of a slot machine's answer in frames to hosts.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <cstdint>
#include <string>

namespace teskhost {

// The number and the two characters of the machine that it stands for: "0 (00)", "3 (1C)".
std::string outcomeText(std::uint8_t number);
// Only the two characters; empty for an unknown number.
std::string outcomeCharacters(std::uint8_t number);
// The number for the two characters of a machine; 0 for unknown ones.
std::uint8_t outcomeNumber(const std::string& characters);

}  // namespace teskhost
