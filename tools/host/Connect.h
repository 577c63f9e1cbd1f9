// Opens a host's connection to the daemon.
//
// Ownership: the descriptor belongs to the caller. Threads: no state.
// Errors: std::system_error that says where the connection should have gone, or LinkError for a
// name that cannot be resolved.

#pragma once

#include <chrono>

#include "common/UniqueFd.h"
#include "host/Endpoint.h"

namespace teskhost {

// A connected socket that blocks. Addresses of the name are tried one after another, for as long
// as `patience` each; sending on the socket then waits no longer either.
tools::UniqueFd connectTo(const Endpoint& endpoint, std::chrono::milliseconds patience);

}  // namespace teskhost
