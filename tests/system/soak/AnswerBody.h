// What of a machine's answer goes into the answer frames of a host, made a second time.
//
// Ownership: plain values. Threads: no state. Errors: std::out_of_range for bodies that are too
// short.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "soak/GivenAnswers.h"

namespace teskd::soak {

// Where the machine's date stands in the body of an answer of type 1 to 5.
std::size_t dateOffset(std::uint8_t type);
// The number of the machine's answer that the body comes from; nothing when it has none.
std::optional<std::uint32_t> answerNumber(std::uint8_t type, std::string_view body);
// Whether the body of an answer of type 2, 3, 4 or 6 shows this text of its request. Of several
// pages only the first does, and later ones are taken on trust.
bool showsQuestion(std::uint8_t type, std::string_view body, const std::string& question,
                   std::size_t page);
// Why the body of an answer of type 1 to 6 is not made of what the machine gave; empty when it is.
// `page` counts from 0.
std::string difference(std::uint8_t type, std::string_view body, const GivenAnswer& given,
                       std::size_t page);

}  // namespace teskd::soak
