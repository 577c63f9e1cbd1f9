// The faults of a simulated machine. A default value has none.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "tesksim/TelnetServer.h"

namespace tesksim {

struct Faults {
    // Faults of answers.
    int onlyFor = 0;                          // only to requests with this ID; 0: to all
    bool silent = false;                      // no answer is sent
    std::chrono::milliseconds delay{0};       // before the answer
    std::chrono::milliseconds dribble{0};     // between its bytes
    int lengthError = 0;                      // added to its length field
    std::optional<std::size_t> closeAfter{};  // bytes after which the connection is closed
    std::string garbageBefore{};              // sent before the answer
    std::string garbageAfter{};               // sent after the answer
    // Sends the answer again, unsolicited, after this time, unless a request comes first.
    std::optional<std::chrono::milliseconds> repeatAfter{};

    // Faults of the connection; they last until the next setFaults().
    Negotiation negotiation = Negotiation::Agree;  // of connections accepted from now on
    bool refuse = false;                           // connections are refused
    bool deaf = false;                             // nothing is read
};

// All of them in the words of the console, for example "silent, slow 500"; "none" if there are
// none.
std::string describe(const Faults& faults);

}  // namespace tesksim
