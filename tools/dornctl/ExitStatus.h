// How dornctl ends; the manual page lists the same numbers.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

namespace dornctl {

enum class ExitStatus {
    Success = 0,
    Failure = 1,         // anything that has no status of its own
    BadArguments = 2,    // nothing was sent
    UnknownMachine = 3,  // 0xFD
    TimedOut = 4,        // 0xFE
    RequestFailed = 5,   // 0xAB
    NoConnection = 6,    // not connected, closed, or no answer in time
    Refused = 7,         // an AAMS reply with another result than success
};

// The status as a word for programs, such as "timed-out".
const char* nameOf(ExitStatus status);

}  // namespace dornctl
