// A TCP socket that listens for clients.
#pragma once

#include "net/ServerSocket.h"

namespace teskd {

// Threads and errors: as ServerSocket.
class StreamServerSocket : public ServerSocket {
  public:
    explicit StreamServerSocket(int domain) : ServerSocket(domain, SOCK_STREAM, 0) {}
    StreamServerSocket(const std::string& address, int domain)
        : ServerSocket(address, domain, SOCK_STREAM, 0) {}
    StreamServerSocket(const StreamServerSocket&) = default;
};

}  // namespace teskd
