#include "support/UdpPeer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

namespace teskd::test {

namespace {

constexpr std::size_t kLargestDatagram = 65536;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

UdpPeer::UdpPeer(std::uint16_t port, const std::string& host)
    : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), address_(ipv4(host, port)) {
    auto* const raw = reinterpret_cast<sockaddr*>(&address_);
    socklen_t size = sizeof address_;
    if (!fd_.valid() || ::bind(fd_.get(), raw, size) != 0) fail("UDP socket");
    if (::getsockname(fd_.get(), raw, &size) != 0) fail("getsockname");
}

std::string UdpPeer::receive(Deadline deadline) {
    std::optional<std::string> data = receiveWithin(deadline.left());
    if (!data) throw Timeout("no datagram arrived");
    return *data;
}

std::optional<std::string> UdpPeer::receiveWithin(std::chrono::milliseconds time) {
    pollfd entry{fd_.get(), POLLIN, 0};
    if (::poll(&entry, 1, static_cast<int>(time.count())) <= 0) return std::nullopt;
    std::string data(kLargestDatagram, '\0');
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    const ssize_t count = ::recvfrom(fd_.get(), data.data(), data.size(), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&sender), &size);
    if (count < 0) fail("recvfrom");
    data.resize(static_cast<std::size_t>(count));
    lastSender_ = sender;
    return data;
}

void UdpPeer::reply(std::string_view data) {
    if (!lastSender_) throw std::logic_error("no datagram to reply to");
    sendToAddress(*lastSender_, data);
}

void UdpPeer::replyThrough(UdpPeer& other, std::string_view data) {
    if (!lastSender_) throw std::logic_error("no datagram to reply to");
    other.sendToAddress(*lastSender_, data);
}

void UdpPeer::sendTo(std::uint16_t port, std::string_view data) {
    sockaddr_in address = address_;
    address.sin_port = htons(port);
    sendToAddress(address, data);
}

std::string UdpPeer::senderHost() const {
    if (!lastSender_) throw std::logic_error("no datagram has come");
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &lastSender_->sin_addr, text, sizeof text);
    return text;
}

std::uint16_t UdpPeer::senderPort() const {
    if (!lastSender_) throw std::logic_error("no datagram has come");
    return portOf(*lastSender_);
}

// A connected socket, here to itself, receives nothing from others.
void UdpPeer::setRefusing(bool refusing) {
    sockaddr_in address = address_;
    if (!refusing) address.sin_family = AF_UNSPEC;
    if (::connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("connect");
    }
}

void UdpPeer::sendToAddress(const sockaddr_in& address, std::string_view data) {
    const ssize_t count = ::sendto(fd_.get(), data.data(), data.size(), 0,
                                   reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (count != static_cast<ssize_t>(data.size())) fail("sendto");
}

}  // namespace teskd::test
