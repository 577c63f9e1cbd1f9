// The answer to a request of type 6: the unchanged message of a machine.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/TeskText.h"

namespace teskhost {

struct MessageAnswer {
    std::uint32_t size = 0;  // of the message, in bytes
    TeskText message{};
    std::string bytes{};  // the message as received

    static MessageAnswer decode(std::string_view body);
};

}  // namespace teskhost
