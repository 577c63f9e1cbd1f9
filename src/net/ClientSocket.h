// A socket that connects to an address.
#pragma once

#include <string>

#include "net/Socket.h"

namespace teskd {

// Threads and errors: as Socket.
class ClientSocket : public Socket {
  public:
    // With the address "0.0.0.0:0". @throws SocketException
    ClientSocket(int domain, int type, int protocol);
    // address: "host:port", the host numeric.
    ClientSocket(const std::string& address, int domain, int type, int protocol);
    ClientSocket(const ClientSocket&) = default;

    // Blocks until the connection is established or fails, or the interrupt event is set.
    // @throws ConnectException, UnknownHostException for a host that is "*" or empty
    void connect() override;

    const std::string& getAddress() const { return address_; }
    void setAddress(const std::string& address) { address_ = address; }
    bool isConnected() const { return connected_; }

  private:
    // Both return 0 or the error number.
    int connectTo(const sockaddr* address);
    int awaitConnection();

    std::string address_;
    bool connected_ = false;
};

}  // namespace teskd
