// A UDP socket, by default on 127.0.0.1, in the role of the notification server.
//
// Ownership: the object owns its descriptor.
// Threads: none of its own; one user at a time.
// Errors: std::system_error from the system, Timeout from receive().

#pragma once

#include <chrono>
#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>

#include "support/Address.h"
#include "support/Deadline.h"
#include "support/UniqueFd.h"

namespace teskd::test {

class UdpPeer {
  public:
    explicit UdpPeer(std::uint16_t port = 0, const std::string& host = kLoopback);

    std::uint16_t port() const { return portOf(address_); }
    // The next datagram; its sender becomes the receiver of reply().
    std::string receive(Deadline deadline = {});
    std::optional<std::string> receiveWithin(std::chrono::milliseconds time);
    // Sends to the sender of the last received datagram. @throws std::logic_error if there is none
    void reply(std::string_view data);
    // The same, from the port of another peer.
    void replyThrough(UdpPeer& other, std::string_view data);
    // Sends to a port of its own host.
    void sendTo(std::uint16_t port, std::string_view data);
    // The host that sent the last received datagram.
    std::string senderHost() const;
    std::uint16_t senderPort() const;
    // Refuses datagrams as if the port were unused, but keeps it. Requires a port that was given to
    // the constructor.
    void setRefusing(bool refusing);

  private:
    void sendToAddress(const sockaddr_in& address, std::string_view data);

    UniqueFd fd_;
    sockaddr_in address_;
    std::optional<sockaddr_in> lastSender_;
};

}  // namespace teskd::test
