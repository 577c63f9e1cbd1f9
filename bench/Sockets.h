// Blocking sockets on 127.0.0.1 with nothing around them: a byte costs what the system asks for it.
//
// Ownership: descriptors belong to the caller. Threads: no state.
// Errors: setting up throws std::system_error; transfers tell by their result.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/UniqueFd.h"

namespace teskd::bench {

using tools::UniqueFd;

[[noreturn]] void throwSystemError(const char* what);

// A connection without Nagle's delay.
UniqueFd connectTo(std::uint16_t port);
// A listening socket on a port that the kernel chooses.
UniqueFd listenAnywhere();
std::uint16_t portOf(const UniqueFd& socket);
// The next connection, without Nagle's delay; not valid when the listener was shut down.
UniqueFd acceptFrom(const UniqueFd& listener);

// False when the peer is gone. Sockets and ttys alike.
bool writeAll(int fd, std::string_view bytes);
bool readExactly(int fd, char* buffer, std::size_t size);

// Reads and drops what comes until nothing has come for that time.
void drainUntilQuiet(int fd, int milliseconds);

}  // namespace teskd::bench
