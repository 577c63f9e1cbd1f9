// The requests that a host can send: their types and bodies. An empty name means every machine, if
// the request allows that.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <cstdint>
#include <string>

namespace teskhost {

struct Request {
    static constexpr std::uint8_t kCounters = 1;
    static constexpr std::uint8_t kListByFields = 2;
    static constexpr std::uint8_t kListByNumbers = 3;
    static constexpr std::uint8_t kTimes = 4;
    static constexpr std::uint8_t kValue = 5;
    static constexpr std::uint8_t kMessage = 6;
    static constexpr std::uint8_t kVersion = 7;
    static constexpr std::uint8_t kMachines = 8;

    std::uint8_t type = 0;
    std::string body{};

    // Type 1: the counters of one machine or of all.
    static Request counters(const std::string& name);
    // Type 2: lists of numbered values, selected by two texts of 8 characters.
    static Request list(const std::string& a, const std::string& b, const std::string& name);
    // Type 3: the same, selected by two numbers.
    static Request list(std::uint16_t x, std::uint16_t y, const std::string& name);
    // Type 4: lists of times, of one machine or of all.
    static Request times(const std::string& a, const std::string& b, const std::string& name);
    // Type 5: one value, by the code of the message that requests it.
    static Request value(std::uint8_t code, const std::string& name);
    // Type 6: any message, sent unchanged.
    static Request message(const std::string& text, const std::string& name);
    // Type 7: the software version.
    static Request version();
    // Type 8: the list of machines.
    static Request machines();
    // An AAMS request: its code id and the text after the "-".
    static Request aams(int code, const std::string& text);
};

}  // namespace teskhost
