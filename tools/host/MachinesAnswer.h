// The answer to a request of type 8: the machines that the daemon has a line to.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace teskhost {

struct MachinesAnswer {
    struct Machine {
        std::string name{};
        std::uint8_t port = 0;
        bool known = false;  // its last answer came

        // Its CodeId, or the whole fixed name "SlotMachine_n" of one that has not answered yet, of
        // which the record has the first 11 characters.
        std::string wholeName() const;
        // It has answered since the gateway's start.
        bool named() const;
    };

    std::vector<Machine> machines{};

    static MachinesAnswer decode(std::string_view body);
};

}  // namespace teskhost
