// The AAMS payload: the body of a host-link frame of type 0xFE.
//
//     offset  size  field
//          0     4  prefix      N, unsigned, big-endian
//          4     3  code id     decimal, "%03d"
//          7     1  "-"
//          8     4  length      N in hexadecimal, "%04X"
//         12     n  body        begins with "-" in every payload that the gateway builds
//
// N counts the 8 characters from the code id to the length, and the body.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace teskd::aamspayload {

constexpr std::size_t OFFSET_TEXT = 4;
constexpr std::size_t OFFSET_BODY = 13;  // behind the body's leading "-"

// The head of a payload. In a short payload, missing fields are empty or 0.
struct Head {
    std::string prefix;  // up to 4 bytes
    std::int32_t code_id = 0;
    std::int32_t length = 0;
};
Head parse(std::string_view payload);

// The whole payload for a code id and a body.
std::string build(std::int32_t code_id, const std::string& body);

}  // namespace teskd::aamspayload
