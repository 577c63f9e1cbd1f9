// Internet addresses for system calls.
//
// Ownership: plain values. Threads: no state. Errors: std::invalid_argument for an invalid address.

#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <string>

namespace teskd::test {

inline constexpr char kLoopback[] = "127.0.0.1";

// `host`: an IPv4 address as a number.
sockaddr_in ipv4(const std::string& host, std::uint16_t port);
std::uint16_t portOf(const sockaddr_in& address);

}  // namespace teskd::test
