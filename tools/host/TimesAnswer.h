// One page of the answer to a request of type 4: entries of a machine, each with times, each
// followed by a digit.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace teskhost {

struct TimesAnswer {
    struct Value {
        std::uint8_t first = 0;
        std::uint8_t second = 0;
        std::uint8_t digit = 0;
    };
    struct Entry {
        std::string name{};
        std::vector<Value> values{};
    };

    std::string date{};  // of the daemon, dd.mm.yy
    unsigned pages = 0;  // the low 8 bits only, as for `page`
    unsigned page = 0;   // from 1, over all machines
    std::uint8_t outcome = 0;
    std::string machineDate{};
    std::vector<Entry> entries{};

    static TimesAnswer decode(std::string_view body);
};

}  // namespace teskhost
