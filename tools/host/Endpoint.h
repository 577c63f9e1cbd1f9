// An address and a port, written as "192.168.0.1:5001", "gateway:5001" or "[::1]:5001".
//
// Ownership: a plain value. Threads: no state.
// Errors: parse() throws std::invalid_argument, with what was expected.

#pragma once

#include <cstdint>
#include <string>

namespace teskhost {

struct Endpoint {
    std::string address{};  // a number or a name, without brackets
    std::uint16_t port = 0;

    static Endpoint parse(const std::string& text);
    // The same, with a default port for a text without one: "gateway", "[::1]".
    static Endpoint parse(const std::string& text, std::uint16_t usualPort);
    std::string text() const;
};

}  // namespace teskhost
