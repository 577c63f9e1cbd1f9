// One page of the answer to a request of type 2 or 3: entries of a machine, each with numbered
// values.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace teskhost {

struct ListAnswer {
    struct Value {
        std::uint8_t number = 0;
        std::int32_t value = 0;
    };
    struct Entry {
        std::string name{};
        std::vector<Value> values{};
    };

    std::string date{};  // of the daemon, dd.mm.yy
    std::uint8_t pages = 0;
    std::uint8_t page = 0;  // from 1
    std::string machineDate{};
    std::uint8_t outcome = 0;
    std::vector<Entry> entries{};

    static ListAnswer decode(std::string_view body);
};

}  // namespace teskhost
