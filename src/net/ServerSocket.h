// A socket that listens for clients at an address.
#pragma once

#include <string>

#include "net/Socket.h"

namespace teskd {

// Bound and listening after construction. SO_REUSEADDR is set, so that the address can be bound
// again right after a restart.
// Threads and errors: as Socket.
class ServerSocket : public Socket {
  public:
    // Binds to "0.0.0.0:0". @throws SocketException, BindException, UnknownHostException
    ServerSocket(int domain, int type, int protocol);
    // address: "host:port"; an empty host and "*" mean every interface.
    ServerSocket(const std::string& address, int domain, int type, int protocol);
    ServerSocket(const ServerSocket&) = default;

    // The next waiting connection, as a socket of its own.
    Socket accept() override;
    void bind() override;
    void listen() override;

  private:
    std::string address_;
};

}  // namespace teskd
