// A client socket under test and the plain connection at its other end.

#pragma once

#include <cstdint>
#include <string>
#include <sys/socket.h>

#include "net/StreamClientSocket.h"
#include "support/Connection.h"
#include "support/Listener.h"

namespace teskd::test {

inline std::string localAddress(std::uint16_t port) {
    return "127.0.0.1:" + std::to_string(port);
}

struct ClientAndPeer {
    ClientAndPeer() : client(localAddress(listener.port()), AF_INET) {
        client.connect();
        peer = listener.accept();
    }

    Listener listener;
    StreamClientSocket client;
    Connection peer;
};

}  // namespace teskd::test
