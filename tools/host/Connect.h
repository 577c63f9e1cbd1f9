// Opens a host's connection to the daemon.
//
// Ownership: the descriptor belongs to the caller. Threads: no state.
// Errors: std::system_error with the endpoint, or LinkError for a name that cannot be resolved.

#pragma once

#include <chrono>

#include "common/UniqueFd.h"
#include "host/Endpoint.h"

namespace teskhost {

// A connected, blocking socket. The addresses of the name are tried one after another, each for at
// most `patience`, which is also the send time-out of the socket.
tools::UniqueFd connectTo(const Endpoint& endpoint, std::chrono::milliseconds patience);

}  // namespace teskhost
