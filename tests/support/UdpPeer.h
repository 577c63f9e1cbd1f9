// A UDP socket, on 127.0.0.1 unless said otherwise, that stands in for the notification server.
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
    // To the sender of the datagram received last. Throws std::logic_error when there was none.
    void reply(std::string_view data);
    // The same, from another peer's port.
    void replyThrough(UdpPeer& other, std::string_view data);
    // To a port of its own host.
    void sendTo(std::uint16_t port, std::string_view data);
    // The host that the datagram received last came from.
    std::string senderHost() const;
    std::uint16_t senderPort() const;
    // As if nobody had the port: what is sent to it is refused, but it stays taken. Needs a port
    // that was given to the constructor.
    void setRefusing(bool refusing);

  private:
    void sendToAddress(const sockaddr_in& address, std::string_view data);

    UniqueFd fd_;
    sockaddr_in address_;
    std::optional<sockaddr_in> lastSender_;
};

}  // namespace teskd::test
