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
        bool known = false;  // it answered its last request

        // Its CodeId; or "SlotMachine_n" if it has not answered yet, restored from the record,
        // which has only the first 11 characters of that.
        std::string wholeName() const;
        // Whether it has answered since the start of the gateway.
        bool named() const;
    };

    std::vector<Machine> machines{};

    static MachinesAnswer decode(std::string_view body);
};

}  // namespace teskhost
