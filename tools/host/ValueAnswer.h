// The answer to a request of type 5: one value of one machine, a number or a text of up to eight
// characters.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace teskhost {

struct ValueAnswer {
    std::string date{};         // of the daemon, dd.mm.yy
    std::uint8_t machines = 0;  // asked by the request
    std::uint8_t number = 0;    // of this answer, from 1
    std::string machineDate{};
    std::uint8_t outcome = 0;
    std::int32_t value = 0;
    std::string text{};

    static ValueAnswer decode(std::string_view body);
};

}  // namespace teskhost
