// A UDP socket with one fixed peer.
#pragma once

#include "net/ClientSocket.h"

namespace teskd {

// Threads and errors: as ClientSocket.
class DatagramClientSocket : public ClientSocket {
  public:
    DatagramClientSocket(const std::string& address, int domain)
        : ClientSocket(address, domain, SOCK_DGRAM, 0) {}
    DatagramClientSocket(const DatagramClientSocket&) = default;
};

}  // namespace teskd
