// Internet addresses as the system takes them.
//
// Ownership: plain values. Threads: no state. Errors: std::invalid_argument for a text that is no
// address.

#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <string>

namespace teskd::test {

inline constexpr char kLoopback[] = "127.0.0.1";

// host: four numbers with dots.
sockaddr_in ipv4(const std::string& host, std::uint16_t port);
std::uint16_t portOf(const sockaddr_in& address);

}  // namespace teskd::test
