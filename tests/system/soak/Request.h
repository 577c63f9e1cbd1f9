// A well-formed request of a host, and what its answers have to look like.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "soak/Question.h"
#include "support/Frame.h"

namespace teskd::soak {

inline constexpr std::uint8_t kAamsType = 0xFE;

struct Request {
    using Clock = std::chrono::steady_clock;

    // Who answers.
    enum class Target {
        Daemon,        // the daemon itself, at once
        OneMachine,    // a machine of the park, by its CodeId
        EveryMachine,  // all that are known
        Nobody,        // a machine that does not exist: kind 0xFD
        Short,         // nobody, since the body is too short: kind 0xAB
        Refused,  // nobody, since there are commands to the serial-port server in it: kind 0xAB
    };

    test::Frame frame;
    Target target = Target::Daemon;
    int askedId = 0;        // of the message to the machine
    std::string payload{};  // of that message, as the machine reads it
    std::string codeId{};   // of the one machine
    int aamsCode = 0;
    Clock::time_point sent{};

    std::uint64_t key() const {
        return (std::uint64_t{frame.identifierA} << 32) | frame.identifierB;
    }
    // The text of it that its answers show; empty when they show none.
    std::string question() const { return questionText(askedId, payload); }
    // "type 3", "AAMS 502".
    std::string kind() const;
    std::string describe() const;
};

}  // namespace teskd::soak
