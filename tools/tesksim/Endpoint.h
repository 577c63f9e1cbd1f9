// The system calls behind a machine's endpoint: ports on 127.0.0.1, a raw tty, a wake-up.
//
// Ownership: every descriptor returned belongs to the caller. Threads: no state; a wake-up may be
// given from any thread. Errors: std::system_error, except where said otherwise.

#pragma once

#include <cstdint>
#include <string>

#include "common/UniqueFd.h"
#include "tesksim/SerialLine.h"

namespace tesksim {

// A bound socket that does not listen: reserves the port while connections are refused.
// Port 0 lets the kernel choose.
tools::UniqueFd bindPort(std::uint16_t port);
std::uint16_t portOf(const tools::UniqueFd& socket);
// A second socket on a port of bindPort(), listening.
tools::UniqueFd listenOn(std::uint16_t port);

// Opens a tty and makes it raw, with this line setting where it has one. Returns an invalid
// descriptor when it cannot be opened.
tools::UniqueFd openTty(const std::string& path, const SerialLine& line);
// @throws if the file is no character device, or may not be read and written
void requireTty(const std::string& path);

// A descriptor that becomes readable by wakeUp() until clearWakeUp().
tools::UniqueFd makeWakeUp();
void wakeUp(const tools::UniqueFd& wake);
void clearWakeUp(const tools::UniqueFd& wake);

}  // namespace tesksim
