// A TCP socket that connects to a server.
#pragma once

#include "net/ClientSocket.h"

namespace teskd {

// Threads and errors: as ClientSocket.
class StreamClientSocket : public ClientSocket {
  public:
    explicit StreamClientSocket(int domain) : ClientSocket(domain, SOCK_STREAM, 0) {}
    StreamClientSocket(const std::string& address, int domain)
        : ClientSocket(address, domain, SOCK_STREAM, 0) {}
    StreamClientSocket(const StreamClientSocket&) = default;
};

}  // namespace teskd
