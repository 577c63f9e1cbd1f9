// A port of 127.0.0.1 that listens and lets nobody in: whoever connects waits.

#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

#include "support/Listener.h"
#include "support/UniqueFd.h"

namespace teskd::test {

class FullBacklog {
  public:
    FullBacklog() {
        while (addClient()) continue;
    }

    std::uint16_t port() const { return listener_.port(); }

  private:
    // False when the client found no room.
    bool addClient() {
        constexpr int kEnoughToBeSure = 300;  // milliseconds
        clients_.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::connect(clients_.back().get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
        pollfd connected{clients_.back().get(), POLLOUT, 0};
        return ::poll(&connected, 1, kEnoughToBeSure) == 1;
    }

    Listener listener_{0, 0};
    std::vector<UniqueFd> clients_;
};

}  // namespace teskd::test
