// The text of a request by which its answer is known: machines put it into their answers, and the
// oracle looks for it in what a host gets.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <cstddef>
#include <string>

namespace teskd::soak {

inline constexpr std::size_t kQuestionSize = 8;

// For the payload of a message with this ID. Empty for messages that have no text of their own.
std::string questionText(int id, const std::string& payload);

}  // namespace teskd::soak
