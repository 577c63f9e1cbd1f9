// What a simulated machine does wrong. A default value does nothing wrong.
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
    // Faults of an answer.
    int onlyFor = 0;                          // to this message's ID; 0: of every answer
    bool silent = false;                      // none is sent
    std::chrono::milliseconds delay{0};       // sent so much later
    std::chrono::milliseconds dribble{0};     // one byte each so many milliseconds
    int lengthError = 0;                      // added to Len
    std::optional<std::size_t> closeAfter{};  // the connection closes after so many bytes of it
    std::string garbageBefore{};              // bytes in front of it
    std::string garbageAfter{};               // bytes behind it
    // Sent once more, unasked, so long after it, unless the next request comes before.
    std::optional<std::chrono::milliseconds> repeatAfter{};

    // Faults of the connection; they last until the next setFaults().
    Negotiation negotiation = Negotiation::Agree;  // of connections accepted from now on
    bool refuse = false;                           // nobody listens on the port
    bool deaf = false;                             // nothing is read any more
};

// All of them in the words of the console, for example "silent, slow 500"; "none" if there are
// none.
std::string describe(const Faults& faults);

}  // namespace tesksim
