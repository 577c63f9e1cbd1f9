// The answer to a request of type 1: the counters of one machine.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace teskhost {

struct CountersAnswer {
    std::string date{};         // of the daemon, dd.mm.yy
    std::uint8_t machines = 0;  // asked by the request
    std::uint8_t number = 0;    // of this answer, from 1
    std::string machineDate{};
    std::uint8_t outcome = 0;
    // CNTTOTIN, CNTTOTOT, CNTCL, and three values without a name.
    std::array<std::int32_t, 6> items{};

    static CountersAnswer decode(std::string_view body);
};

}  // namespace teskhost
